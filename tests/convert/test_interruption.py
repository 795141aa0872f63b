"""Ctrl-C and its kin: the first asks, the second ends, force comes last; a cancel cancels."""

from __future__ import annotations

import os
import signal
import subprocess

import pytest
from command_sandbox import PATIENCE, CommandSandbox, until

READY = ["section", "ready", 0]


def send(process: subprocess.Popen, number: int) -> None:
    os.kill(process.pid, number)


def ended(process: subprocess.Popen) -> tuple[str, int]:
    """The code of the ending, and the status."""
    return until(process, "end")["code"], process.wait(PATIENCE)


@pytest.mark.parametrize(
    ("number", "status"), [(signal.SIGTERM, 143), (signal.SIGHUP, 129), (signal.SIGQUIT, 131)]
)
def test_whoever_sends_a_signal_does_not_wait(
    sandbox: CommandSandbox, number: int, status: int
) -> None:
    with sandbox.running(
        "--json", "--cancel-grace", "600", "in.ofx", plan=[READY, ["wait"]]
    ) as convert:
        until(convert, "section")
        send(convert, number)
        assert until(convert, "cancel")["words"].startswith("Ending the program")
        assert ended(convert) == ("canceled", status)


def test_ctrl_c_asks_with_a_byte_into_the_fifo(sandbox: CommandSandbox) -> None:
    plan = [READY, ["read", 1], ["stderr", "User canceled\n"], ["exit", 1]]
    with sandbox.running("--json", "--cancel-grace", "600", "in.ofx", plan=plan) as convert:
        until(convert, "section")
        send(convert, signal.SIGINT)
        assert until(convert, "cancel")["words"] == (
            "Asked the program to cancel; if it goes on, it is ended in 600 seconds. "
            "Ctrl-C again ends it at once."
        )
        assert until(convert, "raw")["base64"] == "GA=="
        assert ended(convert) == ("canceled", 130)


def test_a_conversion_that_goes_on_is_ended_after_the_grace(sandbox: CommandSandbox) -> None:
    plan = [READY, ["read", 1], ["wait"]]
    with sandbox.running("--json", "--cancel-grace", "0.1", "in.ofx", plan=plan) as convert:
        until(convert, "section")
        send(convert, signal.SIGINT)
        assert until(convert, "cancel")["words"].startswith("Asked the program")
        assert until(convert, "cancel")["words"].startswith("Ending the program")
        assert ended(convert) == ("canceled", 130)


def test_a_result_that_comes_after_the_cancel_is_not_delivered(sandbox: CommandSandbox) -> None:
    plan = [READY, ["read", 1], ["copy"], ["exit", 0]]
    with sandbox.running("--json", "--cancel-grace", "600", "in.ofx", plan=plan) as convert:
        until(convert, "section")
        send(convert, signal.SIGINT)
        assert ended(convert) == ("canceled", 130)
    assert not (sandbox.directory / "in.ofx.converted").exists()
    assert not (sandbox.directory / "in.ofx.converted.logs").exists()


def test_a_second_ctrl_c_ends_the_program_at_once(sandbox: CommandSandbox) -> None:
    with sandbox.running(
        "--json", "--cancel-grace", "600", "in.ofx", plan=[READY, ["wait"]]
    ) as convert:
        until(convert, "section")
        send(convert, signal.SIGINT)
        until(convert, "cancel")
        send(convert, signal.SIGINT)
        assert until(convert, "cancel")["words"].startswith("Ending the program")
        assert ended(convert) == ("canceled", 130)


def test_a_third_ctrl_c_ends_even_a_program_that_ignores_the_others(
    sandbox: CommandSandbox,
) -> None:
    plan = [["ignore", signal.SIGTERM], READY, ["wait"]]
    with sandbox.running("--json", "--cancel-grace", "600", "in.ofx", plan=plan) as convert:
        until(convert, "section")
        for words in ("Asked", "Ending", "Ended"):
            send(convert, signal.SIGINT)
            assert until(convert, "cancel")["words"].startswith(words)
        assert ended(convert) == ("canceled", 130)


def test_force_follows_when_the_program_does_not_end(sandbox: CommandSandbox) -> None:
    plan = [["ignore", signal.SIGTERM], READY, ["wait"]]
    with sandbox.running("--json", "in.ofx", plan=plan) as convert:
        until(convert, "section")
        send(convert, signal.SIGTERM)
        until(convert, "cancel")
        assert until(convert, "cancel")["words"] == "Ended the program by force."
        assert ended(convert) == ("canceled", 143)


def test_what_is_ignored_at_the_start_stays_ignored(sandbox: CommandSandbox) -> None:
    plan = [READY, ["read", 1], ["exit", 1]]
    with sandbox.running(
        "--json",
        "in.ofx",
        plan=plan,
        preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN),
    ) as convert:
        until(convert, "section")
        send(convert, signal.SIGHUP)
        send(convert, signal.SIGINT)
        assert until(convert, "cancel")["words"].startswith("Asked the program")
        assert ended(convert) == ("canceled", 130)


def test_one_ctrl_c_cancels_all_files_of_a_batch(sandbox: CommandSandbox) -> None:
    names = [f"{number}.ofx" for number in range(6)]
    for name in names:
        (sandbox.directory / name).write_text("statement\n")
    with sandbox.running(
        "--json", "-d", "out", *names, plan=[READY, ["read", 1], ["exit", 1]]
    ) as convert:
        until(convert, "section")
        until(convert, "section")
        send(convert, signal.SIGINT)
        codes = [until(convert, "end")["code"] for _ in names]
        assert codes == ["canceled"] * 6
        assert until(convert, "summary")["status"] == convert.wait(PATIENCE) == 130


def test_a_reader_of_events_who_leaves_ends_the_conversion(sandbox: CommandSandbox) -> None:
    plan = [["section", "a", 0], ["flood", 20000], ["wait"]]
    with sandbox.running("--json", "in.ofx", plan=plan) as convert:
        until(convert, "section")
        convert.stdout.close()
        assert convert.wait(PATIENCE) == 1
        assert convert.stderr.read() == ""
