#!/usr/bin/env python3
"""A stand-in of the ChatGPT backend that Codex asks for its plan's rate limits, on loopback.

Prints its port, then answers `GET .../wham/usage` with a plan at 42% of its 5-hour window and 7% of
its week, and a model's own limit at 12%; every other request gets an empty object.
"""
import json
import sys
import time
from http.server import BaseHTTPRequestHandler, HTTPServer


def window(percent, seconds, after):
    now = int(time.time())
    return {"used_percent": percent, "limit_window_seconds": seconds,
            "reset_after_seconds": after, "reset_at": now + after}


class Handler(BaseHTTPRequestHandler):
    def log_message(self, *args):
        pass

    def do_GET(self):
        body = {}
        if self.path.split("?")[0].endswith("/wham/usage"):
            body = {"plan_type": "plus",
                    "rate_limit": {"allowed": True, "limit_reached": False,
                                   "primary_window": window(42, 18000, 3600),
                                   "secondary_window": window(7, 604800, 86400)},
                    "credits": None,
                    "additional_rate_limits": [
                        {"limit_name": "GPT-5.3-Codex-Spark", "metered_feature": "codex_bengalfox",
                         "rate_limit": {"allowed": True, "limit_reached": False,
                                        "primary_window": window(12, 18000, 600),
                                        "secondary_window": None}}]}
        data = json.dumps(body).encode()
        self.send_response(200)
        self.send_header("Content-Type", "application/json")
        self.send_header("Content-Length", str(len(data)))
        self.end_headers()
        self.wfile.write(data)

    do_POST = do_GET


server = HTTPServer(("127.0.0.1", 0), Handler)
print(server.server_port, flush=True)
sys.stdin.close()
server.serve_forever()
