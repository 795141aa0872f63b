"""The moving lines of a terminal, as text for any width: what changes is never cut off.

One file has two lines: what is done and how far, and below it the server and the time. Of several
files each has one line, and a last one counts them.
"""

from __future__ import annotations

import re
from dataclasses import dataclass

_LONGEST_BAR = 30  # columns
_SHORTEST_BAR = 10
_SPINNER = "⠋⠙⠹⠸⠼⠴⠦⠧⠇⠏"
_SIMPLE_SPINNER = "|/-\\"


@dataclass
class Row:
    """How far one file is, as the screen shows it. Times are those of one clock, in seconds."""

    name: str
    began: float
    title: str = "Starting..."
    value: int = 0
    maximum: int = 0  # 0 = not told
    server: str = ""
    section_began: float = 0.0

    @property
    def share(self) -> float | None:
        """How much of the maximum is done, 0 to 1."""
        return min(1.0, self.value / self.maximum) if self.maximum else None


@dataclass(frozen=True)
class TerminalStyle:
    """What a terminal can show: columns, and whether it knows more than ASCII."""

    width: int
    is_rich: bool = True

    def bar(self, share: float, width: int) -> str:
        """A bar of that width."""
        full = int(share * width)
        return ("━" if self.is_rich else "=") * full + ("─" if self.is_rich else ".") * (
            width - full
        )

    def spinner(self, now: float) -> str:
        """One column that moves ten times a second."""
        frames = _SPINNER if self.is_rich else _SIMPLE_SPINNER
        return frames[int(now * 10) % len(frames)]

    def elided(self, text: str, room: int) -> str:
        """The text within that room, cut in the middle; its last number is kept."""
        if len(text) <= room:
            return text
        if room <= 0:
            return ""
        dots = "…" if self.is_rich else ".."
        numbers = [match.start() for match in re.finditer(r"(?<![0-9])[0-9]", text)]
        tail = (room - len(dots)) // 2
        if numbers and len(text) - numbers[-1] <= room - len(dots) - 4:
            tail = max(tail, len(text) - numbers[-1])
        head = max(0, room - len(dots) - tail)
        return text[:head] + dots + text[len(text) - tail :] if tail > 0 else text[:room]


def lines_of_one(row: Row, style: TerminalStyle, now: float) -> list[str]:
    """The two lines of a call with one file."""
    share = row.share
    right = "" if share is None else f" {int(100 * share):3d} %"
    room = style.width - 3 - len(right)
    title = style.elided(row.title, room)
    width = min(_LONGEST_BAR, room - len(title) - 1)
    bar = f" {style.bar(share, width)}" if share is not None and width >= _SHORTEST_BAR else ""
    elapsed = clock(now - row.began)
    server = style.elided(row.server, style.width - 5 - len(elapsed))
    below = f"{server}  {elapsed}" if server else elapsed
    return [f"{style.spinner(now)} {title}{bar}{right}", f"  {below}"]


def lines_of_several(
    rows: list[Row], counted: str, began: float, style: TerminalStyle, now: float
) -> list:
    """A line for each file at work, and the count of all."""
    return [
        *(_line(row, style, now) for row in rows),
        f"  {style.elided(counted, style.width - 10)}  {clock(now - began)}",
    ]


def _line(row: Row, style: TerminalStyle, now: float) -> str:
    share = row.share
    right = "" if share is None else f" {int(100 * share):3d} %"
    name = style.elided(row.name, max(10, style.width // 3))
    title = style.elided(row.title, max(8, style.width - 5 - len(name) - len(right)))
    return f"{style.spinner(now)} {name}  {title}{right}"


def clock(seconds: float) -> str:
    """A time as 0:07 or 1:02:03."""
    minutes, second = divmod(int(seconds), 60)
    hours, minute = divmod(minutes, 60)
    return f"{hours}:{minute:02d}:{second:02d}" if hours else f"{minute}:{second:02d}"
