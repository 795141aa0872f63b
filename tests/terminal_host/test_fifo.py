"""The messages on the output FIFO: whole, cut anywhere, and among bytes that are none."""

from __future__ import annotations

import plistlib

import pytest
from terminal_host import FifoParser, Message, Raw, Section, Status

HEAD = (
    b'<?xml version="1.0" encoding="UTF-8"?>\n'
    b'<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" '
    b'"http://www.apple.com/DTDs/PropertyList-1.0.dtd">\n'
    b'<plist version="1.0">\n'
)
SECTION = (
    b"303\n" + HEAD + b"<dict>\n\t<key>messageType</key>\n\t<string>progressSection</string>\n"
    b"\t<key>progressTitle</key>\n\t<string>Canceling...</string>\n</dict>\n</plist>\n"
)
STATUS = (
    b"293\n" + HEAD + b"<dict>\n\t<key>messageType</key>\n\t<string>progressStatus</string>\n"
    b"\t<key>progressValue</key>\n\t<integer>0</integer>\n</dict>\n</plist>\n"
)


def framed(content: object) -> bytes:
    body = plistlib.dumps(content)
    return b"%d\n" % len(body) + body


def events_of(*chunks: bytes) -> list:
    """The events, with neighbouring Raw ones joined."""
    parser = FifoParser()
    events: list = []
    for event in [e for chunk in chunks for e in parser.feed(chunk)] + parser.finish():
        if isinstance(event, Raw) and events and isinstance(events[-1], Raw):
            events[-1] = Raw(events[-1].data + event.data)
        else:
            events.append(event)
    return events


@pytest.mark.parametrize(
    ("content", "event"),
    [
        ({"messageType": "progressSection", "progressTitle": "T"}, Section("T", 0)),
        (
            {"messageType": "progressSection", "progressTitle": "T", "progressValue": 7},
            Section("T", 7),
        ),
        ({"messageType": "progressSection", "progressValue": 5}, Section(None, 5)),
        ({"messageType": "progressSection"}, Section(None, 0)),
        ({"messageType": "progressSection", "progressTitle": ""}, Section("", 0)),
        ({"messageType": "progressStatus", "progressValue": 0}, Status(0)),
        ({"messageType": "progressStatus", "progressValue": 2**64 - 1}, Status(2**64 - 1)),
        ({"messageType": "progressStatus"}, Message({"messageType": "progressStatus"})),
        ({"messageType": "other", "x": [1]}, Message({"messageType": "other", "x": [1]})),
        (
            {"messageType": "progressSection", "progressTitle": 5},
            Message({"messageType": "progressSection", "progressTitle": 5}),
        ),
        (
            {"messageType": "progressStatus", "progressValue": True},
            Message({"messageType": "progressStatus", "progressValue": True}),
        ),
        (
            {"messageType": "progressStatus", "progressValue": -1},
            Message({"messageType": "progressStatus", "progressValue": -1}),
        ),
        ({}, Message({})),
    ],
)
def test_a_property_list_becomes_its_event(content: dict, event: object) -> None:
    assert events_of(framed(content)) == [event]


def test_the_published_form_is_read_with_its_exact_length() -> None:
    assert events_of(SECTION + STATUS) == [Section("Canceling...", 0), Status(0)]


@pytest.mark.parametrize("size", [1, 2, 3, 7, 100, 303])
def test_messages_cut_into_pieces_are_put_together(size: int) -> None:
    stream = SECTION + STATUS + SECTION
    pieces = [stream[i : i + size] for i in range(0, len(stream), size)]
    assert events_of(*pieces) == [Section("Canceling...", 0), Status(0), Section("Canceling...", 0)]


def test_a_message_cut_at_any_byte_is_read_once_whole() -> None:
    for cut in range(1, len(SECTION)):
        parser = FifoParser()
        assert parser.feed(SECTION[:cut]) == [], cut
        assert parser.feed(SECTION[cut:]) == [Section("Canceling...", 0)], cut
        assert parser.finish() == []


RAW_CASES = {
    "text": b"hello",
    "a line feed": b"\n",
    "a length of nothing": b"0\n",
    "a leading zero": b"0303\n",
    "a length line before something else": b"5\nhello",
    "eleven digits": b"12345678901\nx",
    "a sign": b"-\n",
    "bytes that are not text": bytes(range(128, 256)),
    "half a declaration": b"303\n<?xm!",
    "too long a message": b"9999999999\n<?xml",
    "a property list that is not a dictionary": framed(["a"]),
    "a body that is not a property list": b"11\n<?xml oops!",
}


@pytest.mark.parametrize("data", RAW_CASES.values(), ids=RAW_CASES.keys())
def test_what_is_no_message_is_kept_and_the_next_message_is_found(data: bytes) -> None:
    assert events_of(SECTION, data, STATUS) == [Section("Canceling...", 0), Raw(data), Status(0)]


@pytest.mark.parametrize("data", RAW_CASES.values(), ids=RAW_CASES.keys())
def test_what_is_no_message_is_kept_when_it_comes_byte_by_byte(data: bytes) -> None:
    stream = data + STATUS
    assert events_of(*(stream[i : i + 1] for i in range(len(stream)))) == [Raw(data), Status(0)]


@pytest.mark.parametrize("end", [b"3", b"303\n", b"303\n<?x", SECTION[:-1]])
def test_half_a_message_at_the_end_of_the_stream_is_raw(end: bytes) -> None:
    assert events_of(STATUS, end) == [Status(0), Raw(end)]


@pytest.mark.parametrize(
    ("data", "reason"),
    [
        (b"hello", "no length line"),
        (b"9999999999\n<?xml", "a message of 9999999999 bytes is too long"),
        (framed(["a"]), "the property list is not a dictionary"),
        (b"11\n<?xml oops!", "the property list cannot be read: "),
    ],
)
def test_raw_bytes_say_why_they_are_no_message(data: bytes, reason: str) -> None:
    assert FifoParser().feed(data)[0].reason.startswith(reason)


def test_raw_bytes_come_out_at_once() -> None:
    parser = FifoParser()
    assert parser.feed(b"hello\n") == [Raw(b"hello\n")]
    assert parser.feed(b"x1") == [Raw(b"x")]
    assert parser.feed(b"2y") == [Raw(b"12y")]
