"""What people see who start the program from a shell; a host's program ignores the same words."""

from __future__ import annotations

import os
import re
import subprocess
from pathlib import Path

import pytest
from host_harness import PATIENCE, PROJECT, HostHarness
from host_view import CONNECTING, will_retry

NOWHERE = "ERROR: EXPORT_SERVER_DESTINATIONS names no server to connect to\n"
BY_HAND = (
    b"ZanburyToolProxy is started by a host application, which sets EXPORT_ variables: see "
    b"ZanburyToolProxy(1), or try --help\n"
)


def _run(program: Path, *arguments: str, **variables: str) -> subprocess.CompletedProcess:
    """The program with these variables and no others."""
    return subprocess.run([program, *arguments], env=variables, capture_output=True, timeout=60)


def test_the_version_is_that_of_the_project(program: Path) -> None:
    project = (PROJECT / "CMakeLists.txt").read_text("utf-8")
    [version] = re.findall(r"project\(ZanburyToolProxy VERSION (\S+)", project)
    result = _run(program, "--version")
    assert (result.returncode, result.stderr) == (0, b"")
    assert result.stdout == f"ZanburyToolProxy {version}\n".encode()


@pytest.mark.parametrize("arguments", [["--help"], ["x", "--help"], ["--version", "--help"]])
def test_the_help_says_who_starts_the_program(program: Path, arguments: list[str]) -> None:
    result = _run(program, *arguments, PATH="/usr/bin", EXPORTS="none of the host's")
    assert (result.returncode, result.stderr) == (0, b"")
    assert result.stdout.startswith(b"Usage: ZanburyToolProxy")
    assert max(len(line) for line in result.stdout.splitlines()) <= 80


@pytest.mark.parametrize("argument", ["--help", "--version"])
def test_an_answer_that_cannot_be_written_is_an_error(program: Path, argument: str) -> None:
    with open("/dev/full", "wb") as full:
        result = subprocess.run(
            [program, argument], env={}, stdout=full, stderr=subprocess.PIPE, timeout=60
        )
    assert (result.returncode, result.stderr) == (1, b"ERROR: write: No space left on device\n")


def test_the_server_role_comes_before_the_answers(program: Path) -> None:
    result = _run(program, "--help", "server")
    assert (result.returncode, result.stdout, result.stderr) == (1, b"", b"Not a server\n")


@pytest.mark.parametrize(
    ("arguments", "told"), [([], BY_HAND), (["x"], b"")], ids=["without arguments", "with another"]
)
def test_a_start_by_hand_goes_on_as_ever(
    program: Path, tmp_path: Path, arguments: list[str], told: bytes
) -> None:
    process = subprocess.Popen(
        [program, *arguments], env={"TMPDIR": os.fspath(tmp_path)}, stderr=subprocess.PIPE
    )
    # Nowhere to go: it counts down for ever.
    assert process.stderr is not None
    log = b""
    while not log.endswith(NOWHERE.encode()):
        log += process.stderr.readline()
    process.terminate()
    _, last = process.communicate(timeout=PATIENCE)
    assert log == told + NOWHERE.encode()
    assert (process.returncode, last) == (1, b"Terminated by signal SIGTERM\n")


@pytest.mark.parametrize("argument", ["--help", "--version"])
def test_a_host_gets_no_answers(harness: HostHarness, argument: str) -> None:
    conversion = harness.begin(arguments=[argument], server_destinations="", retry_delay=60)
    assert conversion.wait_for(will_retry(60), PATIENCE)
    assert CONNECTING not in conversion.events and conversion.stderr_text == NOWHERE


def test_a_single_variable_makes_a_host(program: Path, tmp_path: Path) -> None:
    variables = {"TMPDIR": os.fspath(tmp_path), "EXPORT_SERVER_DESTINATIONS": "bad"}
    result = _run(program, "--version", **variables)
    assert (result.returncode, result.stdout) == (1, b"")
    assert result.stderr == b"Invalid server destination\n"
