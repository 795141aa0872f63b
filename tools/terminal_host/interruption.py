"""What Ctrl-C does to a running conversion: first a cancel, then an end.

SIGTERM and SIGHUP count like Ctrl-C: whoever ends the host wants the program gone, too.
"""

from __future__ import annotations

import signal
import time
from enum import Enum
from types import FrameType

from .conversion import Conversion

PATIENCE = 3.0  # seconds between the request to end and force


class Step(Enum):
    """How far the wish to stop has gone."""

    NONE = 0
    CANCEL = 1  # a byte into the input FIFO: the program tells the server and ends by itself
    TERMINATE = 2  # SIGTERM: it still removes its private files
    KILL = 3  # SIGKILL


class Interruption:
    """Counts signals while it is entered. `attend` acts on them outside the signal handler."""

    def __init__(self) -> None:
        self._count = 0
        self._step = Step.NONE
        self._deadline = float("inf")

    def __enter__(self) -> Interruption:
        self._former = {number: signal.signal(number, self._take) for number in _SIGNALS}
        return self

    def __exit__(self, *_: object) -> None:
        for number, handler in self._former.items():
            signal.signal(number, handler)

    @property
    def step(self) -> Step:
        """The last step taken."""
        return self._step

    def attend(self, conversion: Conversion) -> Step | None:
        """Takes the next step when one is due, and gives it. Call it a few times a second."""
        if time.monotonic() > self._deadline:
            self._count = max(self._count, Step.KILL.value)
        wanted = min(self._count, Step.KILL.value)
        if wanted == self._step.value:
            return None
        self._step = Step(self._step.value + 1)
        if self._step is Step.CANCEL:
            conversion.cancel()
        elif self._step is Step.TERMINATE:
            self._deadline = time.monotonic() + PATIENCE
            conversion.signal(signal.SIGTERM)
        else:
            conversion.kill()
        return self._step

    def _take(self, number: int, frame: FrameType | None) -> None:
        self._count += 1


_SIGNALS = (signal.SIGINT, signal.SIGTERM, signal.SIGHUP)
