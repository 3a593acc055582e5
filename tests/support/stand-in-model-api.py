#!/usr/bin/env python3
"""A stand-in for the Anthropic Messages API on loopback, so that the real Claude Code CLI can run
offline with a scripted conversation. It prints its port on standard output and serves until killed.

Scenarios (first argument):
  tools        the main agent creates a task, runs a command that works, changes its folder, runs a
               command that fails and one that needs a permission, starts a subagent, completes the
               task, and answers
  answer       the main agent answers at once
  invalid      every request is refused as an invalid request (the turn stops with a failure)
  rate-limit   every request is refused for the rate limit, without a retry
"""
import http.server
import json
import sys

SCENARIO = sys.argv[1] if len(sys.argv) > 1 else "answer"
SUBAGENT_MARKER = "STAND-IN-SUBAGENT"

# The main agent's tool calls, one per turn of the loop, in order.
TOOL_STEPS = [
    ("TaskCreate", {"subject": "Check the build", "description": "Run the build and report", "activeForm": "Checking the build"}),
    ("Bash", {"command": "echo captured", "description": "Print a word"}),
    ("Bash", {"command": "cd sub", "description": "Enter the subfolder"}),
    ("Bash", {"command": "exit 3", "description": "Exit with status 3"}),
    ("Bash", {"command": "touch needs-permission.txt", "description": "Create a file"}),
    ("Agent", {"description": "Look around", "prompt": SUBAGENT_MARKER + ": list nothing and answer", "subagent_type": "general-purpose"}),
    ("TaskUpdate", {"taskId": "1", "status": "completed"}),
]


def texts_of(message):
    content = message.get("content")
    if isinstance(content, str):
        return [content]
    return [block.get("text", "") for block in content or [] if isinstance(block, dict)]


def tool_turns(messages):
    return sum(
        1
        for m in messages
        if m.get("role") == "assistant"
        and any(isinstance(b, dict) and b.get("type") == "tool_use" for b in m.get("content") or [])
    )


def is_subagent(messages):
    return any(SUBAGENT_MARKER in text for m in messages if m.get("role") == "user" for text in texts_of(m))


def reply_for(body):
    """The blocks of the answer: ("text", text) or ("tool_use", name, input)."""
    messages = body.get("messages", [])
    if not body.get("tools") or is_subagent(messages) or SCENARIO != "tools":
        return [("text", "Done by the stand-in.")]
    step = tool_turns(messages)
    if step < len(TOOL_STEPS):
        name, tool_input = TOOL_STEPS[step]
        return [("tool_use", name, tool_input)]
    return [("text", "All steps are done.")]


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def send_json(self, status, payload):
        data = json.dumps(payload).encode()
        self.send_response(status)
        self.send_header("content-type", "application/json")
        self.send_header("content-length", str(len(data)))
        self.end_headers()
        self.wfile.write(data)

    def do_HEAD(self):
        self.send_response(200)
        self.send_header("content-length", "0")
        self.end_headers()

    def do_GET(self):
        self.send_json(404, {"type": "error", "error": {"type": "not_found_error", "message": "not here"}})

    def do_POST(self):
        length = int(self.headers.get("content-length", 0))
        try:
            body = json.loads(self.rfile.read(length) or b"{}")
        except ValueError:
            body = {}
        if self.path.startswith("/v1/messages/count_tokens"):
            self.send_json(200, {"input_tokens": 100})
            return
        if SCENARIO == "rate-limit":
            data = json.dumps({"type": "error", "error": {"type": "rate_limit_error", "message": "slow down"}}).encode()
            self.send_response(429)
            self.send_header("content-type", "application/json")
            self.send_header("x-should-retry", "false")
            self.send_header("content-length", str(len(data)))
            self.end_headers()
            self.wfile.write(data)
            return
        if SCENARIO == "invalid":
            self.send_json(400, {"type": "error", "error": {"type": "invalid_request_error", "message": "refused by the stand-in"}})
            return
        blocks = reply_for(body)
        stop_reason = "tool_use" if any(b[0] == "tool_use" for b in blocks) else "end_turn"
        model = body.get("model", "claude-stand-in")
        if not body.get("stream"):
            content = [
                {"type": "text", "text": b[1]} if b[0] == "text" else {"type": "tool_use", "id": "toolu_standin", "name": b[1], "input": b[2]}
                for b in blocks
            ]
            self.send_json(200, {"id": "msg_standin", "type": "message", "role": "assistant", "model": model,
                                 "content": content, "stop_reason": stop_reason, "stop_sequence": None,
                                 "usage": {"input_tokens": 100, "output_tokens": 10}})
            return
        self.send_response(200)
        self.send_header("content-type", "text/event-stream")
        self.send_header("cache-control", "no-cache")
        self.send_header("connection", "close")
        self.end_headers()

        def event(name, data):
            self.wfile.write(f"event: {name}\ndata: {json.dumps(data)}\n\n".encode())
            self.wfile.flush()

        turn = tool_turns(body.get("messages", []))
        event("message_start", {"type": "message_start", "message": {
            "id": f"msg_standin_{turn}", "type": "message", "role": "assistant", "model": model, "content": [],
            "stop_reason": None, "stop_sequence": None, "usage": {"input_tokens": 100, "output_tokens": 1}}})
        for index, block in enumerate(blocks):
            if block[0] == "text":
                event("content_block_start", {"type": "content_block_start", "index": index, "content_block": {"type": "text", "text": ""}})
                event("content_block_delta", {"type": "content_block_delta", "index": index, "delta": {"type": "text_delta", "text": block[1]}})
            else:
                tool_id = f"toolu_standin_{turn:02d}"
                event("content_block_start", {"type": "content_block_start", "index": index, "content_block": {
                    "type": "tool_use", "id": tool_id, "name": block[1], "input": {}}})
                event("content_block_delta", {"type": "content_block_delta", "index": index, "delta": {
                    "type": "input_json_delta", "partial_json": json.dumps(block[2])}})
            event("content_block_stop", {"type": "content_block_stop", "index": index})
        event("message_delta", {"type": "message_delta", "delta": {"stop_reason": stop_reason, "stop_sequence": None},
                                "usage": {"output_tokens": 10}})
        event("message_stop", {"type": "message_stop"})
        self.close_connection = True


def main():
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    print(server.server_address[1], flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
