"""Makes the scenario and what it is built on known to the fault tests."""

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
from fault_scenario import FaultScenario  # noqa: E402
from fixtures import harness, keys, program, sshd  # noqa: E402, F401
from host_harness import HostHarness  # noqa: E402
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
def scenario(
    harness: HostHarness, tmp_path_factory: pytest.TempPathFactory
) -> Iterator[FaultScenario]:  # noqa: F811
    """With a tmpfs of its own: see fault_scenario.py."""
    with Tmpfs(tmp_path_factory.mktemp("tmpfs")) as tmpfs:
        yield FaultScenario(harness, tmpfs)
