"""The three standard streams that a program shares with its host.

The host keeps the program's ends open while the program runs: so it can tell at the end whether the
program left their status flags, which belong to both, as it found them.
"""

from __future__ import annotations

import fcntl
import os


class SharedStreams:
    """/dev/null for reading, two pipes for output and error. `let_go` and `close` end it."""

    def __init__(self) -> None:
        self.input = os.open(os.devnull, os.O_RDWR | os.O_CLOEXEC)
        self.output_reader, self.output = os.pipe()
        self.error_reader, self.error = os.pipe()
        self.flags_before = self._flags()

    def let_go(self) -> tuple[int, ...]:
        """Closes the program's ends, so that the readers see the end when nobody else holds them;
        gives the status flags (fcntl(2), F_GETFL) of input, output and error at that moment."""
        flags = self._flags()
        for descriptor in (self.input, self.output, self.error):
            os.close(descriptor)
        return flags

    def close(self) -> None:
        """Closes the readers."""
        os.close(self.output_reader)
        os.close(self.error_reader)

    def _flags(self) -> tuple[int, ...]:
        ends = (self.input, self.output, self.error)
        return tuple(fcntl.fcntl(end, fcntl.F_GETFL) for end in ends)
