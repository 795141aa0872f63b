"""Joins command line and configuration file to what holds for all files of one call.

Everything that can be checked before the program starts is checked here, in words for the user: the
program itself would only fail later, or try a server again and again that can never answer.
"""

from __future__ import annotations

import argparse
import os
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from terminal_host import HostError, Request, find_program
from terminal_host.program import NAME as PROGRAM_NAME

from .codes import Code
from .configuration import configuration_file, read_configuration
from .ending import Problem
from .keys import check_public_key, private_key_text, public_key_file_text
from .options import OPTIONS, PATH
from .printable import printable
from .servers import Server, servers_of

_NEEDED = {
    "tool": "the tool",
    "server": "a server",
    "server_command": "the command to run there",
    "identity_file": "the private key",
}


@dataclass(frozen=True)
class Limits:
    """When to give up. Seconds; 0 for no limit, but for the grace."""

    rounds: float  # of all servers; infinity for no limit
    connect: float
    whole: float
    cancel_grace: float


@dataclass(frozen=True)
class Settings:
    """What holds for every file of this call."""

    request: Request  # without the paths of a file
    program: Path
    servers: list[Server]
    identity_file: Path
    limits: Limits
    jobs: int


def settings_of(arguments: argparse.Namespace, beside: Path | None = None) -> Settings:
    """The settings, checked. Problem says what cannot be used.

    beside: a directory in which the program is looked for first.
    """
    values = _values(arguments)
    _check_complete(values, configuration_file(arguments.config))
    servers = servers_of(values["server"])
    if not servers:
        raise Problem(Code.SERVER_URL, "The list of servers is empty.", "Name one with --server.")
    identity = private_key_text(values["identity_file"])
    public_key = _public_key(values)
    return Settings(
        request=_request(values, servers, identity, public_key),
        program=_program(values.get("program"), beside),
        servers=servers,
        identity_file=values["identity_file"],
        limits=Limits(
            rounds=values["retries"],
            connect=values["connect_timeout"],
            whole=values["timeout"],
            cancel_grace=values["cancel_grace"],
        ),
        jobs=values["jobs"],
    )


def _values(arguments: argparse.Namespace) -> dict[str, Any]:
    given = {key: value for key in OPTIONS if (value := getattr(arguments, key)) is not None}
    for key, value in given.items():
        if OPTIONS[key].kind is PATH:
            given[key] = value.expanduser().absolute()
    values = {key: option.default for key, option in OPTIONS.items() if option.default is not None}
    values |= read_configuration(arguments.config) | given
    if "public_key" in given and "public_key_file" not in given:
        values.pop("public_key_file", None)
    return values


def _check_complete(values: dict[str, Any], file: Path) -> None:
    """Problem names all that is missing, and where it may stand."""
    missing = [
        f"  {what}: {OPTIONS[key].flag}, or {key}"
        for key, what in _NEEDED.items()
        if not values.get(key)
    ]
    if not values.get("public_key") and "public_key_file" not in values:
        missing.append("  the servers' public key: --public-key-file, or public_key_file")
    if missing:
        words = "\n".join(["Settings are missing (option, or key in the configuration):", *missing])
        is_there = "" if file.exists() else ", which does not exist"
        advice = f"The configuration is {printable(str(file))}{is_there}."
        raise Problem(Code.MISSING_SETTINGS, words, advice)


def _public_key(values: dict[str, Any]) -> str:
    if "public_key_file" in values:
        return public_key_file_text(values["public_key_file"])
    text = str(values["public_key"])
    check_public_key(text, "The public key")
    return text


def _request(
    values: dict[str, Any], servers: list[Server], identity: str, public_key: str
) -> Request:
    return Request(
        tool=values["tool"],
        tool_version=values.get("tool_version"),
        server_destinations=[server.url for server in servers],
        server_command_path=values["server_command"],
        server_identity=identity,
        public_key=public_key,
        retry_delay=values["retry_delay"],
        client_id=values.get("client_id"),
        mac_address=values.get("mac_address"),
        user_id=values.get("user_id"),
        user_name=values.get("user_name"),
        host_path=values.get("host_path"),
        host_pid=values.get("host_pid", os.getpid()),
    )


def _program(given: Path | None, beside: Path | None) -> Path:
    if given is None and beside is not None and os.access(beside / PROGRAM_NAME, os.X_OK):
        return beside / PROGRAM_NAME
    try:
        return find_program(given)
    except HostError as error:
        words = f"{str(error)[:1].upper()}{str(error)[1:]}."
        raise Problem(Code.PROGRAM, words, "Name it with --program, or install it.") from error
