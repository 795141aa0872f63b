"""The connection is cut in the key exchange, in the login, in every frame: before the hello
the next destination is tried, afterwards the session ends and says in which state."""

from __future__ import annotations

import shlex
from pathlib import Path

import pytest
from assertions import lost_in
from fault_scenario import FaultScenario
from host_harness import PATIENCE
from host_view import CONNECTING, log_lines, will_retry
from relay import TO_CLIENT, TO_SERVER, Fault, Relay
from session_states import (
    FORWARDING,
    SENDING,
    STATES,
    WAITING_FOR_HANDSHAKE,
    WAITING_FOR_HELLO,
    WAITING_FOR_RESULT,
    WAITING_FOR_START,
)
from terminal_host import Outcome
from timely_exit import ends_at_once, wait_for_wake_ups

CUTTER = Path(__file__).parent / "frame_cutter.py"
DELIVERED = "delivered"

# Bytes that a whole conversation has on the wire, at least; and where the login is behind it.
WIRE = {TO_SERVER: 6_600, TO_CLIENT: 8_600}
IN_THE_SESSION = 5_000
STEP = 200
STALLS = [1_000, 3_500, 7_800]  # in the key exchange, the handshake and the download
CONVERTER = "ZanburyConverter"  # the tool whose host is polled, ten times a second

EMPTY_FRAME = ["before it", "behind its type", "behind its length"]
FRAME = [*EMPTY_FRAME, "behind its header", "inside its body", "before its last byte"]
# A frame, its type on the wire, and in which state it finds the session.
FRAMES = {
    (TO_CLIENT, "ServerHello", "h"): (WAITING_FOR_HELLO, EMPTY_FRAME),
    (TO_SERVER, "ClientHandshake", "c"): (WAITING_FOR_HANDSHAKE, FRAME),
    (TO_CLIENT, "ServerHandshake", "s"): (WAITING_FOR_HANDSHAKE, FRAME),
    (TO_SERVER, "InputArchive", "i"): (SENDING, FRAME),
    (TO_CLIENT, "InputArchiveAcknowledgement", "I"): (SENDING, EMPTY_FRAME),
    (TO_CLIENT, "ServerWillStartForwarding", "["): (WAITING_FOR_START, EMPTY_FRAME),
    (TO_CLIENT, "Forward", "f"): (FORWARDING, FRAME),
    (TO_CLIENT, "ServerDidStopForwarding", "]"): (FORWARDING, EMPTY_FRAME),
    (TO_CLIENT, "OutputArchive", "o"): (WAITING_FOR_RESULT, FRAME),
    (TO_SERVER, "OutputArchiveAcknowledgement", "O"): (DELIVERED, EMPTY_FRAME),
}
IN_SHORT = {"inside its body", "behind its type"}  # one of them of each frame is in the short run


def frame_cuts() -> list:
    """All places in all frames; the short run takes one in each."""
    cases = []
    for (direction, name, character), (state, places) in FRAMES.items():
        short = next(place for place in reversed(places) if place in IN_SHORT)
        for place in places:
            marks = [] if place == short else [pytest.mark.long]
            values = (direction, character, place, state)
            cases.append(pytest.param(*values, marks=marks, id=f"{name}, {place}"))
    return cases


def errors(outcome: Outcome) -> list[str]:
    """What the program itself says; ssh has its own words for each way to lose a connection."""
    return [line for line in log_lines(outcome) if line.startswith("ERROR: ")]


def assert_tried_again(scenario: FaultScenario, outcome: Outcome) -> None:
    """The second connection brought what the first one could not."""
    assert outcome.sections.count(CONNECTING) == 2, outcome.report()
    assert errors(outcome) == []
    assert outcome.status == 0 and scenario.harness.result.read_bytes() == scenario.whole_result()


def assert_delivered(scenario: FaultScenario, outcome: Outcome) -> None:
    """Nobody noticed: all had been said."""
    assert outcome.sections.count(CONNECTING) == 1 and errors(outcome) == []
    assert outcome.status == 0 and scenario.harness.result.read_bytes() == scenario.whole_result()


def assert_lost_in(scenario: FaultScenario, outcome: Outcome, state: str) -> None:
    """The session ended there, with the line that says so and without a result."""
    assert outcome.sections.count(CONNECTING) == 1, outcome.report()
    assert [lost_in(line) for line in errors(outcome)] == [state], outcome.report()
    assert outcome.status == 0 and not scenario.harness.result.exists()


@pytest.mark.parametrize(("direction", "character", "place", "state"), frame_cuts())
def test_a_cut_in_a_frame(
    scenario: FaultScenario, direction: str, character: str, place: str, state: str
) -> None:
    harness = scenario.harness
    mark = harness.directory / "cut"
    cutter = [CUTTER, direction, character, place, mark, harness.server.command_path]
    command = harness.directory / "command"
    words = " ".join(shlex.quote(str(word)) for word in cutter)
    command.write_text(f'#!/bin/sh\nexec /usr/bin/python3 -IS {words} "$@"\n')
    command.chmod(0o755)
    here = harness.sshd.destination()
    outcome = scenario.convert(server_command_path=command, server_destinations=[here, here])
    assert mark.exists(), outcome.report()
    if state == WAITING_FOR_HELLO:
        assert_tried_again(scenario, outcome)
    elif state == DELIVERED:
        assert_delivered(scenario, outcome)
        assert "OutputArchiveAcknowledgement" not in harness.connection().types_received
    else:
        assert_lost_in(scenario, outcome, state)
    scenario.assert_survived(outcome)


def assert_as_described(scenario: FaultScenario, outcome: Outcome) -> str:
    """Tried again where the server's hello was not there yet, lost with a line or delivered after
    that; returns which. The server's record must agree."""
    *failed, last = scenario.harness.server.connections
    if outcome.sections.count(CONNECTING) == 2:
        received = [record.types_received for record in failed]
        assert received in ([], [[]]), "a session that has begun begins nowhere else"
        assert_tried_again(scenario, outcome)
        return "tried again"
    assert failed == [] and last.sent[0].type == "ServerHello"
    if not errors(outcome):
        assert_delivered(scenario, outcome)
        return DELIVERED
    state = lost_in(errors(outcome)[0])
    assert state in STATES and state != WAITING_FOR_HELLO
    assert_lost_in(scenario, outcome, state)
    return state


def wire_cuts() -> list:
    """Faults spread over all that goes over the wire; the short run takes a few of them."""
    cases = []
    for direction, total in WIRE.items():
        for after in range(1, total, STEP):
            for kind in ("cut", "reset"):
                is_short = (after // STEP) % 7 == 3 and kind == "cut"
                marks = [] if is_short else [pytest.mark.long]
                name = f"{kind} after {after} bytes {direction}"
                cases.append(pytest.param(Fault(direction, after, kind), marks=marks, id=name))
    return cases


@pytest.mark.parametrize("fault", wire_cuts())
def test_a_cut_on_the_wire(scenario: FaultScenario, fault: Fault) -> None:
    with Relay(scenario.harness.sshd.port, fault) as relay:
        destination = relay.destination(scenario.harness.sshd.user)
        outcome = scenario.convert(server_destinations=[destination] * 2)
    assert relay.has_struck.is_set(), relay.passed
    print(assert_as_described(scenario, outcome))
    scenario.assert_survived(outcome)


def test_a_cut_before_the_hello_is_followed_by_a_retry(scenario: FaultScenario) -> None:
    with Relay(scenario.harness.sshd.port, Fault(TO_CLIENT, 3000, "cut")) as relay:
        outcome = scenario.convert(
            server_destinations=relay.destination(scenario.harness.sshd.user), retry_delay=1
        )
    assert outcome.sections[:3] == (CONNECTING, will_retry(1, "second"), CONNECTING)
    assert_tried_again(scenario, outcome)
    scenario.assert_survived(outcome)


def test_2_kilobytes_a_second_are_enough(scenario: FaultScenario) -> None:
    with Relay(scenario.harness.sshd.port, bytes_per_second=2_000) as relay:
        outcome = scenario.convert(
            server_destinations=relay.destination(scenario.harness.sshd.user)
        )
        # What ssh says behind the program's end is not counted by its clock.
        assert outcome.duration > sum(relay.passed[0].values()) / 2_000 / 2
    assert_delivered(scenario, outcome)
    scenario.assert_survived(outcome)


@pytest.mark.parametrize("after", STALLS)
def test_what_stands_still_for_a_while_goes_on(scenario: FaultScenario, after: int) -> None:
    with Relay(scenario.harness.sshd.port, Fault(TO_CLIENT, after, "stall")) as relay:
        conversion = scenario.begin(
            server_destinations=relay.destination(scenario.harness.sshd.user), tool=CONVERTER
        )
        assert relay.has_struck.wait(PATIENCE)
        wait_for_wake_ups(conversion.pid, 3)
        relay.released.set()
        outcome = scenario.end_of(conversion)
    assert_delivered(scenario, outcome)
    scenario.assert_survived(outcome)


@pytest.mark.parametrize("after", STALLS[:2])
def test_what_stands_still_can_be_canceled(scenario: FaultScenario, after: int) -> None:
    with Relay(scenario.harness.sshd.port, Fault(TO_CLIENT, after, "stall")) as relay:
        conversion = scenario.begin(
            server_destinations=relay.destination(scenario.harness.sshd.user), tool=CONVERTER
        )
        assert relay.has_struck.wait(PATIENCE)
        outcome = ends_at_once(conversion, conversion.cancel)
        assert outcome.status == 1 and log_lines(outcome)[-1] == "User canceled"
        scenario.assert_survived(outcome)


@pytest.mark.long
@pytest.mark.parametrize("after", range(IN_THE_SESSION, WIRE[TO_CLIENT], 400))
def test_what_stands_still_for_good_is_given_up(scenario: FaultScenario, after: int) -> None:
    # By ssh, which asks three times, five seconds apart, whether the server is still there.
    with Relay(scenario.harness.sshd.port, Fault(TO_CLIENT, after, "stall")) as relay:
        destination = relay.destination(scenario.harness.sshd.user)
        conversion = scenario.begin(server_destinations=[destination] * 2)
        assert relay.has_struck.wait(PATIENCE)
        outcome = scenario.end_of(conversion)
        print(assert_as_described(scenario, outcome))
        scenario.assert_survived(outcome)
