"""What a host has when it starts the program: a source file, places for result and logs, a scripted
server under a real sshd."""

from __future__ import annotations

import contextlib
from dataclasses import replace
from pathlib import Path
from typing import Any

from standin import ConnectionRecord, LoopbackSshd, ServerKeys, StandinServer
from standin.record import PATIENCE
from terminal_host import Conversion, Outcome, Request

PROJECT = Path(__file__).resolve().parents[2]


class HostHarness:
    """One test's surroundings. `script` decides how the server deviates; {} is the normal one."""

    def __init__(self, program: Path, keys: ServerKeys, sshd: LoopbackSshd, directory: Path):
        self.program = program
        self.keys = keys
        self.sshd = sshd
        self.directory = directory
        self.source = directory / "statement.ofx"
        self.source.write_bytes((PROJECT / "samples" / "statement.ofx").read_bytes())
        self.result = directory / "result.csv"
        self.logs = directory / "logs"
        self._servers = 0
        self._open = contextlib.ExitStack()
        self.server = self.new_server({})

    def __enter__(self) -> HostHarness:
        return self

    def __exit__(self, *_: object) -> None:
        self._open.close()

    def new_server(self, scripts: Any) -> StandinServer:
        """Another server program with scripts of its own (one, or one for each connection)."""
        self._servers += 1
        folder = self.directory / f"server{self._servers}"
        folder.mkdir()
        return StandinServer(folder, self.keys, scripts)

    def request(self, **fields: Any) -> Request:
        """What a host passes for a normal conversion; `fields` replace single values of it."""
        normal = Request(
            file_path=self.source,
            dest_path=self.result,
            logs_dir_path=self.logs,
            tool="StatementTool",
            tool_version="2.1",
            server_destinations=self.sshd.destination(),
            server_command_path=self.server.command_path,
            server_identity=self.sshd.identity_text,
            public_key=self.keys.public_key_text,
            retry_delay=0,
        )
        return replace(normal, **fields)

    def begin(self, script: Any = None, **options: Any) -> Conversion:
        """Starts a conversion and returns it while it runs. `script` is for the server; options of
        Conversion (arguments, overrides, ...) are passed on, all others are fields of the request.
        """
        if script is not None:
            self.server.play(script)
        options.setdefault("stderr_grace", PATIENCE)  # ssh, which shares it, may need its time
        own = {"arguments", "overrides", "temporary_directory", "keep_history", "stderr_grace"}
        passed_on = {name: options.pop(name) for name in own & options.keys()}
        program = options.pop("program", self.program)
        conversion = Conversion(self.request(**options), program, **passed_on)
        self._open.callback(conversion.close)
        return conversion.start()

    def convert(self, script: Any = None, **options: Any) -> Outcome:
        """Runs a conversion to its end."""
        return self.begin(script, **options).wait(PATIENCE)

    def connection(self, number: int = 1) -> ConnectionRecord:
        """What the server saw of its n-th connection, once that has ended."""
        return self.server.connection(number, PATIENCE)
