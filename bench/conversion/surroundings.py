"""What all measurements of whole conversations share: an sshd, keys, records and prepared answers."""

from __future__ import annotations

import os
import plistlib
import shlex
import subprocess
import sys
from dataclasses import dataclass
from pathlib import Path
from typing import Any

PROJECT = Path(__file__).resolve().parents[2]
TOOLS = PROJECT / "tools"
sys.path[:0] = [str(TOOLS), str(PROJECT / "bench" / "archiver")]

from records import write_records  # noqa: E402
from standin import LoopbackSshd, ServerKeys  # noqa: E402
from terminal_host import Request  # noqa: E402

ANSWER_SERVER = Path(__file__).with_name("answer-server")
RESULT_NAME = "converted.csv"


@dataclass(frozen=True)
class Programs:
    """The binaries of a release build."""

    directory: Path

    @property
    def proxy(self) -> Path:
        return self.directory / "ZanburyToolProxy"

    @property
    def archiver(self) -> Path:
        return self.directory / "ZanburyArchiver"


class Surroundings:
    """One directory with everything that a conversion needs on both sides."""

    def __init__(self, programs: Programs, sshd: LoopbackSshd, directory: Path) -> None:
        self.programs = programs
        self.sshd = sshd
        self.directory = directory
        self.keys = ServerKeys.generate()
        self.key_path = directory / "server-key.pem"
        self.keys.save(self.key_path)
        self.identity = directory / "identity"
        self.identity.touch(mode=0o600)
        self.identity.write_text(sshd.identity_text, "ascii")
        self.result = directory / "result.csv"
        self.logs = directory / "logs"
        self.ssh_configuration = directory / "ssh-config"
        self.ssh_configuration.touch()

    def records(self, megabytes: int) -> Path:
        """A file of text records of that size."""
        path = self.directory / f"records-{megabytes}.csv"
        if not path.exists():
            write_records(path, megabytes * 1_000_000)
        return path

    def answer(self, converted: Path) -> Path:
        """The zip that a server sends back whose tool returned that file."""
        zipped = converted.with_suffix(".answer.zip")
        if zipped.exists():
            return zipped
        top = converted.with_suffix(".answer") / "OutputArchive"
        (top / "Logs").mkdir(parents=True)
        (top / "Logs" / "tool.log").write_text("converted\n", "ascii")
        os.link(converted, top / RESULT_NAME)
        values = {"toolExitCode": 0, "destFileName": RESULT_NAME}
        (top / "Result.plist").write_bytes(plistlib.dumps(values))
        pack = [self.programs.archiver, "-c", "-k", "--keepParent", top, zipped]
        subprocess.run(pack, check=True)
        return zipped

    def answer_server(self, answer: Path, ticks: int = 0) -> str:
        """The command path of a server that answers with that zip and forwards so many messages,
        whose times of sending are then in `tick_times`.
        """
        words = [ANSWER_SERVER, TOOLS, self.key_path, answer, ticks, self._ticks]
        script = self.directory / f"serve-{answer.stem}-{ticks}"
        script.write_text(f'#!/bin/sh\nexec {shlex.join(map(str, words))} "$@"\n', "utf-8")
        script.chmod(0o755)
        return shlex.quote(str(script))

    def ticker(self, ticks: int) -> str:
        """A remote command that only sends such messages, not encrypted."""
        return shlex.join(map(str, [ANSWER_SERVER, TOOLS, "-", "-", ticks, self._ticks]))

    @property
    def tick_times(self) -> list[int]:
        """When each message of the last run left: CLOCK_MONOTONIC in nanoseconds."""
        return [int(line) for line in self._ticks.read_text("ascii").split()]

    @property
    def _ticks(self) -> Path:
        return self.directory / "ticks"

    def ssh(self, *command: str) -> list[str]:
        """The ssh command line of the program, with another remote command."""
        options = ["ServerAliveInterval=5", "ServerAliveCountMax=3", "TCPKeepAlive=yes"]
        options += ["Compression=yes", "StrictHostKeyChecking=no"]
        line = ["/usr/bin/ssh", "-F", str(self.ssh_configuration)]
        for option in options:
            line += ["-o", option]
        line += ["-i", str(self.identity), "-l", self.sshd.user, "-p", str(self.sshd.port)]
        return [*line, "127.0.0.1", *command]

    def request(self, source: Path, command_path: str, **others: Any) -> Request:
        """What the host passes for that conversion."""
        values: dict[str, Any] = {
            "file_path": source,
            "dest_path": self.result,
            "logs_dir_path": self.logs,
            "tool": "StatementTool",
            "tool_version": "2.1",
            "server_destinations": self.sshd.destination(),
            "server_command_path": command_path,
            "server_identity": self.sshd.identity_text,
            "public_key": self.keys.public_key_text,
            "retry_delay": 0,
        }
        return Request(**{**values, **others})
