"""Shows a running conversion without a live terminal: as plain lines or as JSON lines."""

from __future__ import annotations

import base64
import json
import re
import sys
from dataclasses import dataclass
from typing import Any, Protocol

from .events import Event, Exit, Message, Raw, Section, Status, StderrLine
from .shown import shown

_STEP = 25  # per cent between two plain lines of a section


@dataclass(frozen=True)
class Ending:
    """How a conversion ended: the status for the shell, what was delivered, and that in words."""

    status: int
    result: str | None
    logs: str | None
    words: tuple[str, ...]


class Display(Protocol):
    """Shows the events of one conversion, in order, then its ending. Leave it by `close`."""

    def show(self, event: Event) -> None:
        """Shows what the program reports."""

    def notice(self, kind: str, words: str) -> None:
        """Shows what the host itself does."""

    def end(self, ending: Ending) -> None:
        """Shows how it ended."""

    def close(self) -> None:
        """Gives the terminal back."""


def kind_of(title: str | None) -> str:
    """What stays the same in the titles of a countdown: they are one section to the eye."""
    return re.sub(r"\d+ second(?!s)", "# seconds", re.sub(r"\d+ seconds", "# seconds", title or ""))


class PlainDisplay:
    """One line for each new section, and for each quarter of one that has a maximum."""

    def __init__(self) -> None:
        self._section: tuple[str, int] | None = None
        self._title = ""
        self._step = 0

    def show(self, event: Event) -> None:
        if isinstance(event, Section):
            self._begin(event)
        elif isinstance(event, Status):
            self._advance(event)
        elif isinstance(event, StderrLine):
            print(shown(event.text), file=sys.stderr, flush=True)
        elif isinstance(event, Raw):
            self._line(event.at, f"(bytes that are no message: {shown(repr(event.data), 60)})")

    def notice(self, kind: str, words: str) -> None:
        print(words, flush=True)

    def end(self, ending: Ending) -> None:
        print(*ending.words, sep="\n", flush=True)

    def close(self) -> None:
        pass

    def _begin(self, section: Section) -> None:
        same = (kind_of(section.title), section.maximum)
        if same != self._section:
            self._section, self._step = same, 0
            self._title = shown(section.title or "Working...")
            self._line(section.at, self._title)

    def _advance(self, status: Status) -> None:
        maximum = self._section[1] if self._section else 0
        step = min(100, 100 * status.value // maximum) // _STEP if maximum else 0
        if step > self._step:
            self._step = step
            self._line(status.at, f"{self._title} {step * _STEP} %")

    def _line(self, at: float, text: str) -> None:
        print(f"{at:7.1f} s  {text}", flush=True)


class JsonDisplay:
    """One JSON object a line on standard output: "event", and "at" (seconds) for what the program
    has said."""

    def show(self, event: Event) -> None:
        if not isinstance(event, Exit):
            self._write({**_fields(event), "at": round(event.at, 3)})

    def notice(self, kind: str, words: str) -> None:
        self._write({"event": kind, "words": words})

    def end(self, ending: Ending) -> None:
        values = {"status": ending.status, "result": ending.result, "logs": ending.logs}
        self._write({"event": "exit", **values})

    def close(self) -> None:
        pass

    @staticmethod
    def _write(values: dict[str, Any]) -> None:
        print(json.dumps(values), flush=True)


def _fields(event: Event) -> dict[str, Any]:
    match event:
        case Section(title, maximum):
            return {"event": "section", "title": title, "max": maximum}
        case Status(value):
            return {"event": "status", "value": value}
        case Message(content):
            return {"event": "message", "content": json.loads(json.dumps(content, default=str))}
        case Raw(data, reason):
            return {"event": "raw", "base64": base64.b64encode(data).decode(), "reason": reason}
        case StderrLine(text):
            return {"event": "stderr", "line": text}
        case Exit(status):
            return {"event": "exit", "status": status}
