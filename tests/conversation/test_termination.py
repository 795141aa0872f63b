"""SIGTERM, SIGINT, SIGHUP and SIGQUIT in every state: the server is told, and nothing is left."""

from __future__ import annotations

import signal
from collections.abc import Callable
from pathlib import Path

import pytest
from dead_ends import SilentListener, beyond
from desk import PATIENCE, Desk
from host_view import A_DAY, CONNECTING, log_lines, will_retry
from observed_process import children_of, ssh_of
from standin.record import wait_until
from terminal_host import Conversion, Section
from wrapped_program import after

WAITS = {"instead": {"await": "never"}}
HALFWAY = {"forward": {"progressSection": "Halfway", "maximum": 0}}
HALFWAY_AND_STOP = {"together": [HALFWAY, {"send": "ServerDidStopForwarding"}]}
PATIENT = Section("This may take several minutes, please be patient.", 0)

Reached = Callable[[Desk, Conversion], object]


def _frame_came(name: str) -> Reached:
    return lambda desk, _: desk.server.begun(1).wait_for_frame(name)


def _section_came(section: Section) -> Reached:
    return lambda _, conversion: conversion.wait_for(section, PATIENCE)


STATES: dict[str, tuple[dict, Reached]] = {
    "WaitingForServerHello": ({"ServerHello": WAITS}, lambda desk, _: desk.server.begun(1)),
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
    desk: Desk, state: str, number: signal.Signals
) -> None:
    script, reached = STATES[state]
    conversion = desk.begin(script)
    reached(desk, conversion)
    ssh = ssh_of(conversion)
    conversion.signal(number)
    outcome = conversion.wait(PATIENCE)
    reason = f"Terminated by signal {number.name}"
    assert (outcome.status, log_lines(outcome)) == (1, [reason]), outcome.report()
    assert desk.connection().error == {"reason": reason}
    assert "Canceling..." not in outcome.titles and outcome.leftovers == ()
    ssh.wait_for_end()


@pytest.mark.parametrize("number", TERMINATING)
def test_the_countdown_ends(desk: Desk, number: signal.Signals) -> None:
    conversion = desk.begin(server_destinations=beyond(1), retry_delay=A_DAY)
    conversion.wait_for(will_retry(A_DAY))
    conversion.signal(number)
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 1 and outcome.leftovers == ()
    assert log_lines(outcome) == [f"Terminated by signal {number.name}"]


@pytest.mark.parametrize("number", TERMINATING)
def test_one_that_was_ignored_at_the_start_stays_ignored(
    desk: Desk, tmp_path: Path, number: signal.Signals
) -> None:
    ignoring = after(desk.program, tmp_path, f"trap '' {number.name.removeprefix('SIG')}")
    halted = {"ServerHello": {"instead": [{"create": "here"}, {"await": "go"}, "ServerHello"]}}
    conversion = desk.begin(halted, program=ignoring)
    wait_until(desk.server.file("here").exists, PATIENCE, "the connection")
    conversion.signal(number)
    desk.server.file("go").touch()
    outcome = conversion.wait(PATIENCE)
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()


@pytest.mark.parametrize(("number", "is_ignored"), [(signal.SIGHUP, True), (signal.SIGTERM, False)])
def test_ssh_ignores_what_nohup_ignores_and_never_its_end(
    desk: Desk, tmp_path: Path, number: signal.Signals, is_ignored: bool
) -> None:
    ignoring = after(desk.program, tmp_path, f"trap '' {number.name.removeprefix('SIG')}")
    conversion = desk.begin({"ServerHello": WAITS}, program=ignoring)
    desk.server.begun(1)
    status = Path(f"/proc/{ssh_of(conversion).pid}/status").read_text("ascii")
    [ignored] = [line.split()[1] for line in status.splitlines() if line.startswith("SigIgn:")]
    assert bool(int(ignored, 16) >> (number - 1) & 1) == is_ignored
    conversion.signal(signal.SIGINT)
    assert conversion.wait(PATIENCE).status == 1


def test_a_connection_that_never_comes_about_ends(desk: Desk) -> None:
    with SilentListener() as silent:
        conversion = desk.begin(server_destinations=silent.destination)
        ssh = ssh_of(conversion)
        conversion.wait_for(CONNECTING)
        conversion.signal(signal.SIGTERM)
        outcome = conversion.wait(PATIENCE)
        ssh.wait_for_end()
    assert outcome.status == 1 and outcome.leftovers == ()
    assert log_lines(outcome) == ["Terminated by signal SIGTERM"]


def test_a_start_up_that_waits_for_a_fifo_ends(desk: Desk) -> None:
    conversion = desk.begin(output_fifo_path=desk.directory / "nonexistent")
    conversion.wait_until(lambda now: "open(writeFifoPath)" in now.stderr_text)
    conversion.signal(signal.SIGTERM)
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 1 and outcome.leftovers == ()
    *tries, last = log_lines(outcome)
    assert last == "Terminated by signal SIGTERM" and len(tries) < 100
    assert desk.server.connections == []


def test_a_second_signal_does_not_stop_the_first_from_tidying_up(desk: Desk) -> None:
    conversion = desk.begin({"ServerHandshake": WAITS})
    desk.server.begun(1).wait_for_frame("ClientHandshake")
    for number in (signal.SIGTERM, signal.SIGINT, signal.SIGHUP, signal.SIGTERM):
        conversion.signal(number)
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 1 and outcome.leftovers == ()
    assert log_lines(outcome)[0].startswith("Terminated by signal SIG")
    assert desk.connection().end["how"] == "client error"


def test_the_program_ends_at_once_even_when_the_server_reads_nothing(desk: Desk) -> None:
    stopped = [{"stop reading after": "ClientHandshake"}, "ServerHello"]
    conversion = desk.begin({"ServerHello": {"instead": stopped}, "ServerHandshake": WAITS})
    desk.server.begun(1).wait_for_frame("ClientHandshake")
    ssh = ssh_of(conversion)
    conversion.signal(signal.SIGTERM)
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 1 and outcome.leftovers == ()
    ssh.wait_for_end()
    wait_until(lambda: children_of(conversion.pid) == [], PATIENCE, "no child")
