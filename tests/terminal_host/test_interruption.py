"""Ctrl-C and its kin: the first cancels, the second ends the program, force comes last."""

from __future__ import annotations

import json
import signal
import subprocess
from collections.abc import Iterator

import pytest
from desk import PATIENCE, Desk


def events_of(process: subprocess.Popen) -> Iterator[dict]:
    return map(json.loads, process.stdout)


def until(process: subprocess.Popen, kind: str) -> dict:
    return next(event for event in events_of(process) if event["event"] == kind)


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_one_signal_cancels_with_a_byte_into_the_fifo(desk: Desk, number: int) -> None:
    plan = [["section", "ready", 0], ["read", 1], ["stderr", "User canceled\n"], ["exit", 1]]
    with desk.start("--json", "in.ofx", plan=plan) as process:
        until(process, "section")
        process.send_signal(number)
        assert (
            until(process, "cancel")["words"]
            == "Asked the program to cancel. Ctrl-C again ends it."
        )
        assert until(process, "raw")["base64"] == "GA=="
        assert until(process, "exit")["status"] == 1
        assert process.wait(timeout=PATIENCE) == 1


def test_a_second_signal_ends_the_program(desk: Desk) -> None:
    with desk.start("--json", "in.ofx", plan=[["section", "ready", 0], ["wait"]]) as process:
        until(process, "section")
        process.send_signal(signal.SIGINT)
        until(process, "cancel")
        process.send_signal(signal.SIGINT)
        until(process, "terminate")
        assert process.wait(timeout=PATIENCE) == 128 + signal.SIGTERM


def test_a_third_signal_ends_even_a_program_that_ignores_them(desk: Desk) -> None:
    plan = [["ignore", signal.SIGTERM], ["section", "ready", 0], ["wait"]]
    with desk.start("--json", "in.ofx", plan=plan) as process:
        until(process, "section")
        for kind in ("cancel", "terminate", "kill"):
            process.send_signal(signal.SIGINT)
            until(process, kind)
        assert process.wait(timeout=PATIENCE) == 128 + signal.SIGKILL


def test_force_follows_when_the_program_does_not_end(desk: Desk) -> None:
    plan = [["ignore", signal.SIGTERM], ["section", "ready", 0], ["wait"]]
    with desk.start("--json", "in.ofx", plan=plan) as process:
        until(process, "section")
        process.send_signal(signal.SIGINT)
        until(process, "cancel")
        process.send_signal(signal.SIGINT)
        until(process, "kill")
        assert process.wait(timeout=PATIENCE) == 128 + signal.SIGKILL


def test_a_reader_who_leaves_ends_the_conversion(desk: Desk) -> None:
    with desk.start(
        "in.ofx", plan=[["section", "a", 0], ["read", 1]], stdout=subprocess.PIPE
    ) as process:
        process.stdout.close()
        assert process.wait(timeout=PATIENCE) == 1
        assert process.stderr.read() == ""
