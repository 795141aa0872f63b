"""Where a result is delivered to before it takes its place: a private directory beside the place.

So a result is told from an older file for certain, an older file stays until its successor is
complete, and whoever reads the place sees either of them whole.
"""

from __future__ import annotations

import os
import shutil
import tempfile
from collections.abc import Callable
from pathlib import Path
from types import TracebackType

from .codes import Code
from .ending import Problem
from .printable import printable
from .standard_streams import write_output

PREFIX = ".zanbury-convert."


class Staging:
    """`with Staging(...) as staging:` makes the directory and removes it with what is left in it.

    output: None for standard output; logs: None when nobody wants them.
    """

    def __init__(self, output: Path | None, logs: Path | None, *, may_replace: bool) -> None:
        self._output = output
        self._logs = logs
        self._may_replace = may_replace

    def __enter__(self) -> Staging:
        place = Path(tempfile.gettempdir()) if self._output is None else self._output.parent
        try:
            self._directory = Path(tempfile.mkdtemp(prefix=PREFIX, dir=place))
            self.logs.mkdir()
        except OSError as error:
            words = f"Nothing can be written into {printable(str(place))}: {error.strerror}."
            raise Problem(Code.OUTPUT, words, "Choose another place with -o or -d.") from error
        return self

    def __exit__(
        self,
        kind: type[BaseException] | None,
        value: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        shutil.rmtree(self._directory, ignore_errors=True)

    @property
    def directory(self) -> Path:
        """The private directory itself."""
        return self._directory

    @property
    def result(self) -> Path:
        """Where the program is to put the converted file."""
        return self._directory / "result"

    @property
    def logs(self) -> Path:
        """Where the program is to put the logs; the directory exists."""
        return self._directory / "logs"

    @property
    def has_result(self) -> bool:
        """Whether the program has put one there."""
        return os.path.lexists(self.result)

    def deliver_result(self, is_wanted: Callable[[], bool]) -> int:
        """Puts the result in its place; its size in bytes. Problem where that is not possible.

        is_wanted: asked again and again while standard output does not take it.
        """
        try:
            size = self.result.stat().st_size
            if self._output is None:
                write_output(self.result, is_wanted)
            elif self._may_replace:
                _move(self.result, self._output)
            else:
                self._move_to_free_place(self._output)
        except FileExistsError as error:
            raise exists(self._output or Path("-")) from error
        except (OSError, shutil.Error) as error:
            place = "standard output" if self._output is None else printable(str(self._output))
            words = f"The result came, but cannot be written to {place}: {_reason(error)}."
            raise Problem(Code.NOT_WRITTEN, words, "Choose another place with -o or -d.") from error
        return size

    def deliver_logs(self) -> Path | None:
        """Puts the logs in their place; the directory, None when there are none, or none wanted.

        Problem where that is not possible.
        """
        names = sorted(os.listdir(self.logs)) if self.logs.is_dir() else []
        if self._logs is None or not names:
            return None
        try:
            self._logs.mkdir(exist_ok=True)
            for name in names:
                _move(self.logs / name, self._logs / name)
        except (OSError, shutil.Error) as error:
            words = f"The tool's logs cannot be written to {printable(str(self._logs))}"
            advice = "Choose another place with --logs."
            raise Problem(Code.LOGS_NOT_WRITTEN, f"{words}: {_reason(error)}.", advice) from error
        return self._logs

    def _move_to_free_place(self, output: Path) -> None:
        """Moves it where nothing may have come to stand in the meantime."""
        try:
            os.link(self.result, output, follow_symlinks=False)
        except FileExistsError:
            raise
        except OSError:  # a directory, or a file system without links
            if os.path.lexists(output):
                raise FileExistsError(str(output)) from None
            os.rename(self.result, output)


def exists(output: Path) -> Problem:
    """What is said of a result that must not be replaced."""
    words = f"The output {printable(str(output))} exists already."
    advice = "--force replaces it, --no-clobber skips the file, -o names another place."
    return Problem(Code.EXISTS, words, advice)


def _move(item: Path, place: Path) -> None:
    """Puts an item where another one may be, on another file system as well."""
    if place.is_dir() and not place.is_symlink():
        shutil.rmtree(place)
    shutil.move(item, place)


def _reason(error: Exception) -> str:
    return getattr(error, "strerror", None) or str(error)
