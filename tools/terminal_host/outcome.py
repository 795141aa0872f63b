"""What a conversion has come to, once its program has ended."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import dataclass

from .events import Event, Raw, Section, Status


@dataclass(frozen=True)
class Outcome:
    """All that one run of the program gave; the bytes are exactly those that it wrote."""

    status: int  # negative: ended by the signal of that number
    events: tuple[Event, ...]
    fifo_bytes: bytes
    stderr: bytes
    stdout: bytes
    duration: float  # seconds from start to end of the program
    stderr_closed: bool  # False: another process still held standard error after the grace
    leftovers: tuple[str, ...]  # names found in TMPDIR after the end, sorted
    pid: int  # which it had
    flags_before: tuple[int, ...]  # status flags of standard input, output and error; the host
    flags_after: tuple[int, ...]  # shares them with the program, which must leave them as they were

    @property
    def stderr_text(self) -> str:
        """Standard error as text; what is no UTF-8 is replaced."""
        return self.stderr.decode(errors="replace")

    @property
    def sections(self) -> tuple[Section, ...]:
        """The sections, in order, repeated ones included."""
        return tuple(event for event in self.events if isinstance(event, Section))

    @property
    def titles(self) -> tuple[str | None, ...]:
        """The titles of all sections, in order."""
        return tuple(section.title for section in self.sections)

    @property
    def statuses(self) -> tuple[int, ...]:
        """The values of all statuses, in order."""
        return tuple(event.value for event in self.events if isinstance(event, Status))

    @property
    def raw(self) -> bytes:
        """All bytes of the FIFO that are not a message, joined."""
        return b"".join(event.data for event in self.events if isinstance(event, Raw))

    def report(self) -> str:
        """All of it as text, for the message of an assertion."""
        return (
            f"status {self.status} after {self.duration:.3f} s, "
            f"left in TMPDIR: {', '.join(self.leftovers) or 'nothing'}\n"
            + report_of(self.events, self.stderr)
        )


def report_of(events: Sequence[Event], stderr: bytes) -> str:
    """Events and standard error, one a line, with their times."""
    lines = [f"  {event.at:7.3f} s  {event}" for event in events]
    text = stderr.decode(errors="replace").rstrip("\n")
    return "\n".join(["events:", *(lines or ["  none"]), "standard error:", text or "  nothing"])
