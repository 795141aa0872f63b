"""Stands in the program's place and starts it in other circumstances than a well-behaved host's."""

from __future__ import annotations

import shlex
from pathlib import Path

_SHARING_STDERR = """\
#!/usr/bin/python3 -I
import fcntl, subprocess, sys
fcntl.fcntl(2, fcntl.F_SETFL, {flags})
status = subprocess.call([{program!r}])
with open({report!r}, "w") as report:
    report.write(str(fcntl.fcntl(2, fcntl.F_GETFL)))
sys.exit(status)
"""


def in_shell(program: Path, directory: Path, before: str = "", behind: str = "") -> Path:
    """A script that runs `before` and then becomes the program, `behind` its command line."""
    script = directory / "in-shell"
    line = f'exec {before} {shlex.quote(str(program))} "$@" {behind}'
    return _executable(script, f"#!/bin/sh\n{line}\n")


def after(program: Path, directory: Path, command: str) -> Path:
    """A script that runs a shell command in its own process and then becomes the program."""
    script = directory / "after"
    line = f'exec {shlex.quote(str(program))} "$@"'
    return _executable(script, f"#!/bin/sh\n{command}\n{line}\n")


def sharing_stderr(program: Path, directory: Path, flags: int, report: Path) -> Path:
    """A script that gives its own standard error these status flags (fcntl(2)), runs the program on
    it, and writes into `report` the flags that it finds afterwards."""
    text = _SHARING_STDERR.format(flags=flags, program=str(program), report=str(report))
    return _executable(directory / "sharing-stderr", text)


def _executable(script: Path, text: str) -> Path:
    script.write_text(text, "utf-8")
    script.chmod(0o755)
    return script
