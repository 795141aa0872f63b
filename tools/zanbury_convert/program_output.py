"""What a running program has said that matters for its ending: log lines and titles."""

from __future__ import annotations

import re
from collections import deque

from .printable import printable

_MOST_LINES = 20
_FORWARDING = "This may take several minutes, please be patient."
_DOWNLOADING = "Downloading converted file"
_TOOL_STATUS = re.compile(r"ERROR: toolExitCode is not zero: (-?\d+)")
_LOST = re.compile(r"ERROR: The connection to the server was lost in state (\w+)(?: \(.*\))?")
_SIZES = re.compile(r"ERROR: The input archive has (\d+) bytes, the server accepts (\d+)")


class ProgramOutput:
    """The last lines of standard error, and the last words of the tool."""

    def __init__(self) -> None:
        self._lines: deque[str] = deque(maxlen=_MOST_LINES)
        self._is_forwarding = False
        self.tool_words: str | None = None  # the last title that the tool showed
        self.tool_status: int | None = None  # as the program logged it
        self.lost_in: str | None = None  # the state in which the connection was lost
        self.sizes: tuple[int, int] | None = None  # bytes of the upload, and the server's limit

    @property
    def lines(self) -> list[str]:
        """The last lines, oldest first."""
        return list(self._lines)

    def says(self, text: str) -> bool:
        """Whether one of the last lines is exactly this."""
        return text in self._lines

    def take_line(self, line: str) -> None:
        """Takes one line of standard error."""
        line = line.rstrip("\r")
        self._lines.append(line)
        if match := _TOOL_STATUS.fullmatch(line):
            self.tool_status = int(match[1])
        elif match := _LOST.fullmatch(line):
            self.lost_in = match[1]
        elif match := _SIZES.fullmatch(line):
            self.sizes = (int(match[1]), int(match[2]))

    def take_title(self, title: str | None) -> None:
        """Takes the title of a section; those between upload and download are the tool's."""
        if title == _FORWARDING:
            self._is_forwarding = True
        elif title == _DOWNLOADING:
            self._is_forwarding = False
        elif self._is_forwarding and title:
            self.tool_words = printable(title)
