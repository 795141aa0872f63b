"""A host that can be killed while its program runs."""

from __future__ import annotations

import fcntl
import json
import os
import signal
import subprocess
import sys
import time
from pathlib import Path
from typing import Any

from fault_scenario import FaultScenario
from standin.record import wait_until
from terminal_host import Outcome

_SCRIPT = Path(__file__).with_name("host_process.py")


class _Log:
    """The host's standard error: a file, or a pipe whose reader goes with the host."""

    def __init__(self, file: Path | None) -> None:
        self._file = file
        self._reading_end = -1
        if file is None:
            self._reading_end, self.descriptor = os.pipe()
        else:
            self.descriptor = os.open(file, os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o600)
        self.flags_before = self.flags

    @property
    def flags(self) -> tuple[int, ...]:
        """The status flags that all share who have this descriptor."""
        return (fcntl.fcntl(self.descriptor, fcntl.F_GETFL),)

    @property
    def content(self) -> bytes:
        """What has been logged; nothing where it was a pipe."""
        return self._file.read_bytes() if self._file else b""

    def break_off(self) -> None:
        """Nobody reads any more."""
        if self._reading_end != -1:
            os.close(self._reading_end)
            self._reading_end = -1

    def close(self) -> None:
        """Lets go of both ends."""
        self.break_off()
        os.close(self.descriptor)


class KillableHost:
    """A host with a program that it has started. This process inherits the program (it is a
    subreaper) when the host is killed, and so learns its status."""

    def __init__(
        self, scenario: FaultScenario, script: Any, *, broken_log: bool = False, **fields: Any
    ):
        scenario.harness.server.play(script)
        self._log = _Log(None if broken_log else scenario.harness.directory / "log")
        self._tmpfs = scenario.tmpfs
        self._killed = 0.0
        self._has_ended = False
        program = str(fields.pop("program", scenario.harness.program))
        self._process = subprocess.Popen(
            [sys.executable, str(_SCRIPT), program],
            stdin=subprocess.PIPE,
            stdout=subprocess.PIPE,
            stderr=self._log.descriptor,
        )
        assert self._process.stdin is not None and self._process.stdout is not None
        self._process.stdin.write(json.dumps(_environment(scenario, fields)).encode())
        self._process.stdin.close()
        self.pid = int(self._process.stdout.readline())

    def kill(self) -> None:
        """Ends the host as a crash does; the program is now this process's child."""
        self._log.break_off()
        self._process.kill()
        self._process.wait()
        self._killed = time.monotonic()

    def outcome(self, bound: float) -> Outcome:
        """What became of the program, which has `bound` seconds to end from now on."""
        status = self._wait_for_status(bound)
        return Outcome(
            status=status,
            events=(),
            fifo_bytes=b"",
            stderr=self._log.content,
            stdout=b"",
            duration=time.monotonic() - self._killed,
            stderr_closed=True,
            leftovers=tuple(os.listdir(self._tmpfs)),
            pid=self.pid,
            flags_before=self._log.flags_before,
            flags_after=self._log.flags,
        )

    def _wait_for_status(self, bound: float) -> int:
        ended: list[int] = []

        def has_ended() -> bool:
            pid, code = os.waitpid(self.pid, os.WNOHANG)
            ended.extend([os.waitstatus_to_exitcode(code)] if pid else [])
            return bool(ended)

        wait_until(has_ended, bound, f"the end of process {self.pid}")
        self._has_ended = True
        return ended[0]

    def __enter__(self) -> KillableHost:
        return self

    def __exit__(self, *_: object) -> None:
        if not self._has_ended:
            os.kill(self.pid, signal.SIGKILL)
        self._process.kill()
        self._process.wait()
        if self._process.stdout is not None:
            self._process.stdout.close()
        self._log.close()


def _environment(scenario: FaultScenario, fields: dict[str, Any]) -> dict[str, str]:
    """What the program is started with, on two new FIFOs."""
    fifos = [scenario.harness.directory / "host.in", scenario.harness.directory / "host.out"]
    for fifo in fifos:
        os.mkfifo(fifo, 0o600)
    paths = {"input_fifo_path": fifos[0], "output_fifo_path": fifos[1]}
    request = scenario.harness.request(**fields, **paths)
    return {**request.environment(), "TMPDIR": str(scenario.tmpfs)}
