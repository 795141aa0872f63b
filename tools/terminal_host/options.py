"""The options of the command: one table for command line, help and configuration file."""

from __future__ import annotations

import argparse
import sys
from dataclasses import dataclass
from pathlib import Path
from typing import Any, NoReturn

DEFAULT_CONFIGURATION = Path("~/.config/zanbury/convert.toml")


@dataclass(frozen=True)
class Option:
    """A value that may stand on the command line (--tool-version) or in the file (tool_version)."""

    key: str
    metavar: str
    help: str
    kind: type = str  # str, int, Path, or list for texts that may be given several times

    @property
    def flag(self) -> str:
        """Its name on the command line."""
        return "--" + self.key.replace("_", "-")


GROUPS: dict[str, list[Option]] = {
    "tool": [
        Option("tool", "NAME", "name of the conversion tool"),
        Option("tool_version", "VERSION", "version of the tool"),
    ],
    "server": [
        Option("server", "URL", "where to connect: ssh://USER@HOST:PORT; may be repeated", list),
        Option("server_command", "PATH", "the command to run on the server"),
        Option("identity_file", "FILE", "private ssh key to log in with", Path),
        Option("public_key_file", "FILE", "the server's RSA public key", Path),
        Option("public_key", "TEXT", "the same, given as text"),
        Option("retry_delay", "SECONDS", "how long to wait when no server answers", int),
    ],
    "who asks": [
        Option("client_id", "ID", "identifier of this client"),
        Option("mac_address", "ADDRESS", "hardware address of this computer"),
        Option("user_id", "ID", "identifier of the user"),
        Option("user_name", "NAME", "name of the user"),
        Option("host_path", "PATH", "application bundle of the host to report", Path),
        Option("host_pid", "PID", "process that must live on (default: this command)", int),
    ],
    "program": [
        Option("program", "PATH", "ZanburyToolProxy (default: the build tree, then PATH)", Path),
    ],
}
OPTIONS = {option.key: option for group in GROUPS.values() for option in group}

_DESCRIPTION = "Converts one file with a tool on Zanbury Cloud, as the desktop application does."
_EPILOG = """\
What belongs to tool, server, who asks and program may also stand in the configuration file, with
underscores in its name; the command line wins. See docs/convert.toml.example.

Ctrl-C asks the program to cancel; a second one ends it, at once or by force after three seconds.

exit status: that of the program (0: converted, 1: failed or canceled, others: the tool's own;
128 + N: ended by signal N), and 2 when the options or files given cannot be used.

example:
  convert --config office.toml --output march.csv march.ofx
"""


class UsageError(Exception):
    """What was asked for cannot be done as it stands; the message says why."""


class _Parser(argparse.ArgumentParser):
    def error(self, message: str) -> NoReturn:
        raise UsageError(message)


def parse_arguments(arguments: list[str]) -> argparse.Namespace:
    """The command line, with None for what is not given. UsageError, or exit 0 after --help."""
    parser = _Parser(
        prog="convert",
        usage="convert [options] SOURCE",
        description=_DESCRIPTION,
        epilog=_EPILOG,
        formatter_class=lambda prog: argparse.RawDescriptionHelpFormatter(
            prog, max_help_position=28, width=96
        ),
        allow_abbrev=False,
        add_help=False,
    )
    _add_own_options(parser)
    for title, options in GROUPS.items():
        group = parser.add_argument_group(title)
        for option in options:
            action = "append" if option.kind is list else "store"
            kind: Any = int if option.kind is int else str
            group.add_argument(
                option.flag, metavar=option.metavar, help=option.help, action=action, type=kind
            )
    return parser.parse_args(arguments)


def _add_own_options(parser: argparse.ArgumentParser) -> None:
    files = parser.add_argument_group("files")
    files.add_argument("source", metavar="SOURCE", type=Path, help="the file to convert")
    files.add_argument(
        "-o",
        "--output",
        metavar="FILE",
        type=Path,
        help="the result (default: SOURCE.converted, here)",
    )
    files.add_argument(
        "--logs",
        metavar="DIR",
        type=Path,
        help="directory for the tool's logs (default: OUTPUT.logs)",
    )
    files.add_argument(
        "--config", metavar="FILE", type=Path, help=f"defaults (default: {DEFAULT_CONFIGURATION})"
    )
    output = parser.add_argument_group("output")
    form = output.add_mutually_exclusive_group()
    form.add_argument("--json", action="store_true", help="one event a line on standard output")
    form.add_argument("--plain", action="store_true", help="plain lines, also on a terminal")
    output.add_argument("-h", "--help", action="help", help="show this help")


def complain(message: str) -> None:
    """Tells the user on standard error why nothing was done."""
    print(f"convert: {message}\nTry 'convert --help'.", file=sys.stderr)
