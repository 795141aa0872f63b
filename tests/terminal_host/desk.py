"""A place to run the command `convert` in, as a user's desk would be."""

from __future__ import annotations

import json
import os
import subprocess
from pathlib import Path

FAKE_PROGRAM = Path(__file__).with_name("fake_program.py")
CONVERT = Path(__file__).resolve().parents[2] / "tools" / "convert"
PATIENCE = 300.0  # seconds; who has waited for so long waits for what will never come


class Desk:
    """A directory with a source, a key, a configuration, and the command to run in it."""

    def __init__(self, directory: Path) -> None:
        self.directory = directory
        self.temporary = directory / "temporary"
        self.temporary.mkdir()
        (directory / "in.ofx").write_text("statement\n")
        (directory / "key").write_text("PRIVATE\n")
        self.configure()

    def configure(self, **changes: object) -> None:
        values = {
            "server": ["ssh://a@b:1"],
            "server_command": "/srv/command",
            "identity_file": "key",
            "public_key": "PUBLIC",
            "program": str(FAKE_PROGRAM),
            "tool": "[]",
        } | changes
        lines = [
            f"{key} = {json.dumps(value)}\n" for key, value in values.items() if value is not None
        ]
        (self.directory / "convert.toml").write_text("".join(lines))

    def command(self, *arguments: str, plan: list | None = None) -> list[str]:
        planned = [] if plan is None else ["--tool", json.dumps(plan)]
        return [str(CONVERT), "--config", "convert.toml", *planned, *arguments]

    def environment(self) -> dict[str, str]:
        home = {"HOME": str(self.directory), "TMPDIR": str(self.temporary)}
        return {**os.environ, **home, "TERM": "xterm-256color", "COLUMNS": "100"}

    def start(
        self, *arguments: str, plan: list | None = None, **options: object
    ) -> subprocess.Popen:
        streams = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "text": True} | options
        command = self.command(*arguments, plan=plan)
        return subprocess.Popen(command, cwd=self.directory, env=self.environment(), **streams)

    def convert(self, *arguments: str, plan: list | None = None) -> subprocess.CompletedProcess:
        with self.start(*arguments, plan=plan) as process:
            out, err = process.communicate(timeout=PATIENCE)
        return subprocess.CompletedProcess(process.args, process.returncode, out, err)
