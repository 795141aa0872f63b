#!/usr/bin/env python3
"""A complete host in Python: converts a file, shows how far it has come, cancels on Ctrl-C.

    host.py SOURCE RESULT LOGS

Set in the environment: ZANBURY_PROGRAM, ZANBURY_SERVERS (URLs, separated by commas),
ZANBURY_SERVER_COMMAND, ZANBURY_IDENTITY_FILE and ZANBURY_PUBLIC_KEY_FILE.
"""

import os
import plistlib
import select
import signal
import sys
import tempfile
import time
from pathlib import Path
from subprocess import Popen


def environment(source, result, logs, private):
    """Key texts are passed as they stand, their final line feed too."""
    return {
        **os.environ,
        "EXPORT_FILE_PATH": str(source),
        "EXPORT_DEST_PATH": str(result),
        "EXPORT_LOGS_DIR_PATH": str(logs),
        "EXPORT_INPUT_FIFO_PATH": str(private / "input"),
        "EXPORT_OUTPUT_FIFO_PATH": str(private / "output"),
        "EXPORT_TOOL": "ZanburyConverter",
        "EXPORT_TOOL_VERSION": "1.0",
        "EXPORT_SERVER_DESTINATIONS": os.environ["ZANBURY_SERVERS"],
        "EXPORT_SERVER_COMMAND_PATH": os.environ["ZANBURY_SERVER_COMMAND"],
        "EXPORT_SERVER_IDENTITY": Path(os.environ["ZANBURY_IDENTITY_FILE"]).read_text(),
        "EXPORT_PUBLIC_KEY": Path(os.environ["ZANBURY_PUBLIC_KEY_FILE"]).read_text(),
        "EXPORT_RETRY_DELAY": "10",
        "EXPORT_HOST_PID": str(os.getpid()),
    }


def new_fifo(path):
    """Open for both directions: it neither waits for the program nor ends before it has begun."""
    os.mkfifo(path, 0o600)
    return os.open(path, os.O_RDWR | os.O_NONBLOCK)


def chunks(process, fifo, every_tick):
    """What comes through the FIFO until the program has ended and nothing is left in there."""
    while True:
        every_tick()
        ended = process.poll() is not None  # asked first: what it wrote is in the FIFO by then
        if select.select([fifo], [], [], 0 if ended else 0.1)[0]:
            yield os.read(fifo, 65536)
        elif ended:
            return


def messages(stream):
    """Cuts the chunks into messages: a length in decimal, a line feed, an XML property list."""
    pending = b""
    for chunk in stream:
        pending += chunk
        try:
            digits, line_feed, rest = pending.partition(b"\n")
            while line_feed and len(rest) >= int(digits):
                yield plistlib.loads(rest[: int(digits)])
                pending = rest[int(digits) :]
                digits, line_feed, rest = pending.partition(b"\n")
        except Exception:  # a tool may send what is not a message: it is dropped
            pending = b""


def show(message):
    if message.get("messageType") == "progressSection":
        print(message.get("progressTitle", ""))
    elif message.get("messageType") == "progressStatus":
        print(f"  {message.get('progressValue', 0)}")


class Cancellation:
    """A byte, after two seconds SIGTERM, after five more SIGKILL; Ctrl-C: the next now."""

    def __init__(self, process, fifo):
        cancel = lambda: os.write(fifo, b"\x18")
        self.steps = [(cancel, 2), (process.terminate, 5), (process.kill, 0)]
        self.due = float("inf")
        signal.signal(signal.SIGINT, self.ask)

    def ask(self, *_):
        self.due = 0

    def act(self):
        if self.steps and time.monotonic() >= self.due:
            step, patience = self.steps.pop(0)
            step()
            self.due = time.monotonic() + patience


def convert(source, result, logs):
    """The program's exit status; the result is moved into its place only when that is 0."""
    logs.mkdir(exist_ok=True)
    with tempfile.TemporaryDirectory(prefix=result.name + ".", dir=result.parent) as name:
        private = Path(name)
        to_program, from_program = new_fifo(private / "input"), new_fifo(private / "output")
        told = environment(source, private / "result", logs, private)
        # In a session of its own: the terminal's Ctrl-C is for the host alone.
        process = Popen(os.environ["ZANBURY_PROGRAM"], env=told, start_new_session=True)
        cancellation = Cancellation(process, to_program)
        for message in messages(chunks(process, from_program, cancellation.act)):
            show(message)
        fresh = (private / "result").exists()
        if fresh and process.returncode == 0:
            os.replace(private / "result", result)
        print(f"Status {process.returncode}, {'a' if fresh else 'no'} result")
        return process.returncode or int(not fresh)


sys.stdout.reconfigure(line_buffering=True)
sys.exit(convert(*(Path(argument).resolve() for argument in sys.argv[1:4])))
