"""The command zanbury-convert as a user runs it: what it shows, hands on, and where things go."""

from __future__ import annotations

import base64
import json
import os
import pty
import re
import subprocess

import pytest
from command_sandbox import CONVERT, PATIENCE, PROJECT, CommandSandbox, identity, server_keys

HAPPY = [
    ["section", "Up", 4],
    ["status", 2],
    ["section", "Up", 4],
    ["status", 4],
    ["copy"],
    ["exit", 0],
]


def without_times(lines: list[str]) -> list[str]:
    return [re.sub(r"^ +\d+\.\d s  ", "", line) for line in lines]


def test_without_a_terminal_the_progress_is_plain_lines_on_standard_error(
    sandbox: CommandSandbox,
) -> None:
    done = sandbox.convert("in.ofx", plan=HAPPY)
    result = sandbox.directory / "in.ofx.converted"
    assert without_times(done.stderr.splitlines()) == [
        "Up",
        "Up 50 %",
        "Up 100 %",
        "Converted.",
        f"Result: {result} (10 bytes)",
        f"Logs:   {result}.logs",
    ]
    assert (done.returncode, done.stdout, result.read_text()) == (0, "", "statement\n")


def test_json_gives_one_event_a_line_on_standard_output(sandbox: CommandSandbox) -> None:
    plan = [
        ["section", "Connecting to Zanbury Cloud...", 0],
        ["status", 2],
        ["raw", "é"],
        ["stderr", "note\n"],
        ["message", {"messageType": "other", "n": 1}],
        ["copy"],
        ["exit", 0],
    ]
    events = sandbox.events("-o", "r.csv", "--logs", "l", "in.ofx", plan=plan)
    source = str(sandbox.directory / "in.ofx")
    assert all(event.pop("version") == 1 and event.pop("source") == source for event in events)
    assert all(event.pop("at", 0) >= 0 for event in events)
    assert events[-1].pop("seconds") > 0
    stderr = {"event": "stderr", "line": "note"}
    assert stderr in events
    assert [event for event in events if event != stderr] == [
        {"event": "begin", "output": str(sandbox.directory / "r.csv")},
        {"event": "connect", "server": "a@b:1", "round": 1, "rounds": 3},
        {"event": "section", "title": "Connecting to Zanbury Cloud...", "max": 0},
        {"event": "status", "value": 2},
        {"event": "raw", "base64": "w6k=", "reason": "no length line"},
        {"event": "message", "content": {"messageType": "other", "n": 1}},
        {
            "event": "end",
            "code": "converted",
            "status": 0,
            "reason": "Converted.",
            "advice": "",
            "result": str(sandbox.directory / "r.csv"),
            "bytes": 10,
            "logs": str(sandbox.directory / "l"),
        },
    ]


def on_a_terminal(sandbox: CommandSandbox, *arguments: str, plan: list) -> tuple[int, str]:
    """Runs the command on a terminal of its own; its status and all that it wrote there."""
    control, terminal = pty.openpty()
    with sandbox.running(*arguments, plan=plan, stdout=terminal, stderr=terminal) as process:
        os.close(terminal)
        written = b""
        try:
            while data := os.read(control, 65536):
                written += data
        except OSError:  # the terminal's other end is closed
            pass
        os.close(control)
        return process.wait(timeout=PATIENCE), written.decode()


def test_a_terminal_shows_a_bar_and_keeps_finished_sections(sandbox: CommandSandbox) -> None:
    status, written = on_a_terminal(sandbox, "in.ofx", plan=HAPPY)
    assert status == 0
    assert "━" in written and "✓ Up" in written and "Converted." in written


def test_a_terminal_is_not_touched_with_plain(sandbox: CommandSandbox) -> None:
    _, written = on_a_terminal(sandbox, "--plain", "in.ofx", plan=HAPPY)
    assert "\x1b" not in written and "Up 100 %" in written


@pytest.mark.parametrize("form", ["--plain", "--verbose"])
def test_control_characters_of_strangers_are_shown_escaped(
    sandbox: CommandSandbox, form: str
) -> None:
    plan = [["section", "\x9b2J\u202etitle", 0], ["stderr", "\x1b[2Jcleared\n"], ["exit", 1]]
    _, written = on_a_terminal(sandbox, form, "in.ofx", plan=plan)
    assert not {"\x9b", "\u202e"} & {*written} and "\x1b[2J" not in written
    assert "\\x9b2J\\u202etitle" in written and "\\x1b[2Jcleared" in written


COUNTDOWN = [
    ["section", f"Could not connect. Will try again in {n} second{'s' if n > 1 else ''}...", 0]
    for n in (3, 2, 1)
]
DOWNLOADED = [
    ["section", "This may take several minutes, please be patient.", 0],
    ["section", "Line 3 has no date", 0],
    ["section", "Downloading converted file", 10],
    ["status", 10],
    ["stderr", "ERROR: toolExitCode is not zero: 65\n"],
    ["exit", 65],
]


def test_a_countdown_is_one_plain_line(sandbox: CommandSandbox) -> None:
    done = sandbox.convert("in.ofx", plan=[*COUNTDOWN, ["exit", 1]])
    assert done.stderr.count("Could not connect") == 1


@pytest.mark.parametrize("form", ["--plain", "--force"])
def test_the_last_words_of_a_tool_that_failed_stay_the_last(
    sandbox: CommandSandbox, form: str
) -> None:
    _, written = on_a_terminal(sandbox, form, "in.ofx", plan=DOWNLOADED)
    lines = [line for line in written.replace("\x1b", "\n").splitlines() if line.strip()]
    assert "100 %" not in written or form == "--force"
    assert "✓ Downloading" not in written
    told = next(
        n for n, line in enumerate(lines) if "The tool failed with status 65: Line 3" in line
    )
    assert not any("100 %" in line for line in lines[told:])


def test_ssh_s_usual_remark_is_shown_only_to_whoever_wants_all(sandbox: CommandSandbox) -> None:
    plan = [["stderr", "Warning: Permanently added 'b' (ED25519) to the list of known hosts.\r\n"]]
    quiet = sandbox.convert("in.ofx", plan=[*plan, ["copy"], ["exit", 0]])
    verbose = sandbox.convert("-v", "--force", "in.ofx", plan=[*plan, ["copy"], ["exit", 0]])
    assert "Permanently" not in quiet.stderr and "Permanently" in verbose.stderr


def test_other_lines_are_shown_also_when_all_went_well(sandbox: CommandSandbox) -> None:
    done = sandbox.convert("in.ofx", plan=[["stderr", "a remark\n"], ["copy"], ["exit", 0]])
    assert "a remark" in done.stderr.splitlines()


def test_a_server_that_waiting_will_not_mend_is_told_while_others_are_tried(
    sandbox: CommandSandbox,
) -> None:
    sandbox.configure(server=["ssh://a@b:1", "ssh://c@d:2"])
    plan = [
        ["section", "Connecting to Zanbury Cloud...", 0],
        ["stderr", "a@b: Permission denied (publickey).\n"],
        ["section", "Connecting to Zanbury Cloud...", 0],
        ["stderr", "ssh: connect to host d port 2: Connection refused\n"],
        *COUNTDOWN,
        ["pause", 0.5],
        ["section", "Connecting to Zanbury Cloud...", 0],
        ["copy"],
        ["exit", 0],
    ]
    events = sandbox.events("in.ofx", plan=plan)
    [told] = [event["words"] for event in events if event["event"] == "hopeless"]
    assert told.startswith("a@b:1 refuses the login with the key ")
    assert events[-1]["code"] == "converted"
    assert [e["round"] for e in events if e["event"] == "connect"] == [1, 1, 2]


def test_an_old_result_stays_until_the_new_one_is_complete(sandbox: CommandSandbox) -> None:
    (sandbox.directory / "r.csv").write_text("old")
    assert sandbox.ending("--force", "-o", "r.csv", "in.ofx", plan=[["exit", 0]])["status"] == 1
    assert (sandbox.directory / "r.csv").read_text() == "old"
    ending = sandbox.ending("--force", "-o", "r.csv", "in.ofx", plan=HAPPY)
    assert (ending["status"], ending["bytes"]) == (0, 10)
    assert (sandbox.directory / "r.csv").read_text() == "statement\n"


def test_a_result_that_appears_in_the_meantime_is_not_replaced(sandbox: CommandSandbox) -> None:
    other = sandbox.directory / "in.ofx.converted"
    plan = [["write", str(other), "another's"], ["copy"], ["exit", 0]]
    assert sandbox.ending("in.ofx", plan=plan)["code"] == "exists"
    assert other.read_text() == "another's"


def test_logs_are_put_beside_older_ones(sandbox: CommandSandbox) -> None:
    (sandbox.directory / "l").mkdir()
    (sandbox.directory / "l" / "old.log").write_text("old")
    (sandbox.directory / "l" / "tool.log").write_text("older")
    sandbox.convert("--logs", "l", "in.ofx", plan=HAPPY)
    logs = {path.name: path.read_text() for path in (sandbox.directory / "l").iterdir()}
    assert logs == {"old.log": "old", "tool.log": "copied\n"}


def test_no_directory_for_logs_is_left_without_logs(sandbox: CommandSandbox) -> None:
    sandbox.convert("-o", "r.csv", "in.ofx", plan=[["exit", 1]])
    assert not (sandbox.directory / "r.csv.logs").exists()


def test_a_key_without_its_last_line_feed_is_completed(sandbox: CommandSandbox) -> None:
    key = sandbox.directory / "key"
    key.write_text(key.read_text().rstrip("\n"))
    assert environment_seen(sandbox)["EXPORT_SERVER_IDENTITY"].endswith("KEY-----\n")


def environment_seen(sandbox: CommandSandbox, *arguments: str) -> dict[str, str]:
    events = sandbox.events(*arguments, "in.ofx", plan=[["environment"], ["exit", 0]])
    event = next(event for event in events if event["event"] == "raw")
    return json.loads(base64.b64decode(event["base64"]))


def test_the_command_line_wins_over_the_configuration(sandbox: CommandSandbox) -> None:
    (sandbox.directory / "public").write_text(server_keys().public_key_pem)
    sandbox.configure(user_name="File", user_id="7", retry_delay=9, server="ssh://f@f:1")
    seen = environment_seen(
        sandbox,
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
        "PUBLIC_KEY": server_keys().public_key_pem,
        "TOOL_VERSION": "2",
        "SERVER_DESTINATIONS": "ssh://x@y:1,ssh://x@z:2",
        "HOST_PID": "0",
        "SERVER_IDENTITY": identity().private_text,
        "SERVER_COMMAND_PATH": "/srv/command",
        "FILE_PATH": str(sandbox.directory / "in.ofx"),
    }
    assert not {"EXPORT_CLIENT_ID", "EXPORT_MAC_ADDRESS", "EXPORT_HOST_PATH"} & seen.keys()


def test_the_default_configuration_is_in_the_home_directory(sandbox: CommandSandbox) -> None:
    (sandbox.directory / ".config" / "zanbury").mkdir(parents=True)
    text = (sandbox.directory / "convert.toml").read_text().replace('"key"', '"../../key"')
    (sandbox.directory / ".config" / "zanbury" / "convert.toml").write_text(text)
    command = [str(CONVERT), "--tool", json.dumps(HAPPY), "in.ofx"]
    done = subprocess.run(
        command, cwd=sandbox.directory, env=sandbox.environment(), capture_output=True
    )
    assert done.returncode == 0, done.stderr


def test_help_names_every_option_and_every_status(sandbox: CommandSandbox) -> None:
    done = sandbox.convert("--help")
    assert done.returncode == 0 and max(map(len, done.stdout.splitlines())) <= 100
    for name in ("--tool-version", "--server", "--identity-file", "--retries", "--json"):
        assert name in done.stdout
    for status in (0, 1, 2, 3, 4, 124, 130):
        assert re.search(rf"^ +{status}  ", done.stdout, re.M)


def test_the_version_is_that_of_the_project(sandbox: CommandSandbox) -> None:
    project = (PROJECT / "CMakeLists.txt").read_text()
    version = re.search(r"project\(ZanburyToolProxy VERSION (\S+)", project)[1]
    assert sandbox.convert("--version").stdout == f"zanbury-convert {version}\n"
