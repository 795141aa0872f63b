"""The command line that the program starts ssh with, recorded by strace as it is executed: it can be
read though that ssh has ended long before anybody could look at it."""

from __future__ import annotations

import ast
import re
import shutil
from pathlib import Path

from observed_process import SSH
from standin.record import PATIENCE, wait_until
from wrapped_program import in_shell

STRACE = shutil.which("strace")
_START = re.compile(rf'execve\("{SSH}", (\[.*?\]), 0x')


class RecordedStart:
    """`program` stands in the program's place, and does what it does."""

    def __init__(self, program: Path, directory: Path) -> None:
        self._record = directory / "starts"
        self._record.touch()
        recorder = f"{STRACE} -f -s 10000 -o {self._record} -e trace=execve"
        self.program = in_shell(program, directory, before=recorder)

    def arguments_of_ssh(self) -> list[str]:
        """Those of the first ssh, its name first, once it has been started; TimeoutError."""
        wait_until(lambda: self._start() is not None, PATIENCE, "the start of ssh")
        start = self._start()
        assert start is not None
        return list(ast.literal_eval(start[1]))

    def _start(self) -> re.Match[str] | None:
        return _START.search(self._record.read_text("ascii"))
