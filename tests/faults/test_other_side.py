"""Servers that are slow, fall silent in the middle, flood the host or say everything twice.

That a cancel acts while a server does not take the upload is proved by
tests/conversation/test_cancel.py.
"""

from __future__ import annotations

import signal
from typing import Any

import pytest
from assertions import assert_aborted
from fault_scenario import FaultScenario
from held_states import HELD, begin_held
from host_harness import PATIENCE
from host_messages import PATIENT
from host_view import log_lines
from memory import peak_resident_bytes
from session_states import (
    FORWARDING,
    SENDING,
    STATES,
    WAITING_FOR_HANDSHAKE,
    WAITING_FOR_HELLO,
    WAITING_FOR_RESULT,
    WAITING_FOR_START,
    in_state,
)
from standin.record import wait_until
from terminal_host import Outcome
from timely_exit import assert_idle, ends_at_once, wait_for_wake_ups
from unread_fifo import UnreadFifo, unread_fifo

CONVERTER = "ZanburyConverter"


def _assert_converted(scenario: FaultScenario, outcome: Outcome) -> None:
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert scenario.harness.result.read_bytes() == scenario.whole_result()
    scenario.assert_survived(outcome)


def test_one_byte_a_second_is_fast_enough(scenario: FaultScenario) -> None:
    slow = {"rate": 1}
    script = {"ServerHello": slow, "InputArchiveAcknowledgement": slow}
    outcome = scenario.convert(script)
    assert outcome.duration > 3
    _assert_converted(scenario, outcome)


UNFINISHED: dict[str, dict[str, Any]] = {
    WAITING_FOR_HELLO: {"raw": "h"},
    WAITING_FOR_HANDSHAKE: {"raw": "s1000"},
    SENDING: {"send": "InputArchiveAcknowledgement", "length": 10, "body": "not all"},
    WAITING_FOR_START: {"raw": "["},
    FORWARDING: {"send": "Forward", "length": 10_000_000, "body": {"fill": 9_999_999}},
    WAITING_FOR_RESULT: {"send": "OutputArchive", "length": 999_999_999, "body": {"fill": 1000}},
}


@pytest.mark.parametrize("tool", [CONVERTER, pytest.param("StatementTool", marks=pytest.mark.long)])
@pytest.mark.parametrize("state", STATES)
def test_a_message_that_never_ends_is_waited_for_quietly_and_not_for_ever(
    scenario: FaultScenario, state: str, tool: str
) -> None:
    script = in_state(state, UNFINISHED[state], *HELD)
    conversion = begin_held(scenario, script, tool=tool)
    if state == WAITING_FOR_RESULT:  # until then a byte from the host is forwarded
        conversion.wait_until(lambda now: b"Downloading" in now.fifo_bytes, PATIENCE)
    if tool == CONVERTER:
        assert_idle(conversion.pid)
    if state == FORWARDING:  # a byte from the host does not cancel there
        outcome = ends_at_once(conversion, lambda: conversion.signal(signal.SIGTERM))
        assert_aborted(scenario.harness, outcome, "Terminated by signal SIGTERM")
    else:
        outcome = ends_at_once(conversion, conversion.cancel)
        assert_aborted(scenario.harness, outcome, "User canceled")
    assert not scenario.harness.result.exists()
    scenario.assert_survived(outcome)


MESSAGE = 9_999_984  # bytes that make the largest Forward message
MESSAGES = 3
ROOM = 5 * MESSAGE // 2  # for a message and what it takes to decrypt it; not for all of them


def test_a_flood_that_the_host_does_not_read_is_held_back_and_not_stored(
    scenario: FaultScenario,
) -> None:
    flood = {"actions": [{"forward": {"fill": MESSAGE, "byte": 7}}], "repeat": MESSAGES}
    steps = [{"forward": "ready"}, {"await": "go"}, flood, {"await": "looked"}]
    script = {"Conversion": {"before": steps, "silent": True}}
    with unread_fifo(scenario.harness.directory / "unread") as fifo:
        conversion = scenario.begin(script, output_fifo_path=fifo.path)
        fifo.read_until(b"ready")
        before = peak_resident_bytes(conversion.pid)
        scenario.harness.server.file("go").touch()
        fifo.wait_until_full()
        wait_for_wake_ups(conversion.pid, 5)
        assert peak_resident_bytes(conversion.pid) - before < ROOM
        _read_all(fifo)
        assert peak_resident_bytes(conversion.pid) - before < ROOM
        scenario.harness.server.file("looked").touch()
        _assert_converted(scenario, scenario.end_of(conversion))


def _read_all(fifo: UnreadFifo) -> None:
    """Reads on until the whole flood has come, and counts it instead of keeping it."""
    came = 0

    def counted() -> bool:
        nonlocal came
        while fifo.read():
            came += fifo.content.count(b"\a")
            fifo.content = b""
        return came >= MESSAGES * MESSAGE

    wait_until(counted, PATIENCE, "the whole flood")
    assert came == MESSAGES * MESSAGE


def test_a_signal_ends_a_flood_that_the_host_does_not_read(scenario: FaultScenario) -> None:
    flood = {"actions": [{"forward": {"fill": 60_000}}], "repeat": 1000}
    with unread_fifo(scenario.harness.directory / "unread") as fifo:
        conversion = scenario.begin(in_state(FORWARDING, flood), output_fifo_path=fifo.path)
        fifo.wait_until_full()
        outcome = ends_at_once(conversion, lambda: conversion.signal(signal.SIGTERM))
    assert outcome.status == 1, outcome.report()
    assert log_lines(outcome)[0] == "Terminated by signal SIGTERM"
    scenario.assert_survived(outcome)


TWICE = {"repeat": 2}
ALL_OF_THEM = [
    "ServerHello",
    "ServerHandshake",
    "InputArchiveAcknowledgement",
    "ServerWillStartForwarding",
    "ServerDidStopForwarding",
    "OutputArchive",
]


@pytest.mark.parametrize("name", ALL_OF_THEM[:-1])
def test_a_message_that_comes_twice_is_out_of_place(scenario: FaultScenario, name: str) -> None:
    outcome = scenario.convert({name: TWICE})
    lines = [f"ERROR: Did not handle message of type: {name}"]
    assert (outcome.status, log_lines(outcome)) == (1, lines), outcome.report()
    assert not scenario.harness.result.exists()
    scenario.assert_survived(outcome)


def test_a_server_that_says_everything_twice_comes_no_further_than_its_hello(
    scenario: FaultScenario,
) -> None:
    outcome = scenario.convert({name: TWICE for name in ALL_OF_THEM})
    assert_aborted(scenario.harness, outcome, "ERROR: Did not handle message of type: ServerHello")
    scenario.assert_survived(outcome)


def test_a_second_result_is_not_looked_at(scenario: FaultScenario) -> None:
    _assert_converted(scenario, scenario.convert({"OutputArchive": TWICE}))


def test_what_the_tool_says_twice_the_host_hears_twice(scenario: FaultScenario) -> None:
    twice = {"actions": [{"forward": "said "}], "repeat": 2}
    outcome = scenario.convert({"Conversion": {"before": twice, "silent": True}})
    _assert_converted(scenario, outcome)
    assert outcome.fifo_bytes.partition(PATIENT)[2].startswith(b"said said ")
