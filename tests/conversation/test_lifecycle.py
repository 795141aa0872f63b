"""Birth and end of the program: its arguments, its exit status, and what it leaves behind."""

from __future__ import annotations

import fcntl
import os
import shutil
import signal
import sys
import tempfile
import termios
from pathlib import Path

import pytest
from host_harness import PATIENCE, HostHarness
from host_view import CONNECTING, log_lines
from observed_process import ObservedProcess, children_of, ssh_of, working_directory
from standin.record import wait_until
from unreachable_servers import SilentListener
from wrapped_program import in_shell, sharing_stderr

HELLO_WAITS = {"ServerHello": {"instead": {"await": "never"}}}
WRONG_SALT = {"ServerHandshake": {"salt": "one bit off"}}
HANDSHAKE_WAITS = {"ServerHandshake": {"instead": {"await": "never"}}}


@pytest.mark.parametrize(
    "arguments",
    [
        ["server"],
        ["x", "server"],
        ["server", "x"],
        ["--", "Server", "server"],
    ],
    ids=" ".join,
)
def test_the_server_role_is_refused(harness: HostHarness, arguments: list[str]) -> None:
    outcome = harness.convert(arguments=arguments)
    assert (outcome.status, outcome.stderr_text, outcome.stdout) == (1, "Not a server\n", b"")
    assert outcome.fifo_bytes == b"" and outcome.leftovers == ()
    assert harness.server.connections == []


@pytest.mark.parametrize(
    "arguments",
    [["Server"], ["SERVER"], ["server "], ["-server"], ["servers"], ["", "serve"]],
    ids=" ".join,
)
def test_other_arguments_are_ignored(harness: HostHarness, arguments: list[str]) -> None:
    conversion = harness.begin(HELLO_WAITS, arguments=arguments)
    assert conversion.wait_for(CONNECTING, PATIENCE)


def test_the_name_of_the_program_is_not_looked_at(harness: HostHarness, tmp_path: Path) -> None:
    renamed = tmp_path / "server"
    renamed.symlink_to(harness.program)
    outcome = harness.convert(program=renamed)
    assert outcome.status == 0, outcome.report()


@pytest.mark.parametrize("status", [0, 1, 3, 255])
def test_the_exit_status_is_that_of_the_tool(harness: HostHarness, status: int) -> None:
    outcome = harness.convert({"OutputArchive": {"exitCode": status}})
    assert outcome.status == status, outcome.report()
    assert outcome.leftovers == ()


def test_an_abort_behind_the_tools_exit_status_overrides_it(harness: HostHarness) -> None:
    outcome = harness.convert({"OutputArchive": {"exitCode": 3, "converted": None}})
    assert outcome.status == 1, outcome.report()
    assert "Could not copy dest file to host path" in log_lines(outcome)
    assert outcome.leftovers == ()


def test_a_failure_is_logged_and_told_to_the_server(harness: HostHarness) -> None:
    outcome = harness.convert(WRONG_SALT)
    assert (outcome.status, log_lines(outcome)) == (1, ["Invalid salt"]), outcome.report()
    assert harness.connection().error == {"reason": "Invalid salt"}
    assert harness.connection().end["how"] == "client error"
    assert outcome.leftovers == () and "Canceling..." not in outcome.titles


def test_an_exception_is_logged_and_told_as_one(harness: HostHarness) -> None:
    outcome = harness.convert({"ServerHandshake": {"set": {"salt": 5}}})
    [line] = log_lines(outcome)
    assert (outcome.status, line.partition(": ")[0]) == (1, "Exception"), outcome.report()
    assert harness.connection().error == {"exception": line.removeprefix("Exception: ")}


def test_reason_and_error_are_lines_of_one_log_entry(harness: HostHarness) -> None:
    harness.source.unlink()
    outcome = harness.convert()
    reason, error = log_lines(outcome)
    assert reason == "Could not copy the source file to the InputArchive directory"
    told = {"reason": reason, "error": error.removeprefix("Error: ")}
    assert error.startswith("Error: ") and harness.connection().error == told


def test_a_second_failure_during_an_abort_is_only_logged(harness: HostHarness) -> None:
    # The words to the server cannot be written, because ssh is gone while the program stands still.
    nonsense = [{"await": "go"}, {"raw": "nonsense\n"}, {"await": "never"}]
    conversion = harness.begin({"ServerHello": {"after": nonsense}})
    harness.server.begun(1).wait_for_frame("ClientHandshake")
    ssh = ssh_of(conversion)
    conversion.signal(signal.SIGSTOP)
    harness.server.file("go").touch()
    wait_until(lambda: _bytes_in_pipes_of(ssh) > 0, PATIENCE, "bytes that ssh has passed on")
    os.kill(ssh.pid, signal.SIGKILL)
    ssh.wait_for_end()
    conversion.signal(signal.SIGCONT)
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 1 and outcome.leftovers == ()
    lines = log_lines(outcome)
    assert lines[0] == "Invalid message received" and lines[-1] == "Could not write message"


def _bytes_in_pipes_of(process: ObservedProcess) -> int:
    """What waits unread in all of its pipes together."""
    pipes = [number for number, to in process.descriptors.items() if to.startswith("pipe:")]
    total = 0
    for number in pipes:
        pipe = os.open(f"/proc/{process.pid}/fd/{number}", os.O_RDONLY | os.O_NONBLOCK)
        total += int.from_bytes(fcntl.ioctl(pipe, termios.FIONREAD, b"\0\0\0\0"), sys.byteorder)
        os.close(pipe)
    return total


@pytest.mark.parametrize("descriptors", ["<&-", ">&-", "2>&-", "<&- >&- 2>&-"])
def test_standard_streams_that_are_closed_are_no_trouble(
    harness: HostHarness, tmp_path: Path, descriptors: str
) -> None:
    program = in_shell(harness.program, tmp_path, behind=descriptors)
    outcome = harness.convert(program=program)
    assert outcome.status == 0, outcome.report()
    assert harness.result.exists() and outcome.raw == b""


@pytest.mark.skipif(os.getuid() != 0, reason="the descriptors are hidden from others")
def test_closed_standard_streams_are_taken_by_nothing_else(
    harness: HostHarness, tmp_path: Path
) -> None:
    program = in_shell(harness.program, tmp_path, behind="<&- >&- 2>&-")
    with SilentListener() as silent:
        conversion = harness.begin(program=program, server_destinations=silent.destination)
        ssh_of(conversion)
        descriptors = ObservedProcess(conversion.pid).descriptors
        assert [descriptors[number] for number in range(3)] == ["/dev/null"] * 3


def test_log_lines_go_nowhere_else_when_standard_error_is_closed(
    harness: HostHarness, tmp_path: Path
) -> None:
    program = in_shell(harness.program, tmp_path, behind="<&- >&- 2>&-")
    outcome = harness.convert(WRONG_SALT, program=program)
    assert (outcome.status, outcome.raw, outcome.stderr) == (1, b"", b"")
    assert harness.connection().error == {"reason": "Invalid salt"}
    assert [frame.type for frame in harness.connection().received] == ["ClientHandshake", "Error"]


@pytest.mark.parametrize("flags", [0, os.O_NONBLOCK], ids=["blocking", "non-blocking"])
@pytest.mark.parametrize(
    ("script", "status"),
    [pytest.param({}, 0, id="success"), pytest.param(WRONG_SALT, 1, id="abort")],
)
def test_standard_error_is_given_back_as_it_was(
    harness: HostHarness, tmp_path: Path, flags: int, script: dict, status: int
) -> None:
    report = tmp_path / "flags"
    program = sharing_stderr(harness.program, tmp_path, flags, report)
    outcome = harness.convert(script, program=program)
    assert outcome.status == status, outcome.report()
    assert int(report.read_text()) & os.O_NONBLOCK == flags


def test_standard_error_is_given_back_when_a_killed_ssh_could_not(
    harness: HostHarness, tmp_path: Path
) -> None:
    report = tmp_path / "flags"
    program = sharing_stderr(harness.program, tmp_path, 0, report)
    conversion = harness.begin(HANDSHAKE_WAITS, program=program)
    harness.server.begun(1).wait_for_frame("ClientHandshake")
    [started] = children_of(conversion.pid)
    [ssh] = children_of(started.pid)
    os.kill(ssh.pid, signal.SIGKILL)
    conversion.wait(PATIENCE)
    assert int(report.read_text()) & os.O_NONBLOCK == 0


def test_ssh_does_not_outlive_a_killed_program(harness: HostHarness) -> None:
    # This ssh waits for a server that never speaks: nothing but the program's end can end it.
    with SilentListener() as silent:
        conversion = harness.begin(server_destinations=silent.destination)
        ssh = ssh_of(conversion)
        conversion.signal(signal.SIGKILL)
        assert conversion.wait(PATIENCE).status == -signal.SIGKILL
        ssh.wait_for_end()


def test_ssh_is_ended_with_the_session(harness: HostHarness) -> None:
    conversion = harness.begin({"ServerHello": {"before": {"await": "go"}}})
    ssh = ssh_of(conversion)
    harness.server.file("go").touch()
    assert conversion.wait(PATIENCE).status == 0
    ssh.wait_for_end()


def test_no_core_is_dumped(harness: HostHarness) -> None:
    with SilentListener() as silent:
        conversion = harness.begin(server_destinations=silent.destination)
        ssh_of(conversion)
        limits = Path(f"/proc/{conversion.pid}/limits").read_text()
    [core] = [line for line in limits.splitlines() if line.startswith("Max core file size")]
    assert core.split()[4:6] == ["0", "0"]


@pytest.mark.skipif(os.getuid() != 0, reason="takes another user")
def test_what_cannot_be_removed_is_logged_and_no_obstacle(
    harness: HostHarness, tmp_path: Path
) -> None:
    # Root removes anything, so the program runs as nobody here, and meets a folder that it may not
    # look into. The remover that is tried next has no more luck, and says so.
    place = Path(tempfile.mkdtemp())
    os.chown(place, 65534, 65534)
    nobody = f"{shutil.which('setpriv')} --reuid=65534 --regid=65534 --clear-groups"
    program = in_shell(harness.program, tmp_path, before=nobody)
    no_fifos = {"EXPORT_INPUT_FIFO_PATH": None, "EXPORT_OUTPUT_FIFO_PATH": None}
    with SilentListener() as silent:
        conversion = harness.begin(
            program=program,
            server_destinations=silent.destination,
            temporary_directory=place,
            overrides=no_fifos,
        )
        (working_directory(conversion) / "folder" / "deeper").mkdir(parents=True)
        conversion.signal(signal.SIGTERM)
        outcome = conversion.wait(PATIENCE)
    shutil.rmtree(place)
    first, second, third = log_lines(outcome)
    assert (outcome.status, first) == (1, "Terminated by signal SIGTERM")
    assert second.startswith("ERROR: Could not remove file, error = ")
    assert third.startswith("/bin/rm: cannot remove ")
