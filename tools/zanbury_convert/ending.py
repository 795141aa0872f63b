"""How the conversion of one file ended, and the exception that ends it before it begins."""

from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path

from .codes import Code


class Problem(Exception):
    """What was asked for cannot be done: what and why, and what to do about it."""

    def __init__(self, code: Code, words: str, advice: str = "") -> None:
        super().__init__(words)
        self.code = code
        self.words = words
        self.advice = advice

    def ending(self) -> Ending:
        """The same as the end of a conversion."""
        return Ending(self.code, self.code.status, self.words, self.advice)


@dataclass(frozen=True)
class Ending:
    """The code, the status for the shell, and both in the user's words."""

    code: Code
    status: int
    reason: str  # what happened, and why; lines are separated by line feeds
    advice: str = ""  # what to do about it
    result: Path | None = None  # where the converted file was put
    size: int | None = None  # bytes of it
    logs: Path | None = None  # the directory with the tool's logs
    seconds: float = 0.0  # from start to end

    @property
    def is_success(self) -> bool:
        """Whether everything was done that was asked for."""
        return self.status == 0
