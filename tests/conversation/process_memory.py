"""What stands in the memory of a running process, and a program that stands still at its very end."""

from __future__ import annotations

import contextlib
import io
import platform
import shutil
from collections.abc import Iterator, Mapping
from pathlib import Path

from host_harness import HostHarness
from standin.record import PATIENCE, wait_until
from terminal_host import Conversion
from wrapped_program import in_shell

_EXIT_GROUP = {"x86_64": 231, "aarch64": 94}
_OF_THE_KERNEL = ("[vvar", "[vdso", "[vsyscall")

STRACE = shutil.which("strace")
WHY_NOT = "strace is not installed, or not known how to use on this processor"
CAN_STAND_STILL = STRACE is not None and platform.machine() in _EXIT_GROUP


def standing_still_at_exit(program: Path, directory: Path) -> Path:
    """A script that becomes the program, which then stands still when all that it does is done."""
    calls = "-e trace=exit_group -e inject=exit_group:delay_enter=3600000000"
    return in_shell(program, directory, before=f"{STRACE} -D -qq -o /dev/null {calls}")


@contextlib.contextmanager
def at_its_end(harness: HostHarness, conversion: Conversion) -> Iterator[int]:
    """The process id of the program once it stands there; it is killed behind it."""
    call = Path(f"/proc/{conversion.pid}/syscall")
    number = f"{_EXIT_GROUP[platform.machine()]} "
    wait_until(lambda: call.read_text("ascii").startswith(number), PATIENCE, "the end")
    try:
        yield conversion.pid
    finally:
        conversion.kill()


def found_in_memory(pid: int, needles: Mapping[str, bytes]) -> set[str]:
    """The names of the byte strings that stand anywhere in the memory of the process."""
    found: set[str] = set()
    with open(f"/proc/{pid}/mem", "rb", buffering=0) as memory:
        for start, end in _readable_parts(pid):
            memory.seek(start)
            part = _read(memory, end - start)
            found.update(name for name, needle in needles.items() if needle in part)
    return found


def _read(memory: io.FileIO, size: int) -> bytes:
    parts = []
    while size > 0 and (part := memory.read(size)):
        parts.append(part)
        size -= len(part)
    return b"".join(parts)


def _readable_parts(pid: int) -> list[tuple[int, int]]:
    """Start and end of each, as in maps."""
    parts = []
    for line in Path(f"/proc/{pid}/maps").read_text("utf-8").splitlines():
        addresses, permissions, *rest = line.split(maxsplit=5)
        if permissions.startswith("r") and not rest[-1].startswith(_OF_THE_KERNEL):
            start, end = addresses.split("-")
            parts.append((int(start, 16), int(end, 16)))
    return parts
