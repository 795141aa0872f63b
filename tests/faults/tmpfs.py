"""A tmpfs of a test's own, so that all that is left behind is seen and a full disk can be had."""

from __future__ import annotations

import os
import subprocess
from pathlib import Path

import pytest

AMPLE = "64m"


class Tmpfs:
    """Mounted on an existing, empty directory for one with-block. Only root may mount: others get
    the plain directory, and tests that need a small file system skip with that reason."""

    def __init__(self, path: Path, size: str = AMPLE) -> None:
        self.path = path
        self.is_mounted = False
        self._size = size

    def __enter__(self) -> Tmpfs:
        if os.geteuid() == 0:
            options = f"size={self._size},mode=0700"
            subprocess.run(["mount", "-t", "tmpfs", "-o", options, "tmpfs", self.path], check=True)
            self.is_mounted = True
        return self

    def __exit__(self, *_: object) -> None:
        if self.is_mounted:
            # What still runs in it is a finding of the test, and no reason to keep the mount.
            subprocess.run(["umount", "--lazy", self.path], check=True)

    def resize(self, size: str) -> None:
        """Another size from now on ("300k"); skips the test where nothing is mounted."""
        if not self.is_mounted:
            pytest.skip("only root can mount a small file system")
        subprocess.run(["mount", "-o", f"remount,size={size}", self.path], check=True)

    def fill(self, spare: int = 0) -> Path:
        """Fills it with one file, `filling`, until only `spare` bytes (rounded down to whole
        pages) are free. Needs a mount, as `resize`."""
        if not self.is_mounted:
            pytest.skip("only root can mount a small file system")
        status = os.statvfs(self.path)
        room = status.f_bavail * status.f_frsize - spare
        filling = self.path / "filling"
        with filling.open("wb") as file:
            os.posix_fallocate(file.fileno(), 0, max(room, 1))
        return filling
