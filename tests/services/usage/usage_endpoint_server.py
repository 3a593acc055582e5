#!/usr/bin/env python3
"""A stand-in for the OAuth usage endpoint, over TLS with a throwaway certificate.

Usage: usage_endpoint_server.py CERT KEY
Prints "port <n>" once listening, then one JSON line per request: its path and its headers in the
order they arrived. What it answers depends on the path.
"""
import json
import ssl
import sys
import threading
import time
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer

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


class Handler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def answer(self, status, body=b"", content_type="application/json", extra=()):
        self.send_response(status)
        self.send_header("Content-Type", content_type)
        self.send_header("Content-Length", str(len(body)))
        for name, value in extra:
            self.send_header(name, value)
        self.end_headers()
        self.wfile.write(body)

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


def main():
    cert, key = sys.argv[1], sys.argv[2]
    server = ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    server.daemon_threads = True
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(cert, key)
    server.socket = context.wrap_socket(server.socket, server_side=True)
    print("port %d" % server.server_address[1], flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
