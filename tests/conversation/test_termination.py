"""SIGTERM, SIGINT, SIGHUP and SIGQUIT in every state: the server is told, and nothing is left."""

from __future__ import annotations

import signal
from collections.abc import Callable
from pathlib import Path

import pytest
from host_harness import PATIENCE, HostHarness
from host_view import A_DAY, CONNECTING, log_lines, will_retry
from observed_process import children_of, ssh_of
from standin.record import wait_until
from terminal_host import Conversion, Section
from unreachable_servers import SilentListener, beyond
from wrapped_program import after

WAITS = {"instead": {"await": "never"}}
HALFWAY = {"forward": {"progressSection": "Halfway", "maximum": 0}}
HALFWAY_AND_STOP = {"together": [HALFWAY, {"send": "ServerDidStopForwarding"}]}
PATIENT = Section("This may take several minutes, please be patient.", 0)

Reached = Callable[[HostHarness, Conversion], object]


def _frame_came(name: str) -> Reached:
    return lambda harness, _: harness.server.begun(1).wait_for_frame(name)


def _section_came(section: Section) -> Reached:
    return lambda _, conversion: conversion.wait_for(section, PATIENCE)


STATES: dict[str, tuple[dict, Reached]] = {
    "WaitingForServerHello": ({"ServerHello": WAITS}, lambda harness, _: harness.server.begun(1)),
    "WaitingForServerHandshake": ({"ServerHandshake": WAITS}, _frame_came("ClientHandshake")),
    "SendingInputArchive": ({"InputArchiveAcknowledgement": WAITS}, _frame_came("InputArchive")),
    "WaitingForServerDidStartForwarding": (
        {"ServerWillStartForwarding": WAITS},
        _section_came(PATIENT),
    ),
    "ForwardingMessages": (
        {"Conversion": {"instead": [HALFWAY, {"await": "never"}]}},
        _section_came(Section("Halfway", 0)),
    ),
    "WaitingForOutputArchive": (
        {"ServerDidStopForwarding": {"instead": HALFWAY_AND_STOP}, "OutputArchive": WAITS},
        _section_came(Section("Halfway", 0)),
    ),
}
TERMINATING = [signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGQUIT]
CASES = [(name, signal.SIGTERM) for name in STATES] + [
    ("WaitingForServerHello", signal.SIGINT),
    ("WaitingForServerHello", signal.SIGHUP),
    ("WaitingForServerHello", signal.SIGQUIT),
    ("ForwardingMessages", signal.SIGINT),
    ("ForwardingMessages", signal.SIGHUP),
    ("ForwardingMessages", signal.SIGQUIT),
]


@pytest.mark.parametrize(
    ("state", "number"), [pytest.param(*case, id=f"{case[0]} {case[1].name}") for case in CASES]
)
def test_the_server_is_told_and_nothing_is_left(
    harness: HostHarness, state: str, number: signal.Signals
) -> None:
    script, reached = STATES[state]
    conversion = harness.begin(script)
    reached(harness, conversion)
    ssh = ssh_of(conversion)
    conversion.signal(number)
    outcome = conversion.wait(PATIENCE)
    reason = f"Terminated by signal {number.name}"
    assert (outcome.status, log_lines(outcome)) == (1, [reason]), outcome.report()
    assert harness.connection().error == {"reason": reason}
    assert "Canceling..." not in outcome.titles and outcome.leftovers == ()
    ssh.wait_for_end()


@pytest.mark.parametrize("number", TERMINATING)
def test_the_countdown_ends(harness: HostHarness, number: signal.Signals) -> None:
    conversion = harness.begin(server_destinations=beyond(1), retry_delay=A_DAY)
    conversion.wait_for(will_retry(A_DAY))
    conversion.signal(number)
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 1 and outcome.leftovers == ()
    assert log_lines(outcome) == [f"Terminated by signal {number.name}"]


@pytest.mark.parametrize("number", TERMINATING)
def test_one_that_was_ignored_at_the_start_stays_ignored(
    harness: HostHarness, tmp_path: Path, number: signal.Signals
) -> None:
    ignoring = after(harness.program, tmp_path, f"trap '' {number.name.removeprefix('SIG')}")
    halted = {"ServerHello": {"instead": [{"create": "here"}, {"await": "go"}, "ServerHello"]}}
    conversion = harness.begin(halted, program=ignoring)
    wait_until(harness.server.file("here").exists, PATIENCE, "the connection")
    conversion.signal(number)
    harness.server.file("go").touch()
    outcome = conversion.wait(PATIENCE)
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()


@pytest.mark.parametrize(("number", "is_ignored"), [(signal.SIGHUP, True), (signal.SIGTERM, False)])
def test_ssh_ignores_what_nohup_ignores_and_never_its_end(
    harness: HostHarness, tmp_path: Path, number: signal.Signals, is_ignored: bool
) -> None:
    ignoring = after(harness.program, tmp_path, f"trap '' {number.name.removeprefix('SIG')}")
    conversion = harness.begin({"ServerHello": WAITS}, program=ignoring)
    harness.server.begun(1)
    status = Path(f"/proc/{ssh_of(conversion).pid}/status").read_text("ascii")
    [ignored] = [line.split()[1] for line in status.splitlines() if line.startswith("SigIgn:")]
    assert bool(int(ignored, 16) >> (number - 1) & 1) == is_ignored
    conversion.signal(signal.SIGINT)
    assert conversion.wait(PATIENCE).status == 1


def test_a_connection_that_never_comes_about_ends(harness: HostHarness) -> None:
    with SilentListener() as silent:
        conversion = harness.begin(server_destinations=silent.destination)
        ssh = ssh_of(conversion)
        conversion.wait_for(CONNECTING)
        conversion.signal(signal.SIGTERM)
        outcome = conversion.wait(PATIENCE)
        ssh.wait_for_end()
    assert outcome.status == 1 and outcome.leftovers == ()
    assert log_lines(outcome) == ["Terminated by signal SIGTERM"]


def test_a_start_up_that_waits_for_a_fifo_ends(harness: HostHarness) -> None:
    conversion = harness.begin(output_fifo_path=harness.directory / "nonexistent")
    conversion.wait_until(lambda now: "open(writeFifoPath)" in now.stderr_text)
    conversion.signal(signal.SIGTERM)
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 1 and outcome.leftovers == ()
    *tries, last = log_lines(outcome)
    assert last == "Terminated by signal SIGTERM" and len(tries) < 100
    assert harness.server.connections == []


def test_a_second_signal_does_not_stop_the_first_from_tidying_up(harness: HostHarness) -> None:
    conversion = harness.begin({"ServerHandshake": WAITS})
    harness.server.begun(1).wait_for_frame("ClientHandshake")
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGTERM):
        conversion.signal(number)
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 1 and outcome.leftovers == ()
    assert log_lines(outcome)[0].startswith("Terminated by signal SIG")
    assert harness.connection().end["how"] == "client error"


def test_the_program_ends_at_once_even_when_the_server_reads_nothing(harness: HostHarness) -> None:
    stopped = [{"stop reading after": "ClientHandshake"}, "ServerHello"]
    conversion = harness.begin({"ServerHello": {"instead": stopped}, "ServerHandshake": WAITS})
    harness.server.begun(1).wait_for_frame("ClientHandshake")
    ssh = ssh_of(conversion)
    conversion.signal(signal.SIGTERM)
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 1 and outcome.leftovers == ()
    ssh.wait_for_end()
    wait_until(lambda: children_of(conversion.pid) == [], PATIENCE, "no child")
