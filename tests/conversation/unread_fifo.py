"""A FIFO of a host that does not read it, or only when the test says so."""

from __future__ import annotations

import os
import select
from collections.abc import Iterator
from contextlib import contextmanager
from pathlib import Path

from standin.record import PATIENCE, wait_until

_CHUNK = 65536


# What is logged when the host's last message found no room.
UNTAKEN = [
    "Could not send FIFO message",
    "Exception: write: the other side takes nothing",
]


class UnreadFifo:
    """The FIFO at `path`, open in the test for both directions, so that it never breaks."""

    def __init__(self, path: Path) -> None:
        os.mkfifo(path, 0o600)
        self.path = path
        self.content = b""
        self._descriptor = os.open(path, os.O_RDWR | os.O_NONBLOCK | os.O_CLOEXEC)

    @property
    def is_full(self) -> bool:
        """Whether a writer would have to wait."""
        return not select.select([], [self._descriptor], [], 0)[1]

    def fill(self) -> None:
        """Takes all of its room."""
        while not self.is_full:
            os.write(self._descriptor, b"." * 4096)

    def wait_until_full(self) -> None:
        """Returns once the program has taken all of the room; TimeoutError."""
        wait_until(lambda: self.is_full, PATIENCE, "a full FIFO")

    def read(self) -> bytes:
        """Takes what is there out of it and adds it to `content`."""
        try:
            self.content += os.read(self._descriptor, _CHUNK)
        except BlockingIOError:
            pass
        return self.content

    def read_until(self, last: bytes) -> None:
        """Reads until `last` has come; TimeoutError."""
        wait_until(lambda: last in self.read(), PATIENCE, repr(last[-200:]))

    def write(self, data: bytes) -> None:
        """Puts bytes into it, which it must have room for."""
        assert os.write(self._descriptor, data) == len(data)

    def close(self) -> None:
        """Closes the test's end."""
        os.close(self._descriptor)


@contextmanager
def unread_fifo(path: Path) -> Iterator[UnreadFifo]:
    """A new FIFO there, until the end of the with-block."""
    fifo = UnreadFifo(path)
    try:
        yield fifo
    finally:
        fifo.close()
