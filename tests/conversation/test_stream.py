"""The bytes of the server's stream: frames cut anywhere, frames that are none, frames too long."""

from __future__ import annotations

from typing import Any

import pytest
from assertions import assert_aborted, assert_lost
from host_harness import PATIENCE, HostHarness
from host_view import log_lines
from session_states import (
    FORWARDING,
    SENDING,
    WAITING_FOR_HANDSHAKE,
    WAITING_FOR_HELLO,
    WAITING_FOR_START,
    in_state,
)
from standin.record import wait_until
from terminal_host import Conversion, Section, Status

CONTROL_LIMIT = 100_000
FORWARD_LIMIT = 10_000_000
MALFORMED = {
    "a type that there is not": "x0\n",
    "a type in the wrong case": "H0\n",
    "a line feed for a type": "\n",
    "a digit for a type": "0\n",
    "a NUL for a type": {"hex": "00300a"},
    "a byte beyond ASCII for a type": {"hex": "e8300a"},
    "a letter in the length": "h1a\n",
    "a minus sign": "h-1\n",
    "a plus sign": "h+1\n",
    "a blank before the length": "h 1\n",
    "a blank behind the length": "h1 \n",
    "a carriage return": "h0\r\n",
    "a NUL for a line feed": {"hex": "683000"},
    "a hexadecimal length": "h0x1\n",
    "eleven digits": "h00000000000\n",
    "an eleventh digit and no end": "h12345678901",
}
WELL_FORMED = {
    "one digit": "h0\n",
    "no digits": "h\n",
    "ten digits": "h0000000000\n",
    "ten digits and a body": "h0000000002\n{}",
}
# Each with a length beyond the limits that other types have.
UNLIMITED = [
    ("InputArchive", FORWARD_LIMIT + 1),
    ("InputArchiveAcknowledgement", CONTROL_LIMIT + 1),
    ("ServerWillStartForwarding", FORWARD_LIMIT + 1),
    ("ServerDidStopForwarding", CONTROL_LIMIT + 1),
    ("OutputArchive", FORWARD_LIMIT + 1),
    ("OutputArchiveAcknowledgement", CONTROL_LIMIT + 1),
]


def json_of_length(length: int) -> str:
    """A dictionary of that many bytes."""
    return '{"padding":"' + "x" * (length - 14) + '"}'


@pytest.mark.parametrize("frame", MALFORMED.values(), ids=MALFORMED.keys())
def test_what_is_no_frame_aborts(harness: HostHarness, frame: Any) -> None:
    outcome = harness.convert(in_state(WAITING_FOR_HELLO, {"raw": frame}))
    assert_aborted(harness, outcome, "Invalid message received")


@pytest.mark.parametrize("frame", WELL_FORMED.values(), ids=WELL_FORMED.keys())
def test_a_length_has_up_to_ten_digits(harness: HostHarness, frame: str) -> None:
    script = in_state(WAITING_FOR_HELLO, {"raw": frame}, "ClientHandshake", {"exit": 0})
    assert_lost(harness.convert(script), WAITING_FOR_HANDSHAKE)


def test_a_frame_is_acted_upon_before_a_broken_one_behind_it(harness: HostHarness) -> None:
    outcome = harness.convert(in_state(WAITING_FOR_HELLO, {"raw": "h0\nx"}))
    assert_aborted(harness, outcome, "Invalid message received")
    assert harness.connection().types_received == ["ClientHandshake", "Error"]


def test_bytes_behind_a_body_that_was_announced_too_short_are_the_next_frame(
    harness: HostHarness,
) -> None:
    short = {"send": "ServerHello", "body": "{}\t", "length": 2}
    outcome = harness.convert(in_state(WAITING_FOR_HELLO, short))
    assert_aborted(harness, outcome, "Invalid message received")
    assert harness.connection().types_received == ["ClientHandshake", "Error"]


@pytest.mark.parametrize("part", ["s", "s1", "s10", "s10\n", "s10\n123456789"])
def test_a_frame_that_ends_early_is_never_handled(harness: HostHarness, part: str) -> None:
    outcome = harness.convert(in_state(WAITING_FOR_HANDSHAKE, {"raw": part}, {"exit": 0}))
    assert_lost(outcome, WAITING_FOR_HANDSHAKE)
    assert harness.connection().types_received == ["ClientHandshake"]


@pytest.mark.parametrize("length", [CONTROL_LIMIT - 1, CONTROL_LIMIT])
def test_a_hello_may_have_as_many_bytes_as_its_limit(harness: HostHarness, length: int) -> None:
    hello = {"send": "ServerHello", "body": json_of_length(length)}
    script = in_state(WAITING_FOR_HELLO, hello, "ClientHandshake", {"exit": 0})
    assert_lost(harness.convert(script), WAITING_FOR_HANDSHAKE)
    assert harness.connection().sent[0].length == length


@pytest.mark.parametrize(
    ("name", "outcome_at_limit"),
    [
        ("None", "ERROR: Did not handle message of type: None"),
        ("Error", None),
        ("ClientHandshake", "ERROR: Did not handle message of type: ClientHandshake"),
        ("ServerHandshake", "Invalid salt"),
    ],
)
def test_other_control_messages_may_as_well(
    harness: HostHarness, name: str, outcome_at_limit: str | None
) -> None:
    message = {"send": name, "body": json_of_length(CONTROL_LIMIT)}
    outcome = harness.convert(in_state(WAITING_FOR_HANDSHAKE, message))
    assert harness.connection().error == ({"reason": outcome_at_limit} if outcome_at_limit else {})
    assert outcome.status == 1, outcome.report()


@pytest.mark.parametrize(
    "header", [".100001\n", "!100001\n", "h100001\n", "c100001\n", "s100001\n", "h9999999999\n"]
)
def test_a_control_message_that_announces_more_aborts_before_its_body_comes(
    harness: HostHarness, header: str
) -> None:
    outcome = harness.convert(in_state(WAITING_FOR_HELLO, {"raw": header}))
    assert_aborted(harness, outcome, "Message is too big")


def test_a_forward_message_may_have_ten_million_bytes(harness: HostHarness) -> None:
    forward = {"forward": {"fill": FORWARD_LIMIT - 1, "byte": 65}}  # and one byte of padding
    outcome = harness.convert(in_state(FORWARDING, forward, {"exit": 0}))
    assert_lost(outcome, FORWARDING)
    assert harness.connection().sent[-1].length == FORWARD_LIMIT
    assert outcome.raw == b"A" * (FORWARD_LIMIT - 1)


def test_a_forward_message_of_one_byte_more_aborts(harness: HostHarness) -> None:
    outcome = harness.convert(in_state(FORWARDING, {"raw": f"f{FORWARD_LIMIT + 1}\n"}))
    assert_aborted(harness, outcome, "Message is too big")


@pytest.mark.parametrize(("name", "length"), UNLIMITED)
def test_archives_acknowledgements_and_markers_have_no_limit(
    harness: HostHarness, name: str, length: int
) -> None:
    """Also those without a use for a body: servers rely on it. All of it is read and then refused,
    because no message of these types is expected here."""
    message = {"send": name, "body": {"fill": length}}
    outcome = harness.convert(in_state(WAITING_FOR_HELLO, message))
    assert_aborted(harness, outcome, f"ERROR: Did not handle message of type: {name}")


def address_space(conversion: Conversion) -> int:
    """The most that the program ever had, in bytes."""
    with open(f"/proc/{conversion.pid}/status", encoding="utf-8") as status:
        peak = next(line for line in status if line.startswith("VmPeak:"))
    return int(peak.split()[1]) * 1024


def bytes_read(conversion: Conversion) -> int:
    """All that the program has read so far, from wherever."""
    with open(f"/proc/{conversion.pid}/io", encoding="utf-8") as counts:
        return int(next(line for line in counts if line.startswith("rchar:")).split()[1])


def test_a_length_is_only_a_claim_until_the_body_comes(harness: HostHarness) -> None:
    claim = {"raw": {"join": ["[9999999999\n", {"fill": 1_000_000}]}}
    halt = [{"create": "greeted"}, {"await": "go"}, claim, {"await": "end"}, {"exit": 0}]
    conversion = harness.begin(in_state(WAITING_FOR_HANDSHAKE, *halt))
    wait_until(harness.server.file("greeted").exists, PATIENCE, "the handshake")
    space, count = address_space(conversion), bytes_read(conversion)
    harness.server.file("go").touch()
    wait_until(lambda: bytes_read(conversion) > count + 1_000_000, PATIENCE, "the part")
    assert address_space(conversion) - space < 100_000_000
    harness.server.file("end").touch()
    assert_lost(conversion.wait(PATIENCE), WAITING_FOR_HANDSHAKE)


def test_two_messages_in_one_write_are_both_handled(harness: HostHarness) -> None:
    both = ["InputArchiveAcknowledgement", "ServerWillStartForwarding"]
    outcome = harness.convert(in_state(SENDING, {"together": both}, {"forward": "x"}, {"exit": 0}))
    assert_lost(outcome, FORWARDING)
    assert outcome.raw == b"x"


def test_a_whole_conversation_in_one_write_is_handled_in_its_order(harness: HostHarness) -> None:
    rest = [
        "InputArchiveAcknowledgement",
        "ServerWillStartForwarding",
        {"forward": "one "},
        {"forward": "two"},
        "ServerDidStopForwarding",
        {"error": "Enough"},
    ]
    outcome = harness.convert(in_state(SENDING, {"together": rest}))
    assert_aborted(harness, outcome, "Enough")
    assert outcome.raw == b"one two"


def test_a_message_in_three_pieces_is_handled_once(harness: HostHarness) -> None:
    forward = {"forward": "the first of two blocks", "chunks": [1, 20]}
    outcome = harness.convert(in_state(FORWARDING, forward, {"exit": 0}))
    assert_lost(outcome, FORWARDING)
    assert outcome.raw == b"the first of two blocks"


def test_messages_that_come_byte_by_byte_are_handled_once_each(harness: HostHarness) -> None:
    piecemeal = {"chunks": 1}
    stages = ["ServerHello", "ServerHandshake", "InputArchiveAcknowledgement"]
    stages += ["ServerWillStartForwarding", "ServerDidStopForwarding"]
    outcome = harness.convert({stage: piecemeal for stage in stages})
    assert outcome.status == 0, outcome.report()
    assert log_lines(outcome) == [] and harness.result.exists()
    expected = ["ClientHandshake", "InputArchive", "OutputArchiveAcknowledgement"]
    assert harness.connection().types_received == expected


def test_the_download_is_shown_as_it_comes(harness: HostHarness) -> None:
    outcome = harness.convert({"OutputArchive": {"chunks": [1, 4, 100, 1]}})
    assert outcome.status == 0, outcome.report()
    length = next(
        frame.length for frame in harness.connection().sent if frame.type == "OutputArchive"
    )
    title = "Downloading converted file"
    first = next(i for i, event in enumerate(outcome.events) if event == Section(title, length))
    shown = [event for event in outcome.events[first:] if isinstance(event, (Section, Status))]
    values = [event.value for event in shown if isinstance(event, Status)]
    assert values == sorted(values) and values[-1] == length
    assert shown[0::2] == [Section(title, length)] * len(values)


def test_a_broken_stream_in_the_middle_of_forwarding_aborts(harness: HostHarness) -> None:
    outcome = harness.convert(in_state(FORWARDING, {"forward": "x"}, {"raw": "??"}))
    assert_aborted(harness, outcome, "Invalid message received")
    assert outcome.raw == b"x"


def test_a_broken_stream_before_the_acknowledgement_aborts(harness: HostHarness) -> None:
    outcome = harness.convert(in_state(WAITING_FOR_START, {"raw": "["}, {"raw": "\r\n"}))
    assert_aborted(harness, outcome, "Invalid message received")
