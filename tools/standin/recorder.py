"""Writes down what one conversation saw, as it happens, for `record.py` to read from outside."""

from __future__ import annotations

import hashlib
import json
import os
import sys
import threading
from base64 import b64encode
from pathlib import Path
from typing import Any

from standin.body import Body, Fill

LARGEST_BODY_KEPT = 64 * 1024


class Recorder:
    """One directory named connection-NNN for one conversation; several threads may write."""

    def __init__(self, records: Path) -> None:
        """Takes the next free number below records; making the directory is what claims it."""
        self._lock = threading.Lock()
        self.number = 1
        records.mkdir(parents=True, exist_ok=True)
        while not self._claim(records):
            self.number += 1
        argv = [sys.argv[0], *sys.argv[3:]]  # as the client chose it, without our "--config FILE"
        start = {"argv": argv, "environment": dict(os.environ), "pid": os.getpid()}
        self.write("start.json", json.dumps(start, indent=1).encode("utf-8"))

    def received(self, type_name: str, body: bytes) -> None:
        """Notes a message of the client."""
        self._note_frame("received", type_name, Body((body,)))

    def sent(self, type_name: str, body: Body) -> None:
        """Notes a message to the client, or bytes that are none ("raw"), before they leave."""
        self._note_frame("sent", type_name, body)

    def write(self, name: str, data: bytes) -> None:
        """Makes a file that appears with its whole content at once."""
        unfinished = self.directory / f".{name}.{threading.get_ident()}"
        unfinished.write_bytes(data)
        unfinished.rename(self.directory / name)

    def append(self, name: str, data: bytes) -> None:
        """Adds to the end of a file."""
        with self._lock, open(self.directory / name, "ab", buffering=0) as file:
            file.write(data)

    def end(self, how: str, detail: str, status: int) -> None:
        """Notes how it ended; the last thing that is written."""
        end = {"how": how, "detail": detail, "status": status}
        self.write("end.json", json.dumps(end).encode("utf-8"))

    def _claim(self, records: Path) -> bool:
        self.directory = records / f"connection-{self.number:03d}"
        try:
            self.directory.mkdir()
        except FileExistsError:
            return False
        return True

    def _note_frame(self, direction: str, type_name: str, body: Body) -> None:
        note: dict[str, Any] = {"direction": direction, "type": type_name, "length": len(body)}
        if not any(isinstance(part, Fill) for part in body.parts):
            data = body.data()
            note["sha256"] = hashlib.sha256(data).hexdigest()
            if len(data) <= LARGEST_BODY_KEPT:
                note["body"] = b64encode(data).decode("ascii")
        self.append("frames.jsonl", json.dumps(note).encode("utf-8") + b"\n")
