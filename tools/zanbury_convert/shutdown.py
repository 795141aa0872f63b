"""Ends one running program: asks it, then SIGTERM, then force, each after its time."""

from __future__ import annotations

import signal
import time

from terminal_host import Conversion

from .interruption import StopLevel

PATIENCE = 3.0  # seconds between SIGTERM and force


class Shutdown:
    """The steps that were taken to end one conversion, in their order.

    grace: how many seconds it may go on after it was asked.
    """

    def __init__(self, grace: float) -> None:
        self._grace = grace
        self._taken = StopLevel.NONE
        self._next_at = float("inf")

    @property
    def has_begun(self) -> bool:
        """Whether the program was asked to end."""
        return self._taken is not StopLevel.NONE

    def advance(self, conversion: Conversion, level: StopLevel) -> StopLevel | None:
        """Takes the next step when one is due, and returns it. Call it many times a second."""
        if time.monotonic() >= self._next_at:
            level = max(level, StopLevel(min(self._taken + 1, StopLevel.KILL)))
        if level <= self._taken:
            return None
        if self._taken is StopLevel.NONE:
            conversion.cancel()
        self._taken = level
        if level is StopLevel.TERMINATE:
            conversion.signal(signal.SIGTERM)
        elif level is StopLevel.KILL:
            conversion.kill()
        patience = {StopLevel.CANCEL: self._grace, StopLevel.TERMINATE: PATIENCE}
        self._next_at = time.monotonic() + patience.get(level, float("inf"))
        return level

    def words(self) -> str:
        """What the last step means for whoever waits."""
        if self._taken is StopLevel.CANCEL:
            return (
                f"Asked the program to cancel; if it goes on, it is ended in {self._grace:g} "
                "seconds. Ctrl-C again ends it at once."
            )
        if self._taken is StopLevel.TERMINATE:
            return f"Ending the program; by force in {PATIENCE:g} seconds, or with Ctrl-C."
        return "Ended the program by force."
