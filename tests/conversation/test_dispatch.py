"""What each message does in each state of the session, and what the end of the stream does."""

from __future__ import annotations

import os
import signal
from pathlib import Path
from typing import Any

import pytest
from assertions import assert_aborted, assert_clean, assert_lost
from host_harness import PATIENCE, HostHarness
from host_view import CONNECTING, log_lines
from observed_process import ssh_of
from session_states import (
    FORWARDING,
    SENDING,
    STATES,
    WAITING_FOR_HANDSHAKE,
    WAITING_FOR_HELLO,
    WAITING_FOR_RESULT,
    WAITING_FOR_START,
    in_state,
)
from standin import crypto
from standin.record import wait_until
from terminal_host import Raw, Section, Status

TYPES = [
    "None",
    "Error",
    "ServerHello",
    "ClientHandshake",
    "ServerHandshake",
    "InputArchive",
    "InputArchiveAcknowledgement",
    "ServerWillStartForwarding",
    "Forward",
    "ServerDidStopForwarding",
    "OutputArchive",
    "OutputArchiveAcknowledgement",
]
EXPECTED = {
    WAITING_FOR_HELLO: ["Error", "ServerHello", "ServerHandshake"],
    WAITING_FOR_HANDSHAKE: ["Error", "ServerHandshake"],
    SENDING: ["Error", "InputArchiveAcknowledgement"],
    WAITING_FOR_START: ["Error", "ServerWillStartForwarding"],
    FORWARDING: ["Error", "Forward", "ServerDidStopForwarding"],
    WAITING_FOR_RESULT: ["Error", "OutputArchive"],
}
UNEXPECTED = [(state, name) for state in STATES for name in TYPES if name not in EXPECTED[state]]


@pytest.mark.parametrize(("state", "name"), UNEXPECTED)
def test_a_message_out_of_place_aborts(harness: HostHarness, state: str, name: str) -> None:
    outcome = harness.convert(in_state(state, {"send": name}))
    assert_aborted(harness, outcome, f"ERROR: Did not handle message of type: {name}")


@pytest.mark.parametrize("state", STATES)
def test_an_error_message_aborts_in_every_state(harness: HostHarness, state: str) -> None:
    outcome = harness.convert(in_state(state, {"error": f"Enough of {state}"}))
    assert_aborted(harness, outcome, f"Enough of {state}")
    assert not harness.result.exists()


@pytest.mark.parametrize(
    "body",
    [None, {}, {"reason": ""}, {"error": "disk full", "exception": "none of yours"}],
    ids=["no body", "no reason", "an empty reason", "other keys"],
)
def test_an_error_message_without_reason_aborts_with_none(harness: HostHarness, body: Any) -> None:
    outcome = harness.convert(in_state(WAITING_FOR_HELLO, {"error": body}))
    assert_aborted(harness, outcome)
    answer = harness.connection().received[-1]
    assert (answer.type, answer.length) == ("Error", 0)


@pytest.mark.parametrize(
    ("body", "exception"),
    [
        ('{"reason":5}', "The value of reason is not a string"),
        ('{"reason":null}', "The value of reason is not a string"),
        ('{"reason":["Why?"]}', "The value of reason is not a string"),
        ('{"reason":{"reason":"Why?"}}', "The value of reason is not a string"),
        ('["reason","Why?"]', "The body of the message is not a dictionary"),
    ],
)
def test_an_error_message_of_the_wrong_types_aborts_with_an_exception(
    harness: HostHarness, body: str, exception: str
) -> None:
    outcome = harness.convert(in_state(WAITING_FOR_HELLO, {"send": "Error", "body": body}))
    assert_aborted(harness, outcome, exception=exception)


def test_an_error_message_that_does_not_parse_aborts_without_reason(harness: HostHarness) -> None:
    outcome = harness.convert(in_state(WAITING_FOR_HELLO, {"send": "Error", "body": "Why?"}))
    assert_aborted(harness, outcome, before=("JSON: not valid at byte 1",))


def _refused(harness: HostHarness, reason: str) -> list[str]:
    """What is logged of a reason that the server tells."""
    outcome = harness.convert(in_state(WAITING_FOR_HELLO, {"error": reason}))
    assert outcome.status == 1, outcome.report()
    assert_clean(outcome)
    return log_lines(outcome)


def test_a_line_of_a_reason_cannot_pass_for_one_of_ours(harness: HostHarness) -> None:
    reason = "one\ntwo\n\nERROR: three\r\x1b[2J\u202e\x9b"
    escaped = "    ERROR: three\\x0d\\x1b[2J\\xe2\\x80\\xae\\xc2\\x9b"
    assert _refused(harness, reason) == ["one", "    two", "    ", escaped]
    assert harness.connection().error == {"reason": reason}, "the server hears it as it was"


@pytest.mark.parametrize("size", [5_000, 99_000])
def test_a_long_reason_is_logged_as_a_whole(harness: HostHarness, size: int) -> None:
    reason = "x" * (size - 1) + "."
    assert _refused(harness, reason) == [reason]


def test_what_follows_an_abort_is_ignored(harness: HostHarness) -> None:
    late = [{"error": "first"}, {"error": "late"}, {"raw": "x"}, {"send": "ServerHello"}]
    outcome = harness.convert(in_state(WAITING_FOR_HELLO, {"together": late}, {"error": "later"}))
    assert_aborted(harness, outcome, "first")
    assert harness.connection().types_received == ["Error"]


@pytest.mark.parametrize("state", STATES[1:])
def test_the_end_of_the_stream_ends_the_session_with_the_tools_status(
    harness: HostHarness, state: str
) -> None:
    outcome = harness.convert(in_state(state, {"exit": 0}))
    assert_lost(outcome, state)
    assert harness.connection().error is None


def test_a_server_that_dies_is_no_more_than_the_end_of_its_stream(harness: HostHarness) -> None:
    outcome = harness.convert(in_state(FORWARDING, {"kill": "SIGKILL"}))
    assert_lost(outcome, FORWARDING)


def test_the_end_of_the_stream_before_the_hello_leads_to_the_next_destination(
    harness: HostHarness,
) -> None:
    both = [harness.sshd.destination(), harness.sshd.destination()]
    scripts = [in_state(WAITING_FOR_HELLO, {"exit": 1}), in_state(FORWARDING, {"exit": 0})]
    outcome = harness.convert(scripts, server_destinations=both)
    assert_lost(outcome, FORWARDING)
    assert outcome.sections[:2] == (CONNECTING, CONNECTING)
    assert len(harness.server.connections) == 2


def test_half_a_message_is_dropped_with_its_connection(harness: HostHarness) -> None:
    both = [harness.sshd.destination(), harness.sshd.destination()]
    half_a_hello = in_state(WAITING_FOR_HELLO, {"raw": "h12\n{"}, {"exit": 1})
    outcome = harness.convert([half_a_hello, {}], server_destinations=both)
    assert outcome.status == 0, outcome.report()
    assert log_lines(outcome) == [] and harness.result.exists()


def test_a_handshake_without_hello_is_taken_as_one_but_finds_no_key(harness: HostHarness) -> None:
    """A server may skip the hello. On a first connection no key exists that it could prove."""
    outcome = harness.convert(in_state(WAITING_FOR_HELLO, {"send": "ServerHandshake"}))
    assert_aborted(harness, outcome, "Invalid salt", before=("(null)",))


def test_a_handshake_without_hello_goes_on_with_the_keys_of_an_earlier_one(
    harness: HostHarness,
) -> None:
    """The keys of a handshake stay until the next one replaces them, so a server that knows them
    may skip the hello after a redirect, and the session goes straight on to the upload."""
    redirect = {"stage": "ServerHandshake", "redirect": harness.sshd.destination()}
    second = [{"await": "answer"}, {"send": "ServerHandshake", "body": {"file": "answer"}}]
    conversion = harness.begin(
        [
            in_state(WAITING_FOR_HANDSHAKE, redirect),
            {"steps": [*second, {"receive": "InputArchive"}, {"exit": 0}]},
        ]
    )
    secrets = harness.connection(1).secrets
    zeros = crypto.NO_IV
    salt = crypto.encoded(crypto.encrypt(secrets["salt"], secrets["symmetricKey"], zeros))
    unfinished = harness.server.file("unfinished")
    unfinished.write_text(f'{{"saltIV":"{crypto.encoded(zeros)}","salt":"{salt}"}}', "ascii")
    unfinished.rename(harness.server.file("answer"))
    assert_lost(conversion.wait(PATIENCE), SENDING)
    upload = harness.connection(2).received[0]
    assert upload.type == "InputArchive" and upload.body is not None
    zipped = crypto.decrypt(upload.body, secrets["symmetricKey"], secrets["inputArchiveIV"])
    assert zipped.startswith(b"PK")


def test_the_acknowledgement_asks_the_user_for_patience(harness: HostHarness) -> None:
    outcome = harness.convert(in_state(WAITING_FOR_START, {"exit": 0}))
    patience = Section("This may take several minutes, please be patient.", 0)
    assert outcome.events.count(patience) == 1


def test_an_empty_forward_message_is_no_reason_to_stop(harness: HostHarness) -> None:
    go_on = [{"send": "Forward"}, {"forward": "hello"}, {"exit": 0}]
    outcome = harness.convert(in_state(FORWARDING, *go_on))
    assert_lost(outcome, FORWARDING)
    assert outcome.raw == b"hello"


def test_the_download_is_shown_even_where_an_archive_is_out_of_place(harness: HostHarness) -> None:
    """Every chunk that feeds an output archive is shown before anything looks at the state."""
    archive = {"send": "OutputArchive", "body": {"fill": 5000}}
    outcome = harness.convert(in_state(WAITING_FOR_HANDSHAKE, archive))
    assert_aborted(harness, outcome, "ERROR: Did not handle message of type: OutputArchive")
    assert Section("Downloading converted file", 5000) in outcome.events
    assert outcome.events.count(Status(5000)) == 1


def test_a_write_to_an_ssh_that_has_died_aborts(harness: HostHarness) -> None:
    """The Error message cannot be written either: the second abort does no more than log."""
    conversion = harness.begin(in_state(FORWARDING, {"forward": "x"}))
    conversion.wait_for(lambda event: isinstance(event, Raw), PATIENCE)
    ssh = ssh_of(conversion)
    # The host's byte is ready before the end of ssh's stream, and so is dealt with first: if the
    # program is halted while it waits for both.
    status = Path(f"/proc/{conversion.pid}/status")
    wait_until(lambda: "State:\tS" in status.read_text("utf-8"), PATIENCE, "the run loop at rest")
    conversion.signal(signal.SIGSTOP)
    wait_until(lambda: "State:\tT" in status.read_text("utf-8"), PATIENCE, "the halt")
    conversion.input_fifo.write_bytes(b"y")
    os.kill(ssh.pid, signal.SIGKILL)
    ssh.wait_for_end()
    conversion.signal(signal.SIGCONT)
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 1, outcome.report()
    assert log_lines(outcome) == ["write: Broken pipe", "Could not write message"] * 2
    assert_clean(outcome)
