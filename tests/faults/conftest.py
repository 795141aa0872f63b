"""Makes the ordeal and what it stands on known to the fault tests."""

from __future__ import annotations

import sys
from collections.abc import Iterator
from pathlib import Path

import pytest

PROJECT = Path(__file__).resolve().parents[2]
sys.path[:0] = [
    str(PROJECT / "tools"),
    str(PROJECT / "tests" / "conversation"),
    str(PROJECT / "tests" / "support"),
    str(Path(__file__).resolve().parent),
]

import default_signals  # noqa: E402, F401
from desk import Desk  # noqa: E402
from fixtures import desk, keys, program, sshd  # noqa: E402, F401
from ordeal import Ordeal  # noqa: E402
from process_tree import become_subreaper  # noqa: E402
from tmpfs import Tmpfs  # noqa: E402


def pytest_addoption(parser: pytest.Parser) -> None:
    parser.addoption("--long", action="store_true", help="run the tests marked as long, too")


def pytest_configure(config: pytest.Config) -> None:
    config.addinivalue_line("markers", "long: takes minutes; runs only with --long")
    become_subreaper()


def pytest_collection_modifyitems(config: pytest.Config, items: list[pytest.Item]) -> None:
    if config.getoption("--long"):
        return
    skip = pytest.mark.skip(reason="takes minutes: run with --long")
    for item in items:
        if "long" in item.keywords:
            item.add_marker(skip)


@pytest.fixture
def ordeal(desk: Desk, tmp_path_factory: pytest.TempPathFactory) -> Iterator[Ordeal]:  # noqa: F811
    """An ordeal on the test's desk, with a tmpfs of its own: see ordeal.py."""
    with Tmpfs(tmp_path_factory.mktemp("tmpfs")) as tmpfs:
        yield Ordeal(desk, tmpfs)
