"""What the conversation tests share: one sshd and one server key a worker, and a desk in each test
from which the real program is started the way the desktop host starts it."""

from __future__ import annotations

import os
import sys
from collections.abc import Iterator
from pathlib import Path

import pytest

PROJECT = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(PROJECT / "tools"), str(Path(__file__).resolve().parent)]

from desk import Desk  # noqa: E402
from standin import LoopbackSshd, ServerKeys  # noqa: E402


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
    # A login shell that is no outermost one leaves the user's own start-up files alone: they would
    # take time, and what they say on standard error would stand among the program's lines.
    with LoopbackSshd(extra_configuration="SetEnv SHLVL=1") as running:
        yield running


@pytest.fixture
def desk(program: Path, keys: ServerKeys, sshd: LoopbackSshd, tmp_path: Path) -> Iterator[Desk]:
    """A host's desk: see desk.py. Everything that was started from it is ended with the test."""
    with Desk(program, keys, sshd, tmp_path) as made:
        yield made
