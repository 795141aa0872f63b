"""All that a conversion has reported so far. The listener's thread writes it, others read."""

from __future__ import annotations

import threading
import time
from collections.abc import Callable, Sequence
from dataclasses import replace
from typing import TypeVar

from .errors import EndedEarly
from .events import Event, Exit
from .outcome import Outcome, report_of

Found = TypeVar("Found")


class Record:
    """The history of one conversion, and the means to wait for its next entry."""

    def __init__(self, keep_history: bool) -> None:
        self._changed = threading.Condition()  # its lock is taken again by the same thread at will
        self._keep_history = keep_history
        self._events: list[Event] = []
        self._forgotten = 0  # events given to `follow` and dropped
        self._fifo_bytes = bytearray()
        self._stderr = bytearray()
        self._stdout = bytearray()
        self._outcome: Outcome | None = None
        self._started = time.monotonic()

    def now(self) -> float:
        """Seconds since the start."""
        return time.monotonic() - self._started

    def add(self, events: Sequence[Event], *, fifo=b"", stderr=b"", stdout=b"") -> None:
        """Enters events, which get the present time, and the bytes that they were made from."""
        at = self.now()
        with self._changed:
            self._events += [replace(event, at=at) for event in events]
            if self._keep_history:
                self._fifo_bytes += fifo
                self._stderr += stderr
                self._stdout += stdout
            self._changed.notify_all()

    def finish(
        self,
        *,
        status: int,
        duration: float,
        stderr_closed: bool,
        leftovers: Sequence[str],
        pid: int,
        flags: tuple[tuple[int, ...], tuple[int, ...]],
    ) -> None:
        """Enters the end and makes the outcome of it all; nothing is entered afterwards."""
        with self._changed:
            self.add([Exit(status)])
            self._outcome = Outcome(
                status=status,
                events=self.events,
                fifo_bytes=self.fifo_bytes,
                stderr=self.stderr,
                stdout=bytes(self._stdout),
                duration=duration,
                stderr_closed=stderr_closed,
                leftovers=tuple(leftovers),
                pid=pid,
                flags_before=flags[0],
                flags_after=flags[1],
            )
            self._changed.notify_all()

    @property
    def outcome(self) -> Outcome | None:
        """None until the program has ended and all that it wrote is entered."""
        return self._outcome

    @property
    def events(self) -> tuple[Event, ...]:
        """All events so far (without those that are forgotten)."""
        with self._changed:
            return tuple(self._events)

    def events_from(self, number: int) -> list[Event]:
        """The events from that number on, 0 the first (of those that are not forgotten)."""
        with self._changed:
            return self._events[max(0, number - self._forgotten) :]

    @property
    def fifo_bytes(self) -> bytes:
        """All bytes of the output FIFO so far."""
        with self._changed:
            return bytes(self._fifo_bytes)

    @property
    def stderr(self) -> bytes:
        """All bytes of standard error so far."""
        with self._changed:
            return bytes(self._stderr)

    def next_event(self, number: int, timeout: float | None) -> Event | None:
        """The event of that number, 0 the first, once it is there; None when time is up."""
        with self._changed:
            self._changed.wait_for(lambda: number - self._forgotten < len(self._events), timeout)
            index = number - self._forgotten
            if index >= len(self._events):
                return None
            event = self._events[index]
            if not self._keep_history:
                del self._events[: index + 1]
                self._forgotten = number + 1
            return event

    def wait(self, condition: Callable[[], Found | None], timeout: float, aim: str) -> Found:
        """What `condition` gives once that is true; it is asked again after every change.

        Raises EndedEarly when the program has ended without it, TimeoutError after `timeout`
        seconds; `aim` is what the message calls it.
        """
        deadline = time.monotonic() + timeout
        with self._changed:
            while not (found := condition()):
                if self._outcome is not None:
                    raise EndedEarly(f"the program ended before {aim}\n{self._outcome.report()}")
                if not self._changed.wait(max(0.0, deadline - time.monotonic())):
                    if found := condition():
                        return found
                    picture = report_of(self.events, self.stderr)
                    raise TimeoutError(f"{aim}: not within {timeout:g} s\n{picture}")
            return found
