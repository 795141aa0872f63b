"""An ssh that is killed, in each state and in the middle of the work."""

from __future__ import annotations

import os
import signal

import pytest
from assertions import assert_lost
from fault_scenario import FaultScenario
from held_states import HELD, begin_archiving, begin_held, begin_in, hold_in
from host_harness import PATIENCE
from host_view import CONNECTING, log_lines
from observed_process import ssh_of
from session_states import SENDING, STATES, WAITING_FOR_HELLO, WAITING_FOR_RESULT, in_state
from terminal_host import Conversion


def _kill_ssh(conversion: Conversion) -> None:
    """Returns when it has ended, with its pipes: what is written into them afterwards fails."""
    ssh = ssh_of(conversion)
    os.kill(ssh.pid, signal.SIGKILL)
    ssh.wait_for_end()


def _assert_converted(scenario: FaultScenario, conversion: Conversion) -> None:
    outcome = scenario.end_of(conversion)
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert scenario.harness.result.read_bytes() == scenario.whole_result()
    scenario.assert_survived(outcome)


def test_an_ssh_that_is_killed_before_the_hello_is_followed_by_the_next(
    scenario: FaultScenario,
) -> None:
    twice = [scenario.harness.sshd.destination()] * 2
    scripts = [hold_in(WAITING_FOR_HELLO), {}]
    conversion = begin_held(scenario, scripts, server_destinations=twice)
    _kill_ssh(conversion)
    _assert_converted(scenario, conversion)
    assert [event for event in conversion.events if event == CONNECTING] == [CONNECTING] * 2


@pytest.mark.parametrize("state", STATES[1:])
def test_an_ssh_that_is_killed_ends_the_session(scenario: FaultScenario, state: str) -> None:
    conversion = begin_in(scenario, state)
    _kill_ssh(conversion)
    outcome = scenario.end_of(conversion)
    assert_lost(outcome, state)
    assert not scenario.harness.result.exists()
    scenario.assert_survived(outcome)


def test_an_ssh_that_is_killed_in_the_middle_of_the_upload_ends_it(scenario: FaultScenario) -> None:
    scenario.harness.source.write_bytes(os.urandom(6_000_000))
    stalled = {"before": {"stop reading after": "ClientHandshake"}}
    conversion = scenario.begin(
        {"ServerHello": stalled, "InputArchive": {"instead": [{"await": "never"}]}}
    )
    conversion.wait_until(lambda now: b"Uploading" in now.fifo_bytes, PATIENCE)
    _kill_ssh(conversion)
    outcome = scenario.end_of(conversion)
    # Which of ssh's two pipes is noticed first to be broken is open.
    broke_first = log_lines(outcome)[0] == "write: Broken pipe"
    assert_lost(outcome, SENDING, before=("write: Broken pipe",) if broke_first else ())
    scenario.assert_survived(outcome)


def test_an_ssh_that_is_killed_in_the_middle_of_the_download_ends_it(
    scenario: FaultScenario,
) -> None:
    half = {"send": "OutputArchive", "length": 1_000_000, "body": {"fill": 500_000}}
    conversion = scenario.begin(in_state(WAITING_FOR_RESULT, half, *HELD))
    conversion.wait_until(lambda now: b">500000<" in now.fifo_bytes, PATIENCE)
    _kill_ssh(conversion)
    outcome = scenario.end_of(conversion)
    assert_lost(outcome, WAITING_FOR_RESULT)
    scenario.assert_survived(outcome)


def test_an_ssh_that_is_killed_while_the_source_is_packed_ends_the_session(
    scenario: FaultScenario,
) -> None:
    gate = scenario.harness.directory / "gate"
    conversion = begin_archiving(scenario, "packing", f"until [ -e '{gate}' ]; do sleep 0.01; done")
    _kill_ssh(conversion)
    gate.touch()
    outcome = scenario.end_of(conversion)
    assert_lost(outcome, SENDING, before=("write: Broken pipe",))
    scenario.assert_survived(outcome)


def test_an_ssh_that_is_killed_when_the_result_is_there_changes_nothing(
    scenario: FaultScenario,
) -> None:
    gate = scenario.harness.directory / "gate"
    conversion = begin_archiving(
        scenario, "unpacking", f"until [ -e '{gate}' ]; do sleep 0.01; done"
    )
    _kill_ssh(conversion)
    gate.touch()
    _assert_converted(scenario, conversion)
