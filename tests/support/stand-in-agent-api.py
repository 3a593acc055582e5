#!/usr/bin/env python3
"""Stand-ins for the model APIs of Claude Code (Anthropic Messages) and Codex (OpenAI Responses) on
loopback, so that the real agents run offline through a scripted conversation that makes them fire
their hooks. Prints the port on standard output and serves until killed.

  stand-in-agent-api.py claude tools    tasks (when offered), commands that work, change the folder, fail
                                        and need a permission, a subagent, then an answer
  stand-in-agent-api.py claude answer   an answer at once
  stand-in-agent-api.py claude rate-limit  every request is refused for the rate limit
  stand-in-agent-api.py codex tools     a command, a command that asks to leave the sandbox, an answer
  stand-in-agent-api.py codex answer    an answer at once
A prompt that asks to answer "slowly" gets its answer only after 30 seconds, so that it can be interrupted.

Each step is chosen from how many tool calls the conversation already holds, so that every request
of a run, including retries and subagents, gets a consistent answer.
"""
import http.server
import json
import os
import sys
import time

AGENT = sys.argv[1] if len(sys.argv) > 1 else "claude"
SCENARIO = sys.argv[2] if len(sys.argv) > 2 else "answer"
SUBAGENT_MARKER = "STAND-IN-SUBAGENT"
ANSWER = "All steps are done."
FULL_CONTEXT_REPORTED = []


def claude_steps(tools):
    steps = []
    if "TaskCreate" in tools:
        steps.append(("TaskCreate", {"subject": "Check the build", "description": "Run the build and report",
                                     "activeForm": "Checking the build"}))
    steps += [
        ("Bash", {"command": "echo offline", "description": "Print a word"}),
        ("Bash", {"command": "cd sub", "description": "Enter the subfolder"}),
        ("Bash", {"command": "exit 3", "description": "Exit with status 3"}),
        ("Bash", {"command": "touch needs-permission.txt", "description": "Create a file"}),
        ("Agent", {"description": "Look around", "prompt": SUBAGENT_MARKER + ": answer at once",
                   "subagent_type": "general-purpose"}),
    ]
    if "TaskUpdate" in tools:
        steps.append(("TaskUpdate", {"taskId": "1", "status": "completed"}))
    return steps


def texts_of(message):
    content = message.get("content")
    if isinstance(content, str):
        return [content]
    return [block.get("text", "") for block in content or [] if isinstance(block, dict)]


def claude_reply(body):
    """The blocks of an answer: ("text", text) or ("tool_use", name, input)."""
    messages = body.get("messages", [])
    tools = [tool.get("name") for tool in body.get("tools") or [] if isinstance(tool, dict)]
    subagent = any(SUBAGENT_MARKER in text for m in messages if m.get("role") == "user" for text in texts_of(m))
    if SCENARIO != "tools" or not tools or subagent:
        return [("text", ANSWER)]
    done = sum(1 for m in messages if m.get("role") == "assistant"
               and any(isinstance(b, dict) and b.get("type") == "tool_use" for b in m.get("content") or []))
    steps = claude_steps(tools)
    if done < len(steps):
        return [("tool_use",) + steps[done]]
    return [("text", ANSWER)]


def codex_reply(body):
    """An output item of the Responses API."""
    items = body.get("input") or []
    calls = sum(1 for item in items if isinstance(item, dict) and item.get("type") == "function_call")
    steps = [
        {"cmd": "echo offline"},
        {"cmd": "touch needs-permission.txt", "sandbox_permissions": "require_escalated",
         "justification": "Create a file outside the sandbox?"},
    ]
    if SCENARIO == "tools" and body.get("tools") and calls < len(steps):
        return {"type": "function_call", "id": f"fc_{calls}", "call_id": f"call_{calls}", "name": "exec_command",
                "arguments": json.dumps(steps[calls])}
    return {"type": "message", "role": "assistant", "id": f"msg_{calls}",
            "content": [{"type": "output_text", "text": ANSWER, "annotations": []}]}


def claude_rate_limit_headers():
    """The plan's windows as Anthropic's API reports them to a subscription login on every answer."""
    now = int(time.time())
    return [("anthropic-ratelimit-unified-status", "allowed"),
            ("anthropic-ratelimit-unified-representative-claim", "five_hour"),
            ("anthropic-ratelimit-unified-reset", str(now + 3600)),
            ("anthropic-ratelimit-unified-5h-utilization", "0.376"),
            ("anthropic-ratelimit-unified-5h-reset", str(now + 3600)),
            ("anthropic-ratelimit-unified-7d-utilization", "0.12"),
            ("anthropic-ratelimit-unified-7d-reset", str(now + 4 * 86400))]


def codex_rate_limit_headers(item):
    """The plan's limits as the ChatGPT backend reports them on its answers: the general limit's two
    windows while tools run, and the limit of one model alone on the final answer. Codex records the
    last family it read, so a session file ends with a model's limit after the general ones."""
    now = int(time.time())
    if item.get("type") == "message":
        return [("x-codex-bengalfox-primary-used-percent", "87"), ("x-codex-bengalfox-primary-window-minutes", "300"),
                ("x-codex-bengalfox-primary-reset-at", str(now + 1800)),
                ("x-codex-bengalfox-limit-name", "GPT-Stand-In-Mini")]
    return [("x-codex-primary-used-percent", "23.5"), ("x-codex-primary-window-minutes", "300"),
            ("x-codex-primary-reset-at", str(now + 3600)),
            ("x-codex-secondary-used-percent", "41"), ("x-codex-secondary-window-minutes", "10080"),
            ("x-codex-secondary-reset-at", str(now + 3 * 86400))]


class Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"

    def log_message(self, *args):
        pass

    def send_json(self, status, payload, headers=()):
        data = json.dumps(payload).encode()
        self.send_response(status)
        self.send_header("content-type", "application/json")
        self.send_header("content-length", str(len(data)))
        for name, value in headers:
            self.send_header(name, value)
        self.end_headers()
        self.wfile.write(data)

    def start_stream(self, headers=()):
        self.send_response(200)
        for name, value in headers:
            self.send_header(name, value)
        self.send_header("content-type", "text/event-stream")
        self.send_header("cache-control", "no-cache")
        self.send_header("connection", "close")
        self.end_headers()
        self.close_connection = True

    def event(self, name, data):
        self.wfile.write(f"event: {name}\ndata: {json.dumps(data)}\n\n".encode())
        self.wfile.flush()

    def do_HEAD(self):
        self.send_response(200)
        self.send_header("content-length", "0")
        self.end_headers()

    def do_GET(self):
        if AGENT == "codex" and self.path.startswith("/v1/models"):
            self.send_json(200, {"object": "list", "data": [], "models": []})
            return
        self.send_json(404, {"type": "error", "error": {"type": "not_found_error", "message": "not here"}})

    def do_POST(self):
        length = int(self.headers.get("content-length", 0))
        try:
            body = json.loads(self.rfile.read(length) or b"{}")
        except ValueError:
            body = {}
        if os.environ.get("STAND_IN_LOG"):
            with open(os.environ["STAND_IN_LOG"], "a") as log:
                log.write(json.dumps({"path": self.path, "body": body}) + "\n")
        if AGENT == "codex":
            self.codex(body)
        else:
            self.claude(body)

    def claude(self, body):
        if self.path.startswith("/v1/messages/count_tokens"):
            self.send_json(200, {"input_tokens": 100})
            return
        model = body.get("model", "claude-stand-in")
        if SCENARIO == "rate-limit":
            self.send_json(429, {"type": "error", "error": {"type": "rate_limit_error", "message": "slow down"}},
                           [("x-should-retry", "false")])
            return
        blocks = claude_reply(body)
        stop_reason = "tool_use" if any(b[0] == "tool_use" for b in blocks) else "end_turn"
        if not body.get("stream"):
            content = [{"type": "text", "text": b[1]} if b[0] == "text" else
                       {"type": "tool_use", "id": "toolu_standin", "name": b[1], "input": b[2]} for b in blocks]
            self.send_json(200, {"id": "msg_standin", "type": "message", "role": "assistant", "model": model,
                                 "content": content, "stop_reason": stop_reason, "stop_sequence": None,
                                 "usage": {"input_tokens": 100, "output_tokens": 10}}, claude_rate_limit_headers())
            return
        self.start_stream(claude_rate_limit_headers())
        turn = len(body.get("messages", []))
        self.event("message_start", {"type": "message_start", "message": {
            "id": f"msg_standin_{turn}", "type": "message", "role": "assistant", "model": model, "content": [],
            "stop_reason": None, "stop_sequence": None, "usage": {"input_tokens": 100, "output_tokens": 1}}})
        for index, block in enumerate(blocks):
            if block[0] == "text":
                self.event("content_block_start", {"type": "content_block_start", "index": index,
                                                   "content_block": {"type": "text", "text": ""}})
                self.event("content_block_delta", {"type": "content_block_delta", "index": index,
                                                   "delta": {"type": "text_delta", "text": block[1]}})
            else:
                self.event("content_block_start", {"type": "content_block_start", "index": index, "content_block": {
                    "type": "tool_use", "id": f"toolu_standin_{turn:03d}", "name": block[1], "input": {}}})
                self.event("content_block_delta", {"type": "content_block_delta", "index": index, "delta": {
                    "type": "input_json_delta", "partial_json": json.dumps(block[2])}})
            self.event("content_block_stop", {"type": "content_block_stop", "index": index})
        self.event("message_delta", {"type": "message_delta", "delta": {"stop_reason": stop_reason,
                                                                        "stop_sequence": None},
                                     "usage": {"output_tokens": 10}})
        self.event("message_stop", {"type": "message_stop"})

    def codex(self, body):
        prompts = [text for item in body.get("input") or [] if isinstance(item, dict) and item.get("role") == "user"
                   for text in texts_of(item)]
        if prompts and "slowly" in prompts[-1]:
            time.sleep(30)
        item = codex_reply(body)
        self.start_stream(codex_rate_limit_headers(item))
        self.event("response.created", {"type": "response.created", "response": {"id": "resp_standin"}})
        self.event("response.output_item.done", {"type": "response.output_item.done", "output_index": 0,
                                                 "item": item})
        # The first answer of a turn with tools reports a full context once, so that a low compaction
        # limit compacts the conversation one time and not again.
        full = bool(body.get("tools")) and not FULL_CONTEXT_REPORTED
        if full:
            FULL_CONTEXT_REPORTED.append(True)
        tokens = 60000 if full else 100
        self.event("response.completed", {"type": "response.completed", "response": {
            "id": "resp_standin", "usage": {"input_tokens": tokens, "input_tokens_details": None, "output_tokens": 10,
                                            "output_tokens_details": None, "total_tokens": tokens + 10}}})


def main():
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
    print(server.server_address[1], flush=True)
    server.serve_forever()


if __name__ == "__main__":
    main()
