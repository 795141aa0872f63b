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
class Relative:
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


def everyone() -> list[Relative]:
    """All processes at the moment."""
    numbers = [entry for entry in os.listdir("/proc") if entry.isdecimal()]
    return [found for number in numbers if (found := _relative(int(number)))]


def survivors_of(session: int, known: set[int], grace: float) -> list[Relative]:
    """The living processes of a session whose leader, the program, has ended, and children that
    this process has come to otherwise (neither `known` nor of an sshd), after `grace` seconds at
    most. What is dead and was handed to this process is reaped."""
    deadline = time.monotonic() + grace
    while True:
        _reap_orphans(session)
        living = [relative for relative in _strays(session, known) if relative.state not in "ZX"]
        if not living or time.monotonic() > deadline:
            return living
        time.sleep(_POLL_SECONDS)


def children() -> set[int]:
    """The children that this process has at the moment."""
    return {relative.pid for relative in everyone() if relative.parent == os.getpid()}


def _strays(session: int, known: set[int]) -> list[Relative]:
    own = os.getpid()
    return [
        relative
        for relative in everyone()
        if relative.pid not in known
        and (relative.session == session or (relative.parent == own and not relative.is_of_sshd))
    ]


def _reap_orphans(session: int) -> None:
    for relative in everyone():
        is_orphan = relative.parent == os.getpid() and relative.session == session
        if is_orphan and relative.pid != session and relative.state == "Z":
            os.waitpid(relative.pid, os.WNOHANG)


def _relative(pid: int) -> Relative | None:
    try:
        text = Path(f"/proc/{pid}/stat").read_text("utf-8", errors="replace")
    except (FileNotFoundError, ProcessLookupError):
        return None
    name, _, rest = text.partition("(")[2].rpartition(")")
    fields = rest.split()
    return Relative(pid, name, fields[0], int(fields[1]), int(fields[3]))
