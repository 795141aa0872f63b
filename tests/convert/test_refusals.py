"""What cannot be used is refused before anything is started: with status 2, a reason, an advice."""

from __future__ import annotations

import subprocess
from collections.abc import Callable

import pytest
from cases import Case, check_ending, options
from command_sandbox import CommandSandbox
from standin.keys import SshKeyPair


def key_with(text: str, mode: int = 0o600) -> Callable[[CommandSandbox], object]:
    return lambda sandbox: sandbox.write_key("other", text).chmod(mode)


def protected_key(sandbox: CommandSandbox) -> None:
    """A key of ssh-keygen that asks for a passphrase."""
    key = str(sandbox.directory / "other")
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
    "an output nowhere": Case(
        "output", 2, "no does not exist", arguments=options("-o", "no/where")
    ),
    "a directory where nothing can be made": Case(
        "output", 2, "/proc/results cannot be created", arguments=options("-d", "/proc/results")
    ),
    "a file for the logs": Case("output", 2, "it is a file", arguments=options("--logs", "key")),
    "logs nowhere": Case("output", 2, "does not exist", arguments=options("--logs", "no/wh/ere")),
    "a result that is there": Case(
        "exists",
        2,
        "in.ofx.converted exists already",
        prepare=lambda sandbox: (sandbox.directory / "in.ofx.converted").write_text("old"),
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
    "a value that nobody knows": Case(
        "configuration", 2, "Known values: tool,", changes={"qqq": 1}
    ),
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
        "is an ssh key",
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


@pytest.mark.parametrize("case", [*REFUSALS.values()], ids=[*REFUSALS])
def test_what_cannot_be_used_is_refused(sandbox: CommandSandbox, case: Case) -> None:
    case.prepare(sandbox)
    sandbox.configure(**case.changes)
    before = sorted(sandbox.directory.rglob("*"))
    done = sandbox.convert("--json", *case.arguments, plan=None)
    check_ending(done.stdout, done.returncode, case)
    # A person is told as well, and nothing was made.
    assert done.stderr.startswith("zanbury-convert: ")
    assert sorted(sandbox.directory.rglob("*")) == before


def test_the_default_configuration_is_named_where_settings_are_missing(
    sandbox: CommandSandbox,
) -> None:
    (sandbox.directory / "convert.toml").write_text("")
    ending = sandbox.ending("in.ofx")
    assert ending["code"] == "missing-settings"
    assert str(sandbox.directory / "convert.toml") in ending["advice"]
