"""Who looks for the host's death: the polled input FIFO and nobody else."""

from __future__ import annotations

import subprocess

from host_harness import PATIENCE, HostHarness
from standin.record import wait_until
from timely_exit import wait_for_wake_ups
from unread_fifo import unread_fifo

CONVERTER = "ZanburyConverter"


def _gone() -> int:
    """The process id of a host that has ended."""
    with subprocess.Popen(["true"]) as process:
        process.wait()
        return process.pid


def test_without_an_input_fifo_nobody_looks_for_the_host(harness: HostHarness) -> None:
    # A full output FIFO makes the program wait; it wakes up now and then and could look.
    with unread_fifo(harness.directory / "out") as output:
        output.fill()
        conversion = harness.begin(
            tool=CONVERTER,
            host_pid=_gone(),
            output_fifo_path=output.path,
            overrides={"EXPORT_INPUT_FIFO_PATH": None},
        )
        wait_until(lambda: conversion.running, PATIENCE, "the program")
        wait_for_wake_ups(conversion.pid, 5)
        wait_until(lambda: output.read() and not conversion.running, PATIENCE, "the end")
        outcome = conversion.wait(PATIENCE)
    assert outcome.status == 0, outcome.report()
    assert "Host terminated" not in outcome.stderr_text and harness.result.exists()
