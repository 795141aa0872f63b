"""The preloaded libraries (preload/) and the page of numbers that a test shares with each."""

from __future__ import annotations

import mmap
import struct
import time
from pathlib import Path

import pytest
from host_harness import PATIENCE
from standin.record import wait_until

_CELL = struct.Struct("=q")


class Preloaded:
    """One library with a page of its own. `cells` names its numbers in the order of the library's
    layout; a program that gets the variables of `environment` starts with it."""

    library: str
    cells: tuple[str, ...]

    def __init__(self, program: Path, page: Path, **wanted: int) -> None:
        """`program` is the one under test, beside which the libraries are built; `page` becomes a
        file. Skips the test where the build has no such library."""
        path = program.resolve().parents[1] / "preload" / f"{self.library}.so"
        if not path.is_file():
            pytest.skip(f"this build has no {path.name}")
        page.write_bytes(bytes(mmap.PAGESIZE))
        with page.open("r+b") as file:
            self._memory = mmap.mmap(file.fileno(), mmap.PAGESIZE)
        self.environment = {"LD_PRELOAD": str(path), "ZTP_FAULT_PAGE": str(page)}
        for name, value in wanted.items():
            self.set(name, value)

    def set(self, name: str, value: int) -> None:
        """Writes a number; the running program sees it at once."""
        _CELL.pack_into(self._memory, self._place(name), value)

    def get(self, name: str) -> int:
        """Reads a number as it is at the moment."""
        return int(_CELL.unpack_from(self._memory, self._place(name))[0])

    def _place(self, name: str) -> int:
        return self.cells.index(name) * _CELL.size


class FlakyIo(Preloaded):
    """Short transfers and interrupted calls: preload/flaky_io.cpp says which are which."""

    library = "flaky_io"
    cells = ("shorten", "refuse", "signal_period", "shortened", "refused", "interrupted")


class ShiftedClock(Preloaded):
    """Clocks that jump: preload/shifted_clock.cpp."""

    library = "shifted_clock"
    cells = ("offset", "monotonic_offset", "asked", "monotonic_asked", "monotonic_held_at")

    def hold(self) -> None:
        """The clock that the program waits by stands still from now on."""
        self.set("monotonic_held_at", int(time.monotonic() * 1000))

    def move_on(self, milliseconds: int) -> None:
        """Moves the held clock on."""
        self.set("monotonic_held_at", self.get("monotonic_held_at") + milliseconds)

    def let_go(self) -> None:
        """The clock has its own time again."""
        self.set("monotonic_held_at", 0)

    def wait_for_looks(self) -> None:
        """Returns when the program has asked this clock for the time often enough to have
        acted on it."""
        aim = self.get("monotonic_asked") + 10
        wait_until(lambda: self.get("monotonic_asked") >= aim, PATIENCE, "looks at the clock")
