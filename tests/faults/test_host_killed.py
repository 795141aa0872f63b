"""The host is killed, and with it who reads its FIFO and its log. A converter ends; any other
tool has no order to watch the host, so its conversion goes on and delivers."""

from __future__ import annotations

from typing import Any

import pytest
from fault_scenario import FaultScenario
from held_states import go, hold_in
from host_harness import PATIENCE
from host_view import log_lines
from killable_host import KillableHost
from own_archiver import with_archiver
from session_states import FORWARDING, SENDING, STATES, WAITING_FOR_HELLO
from standin.record import wait_until

CONVERTER = "ZanburyConverter"
SHORT = [WAITING_FOR_HELLO, SENDING, FORWARDING]
SOME_STATES = [
    pytest.param(state, marks=[] if state in SHORT else [pytest.mark.long]) for state in STATES
]


def _host_in(scenario: FaultScenario, state: str, **options: Any) -> KillableHost:
    """A host whose program stands in that state."""
    host = KillableHost(scenario, hold_in(state), **options)
    wait_until(scenario.harness.server.file("held").exists, PATIENCE, state)
    return host


@pytest.mark.parametrize("state", SOME_STATES)
def test_a_converter_ends_at_once(scenario: FaultScenario, state: str) -> None:
    with _host_in(scenario, state, tool=CONVERTER) as host:
        host.kill()
        outcome = host.outcome(PATIENCE)
    assert (outcome.status, log_lines(outcome)) == (1, ["Host terminated"]), outcome.report()
    assert scenario.harness.connection().error == {"reason": "Host terminated"}
    assert not scenario.harness.result.exists()
    scenario.assert_survived(outcome)


def test_a_converter_ends_even_when_nobody_takes_its_last_words(scenario: FaultScenario) -> None:
    with _host_in(scenario, STATES[1], tool=CONVERTER, broken_log=True) as host:
        host.kill()
        outcome = host.outcome(PATIENCE)
    assert outcome.status == 1
    scenario.assert_survived(outcome, silent=True)


@pytest.mark.parametrize("stage", ["-c", "-x"], ids=["packing", "unpacking"])
def test_a_converter_ends_while_its_archiver_is_at_work(
    scenario: FaultScenario, stage: str
) -> None:
    begun = scenario.harness.directory / "begun"
    script = f'[ "$1" = {stage} ] || exec "$real" "$@"\ntouch \'{begun}\'; exec sleep 600'
    program = with_archiver(scenario.harness.program, scenario.harness.directory / "own", script)
    with KillableHost(scenario, {}, tool=CONVERTER, program=program) as host:
        wait_until(begun.exists, PATIENCE, "the archiver")
        host.kill()
        outcome = host.outcome(PATIENCE)
    assert (outcome.status, log_lines(outcome)) == (1, ["Host terminated"]), outcome.report()
    scenario.assert_survived(outcome)


@pytest.mark.parametrize("state", SOME_STATES)
def test_any_other_tool_still_delivers(scenario: FaultScenario, state: str) -> None:
    with _host_in(scenario, state, broken_log=True) as host:
        host.kill()
        go(scenario.harness)
        outcome = host.outcome(PATIENCE)
    assert outcome.status == 0
    assert scenario.harness.result.read_bytes() == scenario.whole_result()
    scenario.assert_survived(outcome)
