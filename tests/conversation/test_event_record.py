"""The record for machines: what it holds in each kind of end, and that nothing depends on it."""

from __future__ import annotations

import json
import os
import stat
from pathlib import Path
from typing import Any

import pytest
from host_harness import PATIENCE, HostHarness
from host_view import log_lines
from session_states import FORWARDING, WAITING_FOR_HANDSHAKE, in_state
from terminal_host import Outcome
from unreachable_servers import beyond

THE_WAY = [
    "WaitingForServerHello",
    "WaitingForServerHandshake",
    "SendingInputArchive",
    "WaitingForServerDidStartForwarding",
    "ForwardingMessages",
    "WaitingForOutputArchive",
]
OWN_MEMBERS = {
    "start": {"program"},
    "connect": {"user", "host", "port"},
    "transition": {"from"},
    "upload": {"bytes"},
    "download": {"bytes"},
    "end": {"code", "reason", "status", "delivered", "bytes"},
}


def _lines(path: Path) -> list[dict[str, Any]]:
    """The record, each line of which has its members and no others."""
    lines = [json.loads(line) for line in path.read_text("utf-8").splitlines()]
    for line in lines:
        assert line["v"] == 1 and line["time"].endswith("Z")
        assert line.keys() == {"v", "time", "event", "state"} | OWN_MEMBERS[line["event"]], line
    assert [line["time"] for line in lines] == sorted(line["time"] for line in lines)
    return lines


def _recorded(
    harness: HostHarness, script: Any = None, **options: Any
) -> tuple[Outcome, list[dict]]:
    path = harness.directory / "events"
    overrides = {"EXPORT_EVENTS_PATH": str(path)}
    outcome = harness.convert(script, overrides=overrides, **options)
    return outcome, _lines(path)


def test_a_conversion_is_told_from_its_start_to_its_end(harness: HostHarness) -> None:
    outcome, lines = _recorded(harness)
    assert outcome.status == 0, outcome.report()
    assert stat.S_IMODE((harness.directory / "events").stat().st_mode) == 0o600
    assert [line["state"] for line in lines if line["event"] == "transition"] == THE_WAY
    froms = [line["from"] for line in lines if line["event"] == "transition"]
    assert froms == ["None", *THE_WAY[:-1]]
    [connect] = [line for line in lines if line["event"] == "connect"]
    server = f"ssh://{connect['user']}@{connect['host']}:{connect['port']}"
    assert server == harness.sshd.destination()
    record = harness.connection()
    [uploaded] = [frame.length for frame in record.received if frame.type == "InputArchive"]
    [downloaded] = [frame.length for frame in record.sent if frame.type == "OutputArchive"]
    assert [line["bytes"] for line in lines if line["event"] == "upload"] == [uploaded]
    assert [line["bytes"] for line in lines if line["event"] == "download"] == [downloaded]
    end = lines[-1]
    assert (end["event"], end["code"], end["reason"], end["status"]) == (
        "end",
        "converted",
        None,
        0,
    )
    assert end["delivered"] == {"file": True, "logs": True}
    assert end["bytes"]["upload"] == uploaded and end["bytes"]["download"] == downloaded
    assert end["bytes"]["toHost"] == len(outcome.raw) or end["bytes"]["toHost"] > 0


@pytest.mark.parametrize(
    ("script", "options", "code", "reason", "status"),
    [
        pytest.param({}, {"server_destinations": "bad"}, "invalid-destination",
                     "Invalid server destination", 1, id="a destination that is none"),
        pytest.param({"ServerHandshake": {"salt": "one bit off"}}, {}, "invalid-salt",
                     "Invalid salt", 1, id="a server that proves nothing"),
        pytest.param(in_state(WAITING_FOR_HANDSHAKE, {"exit": 0}), {}, "connection-lost",
                     None, 0, id="a server that goes"),
        pytest.param(in_state(FORWARDING, {"error": "User canceled"}), {}, "server-error",
                     "User canceled", 1, id="a server that gives up in our words"),
        pytest.param(in_state(FORWARDING, {"raw": "o0\n"}), {}, "message-unexpected",
                     "ERROR: Did not handle message of type: OutputArchive", 1,
                     id="a message at the wrong time"),
        pytest.param({"OutputArchive": {"exitCode": 259}}, {}, "tool-failed", None, 3,
                     id="a tool whose status has more than eight bits"),
        pytest.param({"OutputArchive": {"exitCode": 3}}, {}, "tool-failed", None, 3,
                     id="a tool that fails"),
        pytest.param({"OutputArchive": {"result": "no list"}}, {}, "result-unreadable", None, 0,
                     id="a result that says nothing"),
        pytest.param({}, {"dest_path": "/proc/nowhere"}, "result-not-delivered",
                     "Could not copy dest file to host path", 1, id="nowhere to put it"),
    ],
)  # fmt: skip
def test_each_end_has_its_code(
    harness: HostHarness, script: Any, options: dict, code: str, reason: str | None, status: int
) -> None:
    outcome, lines = _recorded(harness, script, **options)
    end = lines[-1]
    assert (end["code"], end["reason"], end["status"]) == (code, reason, status), outcome.report()
    assert outcome.status == status


def test_what_was_delivered_before_a_failure_is_told(harness: HostHarness) -> None:
    outcome, lines = _recorded(harness, logs_dir_path="/proc/nowhere")
    assert outcome.status == 1 and lines[-1]["code"] == "logs-not-delivered"
    assert lines[-1]["delivered"] == {"file": True, "logs": False}


def test_a_cancel_is_told_with_the_state_in_which_it_came(harness: HostHarness) -> None:
    path = harness.directory / "events"
    conversion = harness.begin(
        server_destinations=beyond(1), retry_delay=60, overrides={"EXPORT_EVENTS_PATH": str(path)}
    )
    conversion.wait_until(lambda now: b"Will try again" in now.fifo_bytes, PATIENCE)
    conversion.cancel()
    assert conversion.wait(PATIENCE).status == 1
    lines = _lines(path)
    froms = [line["from"] for line in lines if line["state"] == "Aborted" and "from" in line]
    assert (froms, lines[-1]["code"]) == (["Retry"], "canceled")


def test_a_record_that_is_there_grows(harness: HostHarness) -> None:
    path = harness.directory / "events"
    for count in (1, 2):
        harness.convert(server_destinations="bad", overrides={"EXPORT_EVENTS_PATH": str(path)})
        assert [line["event"] for line in _lines(path)].count("start") == count


@pytest.mark.parametrize("kind", ["a folder", "nowhere", "full", "a FIFO without a reader", ""])
def test_a_record_that_cannot_be_written_changes_nothing(harness: HostHarness, kind: str) -> None:
    fifo = harness.directory / "fifo"
    os.mkfifo(fifo)
    path = {
        "a folder": harness.directory,
        "nowhere": harness.directory / "nowhere" / "events",
        "full": "/dev/full",
        "a FIFO without a reader": fifo,
    }.get(kind, "")
    outcome = harness.convert(overrides={"EXPORT_EVENTS_PATH": str(path)})
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert harness.result.exists()


def test_a_record_that_nobody_reads_on_does_not_keep_the_program(harness: HostHarness) -> None:
    fifo = harness.directory / "fifo"
    os.mkfifo(fifo)
    reader = os.open(fifo, os.O_RDWR | os.O_NONBLOCK)
    try:
        while True:
            os.write(reader, b"." * 4096)
    except BlockingIOError:
        pass
    outcome = harness.convert(overrides={"EXPORT_EVENTS_PATH": str(fifo)})
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    os.close(reader)


def test_it_holds_no_secret(harness: HostHarness) -> None:
    outcome, _ = _recorded(harness)
    text = (harness.directory / "events").read_text("utf-8")
    assert outcome.status == 0
    key_lines = harness.sshd.identity_text.splitlines()[1:-1]
    assert not [line for line in key_lines if line in text]
    handshake = harness.connection().client_handshake
    for name in ("symmetricKey", "salt", "forwardingIV", "inputArchiveIV"):
        assert handshake[name] not in text
