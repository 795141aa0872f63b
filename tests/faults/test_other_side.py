"""Servers that are slow, fall silent in the middle, flood the host or say everything twice.

That a cancel acts while a server does not take the upload is proved by
tests/conversation/test_cancel.py.
"""

from __future__ import annotations

import signal
from typing import Any

import pytest
from desk import PATIENCE
from endings import assert_aborted
from host_messages import PATIENT
from host_view import log_lines
from memory import peak_resident_bytes
from ordeal import Ordeal
from prompt_end import assert_idle, ends_at_once, wait_for_wake_ups
from stages import HELD, begin_held
from standin.record import wait_until
from stations import (
    FORWARDING,
    SENDING,
    STATES,
    WAITING_FOR_HANDSHAKE,
    WAITING_FOR_HELLO,
    WAITING_FOR_RESULT,
    WAITING_FOR_START,
    in_state,
)
from terminal_host import Outcome
from unread_fifo import UnreadFifo, unread_fifo

CONVERTER = "ZanburyConverter"


def _assert_converted(ordeal: Ordeal, outcome: Outcome) -> None:
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert ordeal.desk.result.read_bytes() == ordeal.whole_result()
    ordeal.assert_survived(outcome)


def test_one_byte_a_second_is_fast_enough(ordeal: Ordeal) -> None:
    slow = {"rate": 1}
    script = {"ServerHello": slow, "InputArchiveAcknowledgement": slow}
    outcome = ordeal.convert(script)
    assert outcome.duration > 3
    _assert_converted(ordeal, outcome)


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
    ordeal: Ordeal, state: str, tool: str
) -> None:
    script = in_state(state, UNFINISHED[state], *HELD)
    conversion = begin_held(ordeal, script, tool=tool)
    if state == WAITING_FOR_RESULT:  # until then a byte from the host is forwarded
        conversion.wait_until(lambda now: b"Downloading" in now.fifo_bytes, PATIENCE)
    if tool == CONVERTER:
        assert_idle(conversion.pid)
    if state == FORWARDING:  # a byte from the host is no cancel there
        outcome = ends_at_once(conversion, lambda: conversion.signal(signal.SIGTERM))
        assert_aborted(ordeal.desk, outcome, "Terminated by signal SIGTERM")
    else:
        outcome = ends_at_once(conversion, conversion.cancel)
        assert_aborted(ordeal.desk, outcome, "User canceled")
    assert not ordeal.desk.result.exists()
    ordeal.assert_survived(outcome)


MESSAGE = 9_999_984  # bytes that make the largest Forward message
MESSAGES = 3
ROOM = 5 * MESSAGE // 2  # for a message and what it takes to decrypt it; not for all of them


def test_a_flood_that_the_host_does_not_read_is_held_back_and_not_stored(
    ordeal: Ordeal,
) -> None:
    flood = {"actions": [{"forward": {"fill": MESSAGE, "byte": 7}}], "repeat": MESSAGES}
    steps = [{"forward": "ready"}, {"await": "go"}, flood, {"await": "looked"}]
    script = {"Conversion": {"before": steps, "silent": True}}
    with unread_fifo(ordeal.desk.directory / "unread") as fifo:
        conversion = ordeal.begin(script, output_fifo_path=fifo.path)
        fifo.read_until(b"ready")
        before = peak_resident_bytes(conversion.pid)
        ordeal.desk.server.file("go").touch()
        fifo.wait_until_full()
        wait_for_wake_ups(conversion.pid, 5)
        assert peak_resident_bytes(conversion.pid) - before < ROOM
        _read_all(fifo)
        assert peak_resident_bytes(conversion.pid) - before < ROOM
        ordeal.desk.server.file("looked").touch()
        _assert_converted(ordeal, ordeal.end_of(conversion))


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


def test_a_signal_ends_a_flood_that_the_host_does_not_read(ordeal: Ordeal) -> None:
    flood = {"actions": [{"forward": {"fill": 60_000}}], "repeat": 1000}
    with unread_fifo(ordeal.desk.directory / "unread") as fifo:
        conversion = ordeal.begin(in_state(FORWARDING, flood), output_fifo_path=fifo.path)
        fifo.wait_until_full()
        outcome = ends_at_once(conversion, lambda: conversion.signal(signal.SIGTERM))
    assert outcome.status == 1, outcome.report()
    assert log_lines(outcome)[0] == "Terminated by signal SIGTERM"
    ordeal.assert_survived(outcome)


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
def test_a_message_that_comes_twice_is_out_of_place(ordeal: Ordeal, name: str) -> None:
    outcome = ordeal.convert({name: TWICE})
    lines = [f"ERROR: Did not handle message of type: {name}"]
    assert (outcome.status, log_lines(outcome)) == (1, lines), outcome.report()
    assert not ordeal.desk.result.exists()
    ordeal.assert_survived(outcome)


def test_a_server_that_says_everything_twice_comes_no_further_than_its_hello(
    ordeal: Ordeal,
) -> None:
    outcome = ordeal.convert({name: TWICE for name in ALL_OF_THEM})
    assert_aborted(ordeal.desk, outcome, "ERROR: Did not handle message of type: ServerHello")
    ordeal.assert_survived(outcome)


def test_a_second_result_is_not_looked_at(ordeal: Ordeal) -> None:
    _assert_converted(ordeal, ordeal.convert({"OutputArchive": TWICE}))


def test_what_the_tool_says_twice_the_host_hears_twice(ordeal: Ordeal) -> None:
    twice = {"actions": [{"forward": "said "}], "repeat": 2}
    outcome = ordeal.convert({"Conversion": {"before": twice, "silent": True}})
    _assert_converted(ordeal, outcome)
    assert outcome.fifo_bytes.partition(PATIENT)[2].startswith(b"said said ")
