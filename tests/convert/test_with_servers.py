"""The command with the real program, a real sshd and the stand-in server: each row of the table of
statuses where the real thing can be brought to it, and a cancel in each state of the program."""

from __future__ import annotations

import os
import shutil
import signal
import subprocess
import sys
import time
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest
from command_sandbox import PATIENCE, PROJECT, CommandSandbox, events_of, server_keys, until

sys.path.append(str(PROJECT / "tests" / "conversation"))

from session_states import FORWARDING, STATES, in_state  # noqa: E402
from standin import LoopbackSshd, StandinServer  # noqa: E402
from standin.keys import SshKeyPair  # noqa: E402
from standin.record import wait_until  # noqa: E402
from unreachable_servers import NOBODY_LISTENS, SilentListener  # noqa: E402

STATEMENT = PROJECT / "samples" / "statement.ofx"
REACHED = [{"create": "reached"}, {"await": "never"}]


@pytest.fixture(scope="session")
def program() -> Path:
    """The program under test: ZTP_PROGRAM, which ctest sets, or that of the debug preset."""
    path = Path(os.environ.get("ZTP_PROGRAM", PROJECT / "build/debug/bin/ZanburyToolProxy"))
    assert path.is_file(), f"build {path} first, or set ZTP_PROGRAM"
    return path


@pytest.fixture(scope="session")
def sshd() -> Iterator[LoopbackSshd]:
    with LoopbackSshd(extra_configuration="SetEnv SHLVL=1") as running:
        yield running


class ServedSandbox:
    """A sandbox whose configuration leads to a server with a script."""

    def __init__(self, sandbox: CommandSandbox, sshd: LoopbackSshd, program: Path) -> None:
        self.sandbox = sandbox
        self.sshd = sshd
        (sandbox.directory / "server").mkdir()
        self.server = StandinServer(sandbox.directory / "server", server_keys())
        shutil.copy(STATEMENT, sandbox.directory / "in.ofx")
        sandbox.write_key("key", sshd.identity_text)
        self.configuration = {
            "server": sshd.destination(),
            "server_command": self.server.command_path,
            "program": str(program),
            "tool": "StatementTool",
            "retry_delay": 1,
        }
        sandbox.configure(**self.configuration)

    def configure(self, **changes: object) -> None:
        self.sandbox.configure(**(self.configuration | changes))

    def ending(self, script: dict | None = None, *arguments: str) -> dict:
        self.server.play(script or {})
        return self.sandbox.ending(*arguments, "in.ofx")


@pytest.fixture
def served(sandbox: CommandSandbox, sshd: LoopbackSshd, program: Path) -> ServedSandbox:
    return ServedSandbox(sandbox, sshd, program)


def test_a_statement_is_converted_and_bears_the_present_time(served: ServedSandbox) -> None:
    begun = time.time()
    ending = served.ending()
    assert (ending["code"], ending["status"]) == ("converted", 0)
    result = Path(ending["result"])
    assert result.read_text().startswith("date,") or result.stat().st_size == ending["bytes"]
    # A zip's times have whole seconds.
    assert result.stat().st_mtime >= int(begun) - 1
    assert [path.name for path in Path(ending["logs"]).iterdir()] == ["conversion.log"]


OLD = "an older result\n"
SCRIPTS = {
    "the server is lost": ({"Conversion": {"instead": {"exit": 1}}}, "connection-lost", 3, "State"),
    "the result is not described": (
        {"OutputArchive": {"result": "junk"}},
        "unreadable-result",
        1,
        "which file",
    ),
    "nothing converted comes": (
        {"OutputArchive": {"converted": None, "destFileName": None}},
        "no-result",
        1,
        "no result came",
    ),
    "the tool fails": (
        {"OutputArchive": {"exitCode": 3, "converted": None, "destFileName": None}},
        "tool-failed",
        3,
        "",
    ),
    "the tool fails with 256": (
        {"OutputArchive": {"exitCode": 256, "converted": None, "destFileName": None}},
        "tool-failed",
        1,
        "256",
    ),
    "the server gives a reason": (
        {"OutputArchive": {"instead": [{"error": "No paper"}, "End"]}},
        "failed",
        1,
        "No paper",
    ),
    "the server is another one": (
        {"ServerHandshake": {"salt": "one bit off"}},
        "invalid-salt",
        1,
        "private half",
    ),
    "the file is too big": (
        {"ServerHandshake": {"set": {"maxInputArchiveSize": 100}}},
        "too-big",
        1,
        "bytes, and the server accepts 100.",
    ),
}


@pytest.mark.parametrize(("script", "code", "status", "words"), SCRIPTS.values(), ids=[*SCRIPTS])
def test_an_old_result_is_never_taken_for_a_new_one(
    served: ServedSandbox, script: dict, code: str, status: int, words: str
) -> None:
    old = served.sandbox.directory / "in.ofx.converted"
    old.write_text(OLD)
    ending = served.ending(script, "--force")
    told = ending["reason"]
    assert (ending["code"], ending["status"]) == (code, status), told
    assert words.lower() in told.lower()
    assert (ending["result"], old.read_text()) == (None, OLD)


def test_the_tool_s_own_last_words_are_the_reason(served: ServedSandbox) -> None:
    (served.sandbox.directory / "in.ofx").write_text("not a statement\n")
    ending = served.ending()
    assert (ending["code"], ending["status"]) == ("tool-failed", 65)
    assert ending["reason"].startswith("The tool failed with status 65: ")
    assert len(ending["reason"].splitlines()[0]) > len("The tool failed with status 65: ")


def test_a_login_that_is_refused_names_the_key_of_the_user(served: ServedSandbox) -> None:
    key = served.sandbox.write_key("key", SshKeyPair.generate().private_text)
    ending = served.ending()
    assert (ending["code"], ending["status"]) == ("login-refused", 4)
    name = f"{served.sshd.user}@127.0.0.1:{served.sshd.port}"
    assert ending["reason"] == f"{name} refuses the login with the key {key}."


@pytest.mark.parametrize(
    ("changes", "code", "words"),
    [
        ({"server": NOBODY_LISTENS}, "unreachable", "nobody@127.0.0.1:1 cannot be reached: Con"),
        ({"server": "ssh://a@nowhere.invalid:22"}, "unknown-host", "a@nowhere.invalid:22 is not "),
        ({"server_command": "/srv/none"}, "no-command", "cannot run /srv/none: no such file"),
        ({"server_command": "/etc/passwd"}, "no-command", "/etc/passwd: permission denied"),
    ],
)
def test_servers_that_cannot_be_used(
    served: ServedSandbox, changes: dict, code: str, words: str
) -> None:
    served.configure(**changes)
    ending = served.ending({}, "--retries", "2")
    assert (ending["code"], ending["status"]) == (code, 4), ending["reason"]
    assert words in ending["reason"]
    assert ("Gave up after 2 rounds." in ending["reason"]) == (code == "unreachable")


def test_a_server_without_a_word_gives_way_to_the_next(served: ServedSandbox) -> None:
    # Whichever comes first: the silent one costs a second, and the other one converts.
    with SilentListener() as silent:
        served.configure(server=[silent.destination, served.sshd.destination()])
        ending = served.ending({}, "--connect-timeout", "20")
        assert ending["code"] == "converted", ending["reason"]
        served.configure(server=silent.destination)
        ending = served.ending({}, "--connect-timeout", "0.5", "--retries", "2", "--force")
    assert (ending["code"], ending["status"]) == ("unreachable", 4)
    name = f"nobody@127.0.0.1:{silent.port}"
    assert f"{name} said no hello within 0.5 seconds." in ending["reason"]


def test_a_slow_archiver_is_not_a_silent_server(served: ServedSandbox) -> None:
    """The server's hello ends the waiting for it, whatever the program does afterwards."""
    served.server.play({"ServerHandshake": {"before": {"await": "go on"}}})
    with served.sandbox.running("--json", "--connect-timeout", "10", "in.ofx") as convert:
        served.server.begun(1).wait_for_frame("ClientHandshake")
        directory = next(served.sandbox.temporary.rglob("ZanburyToolProxy.*"))
        assert not (directory / "identity").exists()
        served.server.file("go on").touch()
        assert until(convert, "end")["code"] == "converted"


def test_the_server_in_use_is_told(served: ServedSandbox) -> None:
    served.configure(server=[served.sshd.destination(), served.sshd.destination("localhost")])
    served.server.play({"ServerHello": {"before": {"await": "go on"}}})
    with served.sandbox.running("--json", "in.ofx") as convert:
        events = events_of(convert)
        told = next(e for e in events if e["event"] == "connect" and e["server"] is not None)
        served.server.file("go on").touch()
    port = served.sshd.port
    names = {f"{served.sshd.user}@{host}:{port}" for host in ("127.0.0.1", "localhost")}
    assert told["server"] in names


def test_time_out(served: ServedSandbox) -> None:
    ending = served.ending({"Conversion": {"before": {"await": "never"}}}, "--timeout", "3")
    assert (ending["code"], ending["status"]) == ("timeout", 124)


def test_one_bad_statement_of_twenty(served: ServedSandbox) -> None:
    sandbox = served.sandbox
    names = [f"{number:02d}.ofx" for number in range(19)] + ["bad.ofx"]
    for name in names[:-1]:
        shutil.copy(STATEMENT, sandbox.directory / name)
    (sandbox.directory / "bad.ofx").write_text("not a statement\n")
    *events, summary = sandbox.events("-d", "out", "--jobs", "4", *names)
    assert [summary[key] for key in ("converted", "failed", "status")] == [19, 1, 1]
    [bad] = [e for e in events if e["event"] == "end" and e["code"] != "converted"]
    assert (bad["code"], Path(bad["source"]).name) == ("tool-failed", "bad.ofx")
    results = {path.name for path in (sandbox.directory / "out").glob("*.converted")}
    assert results == {f"{name}.converted" for name in names[:-1]}


def test_a_missing_archiver_is_named(served: ServedSandbox, program: Path, tmp_path: Path) -> None:
    alone = tmp_path / "alone"
    alone.mkdir()
    shutil.copy(program, alone)
    ending = served.ending({}, "--program", str(alone / program.name))
    assert ending["code"] == "no-archiver"
    assert f"neither beside {alone / program.name} nor in " in ending["reason"]


def _silent_in(state: str) -> dict:
    """A script that falls silent when it has brought the session to the state."""
    if state == FORWARDING:
        return in_state(FORWARDING, {"forward": "@"}, *REACHED)
    return in_state(state, *REACHED)


COUNTDOWN = "Retry"


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM], ids=["Ctrl-C", "TERM"])
@pytest.mark.parametrize("state", [*STATES, COUNTDOWN])
def test_a_cancel_in_each_state(
    served: ServedSandbox, state: str, number: int, record_property: Callable[[str, object], None]
) -> None:
    """From the key to the prompt; how long that takes is told, not judged."""
    if state == COUNTDOWN:
        served.configure(server=NOBODY_LISTENS, retry_delay=60)
    else:
        served.server.play(_silent_in(state))
    with served.sandbox.running("--json", "in.ofx") as convert:
        if state == COUNTDOWN:
            events = events_of(convert)
            next(e for e in events if e["event"] == "section" and "again" in e["title"])
        else:
            wait_until(served.server.file("reached").exists, PATIENCE, state)
        pressed = time.monotonic()
        os.kill(convert.pid, number)
        events = [*events_of(convert)]
        assert convert.wait(PATIENCE) == 128 + number
        took = time.monotonic() - pressed
    record_property("seconds", round(took, 2))
    steps = [event["words"].split()[0] for event in events if event["event"] == "cancel"]
    assert events[-1]["code"] == "canceled" and events[-1]["result"] is None
    asked = ["Asked"] if number == signal.SIGINT else []
    # While the tool runs a byte is the tool's: what goes on is ended after the grace.
    ended = ["Ending"] if number == signal.SIGTERM or state == FORWARDING else []
    assert steps == asked + ended
    assert subprocess.run(["pgrep", "-P", str(convert.pid)], capture_output=True).stdout == b""
