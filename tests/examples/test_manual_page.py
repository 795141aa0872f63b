"""The commands under EXAMPLES in the manual page convert a file, given real servers and keys."""

from __future__ import annotations

import os
import re
import subprocess

from host_harness import PATIENCE, PROJECT, HostHarness

MANUAL = PROJECT / "docs" / "ZanburyToolProxy.1"


def commands_of_the_manual() -> str:
    """The one literal block, without the escapes of mdoc."""
    (block,) = re.findall(r"^\.Bd -literal.*?\n(.*?)^\.Ed$", MANUAL.read_text(), re.M | re.S)
    return block.replace("\\e", "\\")


def test_the_example_of_the_manual_page_converts(harness: HostHarness) -> None:
    (harness.directory / "identity").write_text(harness.sshd.identity_text)
    (harness.directory / "zanbury-cloud.pem").write_text(harness.keys.public_key_pem)
    (harness.directory / "march.ofx").write_bytes(harness.source.read_bytes())
    commands = commands_of_the_manual()
    for placeholder, real in {
        "ssh://convert@cloud-1.example.com:22": harness.sshd.destination(),
        "/usr/local/libexec/conversion-server": harness.server.command_path,
        "~/.ssh/zanbury": "identity",
    }.items():
        assert placeholder in commands
        commands = commands.replace(placeholder, real)
    done = subprocess.run(
        ["sh", "-c", commands],
        cwd=harness.directory,
        env={
            "PATH": f"{harness.program.parent}:{os.environ['PATH']}",
            "TMPDIR": str(harness.directory),
        },
        capture_output=True,
        text=True,
        timeout=PATIENCE,
    )
    assert done.returncode == 0, done.stderr
    assert (harness.directory / "march.csv").read_bytes().startswith(b"Date,")
    assert [log.name for log in (harness.directory / "logs").iterdir()] == ["conversion.log"]
