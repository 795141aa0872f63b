"""What everything that starts the real program shares: one sshd and one server key a worker, and a
harness for each test from which the program is started the way the desktop host starts it."""

from __future__ import annotations

import os
from collections.abc import Iterator
from pathlib import Path

import pytest
from host_harness import PROJECT, HostHarness
from standin import LoopbackSshd, ServerKeys


@pytest.fixture(scope="session")
def program() -> Path:
    """The program under test: ZTP_PROGRAM, which ctest sets, or that of the debug preset."""
    path = Path(os.environ.get("ZTP_PROGRAM", PROJECT / "build/debug/bin/ZanburyToolProxy"))
    assert path.is_file(), f"build {path} first, or set ZTP_PROGRAM"
    return path


@pytest.fixture(scope="session")
def keys() -> ServerKeys:
    return ServerKeys.generate()


@pytest.fixture(scope="session")
def sshd() -> Iterator[LoopbackSshd]:
    # A login shell that is not the outermost one leaves the user's own start-up files alone: they would
    # take time, and what they say on standard error would stand among the program's lines.
    with LoopbackSshd(extra_configuration="SetEnv SHLVL=1") as running:
        yield running


@pytest.fixture
def harness(
    program: Path, keys: ServerKeys, sshd: LoopbackSshd, tmp_path: Path
) -> Iterator[HostHarness]:
    """See host_harness.py. Everything that was started with it is ended with the test."""
    with HostHarness(program, keys, sshd, tmp_path) as made:
        yield made
