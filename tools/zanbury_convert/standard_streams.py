"""Standard input as a source and standard output as a place for a result.

Neither makes the command deaf: who waits for a pipe looks up many times a second.
"""

from __future__ import annotations

import os
import select
import sys
from collections.abc import Callable
from pathlib import Path

from .codes import Code
from .ending import Problem

_BLOCK = 65536  # bytes
_PIECE = 4096  # bytes that a writable pipe takes without waiting (POSIX: PIPE_BUF)
_LOOK = 0.1  # seconds
_INPUT, _OUTPUT, _ERROR = 0, 1, 2

_closed: set[int] = set()  # those that were not open when the command was started


def open_missing_streams() -> None:
    """Lets a stream that nobody opened be /dev/null; call it first of all.

    Otherwise the next file to be opened would take its place.
    """
    for number, name in ((_INPUT, "stdin"), (_OUTPUT, "stdout"), (_ERROR, "stderr")):
        if getattr(sys, name) is None:
            _closed.add(number)
            if os.open(os.devnull, os.O_RDWR) != number:
                raise AssertionError("the lowest descriptor is taken")
            setattr(sys, name, open(number, "r" if number == _INPUT else "w", closefd=False))


def check_open(*, is_read: bool, is_written: bool) -> None:
    """Problem when a stream that is needed was not open."""
    if is_read and _INPUT in _closed:
        words = "Standard input is the source, but it is closed."
        raise Problem(Code.SOURCE, words, "Redirect something to it.")
    if is_written and _OUTPUT in _closed:
        words = "The result is to go to standard output, but that is closed."
        raise Problem(Code.OUTPUT, words, "Name a file with -o.")


def read_input(place: Path, is_wanted: Callable[[], bool]) -> Path:
    """Copies standard input into a file of that directory, as long as that is wanted."""
    file = place / "stdin"
    with open(file, "wb") as copy:
        while is_wanted():
            if select.select([_INPUT], [], [], _LOOK)[0]:
                block = os.read(_INPUT, _BLOCK)
                if not block:
                    break
                copy.write(block)
    return file


def write_output(file: Path, is_wanted: Callable[[], bool]) -> None:
    """Copies a file to standard output. OSError; Problem when it is wanted no more."""
    with open(file, "rb") as result:
        while piece := result.read(_PIECE):
            while not select.select([], [_OUTPUT], [], _LOOK)[1]:
                if not is_wanted():
                    words = "Canceled. Standard output has only a part of the result."
                    raise Problem(Code.CANCELED, words)
            while piece:
                piece = piece[os.write(_OUTPUT, piece) :]
