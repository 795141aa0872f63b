"""SIGTERM, SIGINT and SIGHUP end a conversion cleanly whatever it is at; SIGSTOP and SIGCONT change
nothing. The states that tests/conversation proves are not repeated here."""

from __future__ import annotations

import os
import signal
from collections.abc import Iterator
from contextlib import contextmanager

import pytest
from fault_scenario import FaultScenario
from held_states import ARCHIVING, WORK, begin_archiving, begin_in, go, stopped_at_work
from host_harness import PATIENCE
from host_view import CONNECTING, log_lines, will_retry
from observed_process import children_of
from session_states import (
    SENDING,
    STATES,
    WAITING_FOR_HANDSHAKE,
    WAITING_FOR_RESULT,
    WAITING_FOR_START,
)
from standin.record import wait_until
from stopped_at import is_stopped
from terminal_host import Conversion, Outcome
from timely_exit import ends_at_once
from unreachable_servers import beyond

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


# The three take one way, so that one of them stands for all where the state is what matters.
ONE_OF_THEM = [NUMBERS[0], *(pytest.param(number, marks=LONG) for number in NUMBERS[1:])]
SHORT_WORK = ["encrypting", "delivering the file", "delivering the logs"]
SOME_WORK = [
    pytest.param(name, marks=[] if name in SHORT_WORK else [LONG])
    for name in WORK
    if name != "replacing a log"  # it needs a directory that is there
]


def _assert_terminated(scenario: FaultScenario, outcome: Outcome, number: signal.Signals) -> None:
    reason = f"Terminated by signal {number.name}"
    assert (outcome.status, log_lines(outcome)) == (1, [reason]), outcome.report()
    assert scenario.harness.connection().error == {"reason": reason}
    scenario.assert_survived(outcome)


@pytest.mark.parametrize(("state", "number"), HERE)
def test_a_signal_ends_each_state(
    scenario: FaultScenario, state: str, number: signal.Signals
) -> None:
    conversion = begin_in(scenario, state)
    outcome = ends_at_once(conversion, lambda: conversion.signal(number))
    _assert_terminated(scenario, outcome, number)
    assert not scenario.harness.result.exists() and not scenario.harness.logs.exists()


@pytest.mark.parametrize("number", ONE_OF_THEM)
@pytest.mark.parametrize("activity", ARCHIVING)
def test_a_signal_ends_the_archiver_with_the_program(
    scenario: FaultScenario, activity: str, number: signal.Signals
) -> None:
    conversion = begin_archiving(scenario, activity, "exec sleep 600")
    outcome = ends_at_once(conversion, lambda: conversion.signal(number))
    _assert_terminated(scenario, outcome, number)
    assert not scenario.harness.result.exists() and not scenario.harness.logs.exists()


@pytest.mark.parametrize("number", ONE_OF_THEM)
@pytest.mark.parametrize("activity", SOME_WORK)
def test_a_signal_ends_what_is_half_done(
    scenario: FaultScenario, activity: str, number: signal.Signals
) -> None:
    # What was begun at the host's paths goes with it; what was delivered whole before stays.
    with stopped_at_work(scenario, activity) as conversion:
        conversion.signal(number)
    outcome = scenario.end_of(conversion)
    _assert_terminated(scenario, outcome, number)
    assert scenario.harness.result.exists() == (activity == "delivering the logs")
    assert not scenario.harness.logs.exists()


def test_a_log_that_is_half_delivered_goes_and_the_others_stay(scenario: FaultScenario) -> None:
    scenario.harness.logs.mkdir()
    (scenario.harness.logs / "older.log").write_text("older\n")
    with stopped_at_work(scenario, "replacing a log") as conversion:
        conversion.signal(signal.SIGTERM)
    outcome = scenario.end_of(conversion)
    _assert_terminated(scenario, outcome, signal.SIGTERM)
    assert os.listdir(scenario.harness.logs) == ["older.log"]


@pytest.mark.parametrize("activity", ["delivering the file", "delivering the logs"])
def test_a_cancel_comes_too_late_when_the_delivery_has_begun(
    scenario: FaultScenario, activity: str
) -> None:
    with stopped_at_work(scenario, activity) as conversion:
        conversion.cancel()
    _assert_converted(scenario, scenario.end_of(conversion))


@pytest.mark.parametrize("number", ONE_OF_THEM)
def test_a_signal_ends_an_upload_that_is_stuck(
    scenario: FaultScenario, number: signal.Signals
) -> None:
    scenario.harness.source.write_bytes(os.urandom(6_000_000))
    script = {
        "ServerHello": {"before": {"stop reading after": "ClientHandshake"}},
        "InputArchive": {"instead": [{"await": "never"}]},
    }
    conversion = scenario.begin(script)
    conversion.wait_until(lambda now: b"Uploading" in now.fifo_bytes, PATIENCE)
    outcome = ends_at_once(conversion, lambda: conversion.signal(number))
    reason = f"Terminated by signal {number.name}"
    assert (outcome.status, log_lines(outcome)[0]) == (1, reason), outcome.report()
    scenario.assert_survived(outcome)


@contextmanager
def _stopped(conversion: Conversion) -> Iterator[None]:
    """The program stands still inside the with-block."""
    conversion.signal(signal.SIGSTOP)
    wait_until(lambda: is_stopped(conversion.pid), PATIENCE, "the stop")
    yield
    conversion.signal(signal.SIGCONT)


def _assert_converted(scenario: FaultScenario, outcome: Outcome) -> None:
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert scenario.harness.result.read_bytes() == scenario.whole_result()
    assert (scenario.harness.logs / "conversion.log").exists()
    scenario.assert_survived(outcome)


@pytest.mark.parametrize("state", STATES)
def test_a_stop_in_the_middle_changes_nothing(scenario: FaultScenario, state: str) -> None:
    # The server goes on meanwhile, so that there is more to do than ever when it is continued.
    conversion = begin_in(scenario, state)
    with _stopped(conversion):
        go(scenario.harness)
        wait_until(lambda: _has_gone_on(scenario, state), PATIENCE, "the server's next message")
    _assert_converted(scenario, scenario.end_of(conversion))


def _has_gone_on(scenario: FaultScenario, state: str) -> bool:
    """Whether the server has sent what it held back."""
    next_type = {
        "WaitingForServerHello": "ServerHello",
        "WaitingForServerHandshake": "ServerHandshake",
        "SendingInputArchive": "InputArchiveAcknowledgement",
        "WaitingForServerDidStartForwarding": "ServerWillStartForwarding",
        "ForwardingMessages": "ServerDidStopForwarding",
        "WaitingForOutputArchive": "OutputArchive",
    }[state]
    frames = scenario.harness.server.begun(1).frames
    return any((frame.direction, frame.type) == ("sent", next_type) for frame in frames)


@pytest.mark.parametrize("activity", SOME_WORK)
def test_a_stop_while_it_is_at_work_changes_nothing(scenario: FaultScenario, activity: str) -> None:
    with stopped_at_work(scenario, activity) as conversion:
        for _ in range(3):
            conversion.signal(signal.SIGCONT)
            conversion.signal(signal.SIGSTOP)
    _assert_converted(scenario, scenario.end_of(conversion))


@pytest.mark.parametrize("activity", ARCHIVING)
def test_a_stop_while_the_archiver_is_at_work_changes_nothing(
    scenario: FaultScenario, activity: str
) -> None:
    gate = scenario.harness.directory / "gate"
    conversion = begin_archiving(scenario, activity, f"until [ -e '{gate}' ]; do sleep 0.01; done")
    with _stopped(conversion):
        gate.touch()
        wait_until(lambda: _archiver_has_ended(conversion), PATIENCE, "the end of the archiver")
    _assert_converted(scenario, scenario.end_of(conversion))


def _archiver_has_ended(conversion: Conversion) -> bool:
    return any(child.has_ended for child in children_of(conversion.pid))


def test_a_stop_during_the_countdown_changes_nothing(scenario: FaultScenario) -> None:
    conversion = scenario.begin({}, server_destinations=beyond(1), retry_delay=1)
    conversion.wait_for(will_retry(1, "second"), PATIENCE)
    with _stopped(conversion):
        pass
    conversion.wait_until(lambda now: now.events.count(CONNECTING) >= 2, PATIENCE)
    outcome = ends_at_once(conversion, conversion.cancel)
    scenario.assert_survived(outcome)
