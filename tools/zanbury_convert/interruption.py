"""Requests to stop: what Ctrl-C and its kin ask of all conversions of this call.

Ctrl-C asks, a second one ends, a third one kills. SIGTERM, SIGHUP and SIGQUIT end at once: whoever
sends them does not wait.
"""

from __future__ import annotations

import signal
from enum import IntEnum
from types import FrameType


class StopLevel(IntEnum):
    """How far a stop must go."""

    NONE = 0
    CANCEL = 1  # a byte into the input FIFO: the program tells the server and ends by itself
    TERMINATE = 2  # SIGTERM: it still removes its private files
    KILL = 3  # SIGKILL


class Interruption:
    """Takes signals while it is entered, in the main thread. Any thread may read the level."""

    def __init__(self) -> None:
        self._level = StopLevel.NONE
        self._first: int | None = None
        self._former: dict[int, object] = {}

    def __enter__(self) -> Interruption:
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT):
            # What is ignored at the start (nohup) stays ignored.
            if signal.getsignal(number) is not signal.SIG_IGN:
                self._former[number] = signal.signal(number, self._take)
        return self

    def __exit__(self, *_: object) -> None:
        for number, handler in self._former.items():
            signal.signal(number, handler)  # type: ignore[arg-type]

    @property
    def level(self) -> StopLevel:
        """The highest level asked for so far."""
        return self._level

    @property
    def status(self) -> int:
        """The exit status that tells of the first signal."""
        return 128 + (self._first or signal.SIGINT)

    def demand_end(self) -> None:
        """The same as SIGTERM, for a reason of our own."""
        self._level = max(self._level, StopLevel.TERMINATE)

    def _take(self, number: int, frame: FrameType | None) -> None:
        self._first = self._first or number
        if number == signal.SIGINT:
            self._level = StopLevel(min(self._level + 1, StopLevel.KILL))
        else:
            self._level = max(self._level, StopLevel.TERMINATE)
