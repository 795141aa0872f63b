"""What the tests of the command share: a desk for each of them."""

from __future__ import annotations

import sys
from collections.abc import Iterator
from pathlib import Path

import pytest

PROJECT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(PROJECT / "tools"))

from desk import Desk  # noqa: E402


@pytest.fixture
def desk(tmp_path: Path) -> Iterator[Desk]:
    """A desk that must be tidy in the end: nothing of ours stays in TMPDIR or beside a result."""
    desk = Desk(tmp_path)
    yield desk
    assert [*desk.temporary.iterdir()] == []
    assert [*desk.directory.rglob(".zanbury-convert.*")] == []
