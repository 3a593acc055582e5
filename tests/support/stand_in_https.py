"""What the stand-in HTTPS servers of the tests share: a handler that answers with a length and
writes no access log, and a threaded server on a free loopback port over TLS.

A server script ends with serve(Handler); it is started as SCRIPT CERT KEY and prints "port <n>"
once listening (tests/support/StandInHttpsServer.h reads it).
"""
import ssl
import sys
from http.server import BaseHTTPRequestHandler, ThreadingHTTPServer


class StandInHandler(BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    # `length` other than the body's makes a cut-off answer.
    def answer(self, status, body=b"", content_type="application/json", extra=(), length=None):
        self.send_response(status)
        self.send_header("Content-Type", content_type)
        self.send_header("Content-Length", str(len(body) if length is None else length))
        for name, value in extra:
            self.send_header(name, value)
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(body)


def serve(handler):
    cert, key = sys.argv[1], sys.argv[2]
    server = ThreadingHTTPServer(("127.0.0.1", 0), handler)
    server.daemon_threads = True
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(cert, key)
    server.socket = context.wrap_socket(server.socket, server_side=True)
    print("port %d" % server.server_address[1], flush=True)
    server.serve_forever()
