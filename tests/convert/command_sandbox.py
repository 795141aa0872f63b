"""A directory of its own to run the command zanbury-convert in, as a user would."""

from __future__ import annotations

import contextlib
import functools
import json
import os
import subprocess
from collections.abc import Iterator
from pathlib import Path

import jsonschema
from standin import ServerKeys
from standin.keys import SshKeyPair

PROJECT = Path(__file__).resolve().parents[2]
FAKE_PROGRAM = PROJECT / "tests" / "terminal_host" / "fake_program.py"
CONVERT = PROJECT / "tools" / "convert"
PATIENCE = 300.0  # seconds; who has waited for so long waits for what will never come
_SCHEMA = json.loads((PROJECT / "docs" / "convert-events.schema.json").read_text())

identity = functools.cache(SshKeyPair.generate)
server_keys = functools.cache(ServerKeys.generate)
_validator = jsonschema.Draft202012Validator(_SCHEMA)


def checked_event(line: str) -> dict:
    """One line of --json; every one that any test reads is valid against the schema."""
    event = json.loads(line)
    _validator.validate(event)
    return event


class CommandSandbox:
    """A directory with a source, keys, a configuration, and the command to run in it."""

    def __init__(self, directory: Path) -> None:
        self.directory = directory
        self.temporary = directory / "temporary"
        self.temporary.mkdir()
        (directory / "in.ofx").write_text("statement\n")
        self.write_key("key", identity().private_text)
        self.configure()

    def write_key(self, name: str, text: str) -> Path:
        key = self.directory / name
        key.touch(mode=0o600)
        key.write_text(text)
        return key

    def configure(self, **changes: object) -> None:
        values = {
            "server": ["ssh://a@b:1"],
            "server_command": "/srv/command",
            "identity_file": "key",
            "public_key": server_keys().public_key_text,
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
        ours = {name: value for name, value in os.environ.items() if name != "COLUMNS"}
        return {**ours, **home, "TERM": "xterm-256color", "LC_ALL": "C.UTF-8"}

    def start(
        self, *arguments: str, plan: list | None = None, **options: object
    ) -> subprocess.Popen:
        streams = {"stdout": subprocess.PIPE, "stderr": subprocess.PIPE, "text": True} | options
        command = self.command(*arguments, plan=plan)
        return subprocess.Popen(command, cwd=self.directory, env=self.environment(), **streams)

    @contextlib.contextmanager
    def running(
        self, *arguments: str, plan: list | None = None, **options: object
    ) -> Iterator[subprocess.Popen]:
        """The command while it runs; ended with the test, whatever becomes of that."""
        options = {"stdin": subprocess.DEVNULL} | options
        process = self.start(*arguments, plan=plan, **options)
        try:
            yield process
        finally:
            with contextlib.suppress(subprocess.TimeoutExpired):
                process.terminate()
                process.wait(10)
            process.kill()
            process.wait()

    def convert(
        self, *arguments: str, plan: list | None = None, given: str | None = None
    ) -> subprocess.CompletedProcess:
        """Runs the command to its end; `given` is what stands on its standard input."""
        stdin = subprocess.DEVNULL if given is None else subprocess.PIPE
        with self.running(*arguments, plan=plan, stdin=stdin) as process:
            out, err = process.communicate(given, timeout=PATIENCE)
        if "--json" in arguments:
            for line in out.splitlines():
                checked_event(line)
        assert "Traceback" not in err, err
        return subprocess.CompletedProcess(process.args, process.returncode, out, err)

    def events(self, *arguments: str, plan: list | None = None) -> list[dict]:
        """The events of a call."""
        done = self.convert("--json", *arguments, plan=plan)
        return [json.loads(line) for line in done.stdout.splitlines()]

    def ending(self, *arguments: str, plan: list | None = None) -> dict:
        """The one ending of a call with one source; its status is that of the command."""
        done = self.convert("--json", *arguments, plan=plan)
        [ending] = [
            e for line in done.stdout.splitlines() if (e := json.loads(line))["event"] == "end"
        ]
        assert ending["status"] == done.returncode, done.stderr
        return ending


def events_of(process: subprocess.Popen) -> Iterator[dict]:
    """The events of a running command, as they come."""
    return map(checked_event, process.stdout)


def until(process: subprocess.Popen, kind: str) -> dict:
    """The next event of that kind."""
    return next(event for event in events_of(process) if event["event"] == kind)
