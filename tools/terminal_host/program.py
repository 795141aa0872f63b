"""Finds the program: in the build tree of this checkout, newest build first, then on PATH."""

from __future__ import annotations

import os
import shutil
from pathlib import Path

from .errors import HostError

NAME = "ZanburyToolProxy"
_PROJECT = Path(__file__).resolve().parents[2]


def find_program(path: str | os.PathLike[str] | None = None) -> Path:
    """The program at `path`; without one build/release/bin, any other preset's, or PATH.

    Raises HostError when there is none or it cannot be run.
    """
    if path is not None:
        given = Path(path).expanduser().absolute()
        if not given.is_file():
            raise HostError(f"there is no program at {given}")
        if not os.access(given, os.X_OK):
            raise HostError(f"{given} cannot be run: it is not executable")
        return given
    release = _PROJECT / "build" / "release" / "bin" / NAME
    others = sorted(_PROJECT.glob(f"build/*/bin/{NAME}"), key=_age)
    for candidate in (release, *others):
        if os.access(candidate, os.X_OK):
            return candidate
    on_path = shutil.which(NAME)
    if on_path is None:
        raise HostError(f"{NAME} is neither built in {_PROJECT / 'build'} nor on PATH")
    return Path(on_path)


def _age(path: Path) -> float:
    return -path.stat().st_mtime
