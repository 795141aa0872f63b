"""Retries without end: nothing of the program grows, neither what it holds nor what it leaves."""

from __future__ import annotations

import pytest
from dead_ends import beyond
from desk import PATIENCE
from holdings import in_a_pause
from host_view import CONNECTING, log_lines
from ordeal import Ordeal
from stations import WAITING_FOR_HANDSHAKE, in_state
from terminal_host import Conversion, Outcome

NOISE = 65_536  # bytes; what a page more or less here and there comes to
NOWHERE = beyond(7)
SENDS_NOWHERE = in_state(WAITING_FOR_HANDSHAKE, {"stage": "ServerHandshake", "redirect": NOWHERE})


def attempts(conversion: Conversion) -> int:
    """How often it has tried to connect until now."""
    return conversion.events.count(CONNECTING)


def assert_steady(ordeal: Ordeal, conversion: Conversion, first: int, last: int) -> Outcome:
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
    outcome = ordeal.end_of(conversion)
    assert log_lines(outcome)[-1] == "User canceled"
    ordeal.assert_survived(outcome, bound=float("inf"))
    return outcome


def test_150_attempts_that_fail_at_once(ordeal: Ordeal) -> None:
    conversion = ordeal.begin(server_destinations=[beyond(1)] * 25, retry_delay=0)
    assert_steady(ordeal, conversion, 50, 150)


def test_15_handshakes_that_lead_nowhere(ordeal: Ordeal) -> None:
    # Each takes new keys, and then one more attempt at where it was sent.
    here = [ordeal.desk.sshd.destination()] * 5
    conversion = ordeal.begin(SENDS_NOWHERE, server_destinations=here, retry_delay=0)
    assert_steady(ordeal, conversion, 10, 30)


@pytest.mark.long
@pytest.mark.timeout(3600)
def test_a_thousand_retries(ordeal: Ordeal) -> None:
    conversion = ordeal.begin(server_destinations=beyond(1), retry_delay=0)
    assert_steady(ordeal, conversion, 100, 1000)


@pytest.mark.long
@pytest.mark.timeout(3600)
def test_a_thousand_handshakes_that_lead_nowhere(ordeal: Ordeal) -> None:
    here = [ordeal.desk.sshd.destination()] * 10
    conversion = ordeal.begin(SENDS_NOWHERE, server_destinations=here, retry_delay=0)
    assert_steady(ordeal, conversion, 200, 2000)
