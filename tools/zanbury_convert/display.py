"""What every way of showing a conversion has in common. Any thread may call a display."""

from __future__ import annotations

import re
from dataclasses import dataclass
from typing import Protocol

from terminal_host import StderrLine
from terminal_host.events import Event

from .ending import Ending
from .jobs import Job
from .printable import printable


@dataclass(frozen=True)
class Tally:
    """What has become of all the files of a call."""

    converted: int = 0
    failed: int = 0
    skipped: int = 0
    seconds: float = 0.0
    status: int = 0
    is_dry: bool = False  # nothing was converted, only checked

    @property
    def words(self) -> str:
        """The summary."""
        good = "can be converted" if self.is_dry else "converted"
        parts = [f"{self.converted} {good}", f"{self.failed} failed"]
        parts += [f"{self.skipped} skipped"] if self.skipped else []
        return f"{', '.join(parts)}, {self.seconds:.1f} s."


class Display(Protocol):
    """Shows conversions, each from `begin` to `end`; then a summary, if there are several."""

    def begin(self, job: Job) -> None:
        """A file is begun."""

    def connect(self, job: Job, server: str | None, number: int, rounds: float) -> None:
        """The program tries a server (None: not known which), in the round of that number."""

    def show(self, job: Job, event: Event) -> None:
        """Shows what the program reports."""

    def line(self, job: Job, line: StderrLine) -> None:
        """Shows a line that `show` has had to whoever did not want all lines."""

    def notice(self, job: Job, kind: str, words: str) -> None:
        """Shows what the host itself does or finds."""

    def end(self, job: Job, ending: Ending) -> None:
        """Shows how a file ended."""

    def summary(self, tally: Tally) -> None:
        """Shows what has become of all files."""

    def close(self) -> None:
        """Gives the terminal back. Twice does no harm."""


def kind_of(title: str | None) -> str:
    """What stays the same in the titles of a countdown: they are one section to the eye."""
    return re.sub(r"\d+ second(?!s)", "# seconds", re.sub(r"\d+ seconds", "# seconds", title or ""))


def words_of(job: Job, ending: Ending) -> list[str]:
    """The lines that tell a person how a file ended."""
    lines = [printable(line, 1000) for line in ending.reason.split("\n")]
    if ending.result is not None and ending.size is not None:
        lines.append(f"Result: {printable(str(ending.result))} ({ending.size:,} bytes)")
    if ending.logs is not None:
        lines.append(f"Logs:   {printable(str(ending.logs))}")
    return lines + ([printable(ending.advice, 1000)] if ending.advice else [])


def server_words(server: str | None, number: int, rounds: float) -> str:
    """The server in use, and the round when it is not the first."""
    name = server or "one of the servers"
    if number == 1:
        return name
    of_all = "" if rounds == float("inf") else f" of {rounds:g}"
    return f"{name} (round {number}{of_all})"
