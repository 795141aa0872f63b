"""A host that does next to nothing itself: it starts the program and discards what it says."""

from __future__ import annotations

import os
import select
import subprocess
import threading
import time
from collections.abc import Callable
from pathlib import Path

from surroundings import Surroundings
from terminal_host import Request
from terminal_host.channel import Channel

BLOCK = 65536  # bytes
Arrival = Callable[[bytes, int], None]  # the bytes, and CLOCK_MONOTONIC in nanoseconds


class BareHost:
    """One run of the program, in a `with` statement; `arrival` is told of all that comes."""

    def __init__(
        self, around: Surroundings, request: Request, arrival: Arrival | None = None
    ) -> None:
        self.channel = Channel()
        self._arrival = arrival or (lambda data, now: None)
        self._done = threading.Event()
        environment = {
            **request.environment(),
            "EXPORT_INPUT_FIFO_PATH": str(self.channel.input_path),
            "EXPORT_OUTPUT_FIFO_PATH": str(self.channel.output_path),
            "TMPDIR": str(self.channel.temporary_directory),
        }
        self._errors = open(self.channel.directory / "stderr", "w+b")
        self._reader = threading.Thread(target=self._drain)
        self._reader.start()
        self.started = time.monotonic_ns()
        self.process = subprocess.Popen(
            [around.programs.proxy], env=environment, stdin=subprocess.DEVNULL, stderr=self._errors
        )

    def __enter__(self) -> BareHost:
        return self

    def __exit__(self, *_: object) -> None:
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        self._done.set()
        self._reader.join()
        self._errors.close()
        self.channel.close()

    @property
    def errors(self) -> str:
        """Standard error so far."""
        return Path(self._errors.name).read_text("utf-8", errors="replace")

    def cancel(self) -> int:
        """Writes one byte; returns the time just before, in nanoseconds."""
        now = time.monotonic_ns()
        self.channel.write(b"x")
        return now

    def wait(self, status: int = 0, timeout: float = 900.0) -> int:
        """Waits for that exit status; returns the time of the end, in nanoseconds."""
        end = os.pidfd_open(self.process.pid)
        if not select.select([end], [], [], timeout)[0]:
            raise TimeoutError(self.errors)
        now = time.monotonic_ns()
        os.close(end)
        if self.process.wait() != status:
            raise RuntimeError(f"status {self.process.returncode}\n{self.errors}")
        return now

    def _drain(self) -> None:
        descriptor = self.channel.output_descriptor
        while not self._done.is_set():
            if select.select([descriptor], [], [], 0.1)[0]:
                data = os.read(descriptor, BLOCK)
                self._arrival(data, time.monotonic_ns())
