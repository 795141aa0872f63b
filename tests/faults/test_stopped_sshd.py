"""An sshd that stands still: ssh's keep-alive notices, and the session reacts to its end."""

from __future__ import annotations

import signal
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass

from assertions import lost_in
from fault_scenario import FaultScenario
from held_states import await_held_in, hold_in
from host_harness import PATIENCE
from host_view import log_lines
from session_states import STATES, WAITING_FOR_HELLO
from standin import StandinServer
from standin.processes import Process
from standin.record import wait_until
from terminal_host import Conversion

KEEP_ALIVE = 15.0  # seconds: three messages without an answer, five seconds apart
SILENCE = "Timeout, server 127.0.0.1 not responding."


@dataclass(frozen=True)
class Silenced:
    """A conversion and the process of sshd on which it depends, which stands still."""

    conversion: Conversion
    sshd: Process


def _sshd_of(server: StandinServer) -> Process:
    """The process of sshd that serves the server's first connection."""
    process = Process.find(server.begun(1).pid)
    while process is not None and not process.name.startswith("sshd"):
        process = Process.find(process.parent)
    assert process is not None, "the server's program does not come of an sshd"
    return process


def _silence(scenario: FaultScenario, state: str) -> Silenced:
    """A conversion in that state, whose sshd has just been stopped."""
    harness = scenario.harness
    server = harness.new_server([hold_in(state), {}])
    folder = harness.directory / state
    folder.mkdir()
    conversion = scenario.begin(
        server_command_path=server.command_path,
        server_destinations=[harness.sshd.destination()] * 2,
        dest_path=folder / "result.csv",
        logs_dir_path=folder / "logs",
    )
    wait_until(server.file("held").exists, PATIENCE, state)
    await_held_in(conversion, state)
    sshd = _sshd_of(server)
    sshd.signal(signal.SIGSTOP)
    return Silenced(conversion, sshd)


@contextmanager
def _all_silenced(scenario: FaultScenario) -> Iterator[dict[str, Silenced]]:
    """One of each state, so that the keep-alive is waited for once."""
    silenced = {}
    try:
        for state in STATES:
            silenced[state] = _silence(scenario, state)
        yield silenced
    finally:
        for one in silenced.values():
            one.sshd.signal(signal.SIGCONT)


def test_the_keep_alive_ends_a_connection_whose_sshd_stands_still(scenario: FaultScenario) -> None:
    with _all_silenced(scenario) as silenced:
        outcomes = {state: scenario.end_of(one.conversion) for state, one in silenced.items()}
    for state, outcome in outcomes.items():
        said = [line.rstrip("\r") for line in log_lines(outcome)]
        # A session that has heard no hello yet goes on to the next destination.
        expected = [] if state == WAITING_FOR_HELLO else [state]
        assert (outcome.status, said[:1]) == (0, [SILENCE]), outcome.report()
        assert [lost_in(line) for line in said[1:]] == expected, outcome.report()
        assert outcome.duration >= KEEP_ALIVE
        result = scenario.harness.directory / state / "result.csv"
        assert result.exists() == (state == WAITING_FOR_HELLO)
        scenario.assert_survived(outcome)
