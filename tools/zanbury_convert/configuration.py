"""The configuration file: defaults for the options, in TOML."""

from __future__ import annotations

import difflib
import tomllib
from pathlib import Path
from typing import Any

from .codes import Code
from .ending import Problem
from .options import DEFAULT_CONFIGURATION, OPTIONS, PATH
from .printable import printable


def read_configuration(path: Path | None) -> dict[str, Any]:
    """The file's values, checked; none when no file is named and the default one is not there.

    Paths in it are relative to the file. Problem says what cannot be used.
    """
    file = configuration_file(path)
    if path is None and not file.exists():
        return {}
    try:
        content = tomllib.loads(file.read_text(encoding="utf-8"))
    except OSError as error:
        words = f"The configuration {printable(str(file))} cannot be read: {error.strerror}."
        raise _problem(words, "Name another one with --config.") from error
    except ValueError as error:
        words = f"The configuration {printable(str(file))} is not TOML: {printable(str(error))}."
        raise _problem(words, "convert.toml.example in the documentation shows one.") from error
    return {key: _value(key, value, file) for key, value in content.items()}


def configuration_file(path: Path | None) -> Path:
    """The file named, or the default one."""
    return (path or DEFAULT_CONFIGURATION).expanduser().absolute()


def _value(key: str, value: Any, file: Path) -> Any:
    option = OPTIONS.get(key)
    if option is None:
        near = difflib.get_close_matches(key, OPTIONS, 1)
        advice = f"Did you mean {near[0]}?" if near else f"Known values: {', '.join(OPTIONS)}."
        words = (
            f"The configuration {printable(str(file))} has an unknown value: {printable(key, 60)}."
        )
        raise _problem(words, advice)
    try:
        read = option.kind.read(value)
    except ValueError as error:
        words = f"In the configuration {printable(str(file))}, {key} must be {option.kind.words}."
        raise _problem(words, "convert.toml.example in the documentation shows one.") from error
    return file.parent / read.expanduser() if option.kind is PATH else read


def _problem(words: str, advice: str) -> Problem:
    return Problem(Code.CONFIGURATION, words, advice)
