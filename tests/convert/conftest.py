"""What the tests of the command share: a sandbox for each."""

from __future__ import annotations

import sys
from collections.abc import Iterator
from pathlib import Path

import pytest

PROJECT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(PROJECT / "tools"))

from command_sandbox import CommandSandbox  # noqa: E402


@pytest.fixture
def sandbox(tmp_path: Path) -> Iterator[CommandSandbox]:
    """A sandbox that the command must leave clean: nothing stays in TMPDIR or beside a result."""
    sandbox = CommandSandbox(tmp_path)
    yield sandbox
    assert [*sandbox.temporary.iterdir()] == []
    assert [*sandbox.directory.rglob(".zanbury-convert.*")] == []
