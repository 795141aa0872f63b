"""A conversion from Python: what the program is given, what is recorded, what is left."""

from __future__ import annotations

import json
import os
import select
import signal
import stat
import subprocess
import sys
import threading
from pathlib import Path

import pytest
from conftest import FAKE_PROGRAM, PATIENCE, PROJECT, Play
from terminal_host import (
    CANCEL,
    Conversion,
    EndedEarly,
    Exit,
    HostError,
    Raw,
    Request,
    Section,
    Status,
    StderrLine,
    run,
)

ALL = Request(
    file_path="/in/a.ofx",
    dest_path=Path("/out/a.csv"),
    logs_dir_path="/out/logs",
    tool="T",
    tool_version="1.2",
    server_command_path="/srv/command",
    server_identity="KEY\nTEXT\n",
    host_path="/Applications/Host.app",
    host_pid=4711,
    client_id="c",
    mac_address="00:11:22:33:44:55",
    user_id="u",
    user_name="Ünï",
    public_key="PUBLIC",
    retry_delay=5,
    server_destinations=["ssh://a@b:1", "ssh://c@d:2"],
)


def environment_of(conversion: Conversion) -> dict[str, str]:
    conversion.wait()
    return json.loads(conversion.fifo_bytes)


def test_the_environment_carries_all_values_and_nothing_else(play: Play) -> None:
    conversion = play(["environment"], request=ALL)
    assert environment_of(conversion) | {"EXPORT_TOOL": "T"} == {
        "EXPORT_FILE_PATH": "/in/a.ofx",
        "EXPORT_DEST_PATH": "/out/a.csv",
        "EXPORT_LOGS_DIR_PATH": "/out/logs",
        "EXPORT_INPUT_FIFO_PATH": str(conversion.input_fifo),
        "EXPORT_OUTPUT_FIFO_PATH": str(conversion.output_fifo),
        "EXPORT_TOOL": "T",
        "EXPORT_TOOL_VERSION": "1.2",
        "EXPORT_SERVER_COMMAND_PATH": "/srv/command",
        "EXPORT_SERVER_IDENTITY": "KEY\nTEXT\n",
        "EXPORT_HOST_PATH": "/Applications/Host.app",
        "EXPORT_HOST_PID": "4711",
        "EXPORT_CLIENT_ID": "c",
        "EXPORT_MAC_ADDRESS": "00:11:22:33:44:55",
        "EXPORT_USER_ID": "u",
        "EXPORT_USER_NAME": "Ünï",
        "EXPORT_PUBLIC_KEY": "PUBLIC",
        "EXPORT_RETRY_DELAY": "5",
        "EXPORT_SERVER_DESTINATIONS": "ssh://a@b:1,ssh://c@d:2",
        "TMPDIR": str(conversion.temporary_directory),
    }


def test_values_not_given_are_not_set(play: Play) -> None:
    names = {"EXPORT_INPUT_FIFO_PATH", "EXPORT_OUTPUT_FIFO_PATH", "EXPORT_TOOL", "TMPDIR"}
    assert environment_of(play(["environment"])).keys() == names


def test_an_empty_value_is_set(play: Play) -> None:
    environment = environment_of(play(["environment"], request=Request(server_destinations="")))
    assert environment["EXPORT_SERVER_DESTINATIONS"] == ""


def test_overrides_come_last_and_can_remove_a_variable(play: Play) -> None:
    changes = {"EXPORT_USER_ID": "other", "EXPORT_USER_NAME": None, "EXTRA": "1"}
    environment = environment_of(play(["environment"], request=ALL, overrides=changes))
    assert (environment["EXPORT_USER_ID"], environment["EXTRA"]) == ("other", "1")
    assert "EXPORT_USER_NAME" not in environment


def test_a_path_of_the_callers_own_replaces_a_fifo() -> None:
    request = Request(input_fifo_path="/nowhere/in", output_fifo_path="/nowhere/out")
    with Conversion(request, "/usr/bin/env") as conversion:
        lines = conversion.wait().stdout.decode().splitlines()
    assert {"EXPORT_INPUT_FIFO_PATH=/nowhere/in", "EXPORT_OUTPUT_FIFO_PATH=/nowhere/out"} <= {
        *lines
    }


def test_the_program_leads_a_session_of_its_own(play: Play) -> None:
    assert play(["session"]).wait().raw == b"leader"


def test_arguments_reach_the_program() -> None:
    assert run(Request(), "/bin/echo", arguments=["server"]).stdout == b"server\n"


def test_the_fifos_are_private(play: Play) -> None:
    conversion = play(["wait"])
    modes = [p.stat().st_mode for p in (conversion.input_fifo, conversion.output_fifo)]
    assert modes == [stat.S_IFIFO | 0o600] * 2
    assert stat.S_IMODE(conversion.directory.stat().st_mode) == 0o700


def test_events_come_in_order_with_the_exit_last(play: Play) -> None:
    outcome = play(
        ["section", "One", 10],
        ["status", 4],
        ["section", None, 0],
        ["raw", "no message"],
        ["stderr", "first\nsecond, without an end"],
        ["exit", 7],
    ).wait()
    fifo = [e for e in outcome.events if not isinstance(e, (StderrLine, Exit))]
    assert fifo == [Section("One", 10), Status(4), Section(None, 0), Raw(b"no message")]
    errors = [e for e in outcome.events if isinstance(e, StderrLine)]
    assert errors == [StderrLine("first"), StderrLine("second, without an end")]
    assert (outcome.events[-1], outcome.status) == (Exit(7), 7)
    assert (outcome.titles, outcome.statuses, outcome.raw) == (("One", None), (4,), b"no message")


def test_the_fifos_bytes_are_kept_as_they_came(play: Play) -> None:
    text = "12\n\r\n\té " * 40
    assert play(["chunks", text, 7]).wait().fifo_bytes == text.encode()


def test_nothing_written_just_before_the_end_is_lost(play: Play) -> None:
    outcome = play(["flood", 3000], ["exit", 0]).wait()
    assert outcome.statuses == tuple(range(3000))


def test_a_signal_ends_with_its_negative_number(play: Play) -> None:
    assert play(["die", signal.SIGKILL]).wait().status == -signal.SIGKILL


def test_cancel_is_one_byte_that_waits_for_the_program(play: Play) -> None:
    conversion = play(["read", 1], ["exit", 1])
    conversion.cancel()
    outcome = conversion.wait()
    assert (outcome.fifo_bytes, outcome.status) == (CANCEL, 1)


def test_bytes_beyond_a_full_fifo_follow_as_it_empties(play: Play) -> None:
    data = bytes(range(256)) * 2048
    conversion = play(["section", "ready", 0], ["read", 1], ["read", len(data) - 1])
    conversion.send(data)
    outcome = conversion.wait()
    assert outcome.fifo_bytes.endswith(data)
    assert conversion.pending_input == 0


def test_input_after_the_end_does_no_harm(play: Play) -> None:
    conversion = play(["exit", 0])
    outcome = conversion.wait()
    conversion.cancel()
    conversion.signal(signal.SIGTERM)
    conversion.kill()
    assert conversion.wait() == outcome and conversion.events == (Exit(0),)


def test_wait_for_finds_an_event_that_has_come_already(play: Play) -> None:
    conversion = play(["section", "A", 0], ["section", "B", 3], ["wait"])
    conversion.wait_for(Section("B", 3))
    assert conversion.wait_for(lambda event: isinstance(event, Section)) == Section("A", 0)
    assert conversion.running


def test_wait_for_tells_what_came_instead(play: Play) -> None:
    conversion = play(["section", "A", 0], ["stderr", "trouble\n"], ["exit", 3])
    with pytest.raises(EndedEarly, match=r"(?s)Section.*'B'.*status 3.*Section.*'A'.*trouble"):
        conversion.wait_for(Section("B", 0))


def test_a_timeout_tells_what_came_and_leaves_the_program_running(play: Play) -> None:
    conversion = play(["section", "A", 0], ["wait"])
    conversion.wait_for(Section("A", 0))
    with pytest.raises(TimeoutError, match=r"(?s)the end of the program: not within 0 s.*'A'"):
        conversion.wait(timeout=0)
    assert conversion.running


def test_wait_until_sees_every_change(play: Play) -> None:
    conversion = play(["raw", "abc"], ["wait"])
    conversion.wait_until(lambda c: c.fifo_bytes == b"abc")
    assert conversion.running


def test_follow_yields_every_event_until_the_exit(play: Play) -> None:
    conversion = play(["section", "A", 0], ["status", 1], ["exit", 0])
    assert [*conversion.follow()] == [Section("A", 0), Status(1), Exit(0)]


def test_follow_ticks_while_nothing_comes(play: Play) -> None:
    conversion = play(["wait"])
    assert next(conversion.follow(tick=0.01)) is None


def test_without_history_follow_still_yields_every_event(play: Play) -> None:
    conversion = play(["flood", 500], ["exit", 0], keep_history=False)
    assert [*conversion.follow()] == [*map(Status, range(500)), Exit(0)]
    assert (conversion.events, conversion.fifo_bytes) == ((), b"")


def test_leftovers_name_what_the_program_left_in_its_temporary_directory(play: Play) -> None:
    assert play(["leave", "b"], ["leave", "a"], ["exit", 0]).wait().leftovers == ("a", "b")


def test_a_temporary_directory_of_the_callers_own_is_used_and_stays(
    play: Play, tmp_path: Path
) -> None:
    outcome = play(["leave", "mine"], ["exit", 0], temporary_directory=tmp_path).wait()
    assert (outcome.leftovers, [*tmp_path.iterdir()]) == (("mine",), [tmp_path / "mine"])


def has_ended(pid: int) -> bool:
    """Waits for the end of a process of anybody's; False when it lives on for minutes."""
    try:
        descriptor = os.pidfd_open(pid)
    except ProcessLookupError:
        return True
    try:
        return bool(select.select([descriptor], [], [], PATIENCE)[0])
    finally:
        os.close(descriptor)


def child_of(conversion: Conversion) -> int:
    conversion.wait_until(lambda c: c.fifo_bytes.endswith(b";"))
    return int(conversion.fifo_bytes[len("child ") : -1])


def test_close_ends_the_program_and_its_children_and_removes_everything(play: Play) -> None:
    conversion = play(["leave", "key"], ["ignore", signal.SIGTERM], ["child"], ["wait"])
    pids, directory = (conversion.pid, child_of(conversion)), conversion.directory
    conversion.close()
    conversion.close()
    assert all(map(has_ended, pids))
    assert not directory.exists()
    assert conversion.wait().status == -signal.SIGKILL


def test_a_child_that_holds_standard_error_is_told_and_ended(play: Play) -> None:
    conversion = play(["child"], ["exit", 0], stderr_grace=0.05)
    outcome, child = conversion.wait(), child_of(conversion)
    assert (outcome.status, outcome.stderr_closed) == (0, False)
    conversion.close()
    assert has_ended(child)


def test_standard_error_that_ends_with_the_program_is_told(play: Play) -> None:
    assert play(["exit", 0]).wait().stderr_closed


def test_an_exception_in_the_with_block_leaves_nothing() -> None:
    with pytest.raises(ZeroDivisionError), Conversion(Request(), "/usr/bin/yes") as conversion:
        pid, directory = conversion.pid, conversion.directory
        raise ZeroDivisionError
    assert has_ended(pid) and not directory.exists()


def test_run_ends_a_program_that_takes_too_long() -> None:
    with pytest.raises(TimeoutError):
        run(Request(), "/bin/sleep", arguments=["1000"], timeout=0.05)


def test_a_conversion_nobody_closed_ends_with_its_host() -> None:
    script = (
        "import sys; sys.path.insert(0, sys.argv[1])\n"
        "from terminal_host import Conversion, Request\n"
        "c = Conversion(Request(), '/bin/sleep', arguments=['1000']).start()\n"
        "print(c.pid, c.directory)\n"
    )
    command = [sys.executable, "-c", script, str(PROJECT / "tools")]
    pid, directory = subprocess.run(
        command, capture_output=True, text=True, check=True
    ).stdout.split()
    assert has_ended(int(pid)) and not Path(directory).exists()


@pytest.mark.parametrize(
    ("program", "reason"),
    [
        ("/nowhere/program", "there is no program at /nowhere/program"),
        ("/etc/passwd", "/etc/passwd cannot be run: it is not executable"),
        (PROJECT, f"there is no program at {PROJECT}"),
    ],
)
def test_a_program_that_cannot_run_is_named(program: object, reason: str) -> None:
    with pytest.raises(HostError, match=reason):
        Conversion(Request(), program).start()


@pytest.mark.parametrize(
    ("value", "reason"),
    [("x" * 200_000, "Argument list too long"), ("a\0b", "embedded null byte")],
)
def test_a_value_that_no_environment_can_carry_is_an_error(
    value: str, reason: str, tmp_path: Path, monkeypatch: pytest.MonkeyPatch
) -> None:
    monkeypatch.setattr("tempfile.tempdir", str(tmp_path))
    with pytest.raises(HostError, match=f"cannot start {FAKE_PROGRAM}: {reason}"):
        Conversion(Request(tool=value), FAKE_PROGRAM).start()
    assert [*tmp_path.iterdir()] == []


def test_many_conversions_run_side_by_side(play: Play) -> None:
    outcomes: dict[int, bytes] = {}

    def convert(number: int) -> None:
        request = Request(tool=json.dumps([["read", 4]]))
        with Conversion(request, FAKE_PROGRAM) as conversion:
            conversion.send(b"%04d" % number)
            outcomes[number] = conversion.wait().fifo_bytes

    threads = [threading.Thread(target=convert, args=(n,)) for n in range(16)]
    before = len(os.listdir("/proc/self/fd"))
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    assert outcomes == {n: b"%04d" % n for n in range(16)}
    assert len(os.listdir("/proc/self/fd")) == before
