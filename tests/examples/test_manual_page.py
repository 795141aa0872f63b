"""The commands under EXAMPLES in the manual page convert a file, given real servers and keys."""

from __future__ import annotations

import os
import re
import subprocess

from desk import PATIENCE, PROJECT, Desk

MANUAL = PROJECT / "docs" / "ZanburyToolProxy.1"


def commands_of_the_manual() -> str:
    """The one literal block, without the escapes of mdoc."""
    (block,) = re.findall(r"^\.Bd -literal.*?\n(.*?)^\.Ed$", MANUAL.read_text(), re.M | re.S)
    return block.replace("\\e", "\\")


def test_the_example_of_the_manual_page_converts(desk: Desk) -> None:
    (desk.directory / "identity").write_text(desk.sshd.identity_text)
    (desk.directory / "zanbury-cloud.pem").write_text(desk.keys.public_key_pem)
    (desk.directory / "march.ofx").write_bytes(desk.source.read_bytes())
    commands = commands_of_the_manual()
    for placeholder, real in {
        "ssh://convert@cloud-1.example.com:22": desk.sshd.destination(),
        "/usr/local/libexec/conversion-server": desk.server.command_path,
        "~/.ssh/zanbury": "identity",
    }.items():
        assert placeholder in commands
        commands = commands.replace(placeholder, real)
    done = subprocess.run(
        ["sh", "-c", commands],
        cwd=desk.directory,
        env={
            "PATH": f"{desk.program.parent}:{os.environ['PATH']}",
            "TMPDIR": str(desk.directory),
        },
        capture_output=True,
        text=True,
        timeout=PATIENCE,
    )
    assert done.returncode == 0, done.stderr
    assert (desk.directory / "march.csv").read_bytes().startswith(b"Date,")
    assert [log.name for log in (desk.directory / "logs").iterdir()] == ["conversion.log"]
