"""A running process as /proc shows it, and the ssh that the program started."""

from __future__ import annotations

import os
from dataclasses import dataclass
from pathlib import Path

from standin.record import PATIENCE, wait_until
from terminal_host import Conversion

SSH = "/usr/bin/ssh"


@dataclass(frozen=True)
class ObservedProcess:
    """One process. What is asked of one that has ended raises FileNotFoundError, of one that ends
    meanwhile ProcessLookupError."""

    pid: int

    @property
    def arguments(self) -> list[str]:
        """Its argument list, its name first; empty for a zombie."""
        return [part.decode() for part in self._bytes("cmdline").split(b"\0")[:-1]]

    @property
    def environment(self) -> bytes:
        """The environment it was started with, NUL behind each variable."""
        return self._bytes("environ")

    @property
    def descriptors(self) -> dict[int, str]:
        """What each of its open descriptors leads to."""
        entries = (Path("/proc") / str(self.pid) / "fd").iterdir()
        return {int(entry.name): os.readlink(entry) for entry in entries}

    @property
    def has_ended(self) -> bool:
        """Whether it runs no longer; a zombie does not."""
        status = _status_fields(self.pid)
        return status is None or status[0] == "Z"

    def wait_for_end(self) -> None:
        """Returns once it has ended; TimeoutError."""
        wait_until(lambda: self.has_ended, PATIENCE, f"the end of process {self.pid}")

    def _bytes(self, name: str) -> bytes:
        return (Path("/proc") / str(self.pid) / name).read_bytes()


def children_of(pid: int) -> list[ObservedProcess]:
    """The children of a process, zombies included."""
    numbers = [int(entry.name) for entry in Path("/proc").iterdir() if entry.name.isdecimal()]
    found = [(number, _status_fields(number)) for number in numbers]
    return [ObservedProcess(number) for number, status in found if status and status[1] == str(pid)]


def running_ssh(conversion: Conversion) -> list[ObservedProcess]:
    """The ssh children that the program has at the moment."""
    return [child for child in children_of(conversion.pid) if _is_ssh(child)]


def ssh_of(conversion: Conversion) -> ObservedProcess:
    """The program's ssh, once it runs; TimeoutError. To be asked about one that goes on running: of
    another, recorded_start.py tells."""
    found: list[ObservedProcess] = []

    def is_alone() -> bool:
        found[:] = running_ssh(conversion)
        return len(found) == 1

    wait_until(is_alone, PATIENCE, "one running ssh")
    return found[0]


def working_directory(conversion: Conversion) -> Path:
    """The program's private directory, as its ssh was told of it."""
    return Path(ssh_of(conversion).arguments[2]).parent


def _is_ssh(process: ObservedProcess) -> bool:
    try:
        return process.arguments[:1] == [SSH]
    except (FileNotFoundError, ProcessLookupError):
        return False


def _status_fields(pid: int) -> list[str] | None:
    """State, parent and what follows them in stat; the name before them may hold anything."""
    try:
        text = Path(f"/proc/{pid}/stat").read_text("utf-8", errors="replace")
    except (FileNotFoundError, ProcessLookupError):
        return None
    return text.rpartition(")")[2].split()
