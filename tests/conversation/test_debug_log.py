"""EXPORT_DEBUG shows the way of a session through its states."""

from __future__ import annotations

import pytest
from host_harness import HostHarness
from host_view import log_lines

THE_WAY = ["0 -> 4", "4 -> 5", "5 -> 6", "6 -> 7", "7 -> 2", "2 -> 8"]


@pytest.mark.parametrize("value", [None, "", "0", "2", "yes"])
def test_nothing_is_shown_by_itself(harness: HostHarness, value: str | None) -> None:
    outcome = harness.convert(overrides={"EXPORT_DEBUG": value})
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()


def test_every_transition_is_shown_when_asked_for(harness: HostHarness) -> None:
    outcome = harness.convert(overrides={"EXPORT_DEBUG": "1"})
    assert log_lines(outcome) == [f"state {step}" for step in THE_WAY], outcome.report()


def test_an_abort_is_shown_behind_its_reason(harness: HostHarness) -> None:
    outcome = harness.convert(server_destinations="bad", overrides={"EXPORT_DEBUG": "1"})
    assert log_lines(outcome) == ["state 0 -> 4", "Invalid server destination", "state 4 -> 1"]
