"""The host is killed, and with it who reads its FIFO and its log. A converter ends; any other
tool has no order to watch the host, so its conversion goes on and delivers."""

from __future__ import annotations

from typing import Any

import pytest
from desk import PATIENCE
from host_view import log_lines
from mortal_host import MortalHost
from ordeal import Ordeal
from own_archiver import with_archiver
from stages import go, hold_in
from standin.record import wait_until
from stations import FORWARDING, SENDING, STATES, WAITING_FOR_HELLO

CONVERTER = "ZanburyConverter"
SHORT = [WAITING_FOR_HELLO, SENDING, FORWARDING]
SOME_STATES = [
    pytest.param(state, marks=[] if state in SHORT else [pytest.mark.long]) for state in STATES
]


def _host_in(ordeal: Ordeal, state: str, **options: Any) -> MortalHost:
    """A host whose program stands in that state."""
    host = MortalHost(ordeal, hold_in(state), **options)
    wait_until(ordeal.desk.server.file("held").exists, PATIENCE, state)
    return host


@pytest.mark.parametrize("state", SOME_STATES)
def test_a_converter_ends_at_once(ordeal: Ordeal, state: str) -> None:
    with _host_in(ordeal, state, tool=CONVERTER) as host:
        host.kill()
        outcome = host.outcome(PATIENCE)
    assert (outcome.status, log_lines(outcome)) == (1, ["Host terminated"]), outcome.report()
    assert ordeal.desk.connection().error == {"reason": "Host terminated"}
    assert not ordeal.desk.result.exists()
    ordeal.assert_survived(outcome)


def test_a_converter_ends_even_when_nobody_takes_its_last_words(ordeal: Ordeal) -> None:
    with _host_in(ordeal, STATES[1], tool=CONVERTER, broken_log=True) as host:
        host.kill()
        outcome = host.outcome(PATIENCE)
    assert outcome.status == 1
    ordeal.assert_survived(outcome, silent=True)


@pytest.mark.parametrize("stage", ["-c", "-x"], ids=["packing", "unpacking"])
def test_a_converter_ends_while_its_archiver_is_at_work(ordeal: Ordeal, stage: str) -> None:
    begun = ordeal.desk.directory / "begun"
    script = f'[ "$1" = {stage} ] || exec "$real" "$@"\ntouch \'{begun}\'; exec sleep 600'
    program = with_archiver(ordeal.desk.program, ordeal.desk.directory / "own", script)
    with MortalHost(ordeal, {}, tool=CONVERTER, program=program) as host:
        wait_until(begun.exists, PATIENCE, "the archiver")
        host.kill()
        outcome = host.outcome(PATIENCE)
    assert (outcome.status, log_lines(outcome)) == (1, ["Host terminated"]), outcome.report()
    ordeal.assert_survived(outcome)


@pytest.mark.parametrize("state", SOME_STATES)
def test_any_other_tool_still_delivers(ordeal: Ordeal, state: str) -> None:
    with _host_in(ordeal, state, broken_log=True) as host:
        host.kill()
        go(ordeal.desk)
        outcome = host.outcome(PATIENCE)
    assert outcome.status == 0
    assert ordeal.desk.result.read_bytes() == ordeal.whole_result()
    ordeal.assert_survived(outcome)
