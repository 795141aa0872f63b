"""The result's description in the forms and encodings that servers write it in."""

from __future__ import annotations

import plistlib

import pytest
import zip_entries
from assertions import assert_clean
from host_harness import HostHarness
from host_view import log_lines
from terminal_host import Outcome

CONVERTED = b"a,b\n1,2\n"
UNREADABLE = "ERROR: Could not read Result.plist"


def _description(name: str, encoding: str) -> str:
    text = plistlib.dumps({"toolExitCode": 3, "destFileName": name}).decode()
    return text.replace('encoding="UTF-8"', f'encoding="{encoding}"')


def _deliver(harness: HostHarness, name: str, description: bytes) -> Outcome:
    """A conversation whose result is described by these bytes."""
    archive = zip_entries.zipped(
        zip_entries.directory("OutputArchive"),
        zip_entries.file("OutputArchive/Result.plist", description),
        zip_entries.file(f"OutputArchive/{name}", CONVERTED),
        zip_entries.directory("OutputArchive/Logs"),
    )
    harness.server.file("result.zip").write_bytes(archive)
    return harness.convert({"OutputArchive": {"zip": {"file": "result.zip"}}})


@pytest.mark.parametrize(
    ("declared", "encoding"),
    [
        ("UTF-8", "utf-8"),
        ("UTF-8", "utf-8-sig"),
        ("UTF-16", "utf-16"),
        ("UTF-16", "utf-16-be with a mark"),
        ("ISO-8859-1", "iso-8859-1"),
    ],
    ids=["UTF-8", "UTF-8 with a mark", "UTF-16, little end first", "big end first", "ISO-8859-1"],
)
def test_the_description_is_read_in_its_encoding(
    harness: HostHarness, declared: str, encoding: str
) -> None:
    name = "übertragen.csv"
    text = _description(name, declared)
    if encoding.endswith("with a mark"):
        description = ("\ufeff" + text).encode("utf-16-be")
    else:
        description = text.encode(encoding)
    outcome = _deliver(harness, name, description)
    assert outcome.status == 3, outcome.report()
    assert log_lines(outcome) == ["ERROR: toolExitCode is not zero: 3"]
    assert harness.result.read_bytes() == CONVERTED
    assert_clean(outcome)


def test_a_description_that_is_not_of_its_encoding_is_unreadable(harness: HostHarness) -> None:
    description = _description("ü.csv", "US-ASCII").encode("iso-8859-1")
    outcome = _deliver(harness, "ü.csv", description)
    assert (outcome.status, log_lines(outcome)) == (0, [UNREADABLE]), outcome.report()
    assert not harness.result.exists()
    assert_clean(outcome)


def _refers_twice_to_the_next(levels: int) -> bytes:
    """A binary list of arrays, each of which refers to the next one twice."""
    objects = [b"\xd1\x01\x02", b"\x51k"]
    objects += [b"\xa2" + bytes([index + 1] * 2) for index in range(2, levels + 2)]
    objects += [b"\xa0"]
    table, body = b"", b"bplist00"
    for content in objects:
        table += bytes([len(body)])
        body += content
    sizes = bytes(6) + b"\x01\x01"
    numbers = b"".join(n.to_bytes(8, "big") for n in (len(objects), 0, len(body)))
    return body + table + sizes + numbers


def test_a_small_description_that_expands_without_bounds_is_unreadable(
    harness: HostHarness,
) -> None:
    description = _refers_twice_to_the_next(40)
    assert len(description) < 250
    outcome = _deliver(harness, "converted.csv", description)
    assert (outcome.status, log_lines(outcome)) == (0, [UNREADABLE]), outcome.report()
    assert not harness.result.exists()
    assert_clean(outcome)
