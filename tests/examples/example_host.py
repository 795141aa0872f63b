"""One of the example hosts at work: a process whose lines can be waited for."""

from __future__ import annotations

import os
import signal
import subprocess
from pathlib import Path
from typing import Any

from host_harness import PATIENCE, PROJECT, HostHarness

EXAMPLES = PROJECT / "examples"
COMMANDS = {
    "python": ["/usr/bin/python3", str(EXAMPLES / "host.py")],
    "c": [os.environ.get("ZTP_C_HOST", str(PROJECT / "build/debug/tests/examples/example_host"))],
    "node": ["node", str(EXAMPLES / "host.mjs")],
}


class ExampleHost:
    """Converts the source of the harness to its result; the server plays the script."""

    def __init__(self, language: str, harness: HostHarness, script: Any) -> None:
        harness.server.play(script)
        self._harness = harness
        self._folder = harness.directory / "results"
        self._folder.mkdir()
        self.result = self._folder / "result.csv"
        self.logs = self._folder / "logs"
        self._command = COMMANDS[language]
        self.lines: list[str] = []

    def start(self) -> ExampleHost:
        self._process = subprocess.Popen(
            [*self._command, str(self._harness.source), str(self.result), str(self.logs)],
            env={**os.environ, **self._settings()},
            stdout=subprocess.PIPE,
            stderr=subprocess.DEVNULL,
            text=True,
            start_new_session=True,
        )
        return self

    def _settings(self) -> dict[str, str]:
        harness = self._harness
        identity, public_key = harness.directory / "identity", harness.directory / "public-key.pem"
        identity.write_text(harness.sshd.identity_text)
        public_key.write_text(harness.keys.public_key_text)
        return {
            "ZANBURY_PROGRAM": str(harness.program),
            "ZANBURY_SERVERS": harness.sshd.destination(),
            "ZANBURY_SERVER_COMMAND": harness.server.command_path,
            "ZANBURY_IDENTITY_FILE": str(identity),
            "ZANBURY_PUBLIC_KEY_FILE": str(public_key),
            "TMPDIR": str(harness.directory),
        }

    def wait_for(self, line: str) -> None:
        """Reads until the host has shown that line."""
        for shown in self._process.stdout:
            self.lines.append(shown.rstrip("\n"))
            if self.lines[-1] == line:
                return
        raise AssertionError(f"{line!r} was not shown, but {self.lines}")

    def press_control_c(self) -> None:
        """What a terminal does: its foreground processes, the host's group, get SIGINT."""
        os.killpg(self._process.pid, signal.SIGINT)

    def end(self) -> int:
        """The host's exit status, once it has shown everything."""
        self.lines += self._process.stdout.read().splitlines()
        return self._process.wait(PATIENCE)

    def run(self) -> int:
        return self.start().end()

    def close(self) -> None:
        """Ends what a failed test has left running."""
        if hasattr(self, "_process"):
            self._process.kill()
            self._process.wait()
            self._process.stdout.close()

    @property
    def left_behind(self) -> list[Path]:
        """What stands beside result and logs, and working directories of the program."""
        beside = [item for item in self._folder.iterdir() if item not in (self.result, self.logs)]
        return [*beside, *self._harness.directory.glob("ZanburyToolProxy.*")]
