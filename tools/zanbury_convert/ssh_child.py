"""The ssh that a running program has started: where it connects to, and how to end it alone.

The program tries its servers in random order and tells nobody which one is next; the process table
does. Where there is no /proc nothing is found, and that is no failure.
"""

from __future__ import annotations

import contextlib
import os
import signal
from dataclasses import dataclass
from pathlib import Path

_SSH = "/usr/bin/ssh"
_USER, _PORT, _HOST = 16, 18, 19  # places in the list of arguments


@dataclass(frozen=True)
class SshChild:
    """One ssh process, by its arguments."""

    pid: int
    user: str
    host: str
    port: str

    def end(self) -> None:
        """Asks it to end; the program then goes on to its next server."""
        with contextlib.suppress(ProcessLookupError, PermissionError):
            os.kill(self.pid, signal.SIGTERM)


def ssh_of(program: int) -> SshChild | None:
    """The ssh whose parent is that process; None when there is none just now."""
    for status in Path("/proc").glob("[0-9]*/stat"):
        with contextlib.suppress(OSError, ValueError, IndexError):
            # The name in parentheses may hold blanks; state and parent follow it.
            if int(status.read_text().rpartition(")")[2].split()[1]) != program:
                continue
            line = (status.parent / "cmdline").read_bytes().decode(errors="replace")
            arguments = line.split("\0")
            if arguments[0] == _SSH:
                pid = int(status.parent.name)
                return SshChild(pid, arguments[_USER], arguments[_HOST], arguments[_PORT])
    return None
