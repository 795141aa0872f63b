"""Each example converts, shows progress, cancels, and tells a result from none."""

from __future__ import annotations

from collections.abc import Callable, Iterator
from typing import Any

import pytest
from example_host import COMMANDS, EXAMPLES, ExampleHost
from host_harness import PATIENCE, HostHarness

Hosting = Callable[..., ExampleHost]
ODD_TITLE = "Fish & <chips>"
WORKING = {"progressSection": "Working"}


@pytest.fixture(params=sorted(COMMANDS))
def hosting(request: pytest.FixtureRequest, harness: HostHarness) -> Iterator[Hosting]:
    """Makes the example host that plays against a server with the script given."""
    made: list[ExampleHost] = []

    def make(script: Any = None) -> ExampleHost:
        made.append(ExampleHost(request.param, harness, script or {}))
        return made[-1]

    yield make
    for host in made:
        host.close()


def test_converts_and_shows_how_far_it_has_come(hosting: Hosting) -> None:
    host = hosting()
    assert host.run() == 0
    titles = [line for line in host.lines if not line.startswith(" ")]
    assert list(dict.fromkeys(titles)) == [
        "Connecting to Zanbury Cloud...",
        "Uploading encrypted file...",
        "This may take several minutes, please be patient.",
        "Reading statement...",
        "Converting transactions...",
        "Writing converted file...",
        "Downloading converted file",
        "Status 0, a result",
    ]
    converting = host.lines.index("Converting transactions...")
    assert host.lines[converting + 1 : converting + 4] == ["  1", "  2", "  3"]
    assert host.result.read_bytes().startswith(b"Date,Amount,Currency,")
    assert [log.name for log in host.logs.iterdir()] == ["conversion.log"]
    assert host.left_behind == []


def test_replaces_an_old_result(hosting: Hosting) -> None:
    host = hosting()
    host.result.write_text("old")
    assert host.run() == 0
    assert host.result.read_bytes().startswith(b"Date,")


@pytest.mark.parametrize(
    ("script", "status", "last_line"),
    [
        ({"OutputArchive": {"exitCode": 3}}, 3, "Status 3, a result"),
        ({"OutputArchive": {"destFileName": None}}, 1, "Status 0, no result"),
        ({"InputArchive": {"instead": {"exit": 0}}}, 1, "Status 0, no result"),
        ({"InputArchive": {"instead": [{"error": "No"}, "End"]}}, 1, "Status 1, no result"),
    ],
    ids=["failed tool", "no file", "lost connection", "refused"],
)
def test_keeps_the_old_result_when_no_good_one_comes(
    hosting: Hosting, script: dict, status: int, last_line: str
) -> None:
    host = hosting(script)
    host.result.write_text("old")
    assert (host.run(), host.lines[-1]) == (status, last_line)
    assert host.result.read_text() == "old"
    assert host.left_behind == []


def test_shows_the_characters_that_xml_escapes(hosting: Hosting) -> None:
    title = {"forward": {"progressSection": ODD_TITLE}}
    host = hosting({"Conversion": {"before": title}})
    assert host.run() == 0
    assert ODD_TITLE in host.lines


def test_goes_on_after_bytes_that_are_not_a_message(hosting: Hosting) -> None:
    host = hosting({"Conversion": {"before": {"forward": "no message\n"}}})
    assert host.run() == 0
    assert host.lines[-1] == "Status 0, a result"


def test_puts_messages_together_from_pieces(hosting: Hosting) -> None:
    host = hosting({"Conversion": {"chunkBytes": 7}})
    assert host.run() == 0
    assert "Writing converted file..." in host.lines


def test_cancels_while_it_connects(hosting: Hosting, harness: HostHarness) -> None:
    host = hosting({"ServerHello": {"before": {"stall": True}}}).start()
    host.wait_for("Connecting to Zanbury Cloud...")
    host.press_control_c()
    assert host.end() == 1
    assert host.lines[-2:] == ["Canceling...", "Status 1, no result"]
    assert host.left_behind == []


def test_cancels_a_tool_that_takes_no_notice_of_a_byte(
    hosting: Hosting, harness: HostHarness
) -> None:
    deaf = [{"forward": WORKING}, {"forwarded": 1}, {"drain": True}]
    host = hosting({"Conversion": {"before": deaf}}).start()
    host.wait_for("Working")
    host.press_control_c()
    assert host.end() == 1
    assert harness.server.connection(1, PATIENCE).forwarded == b"\x18"
    assert harness.server.connection(1).error == {"reason": "Terminated by signal SIGTERM"}
    assert host.left_behind == []


def test_a_second_control_c_does_not_wait(hosting: Hosting, harness: HostHarness) -> None:
    deaf = [{"forward": WORKING}, {"forwarded": 1}]
    heard = [{"forward": {"progressSection": "Heard"}}, {"stall": True}]
    host = hosting({"Conversion": {"before": deaf + heard}}).start()
    host.wait_for("Working")
    host.press_control_c()
    host.wait_for("Heard")
    host.press_control_c()
    assert host.end() == 1


@pytest.mark.parametrize("name", ["host.py", "host.c", "host.mjs"])
def test_fits_on_two_screens(name: str) -> None:
    assert len((EXAMPLES / name).read_text().splitlines()) < 120
