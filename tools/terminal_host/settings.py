"""Turns command line and configuration file into a request that the program can be given.

Everything that can be checked before the program starts is checked here, in words for the user:
the program itself would only fail later, or replace a directory that was meant as a place.
"""

from __future__ import annotations

import argparse
import difflib
import os
import tomllib
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from .options import DEFAULT_CONFIGURATION, OPTIONS, Option, UsageError
from .request import Request

_LARGEST_KEY = 100_000  # bytes; an environment variable holds little more
_NEEDED = {
    "tool": "no tool given",
    "server": "no server given",
    "server_command": "no command for the server given",
    "identity_file": "no private key given",
}
_WORDS = {str: "a text", Path: "a text", int: "a whole number", list: "a text or a list of texts"}


@dataclass(frozen=True)
class Settings:
    """One conversion as the user wants it; all paths are absolute."""

    request: Request
    program: Path | None
    source: Path
    output: Path
    logs: Path


def settings_of(arguments: argparse.Namespace) -> Settings:
    """Joins the command line with the configuration file. UsageError says what cannot be used."""
    given = {key: value for key in OPTIONS if (value := getattr(arguments, key)) is not None}
    values = _read_configuration(arguments.config) | {
        key: Path(value).expanduser() if OPTIONS[key].kind is Path else value
        for key, value in given.items()
    }
    if "public_key" in given and "public_key_file" not in given:
        values.pop("public_key_file", None)
    source = _existing_file(arguments.source, "source")
    output = _writable_place(arguments.output or Path(source.name + ".converted"), source)
    logs = (arguments.logs or output.with_name(output.name + ".logs")).expanduser().absolute()
    _check_directory(logs)
    return Settings(
        _request(values, source, output, logs), values.get("program"), source, output, logs
    )


def _request(values: dict[str, Any], source: Path, output: Path, logs: Path) -> Request:
    for key, complaint in _NEEDED.items():
        if not values.get(key):
            raise UsageError(f"{complaint}: use {OPTIONS[key].flag}, or {key} in the configuration")
    public_key = values.get("public_key")
    if "public_key_file" in values:
        public_key = _key_text(values["public_key_file"], "public key")
    if not public_key:
        raise UsageError("no public key of the server given: use --public-key-file or --public-key")
    return Request(
        file_path=source,
        dest_path=output,
        logs_dir_path=logs,
        tool=values["tool"],
        tool_version=values.get("tool_version"),
        server_destinations=values["server"],
        server_command_path=values["server_command"],
        server_identity=_key_text(values["identity_file"], "private key"),
        public_key=public_key,
        retry_delay=values.get("retry_delay"),
        client_id=values.get("client_id"),
        mac_address=values.get("mac_address"),
        user_id=values.get("user_id"),
        user_name=values.get("user_name"),
        host_path=values.get("host_path"),
        host_pid=values.get("host_pid", os.getpid()),
    )


def _read_configuration(path: Path | None) -> dict[str, Any]:
    """The file's values, checked; none when no file is named and the default one is not there."""
    file = (path or DEFAULT_CONFIGURATION).expanduser().absolute()
    if path is None and not file.exists():
        return {}
    try:
        content = tomllib.loads(file.read_text(encoding="utf-8"))
    except OSError as error:
        raise UsageError(f"cannot read the configuration {file}: {error.strerror}") from error
    except ValueError as error:
        raise UsageError(f"the configuration {file} is no TOML: {error}") from error
    return {key: _checked(key, value, file) for key, value in content.items()}


def _checked(key: str, value: Any, file: Path) -> Any:
    option = OPTIONS.get(key)
    if option is None:
        near = difflib.get_close_matches(key, OPTIONS, 1)
        hint = f"; did you mean {near[0]}?" if near else f"; known are {', '.join(OPTIONS)}"
        raise UsageError(f"{file} has a value that is not known: {key}{hint}")
    if not _fits(option, value):
        raise UsageError(f"{file}: {key} must be {_WORDS[option.kind]}")
    if option.kind is Path:
        return file.parent / Path(value).expanduser()
    return [value] if option.kind is list and isinstance(value, str) else value


def _fits(option: Option, value: Any) -> bool:
    if option.kind is int:
        return isinstance(value, int) and not isinstance(value, bool)
    if option.kind is list and isinstance(value, list):
        return all(isinstance(item, str) for item in value)
    return isinstance(value, str)


def _existing_file(path: Path, what: str) -> Path:
    file = path.expanduser().absolute()
    if not file.exists():
        raise UsageError(f"the {what} {file} does not exist")
    if not file.is_file():
        raise UsageError(f"the {what} {file} is no file")
    if not os.access(file, os.R_OK):
        raise UsageError(f"the {what} {file} cannot be read")
    return file


def _writable_place(path: Path, source: Path) -> Path:
    """The result's path: not the source, no directory (the program would remove it whole)."""
    place = path.expanduser().absolute()
    if place.is_dir():
        raise UsageError(f"the output {place} is a directory; name the file in it")
    if not place.parent.is_dir():
        raise UsageError(f"the output's directory {place.parent} does not exist")
    if place.exists() and place.samefile(source):
        raise UsageError(f"the output {place} is the source itself")
    if not os.access(place.parent, os.W_OK):
        raise UsageError(f"nothing can be written into {place.parent}")
    return place


def _check_directory(logs: Path) -> None:
    if logs.exists() and not logs.is_dir():
        raise UsageError(f"{logs} is where the logs go, but it is no directory")
    if not logs.exists() and not logs.parent.is_dir():
        raise UsageError(f"there is no directory {logs.parent} to make the logs' directory in")
    if not os.access(logs if logs.exists() else logs.parent, os.W_OK):
        raise UsageError(f"the logs cannot be written to {logs}")


def _key_text(path: Path, what: str) -> str:
    file = path.absolute()
    try:
        data = file.read_bytes()
        text = data.decode()
    except OSError as error:
        raise UsageError(f"cannot read the {what} {file}: {error.strerror}") from error
    except UnicodeDecodeError as error:
        raise UsageError(f"the {what} {file} is no text") from error
    if not text.strip():
        raise UsageError(f"the {what} {file} is empty")
    if len(data) > _LARGEST_KEY:
        raise UsageError(f"the {what} {file} is too large to be a key: {len(data):,} bytes")
    return text
