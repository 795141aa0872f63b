"""Frames, host messages and bodies: bytes in, values out, and the other way."""

from __future__ import annotations

import io
from pathlib import Path
from typing import Any

import pytest
from standin import progress
from standin.body import make_body
from standin.framing import Frame, InvalidStream, header, read_frame


@pytest.mark.parametrize(
    "stream, frame",
    [
        (b"h0\n", Frame("ServerHello", b"")),
        (b"h\n", Frame("ServerHello", b"")),
        (b"f3\nabcX", Frame("Forward", b"abc")),
        (b"f0000000001\nx", Frame("Forward", b"x")),
        (b".0\n", Frame("None", b"")),
        (b"O0\n", Frame("OutputArchiveAcknowledgement", b"")),
        (b"o0\n", Frame("OutputArchive", b"")),
        (b"", None),
    ],
)
def test_a_whole_frame_is_read(stream: bytes, frame: Frame | None) -> None:
    assert read_frame(io.BytesIO(stream).read) == frame


@pytest.mark.parametrize(
    "stream", [b"x0\n", b"f1a\n", b"f-1\n", b"f00000000001\nx", b"f1", b"f", b"f3\nab", b"f 1\nx"]
)
def test_what_is_no_frame_is_refused(stream: bytes) -> None:
    with pytest.raises(InvalidStream):
        read_frame(io.BytesIO(stream).read)


def test_reading_leaves_the_next_frame_alone() -> None:
    stream = io.BytesIO(b"f3\nabc]0\n")
    read_frame(stream.read)
    assert stream.read() == b"]0\n"


@pytest.mark.parametrize(
    "kind, length, expected",
    [
        ("ServerHello", 0, b"h0\n"),
        ("Forward", 123, b"f123\n"),
        ("OutputArchive", 9999999999, b"o9999999999\n"),
        ("x", 1, b"x1\n"),
        ("Forward", "12a", b"f12a\n"),
        ("Forward", "", b"f\n"),
    ],
)
def test_a_header_says_what_it_is_told(kind: str, length: Any, expected: bytes) -> None:
    assert header(kind, length) == expected


def test_a_host_message_is_a_length_and_an_xml_property_list() -> None:
    message = progress.section("Canceling...")
    length, body = message.split(b"\n", 1)
    assert int(length) == len(body)
    assert body.startswith(b'<?xml version="1.0" encoding="UTF-8"?>\n<!DOCTYPE plist PUBLIC')
    assert b"<key>progressTitle</key>\n\t<string>Canceling...</string>" in body
    assert b"progressValue" not in body


@pytest.mark.parametrize(
    "definition, expected",
    [
        ("Zürich", "Zürich".encode()),
        ({"hex": "00ff"}, b"\x00\xff"),
        ({"base64": "YWJj"}, b"abc"),
        ({"json": {"b": 1, "a": None}}, b'{"b":1,"a":null}'),
        ({"fill": 3, "byte": 65}, b"AAA"),
        ({"fill": 0}, b""),
        ({"join": ["a", {"join": ["b", {"fill": 2, "byte": 99}]}]}, b"abcc"),
        ({"progressStatus": 7}, progress.status(7)),
        ({"progressSection": "T", "maximum": 5}, progress.section("T", 5)),
        ({"file": "here"}, b"content"),
    ],
)
def test_a_body_is_what_the_script_names(definition: Any, expected: bytes, tmp_path: Path) -> None:
    (tmp_path / "here").write_bytes(b"content")
    body = make_body(definition, None, tmp_path)
    assert (body.data(), len(body)) == (expected, len(expected))


def test_a_long_fill_is_made_in_pieces(tmp_path: Path) -> None:
    blocks = list(make_body({"fill": 2_500_000}, None, tmp_path).blocks())
    assert [len(block) for block in blocks] == [1 << 20, 1 << 20, 2_500_000 - (2 << 20)]
