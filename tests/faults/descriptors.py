"""How many descriptors a running program has open, looked at again and again until it ends."""

from __future__ import annotations

import os
import threading

_POLL_SECONDS = 0.01


class DescriptorCount:
    """Counts the open descriptors of a process from now to its end, in a thread of its own."""

    MOST = 22  # open at any time in a conversion without faults: 21, and one for good measure

    def __init__(self, pid: int) -> None:
        self.last = 0  # at the last look at the living process; 0 where we may not look
        self.peak = 0
        self._directory = f"/proc/{pid}/fd"
        self._ended = threading.Event()
        threading.Thread(target=self._watch, name="descriptors", daemon=True).start()

    def stop(self) -> None:
        """No more looks: the process has ended."""
        self._ended.set()

    def _watch(self) -> None:
        while not self._ended.wait(_POLL_SECONDS):
            try:
                count = len(os.listdir(self._directory))
            except (OSError, ValueError):
                return
            # A process that is about to go has none any more.
            if count:
                self.last, self.peak = count, max(self.peak, count)
