"""What the tests of the stand-in server share: its key, a statement, servers and clients."""

from __future__ import annotations

import sys
from pathlib import Path
from typing import Any, Callable, Iterator

import pytest

PROJECT = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(PROJECT / "tools"), str(Path(__file__).resolve().parent)]

from standin import LoopbackSshd, ServerKeys, StandinServer  # noqa: E402
from standin_under_test import Standin  # noqa: E402


@pytest.fixture(scope="session")
def keys() -> ServerKeys:
    return ServerKeys.generate()


@pytest.fixture(scope="session")
def statement() -> bytes:
    return (PROJECT / "samples" / "statement.ofx").read_bytes()


@pytest.fixture
def standin(tmp_path: Path, keys: ServerKeys) -> Callable[..., Standin]:
    """standin(script) gives a server that plays it; further arguments are StandinServer's."""

    def make(scripts: Any = None, **options: Any) -> Standin:
        return Standin(StandinServer(tmp_path, keys, scripts, **options))

    return make


@pytest.fixture(scope="session")
def sshd() -> Iterator[LoopbackSshd]:
    with LoopbackSshd() as running:
        yield running


@pytest.fixture
def ssh_command(sshd: LoopbackSshd, tmp_path: Path) -> list[str]:
    """The system's ssh, called as the proxy calls it, up to the host."""
    identity = tmp_path / "identity"
    identity.touch(mode=0o600)
    identity.write_text(sshd.identity_text)
    config = tmp_path / "config"
    config.touch()
    options = ["-o", "Compression=yes", "-o", "StrictHostKeyChecking=no", "-i", str(identity)]
    login = ["-l", sshd.user, "-p", str(sshd.port), "127.0.0.1"]
    return ["/usr/bin/ssh", "-F", str(config), *options, *login]
