"""Every way in which a conversion can end: code, exit status, and what the user is told.

Each code of the registry has at least one case here; the program is a fake one that plays a plan.
"""

from __future__ import annotations

import json
import subprocess
import sys
from collections.abc import Callable
from dataclasses import dataclass, field
from pathlib import Path

import pytest
from desk import PROJECT, Desk

sys.path.insert(0, str(PROJECT / "tools"))

from standin.keys import SshKeyPair  # noqa: E402
from zanbury_convert.codes import Code  # noqa: E402

CONNECTING = ["section", "Connecting to Zanbury Cloud...", 0]
RETRY = ["section", "Could not connect. Will try again in 1 second...", 0]
FORWARDING = ["section", "This may take several minutes, please be patient.", 0]
DOWNLOADING = [["section", "Downloading converted file", 10], ["status", 10]]
WAIT = ["wait"]


def failing_with(*lines: str) -> list:
    """A round in which ssh says this, and the countdown after it."""
    return [CONNECTING, *(["stderr", line + "\r\n"] for line in lines), RETRY]


def log(*lines: str) -> list:
    return [["stderr", line + "\n"] for line in lines]


@dataclass(frozen=True)
class Case:
    """What is asked for, and how it must end."""

    code: str
    status: int
    words: str  # somewhere in reason or advice
    plan: list | None = None
    arguments: tuple[str, ...] = ("in.ofx",)
    changes: dict = field(default_factory=dict)
    prepare: Callable[[Desk], object] = lambda desk: None


def options(*arguments: str) -> tuple[str, ...]:
    return (*arguments, "in.ofx")


REFUSED = "ssh: connect to host b port 1: Connection refused"
NO_LOGIN = "a@b: Permission denied (publickey)."
ROUNDS = {
    "refused in every round allowed": Case(
        "unreachable",
        4,
        "a@b:1 cannot be reached: Connection refused.\nGave up after 3 rounds.",
        [*failing_with(REFUSED) * 3, WAIT],
    ),
    "one round allowed": Case(
        "unreachable",
        4,
        "Check the network",
        [*failing_with(REFUSED), WAIT],
        options("--retries", "1"),
    ),
    "a server that ends without a word": Case(
        "unreachable",
        4,
        "a@b:1 ended the connection before it said hello.",
        [CONNECTING, RETRY, WAIT],
        options("--retries", "1"),
    ),
    "a name that cannot be looked up just now is tried again": Case(
        "unreachable",
        4,
        "Gave up after 3 rounds",
        failing_with("ssh: Could not resolve hostname b: Temporary failure in name resolution") * 3
        + [WAIT],
    ),
    "a login refused": Case(
        "login-refused", 4, "a@b:1 refuses the login with the key ", [*failing_with(NO_LOGIN), WAIT]
    ),
    "too many keys": Case(
        "login-refused",
        4,
        "Check --identity-file",
        [*failing_with("Received disconnect from 1.2.3.4: Too many authentication failures"), WAIT],
        options("--retries", "forever"),
    ),
    "a host that is not known": Case(
        "unknown-host",
        4,
        "a@b:1 is not known: Name or service not known.",
        [*failing_with("ssh: Could not resolve hostname b: Name or service not known"), WAIT],
    ),
    "a port of a redirect": Case(
        "bad-port", 4, "the port 70000", [*failing_with("Bad port '70000'"), WAIT]
    ),
    "a host key refused": Case(
        "host-key", 4, "ssh-keygen -R", [*failing_with("Host key verification failed."), WAIT]
    ),
    "no common kind of host key": Case(
        "host-key",
        4,
        "no matching host key type found",
        [
            *failing_with(
                "Unable to negotiate with 1.2.3.4 port 1: no matching host key type found. "
                "Their offer: ssh-dss"
            ),
            WAIT,
        ],
    ),
    "no such command": Case(
        "no-command",
        4,
        "cannot run /srv/command: no such file",
        [*failing_with("bash: line 1: /srv/command: No such file or directory"), WAIT],
    ),
    "a command that is not found": Case(
        "no-command",
        4,
        "Check --server-command",
        [*failing_with("sh: 1: /srv/command: not found"), WAIT],
    ),
    "all hopeless, for different reasons": Case(
        "unreachable",
        4,
        "No server could be used:\n  a@b:1 refuses the login with the key ",
        [*failing_with(NO_LOGIN)[:-1], *failing_with("Bad port '2'"), WAIT],
        changes={"server": ["ssh://a@b:1", "ssh://c@d:2"]},
    ),
}

PROGRAMS = {
    "a result": Case("converted", 0, "Converted.", [["copy"], ["exit", 0]]),
    "a program that does nothing": Case(
        "no-result",
        1,
        "no result came",
        None,
        options("--program", "/bin/true"),
    ),
    "a lost server": Case(
        "connection-lost",
        3,
        "was lost (in state ForwardingMessages). No result came.",
        [
            *log("ERROR: The connection to the server was lost in state ForwardingMessages"),
            ["exit", 0],
        ],
    ),
    "a result that is not described": Case(
        "unreadable-result",
        1,
        "does not say which file",
        [*log("ERROR: Could not read Result.plist"), ["exit", 0]],
    ),
    "a tool that fails": Case(
        "tool-failed",
        65,
        "The tool failed with status 65: Line 3 has no date",
        [
            FORWARDING,
            ["section", "Line 3 has no date", 0],
            *DOWNLOADING,
            *log("ERROR: toolExitCode is not zero: 65"),
            ["exit", 65],
        ],
    ),
    "a tool that fails as a lost server does": Case(
        "tool-failed", 3, "status 3", [*log("ERROR: toolExitCode is not zero: 3"), ["exit", 3]]
    ),
    "a tool that fails as success": Case(
        "tool-failed",
        1,
        "status 256",
        [["copy"], *log("ERROR: toolExitCode is not zero: 256"), ["exit", 0]],
    ),
    "a tool that fails and leaves something": Case(
        "tool-failed", 7, "What it made of the file is kept.", [["copy"], ["exit", 7]]
    ),
    "a server that gives a reason": Case(
        "failed", 1, "The conversion failed: No paper", [*log("No paper"), ["exit", 1]]
    ),
    "a reason of several lines": Case(
        "failed",
        1,
        "Out of ink\n  Error: of all colours",
        [*log("Out of ink", "Error: of all colours"), ["exit", 1]],
    ),
    "no reason at all": Case("failed", 1, "The conversion failed.", [["exit", 1]]),
    "another server than that of the key": Case(
        "invalid-salt", 1, "somebody in between", [*log("Invalid salt"), ["exit", 1]]
    ),
    "a file that is too big": Case(
        "too-big",
        1,
        "packed it has 1,234 bytes, and the server accepts 1,000.",
        [
            *log(
                "ERROR: The input archive has 1234 bytes, the server accepts 1000",
                "Input archive is too big",
            ),
            ["exit", 1],
        ],
    ),
    "too big, from a program that gives no numbers": Case(
        "too-big",
        1,
        "10 bytes before it is packed",
        [*log("Input archive is too big"), ["exit", 1]],
    ),
    "a missing archiver": Case(
        "no-archiver",
        1,
        "ZanburyArchiver, is missing",
        [*log("Could not create InputArchive.zip"), ["exit", 1]],
    ),
    "a result that cannot be written": Case(
        "not-written",
        1,
        "could not be written. (write: No space left on device)",
        [
            *log("Could not copy dest file to host path", "Error: write: No space left on device"),
            ["exit", 1],
        ],
    ),
    "logs that cannot be written": Case(
        "logs-not-written",
        1,
        "the tool's logs could not be written. (write: No space left on device)",
        [
            ["copy"],
            *log("Could not copy logs to host path", "Error: write: No space left on device"),
            ["exit", 1],
        ],
    ),
    "a program that crashes": Case("program-killed", 1, "ended by signal 9", [["die", 9]]),
    "a program that cannot be executed": Case(
        "program",
        2,
        "cannot be started",
        None,
        options("--program", "broken"),
        prepare=lambda desk: (desk.directory / "broken").write_bytes(b"\x7fELF")
        and (desk.directory / "broken").chmod(0o755),
    ),
    "an output where nothing can be made": Case(
        "output", 2, "Nothing can be written into /proc", arguments=options("-o", "/proc/result")
    ),
    "too slow": Case(
        "timeout", 124, "not done within 0.2 seconds", [WAIT], options("--timeout", "0.2")
    ),
    "a checked call": Case("checked", 0, "at a@b:1", None, options("--dry-run")),
}


def key_with(text: str, mode: int = 0o600) -> Callable[[Desk], object]:
    return lambda desk: desk.write_key("other", text).chmod(mode)


def protected_key(desk: Desk) -> None:
    """A key of ssh-keygen that asks for a passphrase."""
    key = str(desk.directory / "other")
    subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "secret", "-f", key], check=True)


OTHER_KEY = options("--identity-file", "other")
PUBLIC_FILE = options("--public-key-file", "other")
REFUSALS = {
    "no source": Case("usage", 2, "required: SOURCE", arguments=()),
    "one result for two sources": Case(
        "usage", 2, "-d DIRECTORY", arguments=("-o", "r", "in.ofx", "key")
    ),
    "standard input among others": Case("usage", 2, "by itself", arguments=("-", "in.ofx")),
    "two sources of one name": Case(
        "usage", 2, "Two sources would become", arguments=("in.ofx", "temporary/../in.ofx")
    ),
    "an unknown option": Case("usage", 2, "--colour", arguments=options("--colour")),
    "a number that is none": Case(
        "usage",
        2,
        "a whole number, 1 or more, not 'soon'",
        arguments=options("--retry-delay", "soon"),
    ),
    "rounds that are none": Case("usage", 2, 'or "forever"', arguments=options("--retries", "0")),
    "events and result in one stream": Case("usage", 2, "both", arguments=("-o", "-", "in.ofx")),
    "a missing source": Case("source", 2, "nowhere.ofx does not exist", arguments=("nowhere.ofx",)),
    "a directory as source": Case("source", 2, "is a directory", arguments=("temporary",)),
    "a device as source": Case("source", 2, "is not a file", arguments=("/dev/null",)),
    "a directory as output": Case(
        "output", 2, "-d names a directory", arguments=options("-o", "temporary")
    ),
    "the source as output": Case("output", 2, "source itself", arguments=options("-o", "in.ofx")),
    "an output nowhere": Case("output", 2, "There is no dir", arguments=options("-o", "no/where")),
    "a directory where nothing can be made": Case(
        "output", 2, "/proc/results cannot be made", arguments=options("-d", "/proc/results")
    ),
    "a file for the logs": Case("output", 2, "it is a file", arguments=options("--logs", "key")),
    "logs nowhere": Case("output", 2, "no directory", arguments=options("--logs", "no/wh/ere")),
    "a result that is there": Case(
        "exists",
        2,
        "in.ofx.converted exists already",
        prepare=lambda desk: (desk.directory / "in.ofx.converted").write_text("old"),
    ),
    "a missing configuration": Case(
        "configuration", 2, "x.toml cannot be read", arguments=options("--config", "x.toml")
    ),
    "another language": Case(
        "configuration", 2, "is not TOML", arguments=options("--config", "in.ofx")
    ),
    "a misspelt value": Case(
        "configuration", 2, "Did you mean tool_version?", changes={"tool_versoin": "1"}
    ),
    "a value that nobody knows": Case("configuration", 2, "Known are tool,", changes={"qqq": 1}),
    "a value of another type": Case(
        "configuration", 2, "retry_delay must be a whole number", changes={"retry_delay": "soon"}
    ),
    "nothing set": Case(
        "missing-settings",
        2,
        "  the tool: --tool, or tool\n"
        "  a server: --server, or server\n"
        "  the command to run there: --server-command, or server_command\n"
        "  the private key: --identity-file, or identity_file\n"
        "  the servers' public key: --public-key-file, or public_key_file",
        changes=dict.fromkeys(["tool", "server", "server_command", "identity_file", "public_key"]),
    ),
    "a key that is missing": Case(
        "private-key", 2, "other cannot be read: No such file", arguments=OTHER_KEY
    ),
    "an empty key": Case("private-key", 2, "is empty", arguments=OTHER_KEY, prepare=key_with("\n")),
    "a key that others may read": Case(
        "private-key",
        2,
        "chmod 600",
        arguments=OTHER_KEY,
        prepare=key_with(SshKeyPair.generate().private_text, 0o644),
    ),
    "a key with a passphrase": Case(
        "private-key", 2, "other is protected by a passphrase", None, OTHER_KEY, {}, protected_key
    ),
    "a key that is cut": Case(
        "private-key",
        2,
        "other cannot be read as one",
        arguments=OTHER_KEY,
        prepare=key_with(SshKeyPair.generate().private_text[:200]),
    ),
    "the public half as private key": Case(
        "private-key",
        2,
        "is a public key",
        arguments=OTHER_KEY,
        prepare=key_with(SshKeyPair.generate().public_text),
    ),
    "a text as private key": Case(
        "private-key", 2, "is not a private key", arguments=OTHER_KEY, prepare=key_with("hello")
    ),
    "a public key that is none": Case(
        "public-key", 2, "other is not an RSA", arguments=PUBLIC_FILE, prepare=key_with("hello")
    ),
    "a key of ssh as public key": Case(
        "public-key",
        2,
        "is a key of ssh",
        arguments=PUBLIC_FILE,
        prepare=key_with(SshKeyPair.generate().public_text),
    ),
    "a private key as public key": Case(
        "public-key",
        2,
        "would be sent to the servers",
        arguments=PUBLIC_FILE,
        prepare=key_with(SshKeyPair.generate().private_text),
    ),
    "a certificate as public key": Case(
        "public-key",
        2,
        "openssl x509",
        arguments=PUBLIC_FILE,
        prepare=key_with("-----BEGIN CERTIFICATE-----\nQUFB\n-----END CERTIFICATE-----\n"),
    ),
    "a public key in the command line": Case(
        "public-key", 2, "The public key is not an RSA", arguments=options("--public-key", "QUFB")
    ),
    "a server without a port": Case(
        "server-url", 2, "'ssh://a@b' cannot be used", changes={"server": "ssh://a@b"}
    ),
    "a server without a user": Case(
        "server-url", 2, "ssh://USER@HOST:PORT", changes={"server": "ssh://b:22"}
    ),
    "a port that cannot be": Case(
        "server-url", 2, "between 1 and 65535", changes={"server": "ssh://a@b:65536"}
    ),
    "an option in place of a host": Case(
        "server-url", 2, "hyphen", changes={"server": "ssh://a@-oProxy:22"}
    ),
    "no server at all": Case("server-url", 2, "list of servers is empty", changes={"server": ","}),
    "a missing program": Case(
        "program", 2, "There is no program at", arguments=options("--program", "no")
    ),
}


@pytest.mark.parametrize("case", [*ROUNDS.values()], ids=[*ROUNDS])
def test_servers_that_cannot_be_used(desk: Desk, case: Case) -> None:
    check(desk, case)


@pytest.mark.parametrize("case", [*PROGRAMS.values()], ids=[*PROGRAMS])
def test_the_end_of_a_program(desk: Desk, case: Case) -> None:
    check(desk, case)


@pytest.mark.parametrize("case", [*REFUSALS.values()], ids=[*REFUSALS])
def test_what_cannot_be_used_is_refused(desk: Desk, case: Case) -> None:
    case.prepare(desk)
    desk.configure(**case.changes)
    before = sorted(desk.directory.rglob("*"))
    done = desk.convert("--json", *case.arguments, plan=None)
    check_ending(done.stdout, done.returncode, case)
    # A person is told as well, and nothing was made.
    assert done.stderr.startswith("zanbury-convert: ")
    assert sorted(desk.directory.rglob("*")) == before


def check(desk: Desk, case: Case) -> None:
    case.prepare(desk)
    desk.configure(**case.changes)
    done = desk.convert("--json", *case.arguments, plan=case.plan)
    check_ending(done.stdout, done.returncode, case)


def check_ending(events: str, status: int, case: Case) -> None:
    ending = json.loads(events.splitlines()[-1])
    told = ending["reason"] + "\n" + ending["advice"]
    assert (ending["event"], ending["code"], status) == ("end", case.code, case.status), told
    assert ending["status"] == status
    assert case.words in told
    assert ending["advice"] or case.status == 0 or case.code in ("timeout", "canceled")
    assert (ending["result"] is None) == (ending["bytes"] is None)


def test_the_default_configuration_is_named_where_settings_are_missing(desk: Desk) -> None:
    (desk.directory / "convert.toml").write_text("")
    ending = desk.ending("in.ofx")
    assert ending["code"] == "missing-settings"
    assert str(desk.directory / "convert.toml") in ending["advice"]


# Codes that only several files can have, and canceling: test_batch.py and test_interruption.py.
ELSEWHERE = {"not-tried", "canceled"}


def test_every_code_has_a_case() -> None:
    cases = {case.code for table in (ROUNDS, PROGRAMS, REFUSALS) for case in table.values()}
    assert cases | ELSEWHERE == {code.word for code in Code}
    for code in ELSEWHERE:
        files = ("test_batch.py", "test_interruption.py")
        text = "".join(Path(__file__).with_name(name).read_text() for name in files)
        assert f'"{code}"' in text
