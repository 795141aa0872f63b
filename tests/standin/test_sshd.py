"""The loopback sshd: conversations through the system's ssh, and that it leaves nothing behind."""

from __future__ import annotations

import os
import signal
import socket
import subprocess
import sys
from pathlib import Path
from typing import Any, Callable

import pytest
from reference_client import END, ReferenceClient, result_plist
from standin import LoopbackSshd
from standin.known_hosts import forget_host_key
from standin.record import PATIENCE, wait_until
from standin_under_test import Standin

TOOLS = Path(__file__).resolve().parents[2] / "tools"
Make = Callable[..., Standin]

# Holds a sshd until its input ends; tells where it is first.
PROGRAM = """
import select, sys
from standin import LoopbackSshd
with LoopbackSshd() as sshd:
    print(sshd.port, sshd.directory, flush=True)
    # A signal just in front of a call that waits is dealt with behind it: none waits for long.
    while not select.select([sys.stdin], [], [], 0.2)[0]:
        pass
    raise SystemExit("left by an exception")
"""


def client_of(standin: Standin, ssh_command: list[str]) -> ReferenceClient:
    server = standin.server
    command = [*ssh_command, server.command_path, "server"]
    return ReferenceClient(command, server.keys.public_key_text)


def is_listening(port: int, address: str = "127.0.0.1") -> bool:
    with socket.socket(socket.AF_INET6 if ":" in address else socket.AF_INET) as probe:
        return probe.connect_ex((address, port)) == 0


def test_a_conversation_goes_through_ssh(
    standin: Make, ssh_command: list[str], statement: bytes, sshd: LoopbackSshd
) -> None:
    server = standin()
    with client_of(server, ssh_command) as client:
        assert result_plist(client.convert(statement))["toolExitCode"] == 0
        client.hang_up()
        record = server.server.connection(1)
        assert client.process.wait() == 0
    assert (record.end["how"], record.argv[1:]) == ("client closed", ["server"])
    assert record.environment["SSH_CONNECTION"].endswith(f"127.0.0.1 {sshd.port}")
    assert record.types_received == [
        "ClientHandshake",
        "InputArchive",
        "OutputArchiveAcknowledgement",
    ]


def test_the_servers_exit_status_is_that_of_ssh(standin: Make, ssh_command: list[str]) -> None:
    with client_of(standin({"steps": [{"exit": 7}]}), ssh_command) as client:
        assert client.receive() == END
        assert client.process.wait() == 7


def test_the_end_of_the_servers_output_reaches_the_client_at_once(
    standin: Make, ssh_command: list[str]
) -> None:
    server = standin({"steps": ["ServerHello", {"close": "stdout"}, "End"]})
    with client_of(server, ssh_command) as client:
        assert client.receive_all() == [("ServerHello", b"")]
        client.sink.close()
        assert server.server.connection(1).end["how"] == "client closed"


def test_a_stalled_server_ends_when_ssh_is_killed(standin: Make, ssh_command: list[str]) -> None:
    server = standin({"steps": ["ServerHello", {"stall": True}]})
    with client_of(server, ssh_command) as client:
        client.expect("ServerHello")
        client.process.kill()
        assert server.server.connection(1).end["how"] == "client gone"


def test_many_conversations_go_on_at_once(
    standin: Make, ssh_command: list[str], statement: bytes
) -> None:
    server = standin()
    clients = [client_of(server, ssh_command).__enter__() for _ in range(6)]
    for client in clients:
        client.shake_hands()
    for client in reversed(clients):
        client.upload(statement)
        client.messages_to_the_end_of_forwarding()
        assert result_plist(client.receive_result())["toolExitCode"] == 0
    for client in clients:
        client.__exit__()
    assert len(server.server.connections) == 6


def test_only_its_own_key_is_let_in(ssh_command: list[str], tmp_path: Path) -> None:
    with LoopbackSshd() as other:
        (tmp_path / "identity").write_text(other.identity_text)
        command = [*ssh_command[:-1], "-o", "BatchMode=yes", ssh_command[-1], "true"]
        refused = subprocess.run(command, capture_output=True, text=True, check=False)
    assert refused.returncode == 255
    assert "Permission denied" in refused.stderr


def test_it_listens_on_both_loopback_addresses() -> None:
    if not Path("/proc/net/if_inet6").exists():
        pytest.skip("no IPv6 here")
    with LoopbackSshd(ipv6="also") as sshd:
        assert is_listening(sshd.port) and is_listening(sshd.port, "::1")
        assert sshd.destination("::1") == f"ssh://{sshd.user}@[::1]:{sshd.port}"
        assert sshd.destination() == f"ssh://{sshd.user}@127.0.0.1:{sshd.port}"


def test_nothing_is_left_after_the_with_block() -> None:
    with LoopbackSshd() as sshd:
        directory = sshd.directory
        assert is_listening(sshd.port)
    assert not directory.exists() and not is_listening(sshd.port)
    sshd.stop()


def test_a_conversation_ends_with_the_sshd(standin: Make, tmp_path: Path) -> None:
    server = standin({"steps": ["ServerHello", {"stall": True}]})
    with LoopbackSshd() as sshd:
        identity = tmp_path / "identity"
        identity.touch(mode=0o600)
        identity.write_text(sshd.identity_text)
        options = ["-F", "/dev/null", "-o", "StrictHostKeyChecking=no", "-i", str(identity)]
        login = ["-l", sshd.user, "-p", str(sshd.port), "127.0.0.1"]
        client = client_of(server, ["/usr/bin/ssh", *options, *login]).__enter__()
        client.expect("ServerHello")
    assert client.receive() == END
    assert server.server.connection(1).end["how"] in ("client gone", "signal")
    client.__exit__()


def test_a_configuration_that_sshd_refuses_is_told_in_its_words() -> None:
    sshd = LoopbackSshd(extra_configuration="Nonsense yes")
    with pytest.raises(RuntimeError, match="Bad configuration option: Nonsense"):
        sshd.start()
    with pytest.raises(RuntimeError, match="not running"):
        sshd.directory


def holder() -> tuple[subprocess.Popen[str], int, Path]:
    """A program that runs a sshd, with its port and directory."""
    environment = {**os.environ, "PYTHONPATH": str(TOOLS)}
    process = subprocess.Popen(
        [sys.executable, "-c", PROGRAM],
        env=environment,
        stdin=subprocess.PIPE,
        stdout=subprocess.PIPE,
        stderr=subprocess.PIPE,
        text=True,
    )
    assert process.stdout is not None
    port, directory = process.stdout.readline().split()
    return process, int(port), Path(directory)


@pytest.mark.parametrize(
    "how, status",
    [
        (lambda process: process.stdin.close(), 1),
        (lambda process: process.send_signal(signal.SIGINT), -signal.SIGINT),
        (lambda process: process.send_signal(signal.SIGTERM), 128 + signal.SIGTERM),
    ],
    ids=["exception", "SIGINT", "SIGTERM"],
)
def test_it_ends_with_the_program_that_started_it(how: Any, status: int) -> None:
    process, port, directory = holder()
    assert is_listening(port) and directory.exists()
    how(process)
    assert process.wait(PATIENCE) == status
    assert not directory.exists() and not is_listening(port)


def test_the_kernel_ends_it_when_its_program_is_killed() -> None:
    process, port, directory = holder()
    process.kill()
    process.wait()
    wait_until(lambda: not is_listening(port), PATIENCE, "the end of sshd")
    for path in directory.iterdir():
        path.unlink()
    directory.rmdir()


@pytest.mark.parametrize(
    "before, after",
    [
        ("a ssh-ed25519 KEY\n", ""),
        ("a ssh-ed25519 KEY\nb ssh-ed25519 OTHER\n", "b ssh-ed25519 OTHER\n"),
        ("b ssh-ed25519 KEYS\n# KEY2\n", "b ssh-ed25519 KEYS\n# KEY2\n"),
    ],
)
def test_its_host_key_is_forgotten_and_no_other(before: str, after: str, tmp_path: Path) -> None:
    known_hosts = tmp_path / "known_hosts"
    known_hosts.write_text(before)
    forget_host_key("ssh-ed25519 KEY\n", known_hosts)
    assert known_hosts.read_text() == after


def test_no_known_hosts_is_no_error_and_none_is_made(tmp_path: Path) -> None:
    known_hosts = tmp_path / "known_hosts"
    forget_host_key("ssh-ed25519 KEY\n", known_hosts)
    assert not known_hosts.exists()
