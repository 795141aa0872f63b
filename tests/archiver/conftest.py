"""The archiver as a command, for tests that see it from outside."""

from __future__ import annotations

import os
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path

import pytest

LAUNCHER = str(Path(__file__).with_name("launch.py"))
EXECUTABLE = os.environ.get("ZANBURY_ARCHIVER", "")


@dataclass(frozen=True)
class Outcome:
    """How one run of the archiver ended."""

    status: int
    error: str
    peak_kib: int


@dataclass(frozen=True)
class Archiver:
    """Runs the archiver and waits for its end."""

    executable: str

    def run(self, *arguments: str | Path, timeout: float = 120) -> Outcome:
        """One run with `arguments`, whatever comes of it. Nothing of it outlives `timeout`."""
        result = subprocess.run(
            [sys.executable, "-I", "-S", LAUNCHER, self.executable, *map(str, arguments)],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            timeout=timeout,
            check=True,
        )
        status, peak = map(int, result.stdout.split()[-2:])
        return Outcome(status, result.stderr.decode("ascii"), peak)

    def pack(self, directory: Path, archive: Path) -> None:
        """Packs and demands success."""
        outcome = self.run("-c", "-k", "--keepParent", directory, archive)
        assert (outcome.status, outcome.error) == (0, "")

    def unpack(self, archive: Path, destination: Path) -> None:
        """Unpacks and demands success."""
        outcome = self.run("-x", "-k", archive, destination)
        assert (outcome.status, outcome.error) == (0, "")


@pytest.fixture
def archiver() -> Archiver:
    """The archiver that this build made."""
    assert os.access(EXECUTABLE, os.X_OK), "ZANBURY_ARCHIVER must name the built archiver"
    return Archiver(EXECUTABLE)
