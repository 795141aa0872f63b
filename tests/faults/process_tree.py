"""The processes that come of the program, also those that have lost their parent."""

from __future__ import annotations

import ctypes
import os
import signal
import time
from dataclasses import dataclass
from pathlib import Path

_PR_SET_PDEATHSIG = 1
_PR_SET_CHILD_SUBREAPER = 36
_POLL_SECONDS = 0.02


def become_subreaper() -> None:
    """From now on orphans among this process's descendants become its own children (prctl(2))."""
    libc = ctypes.CDLL(None, use_errno=True)
    if libc.prctl(_PR_SET_CHILD_SUBREAPER, 1, 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "prctl")


def die_with_parent() -> None:
    """From now on this process gets SIGTERM when the thread that started it ends (prctl(2))."""
    ctypes.CDLL(None).prctl(_PR_SET_PDEATHSIG, signal.SIGTERM)


@dataclass(frozen=True)
class ProcessEntry:
    """A process as /proc shows it: what it is called, its state's letter and where it belongs."""

    pid: int
    name: str
    state: str
    parent: int
    session: int

    @property
    def is_of_sshd(self) -> bool:
        """Whether it belongs to the server's side: sshd itself, or what was started by it."""
        if self.name.startswith("sshd"):
            return True
        try:
            return b"SSH_CONNECTION=" in Path(f"/proc/{self.pid}/environ").read_bytes()
        except OSError:
            return False

    def __str__(self) -> str:
        return f"{self.pid} {self.name} ({self.state}, child of {self.parent})"


def all_processes() -> list[ProcessEntry]:
    """All processes at the moment."""
    numbers = [entry for entry in os.listdir("/proc") if entry.isdecimal()]
    return [found for number in numbers if (found := _entry(int(number)))]


def survivors_of(session: int, known: set[int], grace: float) -> list[ProcessEntry]:
    """The living processes of a session whose leader, the program, has ended, and children that
    this process has come to otherwise (neither `known` nor of an sshd), after `grace` seconds at
    most. What is dead and was handed to this process is reaped."""
    deadline = time.monotonic() + grace
    while True:
        _reap_orphans(session)
        living = [process for process in _strays(session, known) if process.state not in "ZX"]
        if not living or time.monotonic() > deadline:
            return living
        time.sleep(_POLL_SECONDS)


def children() -> set[int]:
    """The children that this process has at the moment."""
    return {process.pid for process in all_processes() if process.parent == os.getpid()}


def _strays(session: int, known: set[int]) -> list[ProcessEntry]:
    own = os.getpid()
    return [
        process
        for process in all_processes()
        if process.pid not in known
        and (process.session == session or (process.parent == own and not process.is_of_sshd))
    ]


def _reap_orphans(session: int) -> None:
    for process in all_processes():
        is_orphan = process.parent == os.getpid() and process.session == session
        if is_orphan and process.pid != session and process.state == "Z":
            os.waitpid(process.pid, os.WNOHANG)


def _entry(pid: int) -> ProcessEntry | None:
    try:
        text = Path(f"/proc/{pid}/stat").read_text("utf-8", errors="replace")
    except (FileNotFoundError, ProcessLookupError):
        return None
    name, _, rest = text.partition("(")[2].rpartition(")")
    fields = rest.split()
    return ProcessEntry(pid, name, fields[0], int(fields[1]), int(fields[3]))
