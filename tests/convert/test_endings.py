"""Every way in which a conversion can end: code, exit status, and what the user is told.

The program is a fake one that plays a plan. Each code of the registry has at least one case here,
or in the table of what is refused beforehand.
"""

from __future__ import annotations

from pathlib import Path

import pytest
from cases import Case, check, options
from command_sandbox import CommandSandbox
from test_refusals import REFUSALS
from zanbury_convert.codes import Code

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
            *log("ERROR: The connection to the server was lost in state ForwardingMessages (b:1)"),
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
        prepare=lambda sandbox: (sandbox.directory / "broken").write_bytes(b"\x7fELF")
        and (sandbox.directory / "broken").chmod(0o755),
    ),
    "an output where nothing can be made": Case(
        "output", 2, "Nothing can be written into /proc", arguments=options("-o", "/proc/result")
    ),
    "too slow": Case(
        "timeout", 124, "not done within 0.2 seconds", [WAIT], options("--timeout", "0.2")
    ),
    "a checked call": Case("checked", 0, "at a@b:1", None, options("--dry-run")),
}


@pytest.mark.parametrize("case", [*ROUNDS.values()], ids=[*ROUNDS])
def test_servers_that_cannot_be_used(sandbox: CommandSandbox, case: Case) -> None:
    check(sandbox, case)


@pytest.mark.parametrize("case", [*PROGRAMS.values()], ids=[*PROGRAMS])
def test_the_end_of_a_program(sandbox: CommandSandbox, case: Case) -> None:
    check(sandbox, case)


# Codes that only several files can have, and canceling: test_batch.py and test_interruption.py.
ELSEWHERE = {"not-tried", "canceled"}


def test_every_code_has_a_case() -> None:
    cases = {case.code for table in (ROUNDS, PROGRAMS, REFUSALS) for case in table.values()}
    assert cases | ELSEWHERE == {code.word for code in Code}
    for code in ELSEWHERE:
        files = ("test_batch.py", "test_interruption.py")
        text = "".join(Path(__file__).with_name(name).read_text() for name in files)
        assert f'"{code}"' in text
