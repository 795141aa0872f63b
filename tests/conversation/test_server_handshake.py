"""Which answers to its handshake the client takes: the salt, and values of all kinds beside it."""

from __future__ import annotations

import re
from typing import Any

import pytest
from assertions import assert_aborted, assert_clean, assert_lost
from host_harness import HostHarness
from host_view import log_lines
from session_states import SENDING, WAITING_FOR_HANDSHAKE, handshake, in_state
from standin import crypto
from terminal_host import Outcome

OTHER_IV = crypto.encoded(b"0123456789abcdef")
GARBLED = crypto.encoded(bytes(48))
DEEPEST = 64  # levels of nesting that a body may have


def nested(depth: int) -> list[Any]:
    """Lists within lists, that many in all."""
    value: list[Any] = []
    for _ in range(depth - 1):
        value = [value]
    return value


@pytest.mark.parametrize(
    "options",
    [
        {"salt": "one bit off"},
        {"salt": "short"},
        {"salt": "empty"},
        {"salt": "absent"},
        {"omit": ["saltIV"]},
        {"set": {"saltIV": ""}},
        {"set": {"saltIV": OTHER_IV}},
        {"set": {"saltIV": crypto.encoded(bytes(8))}},
        {"set": {"salt": ""}},
        {"set": {"salt": GARBLED}},
        {"set": {"salt": "!!!"}},
        {"append": [["salt", GARBLED]]},
        {"set": {"deep": nested(DEEPEST)}},  # one level more with the dictionary itself
        {"set": {"deep": nested(900)}},
        {"set": {"text": "\ud800"}},
        {"body": ""},
        {"body": "Hello"},
        {"body": "{"},
        {"body": "5"},
        {"body": {"hex": "7b2273616c74223a22ff227d"}},
        {"body": {"join": ["{}", {"hex": "00"}]}},
        {"body": {"fill": 100_000, "byte": 0x5B}},
    ],
    ids=[
        "one bit off",
        "one byte short",
        "encrypted nothing",
        "no salt",
        "no IV",
        "an empty IV",
        "another IV",
        "half an IV",
        "an empty salt",
        "a salt of zeros",
        "a salt that is not base64",
        "a right salt and then a wrong one",
        "nested one level too deep",
        "nested deep",
        "half a surrogate pair",
        "no body",
        "no JSON",
        "half a dictionary",
        "a number",
        "no UTF-8",
        "a NUL behind it",
        "a hundred thousand brackets",
    ],
)
def test_an_answer_that_does_not_prove_the_key_aborts(
    harness: HostHarness, options: dict[str, Any]
) -> None:
    outcome = harness.convert(handshake(**options))
    assert outcome.status == 1, outcome.report()
    assert log_lines(outcome)[-1] == "Invalid salt"
    assert harness.connection().error == {"reason": "Invalid salt"}
    assert harness.connection().types_received == ["ClientHandshake", "Error"]
    assert_clean(outcome)


@pytest.mark.parametrize(
    ("key", "value", "kind"),
    [
        ("saltIV", 5, "a string"),
        ("salt", None, "a string"),
        ("salt", ["x"], "a string"),
        ("salt", True, "a string"),
        ("redirectDestinationsIV", {}, "a string"),
        ("redirectDestinations", 1.5, "a string"),
        ("outputArchiveIV", 0, "a string"),
        ("maxInputArchiveSize", [1], "an integer"),
        ("maxInputArchiveSize", {}, "an integer"),
        ("maxInputArchiveSize", None, "an integer"),
    ],
)
def test_a_value_of_the_wrong_type_aborts_with_an_exception(
    harness: HostHarness, key: str, value: Any, kind: str
) -> None:
    outcome = harness.convert(handshake(set={key: value}))
    assert_aborted(harness, outcome, exception=f"The value of {key} is not {kind}")


def test_an_answer_that_is_a_list_aborts_with_an_exception(harness: HostHarness) -> None:
    outcome = harness.convert(handshake(body='["salt"]'))
    assert_aborted(harness, outcome, exception="The body of the message is not a dictionary")


@pytest.mark.parametrize(
    "options",
    [
        {},
        {"set": {"deep": nested(DEEPEST - 1), "more": "\u00e9\U0001f600"}},
        {"set": {"large": 10**30, "small": -(10**30), "tiny": 1e-300}},
        {"append": [["unused", 1], ["unused", None]]},
    ],
    ids=["as usual", "nested as deep as may be", "unused numbers of any size", "doubled"],
)
def test_what_is_not_needed_does_no_harm(harness: HostHarness, options: dict[str, Any]) -> None:
    outcome = harness.convert(handshake(**options))
    assert_lost(outcome, SENDING)


def _sizes(outcome: Outcome) -> tuple[str, ...]:
    """The line that tells by how much an archive is too big."""
    line = log_lines(outcome)[0]
    assert re.fullmatch(r"ERROR: The input archive has \d+ bytes, the server accepts \d+", line)
    return (line,)


@pytest.mark.parametrize(
    "value",
    [1, "500", " 1 byte", 1.9, True],
    ids=repr,
)
def test_a_limit_below_the_archive_refuses_it(harness: HostHarness, value: Any) -> None:
    outcome = harness.convert(handshake(set={"maxInputArchiveSize": value}))
    assert_aborted(harness, outcome, "Input archive is too big", before=_sizes(outcome))
    assert harness.connection().types_received == ["ClientHandshake", "Error"]


@pytest.mark.parametrize(
    "value",
    [0, -1, "0", "many", "-5", 0.9, 10**30, -(10**30), "9" * 30],
    ids=repr,
)
def test_no_limit_or_a_large_one_lets_the_archive_pass(harness: HostHarness, value: Any) -> None:
    assert_lost(harness.convert(handshake(set={"maxInputArchiveSize": value})), SENDING)
    assert harness.connection().types_received == ["ClientHandshake", "InputArchive"]


def test_no_limit_is_none_when_it_is_missing(harness: HostHarness) -> None:
    assert_lost(harness.convert(handshake(omit=["maxInputArchiveSize"])), SENDING)


def test_the_last_of_two_limits_counts(harness: HostHarness) -> None:
    outcome = harness.convert(handshake(append=[["maxInputArchiveSize", 1]]))
    assert_aborted(harness, outcome, "Input archive is too big", before=_sizes(outcome))


def test_an_archive_exactly_as_large_as_the_limit_is_sent_and_no_larger_one(
    harness: HostHarness,
) -> None:
    assert_lost(harness.convert(handshake()), SENDING)
    size = len(harness.connection(1).input_archive_encrypted)
    assert_lost(harness.convert(handshake(set={"maxInputArchiveSize": size})), SENDING)
    assert len(harness.connection(2).input_archive_encrypted) == size
    outcome = harness.convert(handshake(set={"maxInputArchiveSize": size - 1}))
    told = f"ERROR: The input archive has {size} bytes, the server accepts {size - 1}"
    assert_aborted(harness, outcome, "Input archive is too big", before=(told,), connection=3)


@pytest.mark.parametrize(
    "options",
    [{"omit": ["outputArchiveIV"]}, {"set": {"outputArchiveIV": ""}}],
    ids=["missing", "empty"],
)
def test_without_an_output_iv_the_result_is_decrypted_with_zeros(
    harness: HostHarness, options: dict[str, Any]
) -> None:
    outcome = harness.convert({"ServerHandshake": options})
    assert outcome.status == 0, outcome.report()
    assert harness.result.read_text("utf-8").startswith("Date,")


def test_a_second_answer_is_out_of_place(harness: HostHarness) -> None:
    """Its Error message falls into the body of the upload that has begun: no frame can be cut."""
    twice = {"together": ["ServerHandshake", "ServerHandshake"]}
    outcome = harness.convert(in_state(WAITING_FOR_HANDSHAKE, twice))
    assert outcome.status == 1, outcome.report()
    assert log_lines(outcome) == ["ERROR: Did not handle message of type: ServerHandshake"]
    assert harness.connection().types_received == ["ClientHandshake"]
    assert_clean(outcome)
