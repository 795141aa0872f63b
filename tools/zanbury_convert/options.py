"""The values that may stand on the command line and in the configuration file: one table."""

from __future__ import annotations

import math
from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path
from typing import Any

DEFAULT_CONFIGURATION = Path("~/.config/zanbury/convert.toml")


@dataclass(frozen=True)
class Kind:
    """What a value may be. `read` makes it from text or a TOML value; ValueError if it cannot."""

    words: str  # "must be ..."
    read: Callable[[Any], Any]


def _read_text(value: Any) -> str:
    if not isinstance(value, str) or "\0" in value:
        raise ValueError
    return value


def _read_texts(value: Any) -> list[str]:
    return [_read_text(item) for item in (value if isinstance(value, list) else [value])]


def _read_number(value: Any) -> float:
    if isinstance(value, bool) or not isinstance(value, (str, int, float)):
        raise ValueError
    number = float(value)
    if not math.isfinite(number):
        raise ValueError
    return number


def _read_whole(value: Any) -> int:
    if isinstance(value, bool) or not isinstance(value, (str, int)):
        raise ValueError
    return int(value)


def _at_least(least: float, read: Callable[[Any], Any]) -> Callable[[Any], Any]:
    def checked(value: Any) -> Any:
        number = read(value)
        if number < least:
            raise ValueError
        return number

    return checked


def _read_rounds(value: Any) -> float:
    return math.inf if value == "forever" else float(_at_least(1, _read_whole)(value))


TEXT = Kind("a text", _read_text)
PATH = Kind("a text", lambda value: Path(_read_text(value)))
TEXTS = Kind("a text or a list of texts", _read_texts)
WHOLE = Kind("a whole number", _at_least(0, _read_whole))
POSITIVE = Kind("a whole number, 1 or more", _at_least(1, _read_whole))
SECONDS = Kind("a number of seconds", _at_least(0, _read_number))
ROUNDS = Kind('a whole number, 1 or more, or "forever"', _read_rounds)


@dataclass(frozen=True)
class Option:
    """A value that may stand on the command line (--tool-version) or in the file (tool_version)."""

    key: str
    metavar: str
    help: str
    kind: Kind = TEXT
    default: Any = None

    @property
    def flag(self) -> str:
        """Its name on the command line."""
        return "--" + self.key.replace("_", "-")


GROUPS: dict[str, list[Option]] = {
    "tool": [
        Option("tool", "NAME", "name of the conversion tool"),
        Option("tool_version", "VERSION", "version of the tool"),
    ],
    "servers": [
        Option("server", "URL", "where to connect: ssh://USER@HOST:PORT; may be repeated", TEXTS),
        Option("server_command", "PATH", "the command to run on the server"),
        Option("identity_file", "FILE", "private ssh key to log in with", PATH),
        Option("public_key_file", "FILE", "the servers' RSA public key", PATH),
        Option("public_key", "TEXT", "the same, given as text"),
    ],
    "limits": [
        Option("retries", "N", "rounds through all servers, or forever (default: 3)", ROUNDS, 3.0),
        Option("retry_delay", "SECONDS", "pause between two rounds (default: 5)", POSITIVE, 5),
        Option(
            "connect_timeout",
            "SECONDS",
            "for a server to say hello; 0 = no limit (default: 60)",
            SECONDS,
            60.0,
        ),
        Option(
            "timeout", "SECONDS", "for each file in total; 0 = no limit (default: 0)", SECONDS, 0.0
        ),
        Option(
            "cancel_grace",
            "SECONDS",
            "how long a canceled conversion may go on (default: 2)",
            SECONDS,
            2.0,
        ),
        Option("jobs", "N", "files converted at a time (default: 2)", POSITIVE, 2),
    ],
    "identification": [
        Option("client_id", "ID", "identifier of this client"),
        Option("mac_address", "ADDRESS", "hardware address of this computer"),
        Option("user_id", "ID", "identifier of the user"),
        Option("user_name", "NAME", "name of the user"),
        Option("host_path", "PATH", "application bundle of the host to report", PATH),
        Option("host_pid", "PID", "process that must stay alive (default: this command)", WHOLE),
    ],
    "program": [
        Option("program", "PATH", "ZanburyToolProxy (default: beside this command, PATH)", PATH),
    ],
}
OPTIONS = {option.key: option for group in GROUPS.values() for option in group}
