"""What the tests share: conversions that play a plan on the fake program."""

from __future__ import annotations

import json
import sys
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest

PROJECT = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(PROJECT / "tools"), str(PROJECT / "tests" / "support")]

import default_signals  # noqa: E402, F401
from terminal_host import Conversion, Request  # noqa: E402

FAKE_PROGRAM = Path(__file__).with_name("fake_program.py")
PATIENCE = 300.0  # seconds; who has waited for so long waits for what will never come
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
