"""What the tests share: conversions that play a plan on the fake program, and a desk."""

from __future__ import annotations

import json
import sys
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest

PROJECT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(PROJECT / "tools"))

from desk import FAKE_PROGRAM, Desk  # noqa: E402
from terminal_host import Conversion, Request  # noqa: E402

Play = Callable[..., Conversion]


@pytest.fixture
def play() -> Iterator[Play]:
    """Starts a conversion whose program plays the steps given; closes it at the end of the test."""
    started: list[Conversion] = []

    def start(*plan: list, request: Request = Request(), **options: object) -> Conversion:
        overrides = {"EXPORT_TOOL": json.dumps(plan), **options.pop("overrides", {})}
        conversion = Conversion(request, FAKE_PROGRAM, overrides=overrides, **options)
        started.append(conversion)
        return conversion.start()

    yield start
    for conversion in started:
        conversion.close()


@pytest.fixture
def desk(tmp_path: Path) -> Iterator[Desk]:
    """A desk that must be tidy in the end: nothing of the host may stay in TMPDIR."""
    desk = Desk(tmp_path)
    yield desk
    assert [*desk.temporary.iterdir()] == []
