"""What strace has written of a program."""

from __future__ import annotations

import re
from collections import Counter
from pathlib import Path

_PID = re.compile(r"^\d+ +")  # in front of each line when strace watches children, too
_CALL = re.compile(r"^(\w+)\(")


class Trace:
    """The lines of one process, or of several, in order."""

    def __init__(self, file: Path) -> None:
        text = file.read_text(errors="replace") if file.exists() else ""
        self.lines = [_PID.sub("", line) for line in text.splitlines()]

    @property
    def calls(self) -> Counter[str]:
        """How often each call was made."""
        return Counter(self._names(self.lines))

    def numbers_of(self, call: str, pattern: str) -> list[int]:
        """Which of all calls of that name, from 1, the lines are that begin like the pattern."""
        lines = [line for line in self.lines if line.startswith(call + "(")]
        return [number for number, line in enumerate(lines, 1) if re.match(pattern, line)]

    @property
    def injected(self) -> str | None:
        """The call that was made to fail, as strace shows it; None when it was not reached."""
        return next((line for line in self.lines if line.endswith("(INJECTED)")), None)

    @property
    def crashes(self) -> list[str]:
        """The ends by a signal that nobody sends."""
        return [
            f"a process crashed: {line.strip('+ ')}"
            for line in self.lines
            if re.match(r"\+\+\+ killed by SIG(ABRT|BUS|FPE|ILL|SEGV|SYS|TRAP)", line)
        ]

    @staticmethod
    def _names(lines: list[str]) -> list[str]:
        return [match[1] for line in lines if (match := _CALL.match(line))]
