"""The command line of zanbury-convert, and its help."""

from __future__ import annotations

import argparse
from pathlib import Path
from typing import NoReturn

from . import VERSION
from .codes import Code
from .ending import Problem
from .options import DEFAULT_CONFIGURATION, GROUPS, TEXTS, Option

NAME = "zanbury-convert"
_USAGE = f"{NAME} [options] SOURCE\n       {NAME} [options] -d DIRECTORY SOURCE..."
_DESCRIPTION = "Converts files with a tool on Zanbury Cloud, as the desktop application does."
_EPILOG = f"""\
A SOURCE of - is standard input, and then, or with -o -, the result goes to standard output.
Progress and messages go to standard error. What belongs to tool, servers, limits, identification
and program may also stand in the configuration file, with underscores in its name; the command line
wins.

Ctrl-C cancels: the program is asked to stop, and ended if it goes on; a second one ends it at
once.

exit status:
    0  converted: this run delivered a result (or --dry-run found nothing wrong)
    1  failed; of several files, at least one
    2  options or files cannot be used; of several files, some were skipped and none failed
    3  the connection was lost and no result came
    4  no server could be reached
  124  --timeout has expired
  130  canceled by Ctrl-C; 143 by SIGTERM, 129 by SIGHUP
other  that of the tool, as it is. A tool may also fail with one of the above: the message, and
       "code" in the events of --json, tell them apart.

example:
  {NAME} --config office.toml -o march.csv march.ofx && rm march.ofx
"""


class _Parser(argparse.ArgumentParser):
    def error(self, message: str) -> NoReturn:
        raise Problem(Code.USAGE, f"{message[:1].upper()}{message[1:]}.", f"See '{NAME} --help'.")


def parse_arguments(arguments: list[str]) -> argparse.Namespace:
    """The command line, with None for what is not given. Problem, or exit 0 after --help."""
    return make_parser().parse_args(arguments)


def make_parser() -> argparse.ArgumentParser:
    """The parser; it knows every option that there is."""
    parser = _Parser(
        prog=NAME,
        usage=_USAGE,
        description=_DESCRIPTION,
        epilog=_EPILOG,
        formatter_class=lambda prog: argparse.RawDescriptionHelpFormatter(
            prog, max_help_position=28, width=96
        ),
        allow_abbrev=False,
        add_help=False,
    )
    _add_files(parser)
    _add_output(parser)
    for title, options in GROUPS.items():
        group = parser.add_argument_group(title)
        for option in options:
            _add_option(group, option)
    return parser


def _add_option(group: argparse._ArgumentGroup, option: Option) -> None:
    def read(text: str) -> object:
        try:
            return option.kind.read(text)
        except ValueError:
            words = f"must be {option.kind.words}, not {text!r}"
            raise argparse.ArgumentTypeError(words) from None

    if option.kind is TEXTS:
        group.add_argument(option.flag, metavar=option.metavar, help=option.help, action="append")
    else:
        group.add_argument(option.flag, metavar=option.metavar, help=option.help, type=read)


def _add_files(parser: argparse.ArgumentParser) -> None:
    files = parser.add_argument_group("files")
    files.add_argument(
        "sources",
        metavar="SOURCE",
        nargs="+",
        type=Path,
        help="a file to convert; - for standard input",
    )
    place = files.add_mutually_exclusive_group()
    place.add_argument(
        "-o",
        "--output",
        metavar="FILE",
        type=Path,
        help="the result (default: SOURCE.converted, here)",
    )
    place.add_argument(
        "-d", "--directory", metavar="DIR", type=Path, help="for the results of several files"
    )
    files.add_argument(
        "--logs",
        metavar="DIR",
        type=Path,
        help="for the tool's logs (default: OUTPUT.logs)",
    )
    existing = files.add_mutually_exclusive_group()
    existing.add_argument("--force", action="store_true", help="replace results that exist")
    existing.add_argument("--no-clobber", action="store_true", help="skip files with a result")
    files.add_argument(
        "--config", metavar="FILE", type=Path, help=f"defaults (default: {DEFAULT_CONFIGURATION})"
    )
    files.add_argument(
        "-n", "--dry-run", action="store_true", help="check settings, keys, servers and files only"
    )


def _add_output(parser: argparse.ArgumentParser) -> None:
    output = parser.add_argument_group("output")
    form = output.add_mutually_exclusive_group()
    form.add_argument("--json", action="store_true", help="one event per line on standard output")
    form.add_argument("--plain", action="store_true", help="plain lines, also on a terminal")
    volume = output.add_mutually_exclusive_group()
    volume.add_argument(
        "-v", "--verbose", action="store_true", help="every line of program and ssh"
    )
    volume.add_argument("-q", "--quiet", action="store_true", help="only what went wrong")
    output.add_argument("--version", action="version", version=f"{NAME} {VERSION}")
    output.add_argument("-h", "--help", action="help", help="show this help")
