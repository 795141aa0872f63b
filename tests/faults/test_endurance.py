"""Retries without end: nothing of the program grows, neither what it holds nor what it leaves."""

from __future__ import annotations

import pytest
from fault_scenario import FaultScenario
from host_harness import PATIENCE
from host_view import CONNECTING, log_lines
from resource_snapshot import in_a_pause
from session_states import WAITING_FOR_HANDSHAKE, in_state
from terminal_host import Conversion, Outcome
from unreachable_servers import beyond

NOISE = 65_536  # bytes; what a page more or less here and there comes to
NOWHERE = beyond(7)
SENDS_NOWHERE = in_state(WAITING_FOR_HANDSHAKE, {"stage": "ServerHandshake", "redirect": NOWHERE})


def attempts(conversion: Conversion) -> int:
    """How often it has tried to connect until now."""
    return conversion.events.count(CONNECTING)


def assert_steady(
    scenario: FaultScenario, conversion: Conversion, first: int, last: int
) -> Outcome:
    """After so many attempts it holds what it held after the first so many, and no more memory."""
    conversion.wait_until(lambda now: attempts(now) >= first, PATIENCE + first)
    before, memory_before = in_a_pause(conversion, PATIENCE)
    conversion.wait_until(lambda now: attempts(now) >= last, PATIENCE + 2 * last)
    after, memory_after = in_a_pause(conversion, PATIENCE)
    assert after == before
    assert before.files[1:] == ("config",) and len(before.files) == 2
    print(f"memory: {memory_before} bytes after {first}, {memory_after} after {last} attempts")
    assert memory_after - memory_before <= NOISE, f"{memory_before} became {memory_after}"
    conversion.cancel()
    outcome = scenario.end_of(conversion)
    assert log_lines(outcome)[-1] == "User canceled"
    scenario.assert_survived(outcome, bound=float("inf"))
    return outcome


def test_150_attempts_that_fail_at_once(scenario: FaultScenario) -> None:
    conversion = scenario.begin(server_destinations=[beyond(1)] * 25, retry_delay=0)
    assert_steady(scenario, conversion, 50, 150)


def test_15_handshakes_that_lead_nowhere(scenario: FaultScenario) -> None:
    # Each takes new keys, and then one more attempt at where it was sent.
    here = [scenario.harness.sshd.destination()] * 5
    conversion = scenario.begin(SENDS_NOWHERE, server_destinations=here, retry_delay=0)
    assert_steady(scenario, conversion, 10, 30)


@pytest.mark.long
@pytest.mark.timeout(3600)
def test_a_thousand_retries(scenario: FaultScenario) -> None:
    conversion = scenario.begin(server_destinations=beyond(1), retry_delay=0)
    assert_steady(scenario, conversion, 100, 1000)


@pytest.mark.long
@pytest.mark.timeout(3600)
def test_a_thousand_handshakes_that_lead_nowhere(scenario: FaultScenario) -> None:
    here = [scenario.harness.sshd.destination()] * 10
    conversion = scenario.begin(SENDS_NOWHERE, server_destinations=here, retry_delay=0)
    assert_steady(scenario, conversion, 200, 2000)
