#!/usr/bin/env python3
"""Drives a terminal program through a pseudo-terminal, step by step, and keeps what it showed.

  drive-terminal.py <screen-file> <step>... -- <program> <argument>...

Steps:
  wait:<event>:<seconds>  until the file named by AGENTS_OFFLINE_EVENTS holds the event on a line of its own
  text:<regex>:<seconds>  until the screen has shown text matching the regular expression
  send:<text>             types the text (escapes such as \\r, \\x1b and \\x03 are understood)
  choose:<regex>          types the number of the last menu entry shown as "<n>. <regex>"
  pause:<seconds>
A step that times out is reported on standard error and the next one runs. At the end the program gets
SIGTERM, and the screen, without its control sequences, is written to <screen-file>.
"""
import fcntl
import os
import pty
import re
import select
import struct
import sys
import termios
import time

screen_file = sys.argv[1]
separator = sys.argv.index("--")
steps, command = sys.argv[2:separator], sys.argv[separator + 1:]
events_file = os.environ.get("AGENTS_OFFLINE_EVENTS", "")

pid, fd = pty.fork()
if pid == 0:
    os.environ["TERM"] = "xterm-256color"
    os.execv(command[0], command)
# A terminal of 40 rows and 120 columns: without a size, interfaces draw one character a line.
fcntl.ioctl(fd, termios.TIOCSWINSZ, struct.pack("HHHH", 40, 120, 0, 0))

screen = bytearray()


def pump(seconds):
    """Reads what the program shows for a while; false once it has closed the terminal."""
    end = time.time() + seconds
    while time.time() < end:
        ready, _, _ = select.select([fd], [], [], 0.1)
        if ready:
            try:
                data = os.read(fd, 65536)
            except OSError:
                return False
            if not data:
                return False
            screen.extend(data)
            # Answer a cursor position query, which some interfaces send before they draw.
            if b"\x1b[6n" in data:
                os.write(fd, b"\x1b[1;1R")
    return True


def recorded(event):
    try:
        with open(events_file) as lines:
            return event in lines.read().split()
    except OSError:
        return False


def plain():
    text = re.sub(rb"\x1b\[[0-9;?<>=]*[ -/]*[@-~]|\x1b\][^\x07\x1b]*(\x07|\x1b\\)|\x1b[()][0-9A-Za-z]|\x1b.", b" ",
                  bytes(screen))
    return text.decode("utf-8", "replace")


for step in steps:
    kind, _, rest = step.partition(":")
    if kind in ("wait", "text"):
        what, _, seconds = rest.rpartition(":")
        end = time.time() + float(seconds)
        while True:
            if (kind == "wait" and recorded(what)) or (kind == "text" and re.search(what, plain())):
                break
            if time.time() >= end or not pump(0.3):
                print(f"drive-terminal: gave up waiting for {what}", file=sys.stderr)
                break
    elif kind == "send":
        os.write(fd, rest.encode().decode("unicode_escape").encode("latin-1"))
        pump(0.5)
    elif kind == "choose":
        numbers = re.findall(r"(\d)\.\s*" + rest, plain())
        if numbers:
            os.write(fd, numbers[-1].encode())
        else:
            print(f"drive-terminal: no menu entry {rest}", file=sys.stderr)
        pump(0.5)
    elif kind == "pause":
        pump(float(rest))

pump(1)
try:
    os.kill(pid, 15)
except ProcessLookupError:
    pass
pump(2)
try:
    os.waitpid(pid, 0)
except ChildProcessError:
    pass
with open(screen_file, "w") as out:
    out.write(plain())
