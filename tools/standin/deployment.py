"""One stand-in server in a directory of its own: what a client needs to reach it, and its records."""

from __future__ import annotations

import json
import shlex
from pathlib import Path
from typing import Any

from standin.keys import ServerKeys
from standin.record import PATIENCE, ConnectionRecord, wait_until
from standin.script import check_script

PROGRAM = Path(__file__).resolve().parent / "conversion-server"
_PYTHON = "/usr/bin/python3"  # Debian's, which has python3-cryptography


def write_wrapper(path: Path, configuration: Path) -> None:
    """Makes an executable that runs the server with that configuration file.

    The client chooses the command line, and so cannot pass the file itself.
    """
    command = shlex.join([_PYTHON, "-I", str(PROGRAM), "--config", str(configuration)])
    path.write_text(f'#!/bin/sh\nexec {command} "$@"\n', "utf-8")
    path.chmod(0o755)


class StandinServer:
    """A server whose n-th connection plays the n-th script; later ones play the last.

    ScriptError where a script says something that the server does not understand.
    """

    def __init__(
        self,
        directory: Path,
        keys: ServerKeys,
        scripts: dict[str, Any] | list[dict[str, Any]] | None = None,
        deadline: float = 3600.0,
    ) -> None:
        """directory exists and holds no other server; deadline is in seconds."""
        self.directory = directory.resolve()
        self.keys = keys
        self._records = self.directory / "records"
        self._deadline = deadline
        keys.save(self.directory / "server-key.pem")
        self.play(scripts or [{}])
        write_wrapper(self.directory / "conversion-server", self._configuration)

    @property
    def command_path(self) -> str:
        """EXPORT_SERVER_COMMAND_PATH, quoted as the shell behind sshd wants it."""
        return shlex.quote(str(self.directory / "conversion-server"))

    @property
    def connections(self) -> list[ConnectionRecord]:
        """The conversations begun so far, in their order."""
        return [ConnectionRecord(path) for path in sorted(self._records.glob("connection-*"))]

    def play(self, scripts: dict[str, Any] | list[dict[str, Any]]) -> None:
        """Sets the scripts, also for connections of a server that has had some already."""
        listed = scripts if isinstance(scripts, list) else [scripts]
        for script in listed:
            check_script(script)
        configuration = {
            "key": "server-key.pem",
            "records": "records",
            "scripts": listed,
            "deadline": self._deadline,
        }
        self._configuration.write_text(json.dumps(configuration, indent=1), "utf-8")

    def connection(self, number: int, timeout: float = PATIENCE) -> ConnectionRecord:
        """The record of the n-th conversation, from 1, once it has ended; TimeoutError."""
        return self.begun(number, timeout).wait_for_end(timeout)

    def begun(self, number: int, timeout: float = PATIENCE) -> ConnectionRecord:
        """The record of the n-th conversation as soon as it has begun; TimeoutError."""
        record = ConnectionRecord(self._records / f"connection-{number:03d}")
        start = record.directory / "start.json"
        wait_until(start.exists, timeout, f"connection {number}")
        return record

    def file(self, name: str) -> Path:
        """The path that a script means by this name in `await`, `create` and `file`."""
        return self.directory / name

    @property
    def _configuration(self) -> Path:
        return self.directory / "server.json"
