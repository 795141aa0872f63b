"""An ssh that is killed, in each state and in the middle of the work."""

from __future__ import annotations

import os
import signal

import pytest
from desk import PATIENCE
from endings import assert_lost
from host_view import CONNECTING, log_lines
from observed_process import ssh_of
from ordeal import Ordeal
from stages import HELD, begin_archiving, begin_held, begin_in, hold_in
from stations import SENDING, STATES, WAITING_FOR_HELLO, WAITING_FOR_RESULT, in_state
from terminal_host import Conversion


def _kill_ssh(conversion: Conversion) -> None:
    """Returns when it has ended, with its pipes: what is written into them afterwards fails."""
    ssh = ssh_of(conversion)
    os.kill(ssh.pid, signal.SIGKILL)
    ssh.wait_for_end()


def _assert_converted(ordeal: Ordeal, conversion: Conversion) -> None:
    outcome = ordeal.end_of(conversion)
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert ordeal.desk.result.read_bytes() == ordeal.whole_result()
    ordeal.assert_survived(outcome)


def test_an_ssh_that_is_killed_before_the_hello_is_followed_by_the_next(ordeal: Ordeal) -> None:
    twice = [ordeal.desk.sshd.destination()] * 2
    scripts = [hold_in(WAITING_FOR_HELLO), {}]
    conversion = begin_held(ordeal, scripts, server_destinations=twice)
    _kill_ssh(conversion)
    _assert_converted(ordeal, conversion)
    assert [event for event in conversion.events if event == CONNECTING] == [CONNECTING] * 2


@pytest.mark.parametrize("state", STATES[1:])
def test_an_ssh_that_is_killed_ends_the_session(ordeal: Ordeal, state: str) -> None:
    conversion = begin_in(ordeal, state)
    _kill_ssh(conversion)
    outcome = ordeal.end_of(conversion)
    assert_lost(outcome, state)
    assert not ordeal.desk.result.exists()
    ordeal.assert_survived(outcome)


def test_an_ssh_that_is_killed_in_the_middle_of_the_upload_ends_it(ordeal: Ordeal) -> None:
    ordeal.desk.source.write_bytes(os.urandom(6_000_000))
    stalled = {"before": {"stop reading after": "ClientHandshake"}}
    conversion = ordeal.begin(
        {"ServerHello": stalled, "InputArchive": {"instead": [{"await": "never"}]}}
    )
    conversion.wait_until(lambda now: b"Uploading" in now.fifo_bytes, PATIENCE)
    _kill_ssh(conversion)
    outcome = ordeal.end_of(conversion)
    # Which of ssh's two pipes is noticed first to be broken is open.
    broke_first = log_lines(outcome)[0] == "write: Broken pipe"
    assert_lost(outcome, SENDING, before=("write: Broken pipe",) if broke_first else ())
    ordeal.assert_survived(outcome)


def test_an_ssh_that_is_killed_in_the_middle_of_the_download_ends_it(ordeal: Ordeal) -> None:
    half = {"send": "OutputArchive", "length": 1_000_000, "body": {"fill": 500_000}}
    conversion = ordeal.begin(in_state(WAITING_FOR_RESULT, half, *HELD))
    conversion.wait_until(lambda now: b">500000<" in now.fifo_bytes, PATIENCE)
    _kill_ssh(conversion)
    outcome = ordeal.end_of(conversion)
    assert_lost(outcome, WAITING_FOR_RESULT)
    ordeal.assert_survived(outcome)


def test_an_ssh_that_is_killed_while_the_source_is_packed_ends_the_session(ordeal: Ordeal) -> None:
    gate = ordeal.desk.directory / "gate"
    conversion = begin_archiving(ordeal, "packing", f"until [ -e '{gate}' ]; do sleep 0.01; done")
    _kill_ssh(conversion)
    gate.touch()
    outcome = ordeal.end_of(conversion)
    assert_lost(outcome, SENDING, before=("write: Broken pipe",))
    ordeal.assert_survived(outcome)


def test_an_ssh_that_is_killed_when_the_result_is_there_changes_nothing(ordeal: Ordeal) -> None:
    gate = ordeal.desk.directory / "gate"
    conversion = begin_archiving(ordeal, "unpacking", f"until [ -e '{gate}' ]; do sleep 0.01; done")
    _kill_ssh(conversion)
    gate.touch()
    _assert_converted(ordeal, conversion)
