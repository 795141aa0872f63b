"""A host that does not read its FIFO, and FIFOs that go away or become something else.

That a FIFO may be missing, a directory or a plain file from the start is proved by
tests/conversation/test_host_channel.py; that the download waits for room by test_cancel.py there.
"""

from __future__ import annotations

import os
import signal
import subprocess
from collections.abc import Callable, Iterator
from pathlib import Path
from typing import Any

import pytest
from fault_scenario import FaultScenario
from held_states import HELD, begin_held, go
from host_harness import PATIENCE
from host_messages import CANCELING, CONNECTING, PATIENT
from host_view import log_lines
from standin.record import wait_until
from terminal_host import Conversion
from timely_exit import assert_idle, ends_at_once, wait_for_wake_ups
from unread_fifo import UNTAKEN, UnreadFifo, unread_fifo

CONVERTER = "ZanburyConverter"
TOOLS = ["StatementTool", CONVERTER]


@pytest.fixture
def host() -> Iterator[subprocess.Popen]:
    """A process that stands for the host."""
    with subprocess.Popen(["sleep", "600"]) as process:
        yield process
        process.kill()


def _end(host: subprocess.Popen) -> None:
    host.kill()
    host.wait()


@pytest.fixture
def output(scenario: FaultScenario) -> Iterator[UnreadFifo]:
    with unread_fifo(scenario.harness.directory / "out") as fifo:
        yield fifo


@pytest.fixture
def given(scenario: FaultScenario) -> Iterator[UnreadFifo]:
    with unread_fifo(scenario.harness.directory / "in") as fifo:
        yield fifo


Begin = Callable[[FaultScenario, UnreadFifo, dict[str, Any]], Conversion]


def _stuck_at_the_first_message(
    scenario: FaultScenario, output: UnreadFifo, options: dict[str, Any]
) -> Conversion:
    output.fill()
    conversion = scenario.begin({}, **options)
    wait_until(lambda: bool(os.listdir(scenario.tmpfs)), PATIENCE, "the working directory")
    return conversion


def _stuck_in(stage: str, sign: bytes, *actions: Any) -> Begin:
    """Begins a conversion whose host reads up to `sign`, which `actions` before that stage may
    cause, and nothing of what the stage leads to."""

    def begin(scenario: FaultScenario, output: UnreadFifo, options: dict[str, Any]) -> Conversion:
        conversion = begin_held(scenario, {stage: {"before": [*actions, *HELD]}}, **options)
        output.read_until(sign)
        output.fill()
        go(scenario.harness)
        return conversion

    return begin


STUCK: dict[str, Begin] = {
    "at the first message": _stuck_at_the_first_message,
    "at the upload": _stuck_in("ServerHandshake", CONNECTING),
    "behind the upload": _stuck_in("InputArchiveAcknowledgement", b"progressStatus"),
    "at what is relayed": _stuck_in("Conversion", b"relayed", {"forward": "relayed"}),
}
Cause = Callable[[UnreadFifo, Conversion, subprocess.Popen], object]
CAUSES: dict[str, Cause] = {
    "User canceled": lambda given, _, host: given.write(b"x"),
    "Terminated by signal SIGTERM": lambda _, conversion, host: conversion.signal(signal.SIGTERM),
    "Host terminated": lambda _given, _conversion, host: _end(host),
}
# While forwarding, a byte from the host does not cancel; and only a converter watches its host.
FIRST = ["at the first message"]
CASES = [
    pytest.param(
        stage, tool, reason, marks=[] if tool == CONVERTER or stage in FIRST else [pytest.mark.long]
    )
    for stage in STUCK
    for tool in TOOLS
    for reason in CAUSES
    if (stage, reason) != ("at what is relayed", "User canceled")
    and (tool, reason) != ("StatementTool", "Host terminated")
]


@pytest.mark.parametrize(("stage", "tool", "reason"), CASES)
def test_who_is_stuck_is_idle_and_ends_at_once(
    scenario: FaultScenario,
    output: UnreadFifo,
    given: UnreadFifo,
    host: subprocess.Popen,
    stage: str,
    tool: str,
    reason: str,
) -> None:
    fifos = {"input_fifo_path": given.path, "output_fifo_path": output.path}
    conversion = STUCK[stage](scenario, output, {**fifos, "tool": tool, "host_pid": host.pid})
    wait_for_wake_ups(conversion.pid, 5)
    assert_idle(conversion.pid)
    outcome = ends_at_once(conversion, lambda: CAUSES[reason](given, conversion, host))
    # Behind half a message there is no other; behind a whole one it is tried.
    said, *untaken = log_lines(outcome)
    assert (outcome.status, said) == (1, reason), outcome.report()
    assert untaken == [] or (reason, untaken) == ("User canceled", UNTAKEN), outcome.report()
    assert CANCELING not in output.read(), "there was no room for it"
    _end(host)
    scenario.assert_survived(outcome)


def _become_files(path: Path) -> None:
    path.unlink()
    path.write_bytes(b"a plain file")


def _become_folders(path: Path) -> None:
    path.unlink()
    path.mkdir()


REPLACED: dict[str, Callable[[Path], object]] = {
    "deleted": Path.unlink,
    "plain files": _become_files,
    "directories": _become_folders,
}


@pytest.mark.parametrize("become", REPLACED.values(), ids=REPLACED.keys())
def test_what_becomes_of_the_paths_later_does_not_matter(
    scenario: FaultScenario,
    output: UnreadFifo,
    given: UnreadFifo,
    become: Callable[[Path], object],
) -> None:
    # The FIFOs that were opened stay what they are, in both directions.
    steps = [{"forward": "ready"}, *HELD, {"forwarded": 5}, {"echo": 5}]
    script = {"Conversion": {"before": steps}}
    fifos = {"input_fifo_path": given.path, "output_fifo_path": output.path}
    conversion = begin_held(scenario, script, **fifos)
    output.read_until(b"ready")
    become(given.path)
    become(output.path)
    go(scenario.harness)
    given.write(b"heard")
    outcome = scenario.end_of(conversion)
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert output.read().partition(PATIENT)[2].startswith(b"readyheard")
    assert scenario.harness.result.read_bytes() == scenario.whole_result()
    scenario.assert_survived(outcome)


@pytest.mark.parametrize("tool", TOOLS)
def test_one_path_for_both_is_a_cancel(
    scenario: FaultScenario, output: UnreadFifo, tool: str
) -> None:
    both = {"input_fifo_path": output.path, "output_fifo_path": output.path}
    outcome = scenario.convert(tool=tool, **both)
    assert (outcome.status, log_lines(outcome)) == (1, ["User canceled"]), outcome.report()
    scenario.assert_survived(outcome)
