"""Stops a program at a certain system call on a certain path, so that a test finds it there."""

from __future__ import annotations

import contextlib
import os
import shutil
import signal
import subprocess
import tempfile
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest
from standin.processes import Process
from standin.record import PATIENCE, wait_until
from terminal_host import Conversion

STRACE = shutil.which("strace")


def may_trace() -> bool:
    """Whether this user can follow the system calls of a program that runs."""
    if STRACE is None:
        return False
    return subprocess.run([STRACE, "-o", "/dev/null", "/bin/true"], check=False).returncode == 0


@contextlib.contextmanager
def stopped_at_opening(
    conversion: Conversion, path: Path, go_on: Callable[[], object], opening: int = 1
) -> Iterator[None]:
    """Calls `go_on`, and gives control when the program has opened `path`, or an item in it if it is
    a directory, for the given time and stands still there, watched by nobody any more. SIGCONT lets
    it go on; so does the end of the with-block."""
    if not may_trace():
        pytest.skip("strace is not installed, or may not trace")
    with _tracer(conversion.pid, path, opening) as said:
        go_on()
        wait_until(lambda: "stopped by SIGSTOP" in said(), PATIENCE, f"the opening of {path}")
    wait_until(lambda: is_stopped(conversion.pid), PATIENCE, "the end of the tracing")
    yield
    conversion.signal(signal.SIGCONT)


def is_stopped(pid: int) -> bool:
    """Whether a process stands still, as SIGSTOP makes it."""
    process = Process.find(pid)
    return process is not None and process.state == "T"


@contextlib.contextmanager
def _tracer(pid: int, path: Path, opening: int) -> Iterator[Callable[[], str]]:
    """A tracer that stops the process; returns what asks it for all that it has said so far."""
    injection = f"inject=open,openat:signal=SIGSTOP:when={opening}"
    words = [str(STRACE), "-p", str(pid), "-P", str(path), "-e", "open,openat", "-e", injection]
    with tempfile.TemporaryFile() as log:

        def said() -> str:
            return os.pread(log.fileno(), 1 << 20, 0).decode()

        with subprocess.Popen(words, stderr=log) as tracer:
            wait_until(lambda: "attached" in said(), PATIENCE, "the tracer")
            try:
                yield said
            finally:
                tracer.terminate()
