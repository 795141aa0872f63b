"""The resources of a running program at one moment: descriptors, children, files and memory."""

from __future__ import annotations

import os
import signal
from dataclasses import dataclass
from pathlib import Path

from observed_process import children_of
from standin.record import wait_until
from terminal_host import Conversion


@dataclass(frozen=True)
class ResourceSnapshot:
    """All of it but the memory, so that two moments can be compared."""

    descriptors: tuple[str, ...]  # the kinds of what they lead to
    children: int  # zombies included
    files: tuple[str, ...]  # below its TMPDIR

    @classmethod
    def of(cls, conversion: Conversion) -> ResourceSnapshot:
        """Looks into /proc and TMPDIR."""
        entries = (Path("/proc") / str(conversion.pid) / "fd").iterdir()
        targets = [os.readlink(entry).partition("/ZanburyToolProxy.")[0] for entry in entries]
        return cls(
            descriptors=tuple(sorted(target.partition(":[")[0] for target in targets)),
            children=len(children_of(conversion.pid)),
            files=tuple(sorted(path.name for path in conversion.temporary_directory.rglob("*"))),
        )


def in_a_pause(conversion: Conversion, patience: float) -> tuple[ResourceSnapshot, int]:
    """What it holds, and how many bytes are resident, when it waits and has no child: between two
    rounds of attempts. It is stopped for the look, so that all that is seen belongs together."""
    found: list[tuple[ResourceSnapshot, int]] = []

    def look() -> bool:
        if not _waits(conversion) or children_of(conversion.pid):
            return False
        conversion.signal(signal.SIGSTOP)
        try:
            seen = ResourceSnapshot.of(conversion)
            found.append((seen, _resident(conversion)))
            return seen.children == 0
        finally:
            conversion.signal(signal.SIGCONT)

    wait_until(look, patience, "a pause without a child")
    return found[-1]


def _waits(conversion: Conversion) -> bool:
    return "poll" in Path(f"/proc/{conversion.pid}/wchan").read_text()


def _resident(conversion: Conversion) -> int:
    lines = Path(f"/proc/{conversion.pid}/status").read_text().splitlines()
    [line] = [line for line in lines if line.startswith("VmRSS:")]
    return int(line.split()[1]) * 1024
