"""The two FIFOs of the host: what the program says on one, and what it makes of paths that lead to
no FIFO."""

from __future__ import annotations

import os
from pathlib import Path
from typing import Any

import pytest
from assertions import assert_aborted, assert_clean
from host_harness import PATIENCE, HostHarness
from host_messages import CANCELING, CONNECTING, PATIENT, downloading, section, uploading
from host_view import log_lines
from observed_process import ObservedProcess
from standin.record import wait_until
from terminal_host import StderrLine
from timely_exit import assert_idle
from unreachable_servers import beyond
from unread_fifo import unread_fifo

CONVERTER = "ZanburyConverter"
TOOLS = ["StatementTool", CONVERTER]
NOTHING = {"Conversion": {"instead": []}}
_INPUT, _OUTPUT = "EXPORT_INPUT_FIFO_PATH", "EXPORT_OUTPUT_FIFO_PATH"
CANNOT_READ = "open(readFifoPath): "
CANNOT_WRITE = "open(writeFifoPath): "


def _sizes(harness: HostHarness) -> tuple[int, int]:
    """The bytes that went up and those that came down."""
    lengths = {frame.type: frame.length for frame in harness.connection().frames}
    return lengths["InputArchive"], lengths["OutputArchive"]


def test_a_message_is_the_length_of_a_document_and_the_document(harness: HostHarness) -> None:
    conversion = harness.begin(server_destinations=beyond(1), retry_delay=100_000)
    said = section("Could not connect. Will try again in 100000 seconds...")
    conversion.wait_until(lambda now: len(now.fifo_bytes) >= len(CONNECTING + said), PATIENCE)
    assert conversion.fifo_bytes.startswith(CONNECTING + said)
    assert said.startswith(b"345\n<?xml ") and len(said) == 4 + 345


def test_a_section_without_maximum_has_no_value(harness: HostHarness) -> None:
    conversion = harness.begin({"ServerHello": {"instead": {"await": "never"}}})
    harness.server.begun(1)
    conversion.cancel()
    outcome = conversion.wait(PATIENCE)
    assert outcome.fifo_bytes == CONNECTING + CANCELING
    assert b"progressValue" not in CANCELING


def test_each_chunk_of_the_download_is_told(harness: HostHarness) -> None:
    # First the header alone, then 7 bytes, then the rest: what never decrypts is told all the same.
    steps = [
        {"send": "OutputArchive", "length": 1000},
        {"await": "the header was told"},
        {"raw": {"fill": 7}},
        {"await": "7 bytes were told"},
        {"raw": {"fill": 993}},
    ]
    conversion = harness.begin({**NOTHING, "OutputArchive": {"instead": steps}})
    conversion.wait_until(lambda now: now.fifo_bytes.endswith(downloading(1000, 0)), PATIENCE)
    harness.server.file("the header was told").touch()
    conversion.wait_until(lambda now: now.fifo_bytes.endswith(downloading(1000, 0, 7)), PATIENCE)
    harness.server.file("7 bytes were told").touch()
    outcome = conversion.wait(PATIENCE)
    assert outcome.fifo_bytes.endswith(downloading(1000, 0, 7, 1000)), outcome.report()
    assert log_lines(outcome)[-1] == "Could not decrypt OutputArchive.zip"


@pytest.mark.parametrize("tool", TOOLS)
def test_a_plain_file_takes_what_a_fifo_would(harness: HostHarness, tool: str) -> None:
    output = harness.directory / "output"
    output.touch()
    outcome = harness.convert(NOTHING, output_fifo_path=output, tool=tool)
    up, down = _sizes(harness)
    assert outcome.status == 0, outcome.report()
    said = output.read_bytes()
    assert said.startswith(CONNECTING + uploading(up, up))
    assert PATIENT in said and said.count(downloading(down, down)) == 1
    assert_clean(outcome)


@pytest.mark.parametrize("tool", TOOLS)
def test_what_stands_in_a_plain_file_is_input_of_the_host(harness: HostHarness, tool: str) -> None:
    given = harness.directory / "given"
    given.write_bytes(b"?")
    outcome = harness.convert(input_fifo_path=given, tool=tool)
    assert (outcome.status, log_lines(outcome)) == (1, ["User canceled"]), outcome.report()
    assert outcome.fifo_bytes.endswith(CANCELING)
    assert_clean(outcome)


@pytest.mark.parametrize("tool", TOOLS)
@pytest.mark.parametrize("kind", ["an empty file", "the null device"])
def test_the_end_of_the_input_closes_it_and_nothing_else(
    harness: HostHarness, kind: str, tool: str
) -> None:
    given = harness.directory / "given"
    given.touch()
    path = Path(os.devnull) if kind == "the null device" else given
    script = {"Conversion": {"before": [{"create": "reached"}, {"await": "go on"}]}}
    conversion = harness.begin(script, input_fifo_path=path, tool=tool)
    wait_until(harness.server.file("reached").exists, PATIENCE, "forwarding")
    if tool == CONVERTER:
        assert_idle(conversion.pid)
    else:
        descriptors = ObservedProcess(conversion.pid).descriptors.items()
        assert [number for number, to in descriptors if to == str(path) and number > 2] == []
    harness.server.file("go on").touch()
    outcome = conversion.wait(PATIENCE)
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert_clean(outcome)


def test_one_path_for_both_makes_the_program_hear_itself(harness: HostHarness) -> None:
    # Whatever it reads outside forwarding is a cancel, its own first message as well.
    with unread_fifo(harness.directory / "both") as both:
        options: dict[str, Any] = {"input_fifo_path": both.path, "output_fifo_path": both.path}
        outcome = harness.convert({"ServerHello": {"instead": {"await": "never"}}}, **options)
        assert (outcome.status, log_lines(outcome)) == (1, ["User canceled"]), outcome.report()
        assert both.read() == CANCELING
    assert_clean(outcome)


def test_a_message_that_cannot_be_written_aborts_before_there_is_a_server(
    harness: HostHarness,
) -> None:
    outcome = harness.convert(output_fifo_path="/dev/full")
    lines = ["Could not send FIFO message", "Exception: write: No space left on device"]
    assert (outcome.status, log_lines(outcome)) == (1, lines), outcome.report()
    assert harness.server.connections == []
    assert_clean(outcome)


def test_a_message_that_cannot_be_written_is_told_to_the_server(
    harness: HostHarness, tmp_path: Path
) -> None:
    # A file that may not grow beyond 32 KiB (64 blocks of 512 bytes), full but for ten bytes.
    output = tmp_path / "output"
    output.touch()
    limited = tmp_path / "limited"
    limited.write_text(f"#!/bin/sh\ntrap '' XFSZ\nulimit -f 64\nexec {harness.program}\n")
    limited.chmod(0o755)
    filling = [{"forward": "ready"}, {"await": "rest"}, {"forward": {"file": "rest"}}]
    conversion = harness.begin(
        {"Conversion": {"before": filling, "silent": True}},
        output_fifo_path=output,
        program=limited,
    )
    wait_until(lambda: output.read_bytes().endswith(b"ready"), PATIENCE, "forwarding")
    rest = harness.server.file("rest")
    (tmp_path / "rest").write_bytes(b"." * (32768 - 10 - output.stat().st_size))
    (tmp_path / "rest").rename(rest)
    outcome = conversion.wait(PATIENCE)
    exception = "write: File too large"
    assert_aborted(harness, outcome, "Could not send FIFO message", exception=exception)


@pytest.mark.parametrize("tool", TOOLS)
def test_without_fifos_the_program_works_in_silence(harness: HostHarness, tool: str) -> None:
    outcome = harness.convert(overrides={_INPUT: None, _OUTPUT: None}, tool=tool)
    assert (outcome.status, outcome.fifo_bytes, log_lines(outcome)) == (0, b"", [])
    assert harness.result.exists()
    assert_clean(outcome)


def test_a_fifo_that_cannot_be_opened_is_tried_a_hundred_times_and_done_without(
    harness: HostHarness,
) -> None:
    # All at a time, because each of them takes ten seconds.
    absent, folder = str(harness.directory / "absent"), str(harness.directory)
    missing, directory = "No such file or directory", "Is a directory"
    cases: list[tuple[dict[str, str | None], list[str]]] = [
        ({_INPUT: absent}, [CANNOT_READ + missing]),
        ({_OUTPUT: absent}, [CANNOT_WRITE + missing]),
        ({_INPUT: folder, _OUTPUT: ""}, [CANNOT_READ + directory, CANNOT_WRITE + missing]),
        ({_INPUT: absent, "EXPORT_TOOL": CONVERTER}, [CANNOT_READ + missing]),
    ]
    conversions = [
        harness.begin(dest_path=harness.directory / str(number), overrides=overrides)
        for number, (overrides, _) in enumerate(cases)
    ]
    for number, (overrides, complaints) in enumerate(cases):
        outcome = conversions[number].wait(PATIENCE)
        lines = log_lines(outcome)
        assert lines[: len(complaints) * 100] == complaints * 100, outcome.report()
        assert len(lines) == len(complaints) * 101  # what is given up is named: missing settings
        times = [event.at for event in outcome.events if event == StderrLine(complaints[0])]
        assert times[-1] >= 9.9, outcome.report()
        assert outcome.status == 0 and (harness.directory / str(number)).exists()
        assert outcome.fifo_bytes.startswith(CONNECTING) == (_OUTPUT not in overrides)
        assert_clean(outcome)


def test_a_fifo_that_appears_in_the_meantime_is_used(harness: HostHarness) -> None:
    # The one that is there from the start is opened once and waits for the other.
    path = harness.directory / "late"
    conversion = harness.begin(output_fifo_path=path)
    conversion.wait_until(lambda now: now.stderr_text.count(CANNOT_WRITE) >= 3, PATIENCE)
    with unread_fifo(path) as fifo:
        fifo.read_until(CONNECTING)
        conversion.cancel()
        outcome = conversion.wait(PATIENCE)
        assert fifo.read() == CONNECTING + CANCELING
    lines = log_lines(outcome)
    assert set(lines[:-1]) == {CANNOT_WRITE + "No such file or directory"}
    assert lines[-1] == "User canceled" and len(lines) < 100
    assert_clean(outcome)
