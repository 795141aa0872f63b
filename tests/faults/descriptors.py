"""How many descriptors a running program has open, looked at again and again until it ends."""

from __future__ import annotations

import os
import threading
from pathlib import Path

_POLL_SECONDS = 0.01
_PF_EXITING = 4  # of the flags in /proc/PID/stat


class DescriptorCount:
    """Counts the open descriptors of a process from now to its end, in a thread of its own."""

    # Open at any time in a conversion without faults: 21, or 25 in the middle of a delivery, which
    # holds the directories on its way, and one for good measure.
    MOST = 26

    def __init__(self, pid: int) -> None:
        self.last = 0  # at the last look before it began to end; 0 where we may not look
        self.peak = 0
        self._process = Path(f"/proc/{pid}")
        self._ended = threading.Event()
        threading.Thread(target=self._watch, name="descriptors", daemon=True).start()

    def stop(self) -> None:
        """No more looks: the process has ended."""
        self._ended.set()

    def _watch(self) -> None:
        while not self._ended.wait(_POLL_SECONDS):
            try:
                count = len(os.listdir(self._process / "fd"))
                if self._is_ending():  # and closes one after the other
                    return
            except OSError:
                return
            self.last, self.peak = count, max(self.peak, count)

    def _is_ending(self) -> bool:
        fields = (self._process / "stat").read_text("utf-8", "replace").rpartition(")")[2].split()
        return int(fields[6]) & _PF_EXITING != 0
