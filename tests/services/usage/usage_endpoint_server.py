#!/usr/bin/env python3
"""A stand-in for the OAuth usage endpoint, over TLS with a throwaway certificate.

Usage: usage_endpoint_server.py CERT KEY
Prints "port <n>" once listening, then one JSON line per request: its path and its headers in the
order they arrived. What it answers depends on the path.
"""
import json
import os
import sys
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "support"))
from stand_in_https import StandInHandler, serve  # noqa: E402

USAGE = json.dumps({
    "five_hour": {"utilization": 37.0, "resets_at": "2026-09-13T03:59:59.622594+00:00"},
    "seven_day": {"utilization": 12.0, "resets_at": "2026-09-18T15:00:00+00:00"},
    "seven_day_opus": None,
}).encode()

LIMITS = json.dumps({
    "limits": [
        {"kind": "session", "percent": 88, "is_active": True},
        {"kind": "weekly_scoped", "percent": 40, "scope": {"model": {"display_name": "Opus"}}},
    ]
}).encode()

lock = threading.Lock()


class Handler(StandInHandler):
    def do_GET(self):
        with lock:
            print(json.dumps({"path": self.path, "headers": list(self.headers.items())}), flush=True)
        path = self.path.split("?")[0]
        if path == "/api/oauth/usage":
            self.answer(200, USAGE)
        elif path == "/limits":
            self.answer(200, LIMITS)
        elif path == "/unauthorized":
            self.answer(401, b'{"type":"error","error":{"type":"authentication_error"}}',
                        extra=[("WWW-Authenticate", "Bearer")])
        elif path == "/forbidden":
            self.answer(403, b'{"type":"error"}')
        elif path == "/ratelimited":
            self.answer(429, b'{"type":"error","error":{"type":"rate_limit_error"}}', extra=[("Retry-After", "30")])
        elif path == "/broken":
            self.answer(500, b"internal error", content_type="text/plain")
        elif path == "/redirect":
            self.answer(302, b"", extra=[("Location", "/api/oauth/usage")])
        elif path == "/garbage":
            self.answer(200, b"<html>hello</html>", content_type="text/html")
        elif path == "/empty":
            self.answer(200, b"{}")
        elif path == "/huge":
            chunk = b" " * 65536
            total = 4 * 1024 * 1024
            self.send_response(200)
            self.send_header("Content-Type", "application/json")
            self.send_header("Content-Length", str(total))
            self.end_headers()
            try:
                for _ in range(total // len(chunk)):
                    self.wfile.write(chunk)
            except OSError:
                pass
        elif path == "/silent":
            # Accepts the request and never answers.
            time.sleep(30)
        else:
            self.answer(404, b"{}")


if __name__ == "__main__":
    serve(Handler)
