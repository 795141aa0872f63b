"""A byte from the host is a cancel in every state but one, a dead host ends its converter, and both
act whatever the program waits for."""

from __future__ import annotations

import os
import shutil
import signal
import subprocess
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

import pytest
from assertions import assert_aborted, assert_clean
from host_harness import PATIENCE, HostHarness
from host_messages import CANCELING, CONNECTING, PATIENT
from host_view import A_DAY, log_lines, will_retry
from observed_process import children_of
from session_states import FORWARDING, STATES, WAITING_FOR_RESULT, WAITING_FOR_START, in_state
from standin.record import wait_until
from terminal_host import Conversion, Outcome
from timely_exit import assert_idle, ends_at_once, wait_for_wake_ups
from unreachable_servers import SilentListener, beyond
from unread_fifo import UNTAKEN, UnreadFifo, unread_fifo

CONVERTER = "ZanburyConverter"
TOOLS = ["StatementTool", CONVERTER]
REACHED = [{"create": "reached"}, {"await": "never"}]
SENDING_STALLS = {
    "ServerHello": {"before": {"stop reading after": "ClientHandshake"}},
    "InputArchive": {"instead": [{"await": "never"}]},
}


def _silent_in(state: str) -> dict[str, Any]:
    """A script that falls silent when it has brought the session to the state; "@" marks the last
    two of them for the host."""
    mark = {"forward": "@"}
    if state == FORWARDING:
        return in_state(FORWARDING, mark, *REACHED)
    if state == WAITING_FOR_RESULT:
        # In one write with the mark: who has seen that is past both.
        stop = {"together": [mark, {"send": "ServerDidStopForwarding"}]}
        return in_state(FORWARDING, stop, *REACHED)
    return in_state(state, *REACHED)


def _in(harness: HostHarness, state: str, **options: Any) -> Conversion:
    """A conversation that has come to the state, where the server falls silent."""
    conversion = harness.begin(_silent_in(state), **options)
    wait_until(harness.server.file("reached").exists, PATIENCE, state)
    if state == WAITING_FOR_START:
        conversion.wait_until(lambda now: b"be patient" in now.fifo_bytes, PATIENCE)
    elif state in (FORWARDING, WAITING_FOR_RESULT):
        conversion.wait_until(lambda now: b"@" in now.fifo_bytes.rpartition(PATIENT)[2], PATIENCE)
    return conversion


def _assert_canceled(harness: HostHarness, outcome: Outcome) -> None:
    assert outcome.fifo_bytes.endswith(CANCELING), outcome.report()
    assert outcome.fifo_bytes.count(CANCELING) == 1
    assert_aborted(harness, outcome, "User canceled")
    assert not harness.result.exists() and not harness.logs.exists()


@pytest.mark.parametrize("tool", TOOLS)
@pytest.mark.parametrize("state", [state for state in STATES if state != FORWARDING])
def test_a_byte_cancels(harness: HostHarness, state: str, tool: str) -> None:
    conversion = _in(harness, state, tool=tool)
    _assert_canceled(harness, ends_at_once(conversion, conversion.cancel))


@pytest.mark.parametrize("data", [b"\0", b"\n", b"do not cancel", bytes(100_000)])
def test_whatever_the_host_says_cancels(harness: HostHarness, data: bytes) -> None:
    conversion = _in(harness, STATES[0])
    _assert_canceled(harness, ends_at_once(conversion, lambda: conversion.send(data)))


@pytest.mark.parametrize("tool", TOOLS)
def test_the_same_byte_is_forwarded_while_forwarding_is_on(harness: HostHarness, tool: str) -> None:
    ready = [{"forward": "ready"}, {"forwarded": 1}]
    conversion = harness.begin({"Conversion": {"before": ready}}, tool=tool)
    conversion.wait_until(lambda now: b"ready" in now.fifo_bytes, PATIENCE)
    conversion.cancel()
    outcome = conversion.wait(PATIENCE)
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert harness.connection().forwarded == b"\x18" and harness.result.exists()


def test_a_cancel_during_the_countdown(harness: HostHarness) -> None:
    conversion = harness.begin(server_destinations=beyond(1), retry_delay=A_DAY)
    conversion.wait_for(will_retry(A_DAY))
    outcome = ends_at_once(conversion, conversion.cancel)
    assert (outcome.status, log_lines(outcome)) == (1, ["User canceled"]), outcome.report()
    assert outcome.fifo_bytes.endswith(CANCELING)
    assert_clean(outcome)


def test_a_cancel_of_a_connection_that_never_comes_about(harness: HostHarness) -> None:
    with SilentListener() as silent:
        conversion = harness.begin(server_destinations=silent.destination)
        wait_until(lambda: bool(children_of(conversion.pid)), PATIENCE, "ssh")
        outcome = ends_at_once(conversion, conversion.cancel)
    assert (outcome.status, log_lines(outcome)) == (1, ["User canceled"]), outcome.report()
    assert outcome.fifo_bytes == CONNECTING + CANCELING


def test_a_cancel_that_was_there_before_the_program(harness: HostHarness) -> None:
    # The converter's FIFO is read before anything else is done: nobody is connected to.
    with unread_fifo(harness.directory / "input") as fifo:
        fifo.write(b"x")
        outcome = harness.convert(tool=CONVERTER, input_fifo_path=fifo.path)
    assert (outcome.status, log_lines(outcome)) == (1, ["User canceled"]), outcome.report()
    assert outcome.fifo_bytes == CANCELING and harness.server.connections == []
    assert_clean(outcome)


@pytest.mark.parametrize("tool", TOOLS)
def test_a_cancel_while_the_server_does_not_take_the_upload(
    harness: HostHarness, tool: str
) -> None:
    # More than the pipes on the way hold, and nothing that an archiver could shorten.
    harness.source.write_bytes(os.urandom(6_000_000))
    conversion = harness.begin(SENDING_STALLS, tool=tool)
    conversion.wait_until(lambda now: b"Uploading" in now.fifo_bytes, PATIENCE)
    outcome = ends_at_once(conversion, conversion.cancel)
    assert (outcome.status, log_lines(outcome)[0]) == (1, "User canceled"), outcome.report()
    assert outcome.fifo_bytes.endswith(CANCELING)
    assert_clean(outcome)


@pytest.mark.parametrize("tool", TOOLS)
def test_a_cancel_while_the_archiver_is_at_work(
    harness: HostHarness, tmp_path: Path, tool: str
) -> None:
    # An archiver that never comes to its end, beside a program that is otherwise the same.
    folder = tmp_path / "installed"
    folder.mkdir()
    program = Path(shutil.copy2(harness.program, folder))
    archiver = folder / "ZanburyArchiver"
    begun = tmp_path / "begun"
    archiver.write_text(f"#!/bin/sh\ntouch {begun}\nexec sleep 600\n")
    archiver.chmod(0o755)
    conversion = harness.begin(program=program, tool=tool)
    wait_until(begun.exists, PATIENCE, "the archiver")
    _assert_canceled(harness, ends_at_once(conversion, conversion.cancel))


@pytest.fixture
def host() -> Iterator[subprocess.Popen]:
    """A process that stands for the host."""
    with subprocess.Popen(["sleep", "600"]) as process:
        yield process
        process.kill()


def _end(host: subprocess.Popen) -> None:
    host.kill()
    host.wait()


@pytest.mark.parametrize("state", STATES)
def test_the_end_of_the_host_ends_its_converter(
    harness: HostHarness, host: subprocess.Popen, state: str
) -> None:
    conversion = _in(harness, state, tool=CONVERTER, host_pid=host.pid)
    outcome = ends_at_once(conversion, lambda: _end(host))
    assert_aborted(harness, outcome, "Host terminated")
    assert CANCELING not in outcome.fifo_bytes


def test_the_end_of_the_host_ends_the_countdown(
    harness: HostHarness, host: subprocess.Popen
) -> None:
    conversion = harness.begin(
        server_destinations=beyond(1), retry_delay=A_DAY, tool=CONVERTER, host_pid=host.pid
    )
    conversion.wait_for(will_retry(A_DAY))
    outcome = ends_at_once(conversion, lambda: _end(host))
    assert (outcome.status, log_lines(outcome)) == (1, ["Host terminated"]), outcome.report()
    assert_clean(outcome)


def test_a_host_that_is_gone_before_the_start_is_noticed_at_the_start(
    harness: HostHarness, host: subprocess.Popen
) -> None:
    _end(host)
    outcome = harness.convert(tool=CONVERTER, host_pid=host.pid)
    assert (outcome.status, log_lines(outcome)) == (1, ["Host terminated"]), outcome.report()
    assert outcome.fifo_bytes == b"" and harness.server.connections == []
    assert_clean(outcome)


@pytest.mark.parametrize(
    ("tool", "host_pid"),
    [
        pytest.param(CONVERTER, 0, id="process id 0"),
        pytest.param(CONVERTER, None, id="no process id"),
        pytest.param(CONVERTER, "none", id="no number"),
        pytest.param("StatementTool", "gone", id="another tool"),
    ],
)
def test_who_does_not_ask_for_it_is_not_ended_with_the_host(
    harness: HostHarness, host: subprocess.Popen, tool: str, host_pid: Any
) -> None:
    if host_pid == "gone":
        _end(host)
        host_pid = host.pid
    script = {"Conversion": {"before": [{"create": "reached"}, {"await": "go on"}]}}
    conversion = harness.begin(script, tool=tool, host_pid=host_pid)
    wait_until(harness.server.file("reached").exists, PATIENCE, "forwarding")
    if tool == CONVERTER:
        wait_for_wake_ups(conversion.pid, 3)  # as often it has looked
    harness.server.file("go on").touch()
    outcome = conversion.wait(PATIENCE)
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()


# Whoever reads nothing can still cancel, and go: the three ways to end a program that is stuck in a
# write to the host.
CAUSES: dict[str, Callable[[UnreadFifo, Conversion, subprocess.Popen], object]] = {
    "User canceled": lambda fifo, _, host: fifo.write(b"x"),
    "Terminated by signal SIGTERM": lambda _, conversion, host: conversion.signal(signal.SIGTERM),
    "Host terminated": lambda _fifo, _conversion, host: _end(host),
}
STUCK = [(tool, reason) for tool in TOOLS for reason in CAUSES if "Host" not in reason]
STUCK.append((CONVERTER, "Host terminated"))


@pytest.mark.parametrize(("tool", "reason"), STUCK)
def test_a_host_that_does_not_read_is_waited_for_quietly_and_not_for_ever(
    harness: HostHarness, host: subprocess.Popen, tool: str, reason: str
) -> None:
    # It reads up to forwarding; then its FIFO is full, and the download cannot be told.
    ready = [{"forward": "ready"}, {"await": "go on"}]
    with unread_fifo(harness.directory / "out") as output, unread_fifo(
        harness.directory / "in"
    ) as given:
        conversion = harness.begin(
            {"Conversion": {"before": ready, "silent": True}},
            tool=tool,
            host_pid=host.pid,
            input_fifo_path=given.path,
            output_fifo_path=output.path,
        )
        output.read_until(b"ready")
        output.fill()
        harness.server.file("go on").touch()
        harness.server.begun(1).wait_for_frame("OutputArchive", "sent")
        wait_for_wake_ups(conversion.pid, 8)
        assert_idle(conversion.pid)
        outcome = ends_at_once(conversion, lambda: CAUSES[reason](given, conversion, host))
        untaken = UNTAKEN if reason == "User canceled" else []
        assert (outcome.status, log_lines(outcome)) == (1, [reason, *untaken]), outcome.report()
        assert harness.connection().error == {"reason": reason}
        assert CANCELING not in output.read(), "there was no room for it"
        assert_clean(outcome)
