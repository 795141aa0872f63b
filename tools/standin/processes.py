"""A process and all that came of it, ended for good: sshd puts each connection beyond its group."""

from __future__ import annotations

import os
import signal
import time
from dataclasses import dataclass
from pathlib import Path
from typing import Iterable

_POLL_SECONDS = 0.01
_STOPPED_STATES = "TZ"
_STOP_SECONDS = 60.0


@dataclass(frozen=True)
class Process:
    """One process as the kernel describes it; `started` tells it from a later one of its number."""

    pid: int
    name: str
    state: str
    parent: int
    started: int

    @classmethod
    def find(cls, pid: int) -> Process | None:
        """The process of that number, if there is one."""
        try:
            text = Path(f"/proc/{pid}/stat").read_text("utf-8", errors="replace")
        except OSError:
            return None
        # The name may hold blanks and parentheses; all that follows its last one does not.
        name, _, rest = text.partition("(")[2].rpartition(")")
        fields = rest.split()
        return cls(pid, name, fields[0], int(fields[1]), int(fields[19]))

    @property
    def is_running(self) -> bool:
        """Whether it is still there and more than an entry that nobody has reaped."""
        now = Process.find(self.pid)
        return now is not None and now.started == self.started and now.state != "Z"

    def signal(self, number: signal.Signals) -> None:
        """Sends it a signal, if it is still there."""
        if self.is_running:
            try:
                os.kill(self.pid, number)
            except ProcessLookupError:
                pass


def freeze(pid: int) -> None:
    """Stops a child, so that it begets nothing more."""
    os.kill(pid, signal.SIGSTOP)
    deadline = time.monotonic() + _STOP_SECONDS
    while time.monotonic() < deadline:
        process = Process.find(pid)
        if process is None or process.state in _STOPPED_STATES:
            return
        time.sleep(_POLL_SECONDS)


def descendants(pid: int) -> list[Process]:
    """All processes that come of this one."""
    numbers = [int(path.name) for path in Path("/proc").iterdir() if path.name.isdigit()]
    everyone = [process for number in numbers if (process := Process.find(number))]
    found, parents = list[Process](), {pid}
    while children := [item for item in everyone if item.parent in parents]:
        found += children
        parents = {child.pid for child in children}
    return found


def wait_for_ends(processes: Iterable[Process], seconds: float) -> list[Process]:
    """Waits until all have ended; returns those that have not in that time."""
    deadline = time.monotonic() + seconds
    while remaining := [process for process in processes if process.is_running]:
        if time.monotonic() > deadline:
            break
        time.sleep(_POLL_SECONDS)
    return remaining
