#!/usr/bin/python3
"""Stands in for the program in the terminal host's tests: does what its plan says, in order.

The plan is a JSON list in EXPORT_TOOL; each step is a list of a verb and its values:
  ["section", title, maximum]  ["status", value]  one message into the output FIFO
  ["message", content]         any other property list into the output FIFO
  ["raw", text]                bytes into the output FIFO as they stand
  ["chunks", text, size]       the same, in pieces of that many bytes
  ["flood", count]             so many statuses
  ["stderr", text]  ["stdout", text]
  ["read", count]              waits for so many bytes from the host, writes them to the output FIFO
  ["environment"]              its environment as JSON into the output FIFO
  ["session"]                  "leader" or "member" of its session into the output FIFO
  ["leave", name]              a file of that name in TMPDIR
  ["copy"]                     the source file to the destination, and a log
  ["fail_if_bad", status]      ends with that status when the source's name begins with "bad"
  ["write", path, text]        a file
  ["pause", seconds]
  ["child"]                    a child that holds standard error and never ends; its pid to the FIFO
  ["ignore", signal number]
  ["wait"]                     waits for ever
  ["exit", status]  ["die", signal number]
"""

import json
import os
import plistlib
import signal
import subprocess
import sys
import time
from pathlib import Path


class Program:
    """Plays a plan on the two FIFOs that the environment names."""

    def __init__(self) -> None:
        self._input = os.open(os.environ["EXPORT_INPUT_FIFO_PATH"], os.O_RDWR)
        self._output = os.open(os.environ["EXPORT_OUTPUT_FIFO_PATH"], os.O_RDWR)

    def play(self, plan: list) -> None:
        for verb, *values in plan:
            getattr(self, verb)(*values)

    def section(self, title, maximum) -> None:
        content = {"messageType": "progressSection"}
        content |= {"progressTitle": title} if title is not None else {}
        content |= {"progressValue": maximum} if maximum else {}
        self._message(content)

    def status(self, value) -> None:
        self._message({"messageType": "progressStatus", "progressValue": value})

    def message(self, content) -> None:
        self._message(content)

    def raw(self, text) -> None:
        self._write(text.encode())

    def chunks(self, text, size) -> None:
        data = text.encode()
        for begin in range(0, len(data), size):
            self._write(data[begin : begin + size])

    def flood(self, count) -> None:
        for value in range(count):
            self.status(value)

    def stderr(self, text) -> None:
        os.write(2, text.encode())

    def stdout(self, text) -> None:
        os.write(1, text.encode())

    def read(self, count) -> None:
        while count > 0:
            data = os.read(self._input, count)
            count -= len(data)
            self._write(data)

    def environment(self) -> None:
        self.raw(json.dumps({k: v for k, v in os.environ.items() if k != "LC_CTYPE"}))

    def session(self) -> None:
        self.raw("leader" if os.getsid(0) == os.getpid() == os.getpgid(0) else "member")

    def leave(self, name) -> None:
        Path(os.environ["TMPDIR"], name).write_text("left")

    def copy(self) -> None:
        text = Path(os.environ["EXPORT_FILE_PATH"]).read_text()
        Path(os.environ["EXPORT_DEST_PATH"]).write_text(text)
        Path(os.environ["EXPORT_LOGS_DIR_PATH"], "tool.log").write_text("copied\n")

    def fail_if_bad(self, status) -> None:
        if Path(os.environ["EXPORT_FILE_PATH"]).name.startswith("bad"):
            sys.exit(status)

    def write(self, path, text) -> None:
        Path(path).write_text(text)

    def pause(self, seconds) -> None:
        time.sleep(seconds)

    def child(self) -> None:
        held = subprocess.Popen(["/bin/sleep", "1000"], stdout=subprocess.DEVNULL)
        self.raw(f"child {held.pid};")

    def ignore(self, number) -> None:
        signal.signal(number, signal.SIG_IGN)

    def wait(self) -> None:
        while True:
            time.sleep(1000)

    def exit(self, status) -> None:
        sys.exit(status)

    def die(self, number) -> None:
        os.kill(os.getpid(), number)

    def _message(self, content) -> None:
        body = plistlib.dumps(content)
        self._write(b"%d\n" % len(body) + body)

    def _write(self, data) -> None:
        while data:
            data = data[os.write(self._output, data) :]


if __name__ == "__main__":
    Program().play(json.loads(os.environ["EXPORT_TOOL"]))
