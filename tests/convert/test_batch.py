"""Several files in one call: each has its ending, and the call has a summary and a status."""

from __future__ import annotations

import json
import os
import shlex
import signal
import subprocess

import pytest
from command_sandbox import PATIENCE, CommandSandbox
from standin.record import wait_until

# The fake program fails for a source that is named "bad…".
BY_NAME = [["section", "Up", 2], ["status", 1], ["fail_if_bad", 65], ["copy"], ["exit", 0]]


@pytest.fixture
def names(sandbox: CommandSandbox) -> list[str]:
    """Twenty statements, one of them bad."""
    names = [f"{number:02d}.ofx" for number in range(19)] + ["bad.ofx"]
    for name in names:
        (sandbox.directory / name).write_text(f"statement {name}\n")
    return names


def test_one_bad_file_of_twenty_does_not_stop_the_others(
    sandbox: CommandSandbox, names: list[str]
) -> None:
    done = sandbox.convert("-d", "out", "--jobs", "3", *names, plan=BY_NAME)
    lines = done.stderr.splitlines()
    assert (done.returncode, done.stdout) == (1, "")
    assert lines[-1].startswith("19 converted, 1 failed, ")
    told = [line for line in lines if line.startswith("[")]
    assert [line[1:6] for line in told] == [f"{number:2d}/20" for number in range(1, 21)]
    [bad] = [line for line in told if "bad.ofx" in line]
    assert bad.endswith("] bad.ofx: The tool failed with status 65.")
    results = sorted(path.name for path in (sandbox.directory / "out").glob("*.converted"))
    assert results == [f"{name}.converted" for name in names[:-1]]


def test_the_events_name_the_file_and_end_with_a_summary(
    sandbox: CommandSandbox, names: list[str]
) -> None:
    *events, summary = sandbox.events("-d", "out", *names, plan=BY_NAME)
    endings = {event["source"]: event for event in events if event["event"] == "end"}
    assert sorted(endings) == sorted(str(sandbox.directory / name) for name in names)
    assert {ending["code"] for ending in endings.values()} == {"converted", "tool-failed"}
    assert summary["seconds"] > 0 and summary["status"] == 1
    assert [summary[key] for key in ("converted", "failed", "skipped")] == [19, 1, 0]


def test_no_more_are_converted_at_a_time_than_asked_for(
    sandbox: CommandSandbox, names: list[str]
) -> None:
    events = sandbox.events("-d", "out", "--jobs", "2", *names, plan=BY_NAME)
    running, most = 0, 0
    for event in events:
        running += {"begin": 1, "end": -1}.get(event["event"], 0)
        most = max(most, running)
    assert most == 2


def test_a_source_that_is_missing_is_one_bad_file(sandbox: CommandSandbox) -> None:
    done = sandbox.convert("-d", "out", "in.ofx", "nowhere.ofx", plan=BY_NAME)
    assert done.returncode == 1
    assert "nowhere.ofx does not exist." in done.stderr
    assert (sandbox.directory / "out" / "in.ofx.converted").exists()


@pytest.mark.parametrize(
    ("option", "status", "text"),
    [(None, 1, "old"), ("--no-clobber", 2, "old"), ("--force", 0, "statement\n")],
)
def test_what_is_there_is_replaced_only_by_force(
    sandbox: CommandSandbox, option: str | None, status: int, text: str
) -> None:
    (sandbox.directory / "other.ofx").write_text("other\n")
    old = sandbox.directory / "in.ofx.converted"
    old.write_text("old")
    options = [option] if option else []
    done = sandbox.convert(*options, "in.ofx", "other.ofx", plan=BY_NAME)
    assert (done.returncode, old.read_text()) == (status, text)
    assert (sandbox.directory / "other.ofx.converted").read_text() == "other\n"
    assert ("1 skipped" in done.stderr) == (option == "--no-clobber")


def test_a_single_file_is_skipped_with_the_status_of_an_existing_result(
    sandbox: CommandSandbox,
) -> None:
    (sandbox.directory / "in.ofx.converted").write_text("old")
    ending = sandbox.ending("--no-clobber", "in.ofx", plan=BY_NAME)
    assert (ending["code"], ending["status"]) == ("exists", 2)


def test_servers_that_fail_for_one_file_are_not_tried_for_the_next(
    sandbox: CommandSandbox, names: list[str]
) -> None:
    plan = [
        ["section", "Connecting to Zanbury Cloud...", 0],
        ["stderr", "a@b: Permission denied (publickey).\n"],
        ["section", "Could not connect. Will try again in 1 second...", 0],
        ["wait"],
    ]
    *events, summary = sandbox.events("-d", "out", "--jobs", "1", *names, plan=plan)
    codes = [event["code"] for event in events if event["event"] == "end"]
    assert codes == ["login-refused"] + ["not-tried"] * 19
    assert summary["status"] == 1 and summary["failed"] == 20


def test_standard_input_becomes_standard_output(sandbox: CommandSandbox) -> None:
    done = sandbox.convert("-", plan=BY_NAME, given="from a pipe\n")
    assert (done.returncode, done.stdout) == (0, "from a pipe\n")
    assert "Converted." in done.stderr
    assert [*sandbox.directory.glob("*.converted*")] == []


def test_a_file_can_go_to_standard_output_and_its_logs_elsewhere(sandbox: CommandSandbox) -> None:
    done = sandbox.convert("-o", "-", "--logs", "l", "in.ofx", plan=BY_NAME)
    assert (done.returncode, done.stdout) == (0, "statement\n")
    assert (sandbox.directory / "l" / "tool.log").read_text() == "copied\n"


def test_a_reader_of_the_result_who_has_left_has_not_got_it(sandbox: CommandSandbox) -> None:
    reader, writer = os.pipe()
    os.close(reader)
    with sandbox.running("-o", "-", "in.ofx", plan=BY_NAME, stdout=writer) as convert:
        os.close(writer)
        _, told = convert.communicate(timeout=60)
    assert convert.returncode == 1
    assert "cannot be written to standard output: Broken pipe." in told
    assert "Exception ignored" not in told


def test_dry_run_checks_all_files_and_makes_nothing(sandbox: CommandSandbox) -> None:
    before = sorted(sandbox.directory.iterdir())
    done = sandbox.convert("--dry-run", "-d", "out", "in.ofx", "nowhere.ofx")
    assert done.returncode == 1
    assert "in.ofx: Would convert in.ofx to " in done.stderr
    assert done.stderr.splitlines()[-1] == "1 can be converted, 1 failed, 0.0 s."
    assert sorted(sandbox.directory.iterdir()) == before


def test_quiet_says_only_what_went_wrong(sandbox: CommandSandbox) -> None:
    assert sandbox.convert("-q", "in.ofx", plan=BY_NAME).stderr == ""
    (sandbox.directory / "bad.ofx").write_text("x")
    told = sandbox.convert("-q", "--force", "in.ofx", "bad.ofx", plan=BY_NAME).stderr
    assert "[2/2] bad.ofx: The tool failed" in told or "[1/2] bad.ofx: The tool failed" in told
    assert " in.ofx: " not in told


def test_events_of_dry_run_and_of_skipped_files_are_endings_too(sandbox: CommandSandbox) -> None:
    (sandbox.directory / "in.ofx.converted").write_text("old")
    (sandbox.directory / "other.ofx").write_text("other\n")
    events = sandbox.events("--dry-run", "--no-clobber", "in.ofx", "other.ofx")
    endings = [event["code"] for event in events if event["event"] == "end"]
    assert endings == ["exists", "checked"]
    assert json.dumps(events[-1]["skipped"]) == "1"


def test_ctrl_c_ends_the_waiting_for_standard_input(sandbox: CommandSandbox) -> None:
    with sandbox.running("-", plan=BY_NAME, stdin=subprocess.PIPE) as convert:
        wait_until(lambda: any(sandbox.temporary.glob("*/stdin")), PATIENCE, "the reading")
        convert.send_signal(signal.SIGINT)
        assert convert.wait(PATIENCE) == 130
        assert "Canceled. Nothing was converted." in convert.stderr.read()


def test_a_pipe_that_nobody_empties_can_be_left(sandbox: CommandSandbox) -> None:
    (sandbox.directory / "in.ofx").write_text("x" * 1_000_000)
    with sandbox.running("-o", "-", "in.ofx", plan=BY_NAME) as convert:
        written = convert.stdout.read(65536)
        convert.send_signal(signal.SIGTERM)
        assert convert.wait(PATIENCE) == 143
        assert "only a part of the result" in convert.stderr.read()
        assert len(written) == 65536


@pytest.mark.parametrize(
    ("closed", "arguments", "status", "words"),
    [
        ("<&-", ("-",), 2, "Standard input is the source, but it is closed."),
        (">&-", ("-o", "-", "in.ofx"), 2, "to standard output, but that is closed."),
        ("<&- >&-", ("in.ofx",), 0, "Converted."),
        ("2>&-", ("in.ofx",), 0, ""),
    ],
)
def test_streams_that_are_closed(
    sandbox: CommandSandbox, closed: str, arguments: tuple[str, ...], status: int, words: str
) -> None:
    command = shlex.join(sandbox.command(*arguments, plan=BY_NAME))
    done = subprocess.run(
        ["sh", "-c", f"{command} {closed}"],
        cwd=sandbox.directory,
        env=sandbox.environment(),
        capture_output=True,
        text=True,
        timeout=PATIENCE,
    )
    assert (done.returncode, done.stdout) == (status, "")
    assert words in done.stderr and "Traceback" not in done.stderr


def test_a_full_disk_under_the_events_ends_the_conversion(sandbox: CommandSandbox) -> None:
    with open("/dev/full", "w") as full:
        plan = [["section", "a", 0], ["wait"]]
        with sandbox.running("--json", "in.ofx", plan=plan, stdout=full) as convert:
            _, told = convert.communicate(timeout=PATIENCE)
    assert (convert.returncode, told) == (1, "zanbury-convert: No space left on device\n")
