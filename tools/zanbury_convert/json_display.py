"""Shows conversions as JSON, one event a line on standard output.

Every line has "version", "event" and, where a file is meant, "source". The events and their values
are described in docs/convert-events.schema.json.
"""

from __future__ import annotations

import base64
import json
import sys
import threading
from pathlib import Path
from typing import Any

from terminal_host import Exit, Message, Raw, Section, Status, StderrLine
from terminal_host.events import Event

from . import EVENT_VERSION
from .display import Tally
from .ending import Ending
from .jobs import Job


class JsonDisplay:
    """One object a line, complete lines only."""

    def __init__(self) -> None:
        self._lock = threading.Lock()

    def begin(self, job: Job) -> None:
        self._write("begin", job, {"output": _text(job.output)})

    def connect(self, job: Job, server: str | None, number: int, rounds: float) -> None:
        of_all = None if rounds == float("inf") else int(rounds)
        self._write("connect", job, {"server": server, "round": number, "rounds": of_all})

    def show(self, job: Job, event: Event) -> None:
        if not isinstance(event, Exit):
            kind, values = _fields(event)
            self._write(kind, job, {"at": round(event.at, 3), **values})

    def line(self, job: Job, line: StderrLine) -> None:
        pass

    def notice(self, job: Job, kind: str, words: str) -> None:
        self._write(kind, job, {"words": words})

    def end(self, job: Job, ending: Ending) -> None:
        self._write("end", job, end_values(ending))

    def summary(self, tally: Tally) -> None:
        counts = {"converted": tally.converted, "failed": tally.failed, "skipped": tally.skipped}
        values = {**counts, "seconds": round(tally.seconds, 3), "status": tally.status}
        self._write("summary", None, values)

    def refuse(self, ending: Ending) -> None:
        """Tells of an ending before any file was begun."""
        self._write("end", None, end_values(ending))

    def close(self) -> None:
        pass

    def _write(self, event: str, job: Job | None, values: dict[str, Any]) -> None:
        head: dict[str, Any] = {"version": EVENT_VERSION, "event": event}
        if job is not None:
            head["source"] = _text(job.source)
        with self._lock:
            print(json.dumps(head | values), file=sys.stdout, flush=True)


def end_values(ending: Ending) -> dict[str, Any]:
    """All that is to be said about the end of a file."""
    return {
        "code": ending.code.word,
        "status": ending.status,
        "reason": ending.reason,
        "advice": ending.advice,
        "result": _text(ending.result),
        "bytes": ending.size,
        "logs": _text(ending.logs),
        "seconds": round(ending.seconds, 3),
    }


def _text(path: Path | None) -> str | None:
    return None if path is None else str(path).encode(errors="replace").decode()


def _fields(event: Event) -> tuple[str, dict[str, Any]]:
    match event:
        case Section(title, maximum):
            return "section", {"title": title, "max": maximum}
        case Status(value):
            return "status", {"value": value}
        case Message(content):
            return "message", {"content": json.loads(json.dumps(content, default=str))}
        case Raw(data, reason):
            return "raw", {"base64": base64.b64encode(data).decode(), "reason": reason}
        case StderrLine(text):
            return "stderr", {"line": text}
    raise AssertionError(f"not an event: {event}")
