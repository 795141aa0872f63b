"""What a running conversion tells its host, one frozen dataclass for each kind.

`at` is the time in seconds since the program's start. It takes no part in comparisons, so that an
event can be compared with a literal.
"""

from __future__ import annotations

from dataclasses import dataclass, field
from typing import Any, Union


@dataclass(frozen=True)
class Section:
    """A new step of the work: its title, and the value at which it is complete (0 = not told)."""

    title: str | None
    maximum: int = 0
    at: float = field(default=0.0, compare=False, repr=False)


@dataclass(frozen=True)
class Status:
    """How far the current section is, in the unit of its maximum."""

    value: int
    at: float = field(default=0.0, compare=False, repr=False)


@dataclass(frozen=True)
class Message:
    """A property list on the FIFO that is neither a section nor a status."""

    content: dict[str, Any]
    at: float = field(default=0.0, compare=False, repr=False)


@dataclass(frozen=True)
class Raw:
    """Bytes on the FIFO that are not a message, and why not."""

    data: bytes
    reason: str = field(default="", compare=False)
    at: float = field(default=0.0, compare=False, repr=False)


@dataclass(frozen=True)
class StderrLine:
    """One line of the program's standard error (ssh writes there too), without its line feed."""

    text: str
    at: float = field(default=0.0, compare=False, repr=False)


@dataclass(frozen=True)
class Exit:
    """The end of the program, always the last event. A negative status is a signal's number."""

    status: int
    at: float = field(default=0.0, compare=False, repr=False)


FifoEvent = Union[Section, Status, Message, Raw]
Event = Union[Section, Status, Message, Raw, StderrLine, Exit]
