"""Weight that fills a disk up to the last byte that a test wants to be free, without a name in any
directory of it."""

from __future__ import annotations

import os
from pathlib import Path

PAGE = os.sysconf("SC_PAGE_SIZE")
_PIECE = bytes(1 << 20)


def pages(size: int) -> int:
    """What a file of that many bytes takes of a disk in memory, in bytes."""
    return -(-size // PAGE) * PAGE


class DiskFiller:
    """A nameless file on a disk. What it takes is free again when it is closed."""

    def __init__(self, disk: Path) -> None:
        self._disk = disk
        self._file = os.open(disk, os.O_TMPFILE | os.O_WRONLY | os.O_CLOEXEC, 0o600)

    def leave(self, room: int) -> None:
        """Takes so much that `room` bytes, rounded up to whole pages, remain free."""
        missing = self._free() - pages(room)
        assert missing >= 0, f"only {self._free()} bytes are free"
        while missing > 0:
            missing -= os.write(self._file, _PIECE[:missing])
        assert self._free() == pages(room)

    def _free(self) -> int:
        status = os.statvfs(self._disk)
        return status.f_bavail * status.f_frsize

    def close(self) -> None:
        """Gives it all back."""
        os.close(self._file)

    def __enter__(self) -> DiskFiller:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()
