"""SIGTERM, SIGINT and SIGHUP end a conversion cleanly whatever it is at; SIGSTOP and SIGCONT change
nothing. The states that tests/conversation proves are not repeated here."""

from __future__ import annotations

import os
import signal
from collections.abc import Iterator
from contextlib import contextmanager

import pytest
from dead_ends import beyond
from desk import PATIENCE
from host_view import CONNECTING, log_lines, will_retry
from observed_process import children_of
from ordeal import Ordeal
from prompt_end import ends_at_once
from stages import ARCHIVING, WORK, begin_archiving, begin_in, go, stopped_at_work
from standin.record import wait_until
from stations import (
    SENDING,
    STATES,
    WAITING_FOR_HANDSHAKE,
    WAITING_FOR_RESULT,
    WAITING_FOR_START,
)
from stopped_at import is_stopped
from terminal_host import Conversion, Outcome

NUMBERS = [signal.SIGTERM, signal.SIGINT, signal.SIGHUP]
LONG = pytest.mark.long
# The states in which tests/conversation sends SIGTERM only, and the signal of the short run.
IN_SHORT = {
    WAITING_FOR_HANDSHAKE: signal.SIGINT,
    SENDING: signal.SIGHUP,
    WAITING_FOR_START: signal.SIGINT,
    WAITING_FOR_RESULT: signal.SIGHUP,
}
HERE = [
    pytest.param(state, number, marks=[] if number == short else [LONG])
    for state, short in IN_SHORT.items()
    for number in NUMBERS[1:]
]


# The three take one way, so that one of them stands for all where the stage is what matters.
ONE_OF_THEM = [NUMBERS[0], *(pytest.param(number, marks=LONG) for number in NUMBERS[1:])]
SHORT_WORK = ["encrypting", "delivering the file", "delivering the logs"]
SOME_WORK = [
    pytest.param(name, marks=[] if name in SHORT_WORK else [LONG])
    for name in WORK
    if name != "replacing a log"  # it needs a directory that is there
]


def _assert_terminated(ordeal: Ordeal, outcome: Outcome, number: signal.Signals) -> None:
    reason = f"Terminated by signal {number.name}"
    assert (outcome.status, log_lines(outcome)) == (1, [reason]), outcome.report()
    assert ordeal.desk.connection().error == {"reason": reason}
    ordeal.assert_survived(outcome)


@pytest.mark.parametrize(("state", "number"), HERE)
def test_a_signal_ends_each_state(ordeal: Ordeal, state: str, number: signal.Signals) -> None:
    conversion = begin_in(ordeal, state)
    outcome = ends_at_once(conversion, lambda: conversion.signal(number))
    _assert_terminated(ordeal, outcome, number)
    assert not ordeal.desk.result.exists() and not ordeal.desk.logs.exists()


@pytest.mark.parametrize("number", ONE_OF_THEM)
@pytest.mark.parametrize("stage", ARCHIVING)
def test_a_signal_ends_the_archiver_with_the_program(
    ordeal: Ordeal, stage: str, number: signal.Signals
) -> None:
    conversion = begin_archiving(ordeal, stage, "exec sleep 600")
    outcome = ends_at_once(conversion, lambda: conversion.signal(number))
    _assert_terminated(ordeal, outcome, number)
    assert not ordeal.desk.result.exists() and not ordeal.desk.logs.exists()


@pytest.mark.parametrize("number", ONE_OF_THEM)
@pytest.mark.parametrize("stage", SOME_WORK)
def test_a_signal_ends_what_is_half_done(
    ordeal: Ordeal, stage: str, number: signal.Signals
) -> None:
    # What was begun at the host's paths goes with it; what was delivered whole before stays.
    with stopped_at_work(ordeal, stage) as conversion:
        conversion.signal(number)
    outcome = ordeal.end_of(conversion)
    _assert_terminated(ordeal, outcome, number)
    assert ordeal.desk.result.exists() == (stage == "delivering the logs")
    assert not ordeal.desk.logs.exists()


def test_a_log_that_is_half_delivered_goes_and_the_others_stay(ordeal: Ordeal) -> None:
    ordeal.desk.logs.mkdir()
    (ordeal.desk.logs / "older.log").write_text("older\n")
    with stopped_at_work(ordeal, "replacing a log") as conversion:
        conversion.signal(signal.SIGTERM)
    outcome = ordeal.end_of(conversion)
    _assert_terminated(ordeal, outcome, signal.SIGTERM)
    assert os.listdir(ordeal.desk.logs) == ["older.log"]


@pytest.mark.parametrize("stage", ["delivering the file", "delivering the logs"])
def test_a_cancel_comes_too_late_when_the_delivery_has_begun(ordeal: Ordeal, stage: str) -> None:
    with stopped_at_work(ordeal, stage) as conversion:
        conversion.cancel()
    _assert_converted(ordeal, ordeal.end_of(conversion))


@pytest.mark.parametrize("number", ONE_OF_THEM)
def test_a_signal_ends_an_upload_that_is_stuck(ordeal: Ordeal, number: signal.Signals) -> None:
    ordeal.desk.source.write_bytes(os.urandom(6_000_000))
    script = {
        "ServerHello": {"before": {"stop reading after": "ClientHandshake"}},
        "InputArchive": {"instead": [{"await": "never"}]},
    }
    conversion = ordeal.begin(script)
    conversion.wait_until(lambda now: b"Uploading" in now.fifo_bytes, PATIENCE)
    outcome = ends_at_once(conversion, lambda: conversion.signal(number))
    reason = f"Terminated by signal {number.name}"
    assert (outcome.status, log_lines(outcome)[0]) == (1, reason), outcome.report()
    ordeal.assert_survived(outcome)


@contextmanager
def _stopped(conversion: Conversion) -> Iterator[None]:
    """The program stands still inside the with-block."""
    conversion.signal(signal.SIGSTOP)
    wait_until(lambda: is_stopped(conversion.pid), PATIENCE, "the stop")
    yield
    conversion.signal(signal.SIGCONT)


def _assert_converted(ordeal: Ordeal, outcome: Outcome) -> None:
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert ordeal.desk.result.read_bytes() == ordeal.whole_result()
    assert (ordeal.desk.logs / "conversion.log").exists()
    ordeal.assert_survived(outcome)


@pytest.mark.parametrize("state", STATES)
def test_a_stop_in_the_middle_changes_nothing(ordeal: Ordeal, state: str) -> None:
    # The server goes on meanwhile, so that there is more to do than ever when it is continued.
    conversion = begin_in(ordeal, state)
    with _stopped(conversion):
        go(ordeal.desk)
        wait_until(lambda: _has_gone_on(ordeal, state), PATIENCE, "the server's next message")
    _assert_converted(ordeal, ordeal.end_of(conversion))


def _has_gone_on(ordeal: Ordeal, state: str) -> bool:
    """Whether the server has sent what it held back."""
    next_type = {
        "WaitingForServerHello": "ServerHello",
        "WaitingForServerHandshake": "ServerHandshake",
        "SendingInputArchive": "InputArchiveAcknowledgement",
        "WaitingForServerDidStartForwarding": "ServerWillStartForwarding",
        "ForwardingMessages": "ServerDidStopForwarding",
        "WaitingForOutputArchive": "OutputArchive",
    }[state]
    frames = ordeal.desk.server.begun(1).frames
    return any((frame.direction, frame.type) == ("sent", next_type) for frame in frames)


@pytest.mark.parametrize("stage", SOME_WORK)
def test_a_stop_while_it_is_at_work_changes_nothing(ordeal: Ordeal, stage: str) -> None:
    with stopped_at_work(ordeal, stage) as conversion:
        for _ in range(3):
            conversion.signal(signal.SIGCONT)
            conversion.signal(signal.SIGSTOP)
    _assert_converted(ordeal, ordeal.end_of(conversion))


@pytest.mark.parametrize("stage", ARCHIVING)
def test_a_stop_while_the_archiver_is_at_work_changes_nothing(ordeal: Ordeal, stage: str) -> None:
    gate = ordeal.desk.directory / "gate"
    conversion = begin_archiving(ordeal, stage, f"until [ -e '{gate}' ]; do sleep 0.01; done")
    with _stopped(conversion):
        gate.touch()
        wait_until(lambda: _archiver_has_ended(conversion), PATIENCE, "the end of the archiver")
    _assert_converted(ordeal, ordeal.end_of(conversion))


def _archiver_has_ended(conversion: Conversion) -> bool:
    return any(child.has_ended for child in children_of(conversion.pid))


def test_a_stop_during_the_countdown_changes_nothing(ordeal: Ordeal) -> None:
    conversion = ordeal.begin({}, server_destinations=beyond(1), retry_delay=1)
    conversion.wait_for(will_retry(1, "second"), PATIENCE)
    with _stopped(conversion):
        pass
    conversion.wait_until(lambda now: now.events.count(CONNECTING) >= 2, PATIENCE)
    outcome = ends_at_once(conversion, conversion.cancel)
    ordeal.assert_survived(outcome)
