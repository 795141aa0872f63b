"""The command `convert`, run as a user runs it: options, what it shows, exit status."""

from __future__ import annotations

import base64
import json
import os
import pty
import re
import subprocess

import pytest
from desk import CONVERT, PATIENCE, Desk

HAPPY = [
    ["section", "Up", 4],
    ["status", 2],
    ["section", "Up", 4],
    ["status", 4],
    ["copy"],
    ["exit", 0],
]


def test_without_a_terminal_the_progress_is_plain_lines(desk: Desk) -> None:
    done = desk.convert("in.ofx", plan=HAPPY)
    result = desk.directory / "in.ofx.converted"
    lines = done.stdout.splitlines()
    assert [re.sub(r"^ +\d+\.\d s  ", "", line) for line in lines[:3]] == [
        "Up",
        "Up 50 %",
        "Up 100 %",
    ]
    assert lines[3:] == [
        "Converted.",
        f"Result: {result} (10 bytes)",
        f"Logs:   {result}.logs",
    ]
    assert (done.returncode, done.stderr, result.read_text()) == (0, "", "statement\n")


def test_json_gives_one_event_a_line(desk: Desk) -> None:
    plan = [*HAPPY[:2], ["raw", "é"], ["stderr", "note\n"], ["copy"], ["exit", 0]]
    done = desk.convert("--json", "-o", "r.csv", "--logs", "l", "in.ofx", plan=plan)
    events = [json.loads(line) for line in done.stdout.splitlines()]
    assert [event["event"] for event in events if "at" not in event] == ["exit"]
    assert all(event.pop("at") >= 0 for event in events[:-1])
    assert [event for event in events if event["event"] != "stderr"] == [
        {"event": "section", "title": "Up", "max": 4},
        {"event": "status", "value": 2},
        {"event": "raw", "base64": "w6k=", "reason": "no length line"},
        {
            "event": "exit",
            "status": 0,
            "result": str(desk.directory / "r.csv"),
            "logs": str(desk.directory / "l"),
        },
    ]
    assert {"event": "stderr", "line": "note"} in events


def on_a_terminal(desk: Desk, *arguments: str, plan: list) -> tuple[int, str]:
    """Runs the command on a terminal of its own; gives status and all that it wrote there."""
    control, terminal = pty.openpty()
    with desk.start(*arguments, plan=plan, stdout=terminal, stderr=terminal) as process:
        os.close(terminal)
        written = b""
        try:
            while data := os.read(control, 65536):
                written += data
        except OSError:  # the terminal's other end is closed
            pass
        os.close(control)
        return process.wait(timeout=PATIENCE), written.decode()


def test_a_terminal_shows_a_bar_and_keeps_finished_sections(desk: Desk) -> None:
    status, written = on_a_terminal(desk, "in.ofx", plan=HAPPY)
    assert status == 0
    assert "━" in written and "✓ Up" in written and "Converted." in written


def test_a_terminal_is_not_touched_with_plain(desk: Desk) -> None:
    _, written = on_a_terminal(desk, "--plain", "in.ofx", plan=HAPPY)
    assert "\x1b" not in written and "Up 100 %" in written


@pytest.mark.parametrize("form", ["--plain", ""])
def test_control_characters_of_strangers_are_shown_escaped(desk: Desk, form: str) -> None:
    plan = [["section", "\x9b2J\u202etitle", 0], ["stderr", "\x1b[2Jcleared\n"], ["exit", 1]]
    _, written = on_a_terminal(desk, *([form] if form else []), "in.ofx", plan=plan)
    assert not {"\x9b", "\u202e"} & {*written} and "\x1b[2J" not in written
    assert "\\x9b2J\\u202etitle" in written and "\\x1b[2Jcleared" in written


COUNTDOWN = [
    ["section", f"Could not connect. Will try again in {n} second{'s' if n > 1 else ''}...", 0]
    for n in (3, 2, 1)
]


def test_a_countdown_is_one_plain_line(desk: Desk) -> None:
    done = desk.convert("in.ofx", plan=[*COUNTDOWN, ["exit", 1]])
    assert done.stdout.count("Could not connect") == 1


@pytest.mark.parametrize(
    ("plan", "status", "words"),
    [
        ([["exit", 1]], 1, "The conversion failed with status 1. Nothing was converted."),
        ([["exit", 0]], 0, "The program ended without an error, but no result came."),
        (
            [["copy"], ["exit", 3]],
            3,
            "The tool failed with status 3; what it made of the file is kept.",
        ),
        ([["die", 9]], 137, "The program was ended by signal 9. Nothing was converted."),
    ],
)
def test_the_exit_status_is_the_programs(desk: Desk, plan: list, status: int, words: str) -> None:
    done = desk.convert("in.ofx", plan=plan)
    assert (done.returncode, done.stdout.splitlines()[0]) == (status, words)


def test_an_old_result_is_not_taken_for_a_new_one(desk: Desk) -> None:
    (desk.directory / "r.csv").write_text("old")
    done = desk.convert("--json", "-o", "r.csv", "in.ofx", plan=[["exit", 0]])
    assert json.loads(done.stdout)["result"] is None


def test_a_logs_directory_made_for_nothing_is_removed(desk: Desk) -> None:
    desk.convert("-o", "r.csv", "in.ofx", plan=[["exit", 1]])
    assert not (desk.directory / "r.csv.logs").exists()


def environment_seen(desk: Desk, *arguments: str) -> dict[str, str]:
    done = desk.convert("--json", *arguments, "in.ofx", plan=[["environment"], ["exit", 0]])
    event = json.loads(done.stdout.splitlines()[0])
    return json.loads(base64.b64decode(event["base64"]))


def test_the_command_line_wins_over_the_configuration(desk: Desk) -> None:
    (desk.directory / "public").write_text("FROM FILE")
    desk.configure(user_name="File", user_id="7", retry_delay=9, server="ssh://f@f:1")
    seen = environment_seen(
        desk,
        *("--user-name", "Line", "--public-key-file", "public", "--tool-version", "2"),
        *("--server", "ssh://x@y:1", "--server", "ssh://x@z:2", "--host-pid", "0"),
    )
    assert {
        name: seen[f"EXPORT_{name}"]
        for name in (
            "USER_NAME",
            "USER_ID",
            "RETRY_DELAY",
            "PUBLIC_KEY",
            "TOOL_VERSION",
            "SERVER_DESTINATIONS",
            "HOST_PID",
            "SERVER_IDENTITY",
            "SERVER_COMMAND_PATH",
            "FILE_PATH",
        )
    } == {
        "USER_NAME": "Line",
        "USER_ID": "7",
        "RETRY_DELAY": "9",
        "PUBLIC_KEY": "FROM FILE",
        "TOOL_VERSION": "2",
        "SERVER_DESTINATIONS": "ssh://x@y:1,ssh://x@z:2",
        "HOST_PID": "0",
        "SERVER_IDENTITY": "PRIVATE\n",
        "SERVER_COMMAND_PATH": "/srv/command",
        "FILE_PATH": str(desk.directory / "in.ofx"),
    }
    assert not {"EXPORT_CLIENT_ID", "EXPORT_MAC_ADDRESS", "EXPORT_HOST_PATH"} & seen.keys()


def test_the_default_configuration_is_in_the_home_directory(desk: Desk) -> None:
    (desk.directory / ".config" / "zanbury").mkdir(parents=True)
    text = (desk.directory / "convert.toml").read_text().replace('"key"', '"../../key"')
    (desk.directory / ".config" / "zanbury" / "convert.toml").write_text(text)
    command = [str(CONVERT), "--tool", json.dumps(HAPPY), "in.ofx"]
    done = subprocess.run(command, cwd=desk.directory, env=desk.environment(), capture_output=True)
    assert done.returncode == 0, done.stderr


USAGE = {
    "no source": ([], {}, "the following arguments are required: SOURCE"),
    "two sources": (["in.ofx", "b"], {}, "unrecognized arguments: b"),
    "an unknown option": (["--colour", "in.ofx"], {}, "unrecognized arguments: --colour"),
    "a number that is none": (["--retry-delay", "soon", "in.ofx"], {}, "invalid int value: 'soon'"),
    "a missing source": (["nowhere.ofx"], {}, "nowhere.ofx does not exist"),
    "a directory as source": (["temporary"], {}, "temporary is no file"),
    "a directory as output": (
        ["-o", "temporary", "in.ofx"],
        {},
        "is a directory; name the file in it",
    ),
    "the source as output": (["-o", "in.ofx", "in.ofx"], {}, "is the source itself"),
    "an output nowhere": (["-o", "no/where", "in.ofx"], {}, "no does not exist"),
    "a file for the logs": (["--logs", "key", "in.ofx"], {}, "it is no directory"),
    "logs nowhere": (["--logs", "no/where", "in.ofx"], {}, "there is no directory"),
    "a missing configuration": (
        ["--config", "x.toml", "in.ofx"],
        {},
        "cannot read the configuration",
    ),
    "a configuration in another language": (["--config", "in.ofx", "in.ofx"], {}, "is no TOML"),
    "a misspelt value": (
        ["in.ofx"],
        {"tool_versoin": "1"},
        "tool_versoin; did you mean tool_version?",
    ),
    "a value of the wrong type": (["in.ofx"], {"retry_delay": "5"}, "must be a whole number"),
    "no tool": (
        ["in.ofx"],
        {"tool": None},
        "no tool given: use --tool, or tool in the configuration",
    ),
    "no server": (["in.ofx"], {"server": None}, "no server given"),
    "no command": (["in.ofx"], {"server_command": None}, "no command for the server given"),
    "no private key": (["in.ofx"], {"identity_file": None}, "no private key given"),
    "no public key": (["in.ofx"], {"public_key": None}, "no public key of the server given"),
    "a missing key": (["--identity-file", "no", "in.ofx"], {}, "cannot read the private key"),
    "an empty key": (["--identity-file", "/dev/null", "in.ofx"], {}, "is empty"),
    "a missing program": (["--program", "no", "in.ofx"], {}, "there is no program at"),
}


@pytest.mark.parametrize(("arguments", "changes", "words"), USAGE.values(), ids=USAGE.keys())
def test_what_cannot_be_used_ends_with_status_2(
    desk: Desk, arguments: list[str], changes: dict, words: str
) -> None:
    desk.configure(**changes)
    before = sorted(desk.directory.iterdir())
    done = desk.convert(*arguments)
    assert (done.returncode, done.stdout) == (2, "")
    assert words in done.stderr and "Traceback" not in done.stderr
    assert sorted(desk.directory.iterdir()) == before


def test_help_names_every_option(desk: Desk) -> None:
    done = desk.convert("--help")
    assert done.returncode == 0 and max(map(len, done.stdout.splitlines())) <= 100
    for name in (
        "--tool-version",
        "--server",
        "--identity-file",
        "--public-key-file",
        "--host-pid",
        "--json",
    ):
        assert name in done.stdout
