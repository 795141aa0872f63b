"""The relay while the tool runs: its bytes to the host, the host's bytes to it, both unchanged."""

from __future__ import annotations

import random
import re
import shutil
from pathlib import Path
from typing import Any

import pytest
from assertions import assert_aborted, assert_clean
from host_harness import PATIENCE, HostHarness
from host_messages import relayed_to_host
from host_view import log_lines
from session_states import FORWARDING, in_state
from standin import ConnectionRecord, crypto
from standin.record import wait_until
from terminal_host import Conversion, Outcome
from timely_exit import assert_idle, ends_at_once, wait_for_wake_ups
from unread_fifo import unread_fifo
from wrapped_program import in_shell

CONVERTER = "ZanburyConverter"
SIZES = [0, 1, 15, 16, 17, 4096, 65536, 1_000_000]
READY = b"the tool is ready\n"
WRITE_FAILURE = "Could not write forwarded data"
NO_FIFOS = {"EXPORT_INPUT_FIFO_PATH": None, "EXPORT_OUTPUT_FIFO_PATH": None}


def _instead(*actions: Any) -> dict[str, Any]:
    """A script whose tool does no more than these actions."""
    return {"Conversion": {"instead": list(actions)}}


def _in_forwarding(harness: HostHarness, *actions: Any, **options: Any) -> Conversion:
    """A conversation that has come to forwarding; the server goes on with the actions."""
    ready = {"forward": READY.decode()}
    conversion = harness.begin(_instead(ready, *actions), **options)
    conversion.wait_until(lambda now: READY in now.fifo_bytes, PATIENCE)
    return conversion


def _bytes(size: int) -> bytes:
    return random.Random(size).randbytes(size)


def _relayed(outcome: Outcome, record: ConnectionRecord) -> bytes:
    [archive] = [frame for frame in record.sent if frame.type == "OutputArchive"]
    return relayed_to_host(outcome.fifo_bytes, archive.length)


@pytest.mark.parametrize("tool", ["StatementTool", CONVERTER])
def test_messages_of_every_size_reach_the_host_unchanged(harness: HostHarness, tool: str) -> None:
    for size in SIZES:
        harness.server.file(f"{size} bytes").write_bytes(_bytes(size))
    messages = [{"forward": {"file": f"{size} bytes"}} for size in SIZES]
    outcome = harness.convert(_instead(*messages), tool=tool)
    assert outcome.status == 0, outcome.report()
    assert _relayed(outcome, harness.connection()) == b"".join(map(_bytes, SIZES))
    assert_clean(outcome)


@pytest.mark.parametrize("tool", ["StatementTool", CONVERTER])
def test_bytes_of_the_host_reach_the_tool_and_their_echo_the_host(
    harness: HostHarness, tool: str
) -> None:
    conversation = b"".join(map(_bytes, SIZES))
    conversion = _in_forwarding(harness, {"echo": len(conversation)}, tool=tool)
    said = READY
    for size in SIZES:
        conversion.send(_bytes(size))
        said += _bytes(size)
        conversion.wait_until(lambda now: said in now.fifo_bytes, PATIENCE)
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 0, outcome.report()
    assert harness.connection().forwarded == conversation
    assert _relayed(outcome, harness.connection()) == READY + conversation
    assert_clean(outcome)


def test_all_byte_values_pass_and_nothing_is_added(harness: HostHarness) -> None:
    # Half a message for the host, its end in another Forward message: framing is the tool's affair.
    all_bytes = {"hex": bytes(range(256)).hex()}
    outcome = harness.convert(_instead({"forward": "345\n<?x"}, {"forward": all_bytes}))
    assert _relayed(outcome, harness.connection()) == b"345\n<?x" + bytes(range(256))
    assert outcome.status == 0, outcome.report()


@pytest.mark.parametrize(
    "nothing",
    [
        pytest.param({"send": "Forward"}, id="no body"),
        pytest.param({"forward": ""}, id="a body that decrypts to nothing"),
    ],
)
def test_an_empty_forward_message_writes_nothing(harness: HostHarness, nothing: dict) -> None:
    outcome = harness.convert(_instead({"forward": "a"}, nothing, nothing, {"forward": "b"}))
    assert _relayed(outcome, harness.connection()) == b"ab"
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()


def test_equal_bytes_make_equal_messages(harness: HostHarness) -> None:
    # One IV for the whole session, in both directions, and no chaining: kept, because the servers
    # decrypt every Forward message by itself with the IV of the handshake.
    first = [{"forwarded": 5}, {"create": "first came"}]
    conversion = _in_forwarding(harness, *first, {"forwarded": 10}, {"forward": "again"})
    conversion.send(b"again")
    wait_until(harness.server.file("first came").exists, PATIENCE, "the first message")
    conversion.send(b"again")
    assert conversion.wait(PATIENCE).status == 0
    record = harness.connection()
    one, two = [frame.body for frame in record.received if frame.type == "Forward"]
    key, iv = record.secrets["symmetricKey"], record.secrets["forwardingIV"]
    assert one == two == crypto.encrypt(b"again", key, iv)
    assert one == [frame.body for frame in record.sent if frame.type == "Forward"][-1]


@pytest.mark.parametrize("output", ["a FIFO", "none"])
@pytest.mark.parametrize(
    ("body", "complaint"),
    [
        pytest.param({"encrypted": "x", "padding": "wrong"}, "bad decrypt", id="wrong padding"),
        pytest.param({"fill": 15}, "wrong final block length", id="no whole block"),
        pytest.param(
            {"join": [{"encrypted": "x"}, "y"]}, "wrong final block length", id="a byte too many"
        ),
    ],
)
def test_a_body_that_does_not_decrypt_is_a_failed_write(
    harness: HostHarness, body: dict, complaint: str, output: str
) -> None:
    # Without an output FIFO nobody looks into it.
    overrides = {"EXPORT_OUTPUT_FIFO_PATH": None} if output == "none" else {}
    script = in_state(FORWARDING, {"send": "Forward", "body": body}, "ServerDidStopForwarding")
    script["steps"][-1:] = ["OutputArchive", "End"]
    outcome = harness.convert(script, overrides=overrides)
    if output == "none":
        assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    else:
        exception = "The forwarded message cannot be decrypted"
        before = (f"AES decryption: {complaint}",)
        assert_aborted(harness, outcome, WRITE_FAILURE, exception=exception, before=before)


@pytest.mark.parametrize(
    ("overrides", "tool"),
    [({"EXPORT_OUTPUT_FIFO_PATH": None}, "StatementTool"), (NO_FIFOS, CONVERTER)],
    ids=["another tool", "the converter, and no input FIFO either"],
)
def test_without_an_output_fifo_the_bytes_of_the_tool_are_dropped(
    harness: HostHarness, overrides: dict, tool: str
) -> None:
    outcome = harness.convert(overrides=overrides, tool=tool)
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert outcome.fifo_bytes == b"" and harness.result.exists()
    assert harness.connection().relayed != b""
    assert_clean(outcome)


def _calls_on(fifo: Path, trace: Path) -> list[str]:
    """The system calls on the FIFO: what was written, or that it was flushed."""
    lines = [line for line in trace.read_text().splitlines() if f"<{fifo}>" in line]
    calls = [re.search(r'(write)\(\d+<[^>]*>, "([^"]*)|(fsync)\(', line) for line in lines]
    return [call[2] or call[3] for call in calls if call]


@pytest.mark.skipif(shutil.which("strace") is None, reason="strace is not installed")
@pytest.mark.parametrize(
    ("tool", "expected"),
    [
        (CONVERTER, ["one", "fsync", "two", "fsync"]),
        ("StatementTool", ["one", "two"]),
        ("zanburyconverter", ["one", "two"]),
        (CONVERTER + "2", ["one", "two"]),
    ],
)
def test_only_for_the_converter_every_write_is_followed_by_a_flush(
    harness: HostHarness, tmp_path: Path, tool: str, expected: list[str]
) -> None:
    trace = tmp_path / "trace"
    tracer = f"{shutil.which('strace')} -f -y -o {trace} -e trace=write,fsync"
    traced = in_shell(harness.program, tmp_path, before=tracer)
    relay = _instead({"forward": "one"}, {"forward": "two"})
    conversion = harness.begin(relay, tool=tool, program=traced)
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 0, outcome.report()
    calls = _calls_on(conversion.output_fifo, trace)
    begin = calls.index("one")
    assert calls[begin : begin + len(expected)] == expected
    assert calls.count("fsync") == expected.count("fsync")


@pytest.mark.skipif(shutil.which("strace") is None, reason="strace is not installed")
def test_a_flush_that_fails_aborts(harness: HostHarness, tmp_path: Path) -> None:
    failing = "-e trace=fsync -e inject=fsync:error=EIO"
    tracer = f"{shutil.which('strace')} -f -o {tmp_path / 'trace'} {failing}"
    traced = in_shell(harness.program, tmp_path, before=tracer)
    outcome = harness.convert(in_state(FORWARDING, "Conversion"), tool=CONVERTER, program=traced)
    assert_aborted(harness, outcome, WRITE_FAILURE, exception="fsync: Input/output error")


def test_a_write_that_fails_aborts(harness: HostHarness, tmp_path: Path) -> None:
    # The host's "FIFO" is a file here, which may not grow beyond 32 KiB (64 blocks of 512 bytes).
    output = tmp_path / "output"
    output.touch()
    limited = tmp_path / "limited"
    limited.write_text(f"#!/bin/sh\ntrap '' XFSZ\nulimit -f 64\nexec {harness.program}\n")
    limited.chmod(0o755)
    script = in_state(FORWARDING, {"forward": {"fill": 40_000}})
    outcome = harness.convert(script, output_fifo_path=output, program=limited)
    assert_aborted(harness, outcome, WRITE_FAILURE, exception="write: File too large")
    assert output.stat().st_size == 32768


def test_a_host_that_does_not_read_stops_the_relay_but_burns_no_time(harness: HostHarness) -> None:
    with unread_fifo(harness.directory / "unread") as fifo:
        script = _instead({"forward": {"fill": 300_000, "byte": 46}})
        conversion = harness.begin(script, output_fifo_path=fifo.path)
        fifo.wait_until_full()
        assert_idle(conversion.pid)
        fifo.read_until(b"Downloading converted file")
        assert conversion.wait(PATIENCE).status == 0
        assert fifo.read().count(b"." * 300_000) == 1


def test_what_the_host_sends_is_forwarded_once_the_server_reads_again(harness: HostHarness) -> None:
    sent = _bytes(3_000_000)
    actions = [{"stop reading after": "now"}, {"await": "go"}, {"read on": True}]
    conversion = _in_forwarding(harness, *actions, {"forwarded": len(sent)})
    conversion.send(sent)
    wait_for_wake_ups(conversion.pid, 6)
    harness.server.file("go").touch()
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 0, outcome.report()
    assert harness.connection().forwarded == sent


def test_an_end_comes_at_once_even_when_the_server_does_not_read_what_is_forwarded(
    harness: HostHarness,
) -> None:
    stalled = [{"stop reading after": "now"}, {"await": "never"}]
    conversion = _in_forwarding(harness, *stalled)
    conversion.send(_bytes(8_000_000))
    wait_for_wake_ups(conversion.pid, 6)
    assert_idle(conversion.pid)
    outcome = ends_at_once(conversion, lambda: conversion.signal(15))
    assert outcome.status == 1 and outcome.leftovers == ()
    assert log_lines(outcome)[0] == "Terminated by signal SIGTERM"
