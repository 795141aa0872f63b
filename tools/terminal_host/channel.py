"""The host's end of the two FIFOs, in a private directory that goes with them.

Both ends are opened before the program starts, read-write and non-blocking: so no open ever waits,
bytes written before the program is ready stay in the FIFO, and what the program wrote last is
still there when it has ended.
"""

from __future__ import annotations

import contextlib
import os
import tempfile
from pathlib import Path

_CHUNK = 65536  # bytes; what a FIFO holds on Linux


class Channel:
    """Two FIFOs and a place for temporary files, for this user alone. `close` removes them."""

    def __init__(self) -> None:
        self._holder = tempfile.TemporaryDirectory(
            prefix="zanbury-host.", ignore_cleanup_errors=True
        )
        self.directory = Path(self._holder.name)
        self.input_path = self.directory / "input.fifo"  # host to program
        self.output_path = self.directory / "output.fifo"  # program to host
        self.temporary_directory = self.directory / "tmp"
        self.temporary_directory.mkdir(mode=0o700)
        self._input = _open_new_fifo(self.input_path)
        self._output = _open_new_fifo(self.output_path)

    @property
    def input_descriptor(self) -> int:
        """Writable when the input FIFO takes more bytes."""
        return self._input

    @property
    def output_descriptor(self) -> int:
        """Readable when the program has written something."""
        return self._output

    def read(self) -> bytes:
        """What the program has written; empty when nothing is there just now."""
        with contextlib.suppress(BlockingIOError):
            return os.read(self._output, _CHUNK)
        return b""

    def write(self, data: bytes) -> int:
        """Offers bytes to the program; returns how many the FIFO took, 0 when it is full."""
        with contextlib.suppress(BlockingIOError):
            return os.write(self._input, data[:_CHUNK])
        return 0

    def close(self) -> None:
        """Closes both FIFOs and removes the directory with its content. Twice does no harm."""
        for descriptor in (self._input, self._output):
            if descriptor >= 0:
                os.close(descriptor)
        self._input = self._output = -1
        self._holder.cleanup()


def _open_new_fifo(path: Path) -> int:
    os.mkfifo(path, 0o600)
    return os.open(path, os.O_RDWR | os.O_NONBLOCK | os.O_CLOEXEC)
