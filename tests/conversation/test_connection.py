"""Which destinations are tried, what counts as failed, and what ends the session instead."""

from __future__ import annotations

import os
import resource
import shutil
import signal

import pytest
from host_harness import PATIENCE, HostHarness
from host_view import CONNECTING, log_lines, will_retry
from observed_process import children_of, running_ssh, ssh_of, working_directory
from standin.keys import SshKeyPair
from standin.record import wait_until
from unreachable_servers import NOBODY_LISTENS, UNKNOWN_NAME, SilentListener, beyond, tried

RETRYING = will_retry(60)
ENDS_BEFORE_THE_HELLO = {"ServerHello": {"instead": {"exit": 1}}}
HELLO_WAITS = {"ServerHello": {"instead": {"await": "never"}}}
FAILS_WHEN_TOLD = {"ServerHello": {"instead": [{"await": "go"}, {"exit": 1}]}}


@pytest.mark.parametrize(
    "destination",
    [
        pytest.param("ssh://127.0.0.1:22", id="no user"),
        pytest.param("ssh://@127.0.0.1:22", id="an empty user"),
        pytest.param("ssh://ann@:22", id="no host"),
        pytest.param("ssh://ann@", id="no host, no port"),
        pytest.param("ann@127.0.0.1:22", id="no URL"),
        pytest.param("a", id="a word"),
        pytest.param("ssh://ann@127.0.0.1:ssh", id="a port by name"),
        pytest.param("ssh://ann@127.0.0.1:-22", id="a negative port"),
        pytest.param("ssh://ann@host name:22", id="a blank inside"),
        pytest.param("ssh://ann@[::1:22", id="an open bracket"),
        pytest.param("ssh://-oProxyCommand=id@127.0.0.1:22", id="an option for a user"),
        pytest.param("ssh://ann@-oProxyCommand=id:22", id="an option for a host"),
        pytest.param("ssh://%2DoProxyCommand=id@127.0.0.1:22", id="a hidden option for a user"),
        pytest.param("ssh://ann@%2DoProxyCommand=id:22", id="a hidden option for a host"),
        pytest.param("ssh://ann%0A@127.0.0.1:22", id="a hidden line feed"),
        pytest.param("ssh://ann%00@127.0.0.1:22", id="a hidden NUL"),
        pytest.param(f"ssh://ann@{'h' * 3000}:22", id="too long"),
    ],
)
def test_an_invalid_destination_ends_the_session(harness: HostHarness, destination: str) -> None:
    outcome = harness.convert(server_destinations=destination)
    assert outcome.status == 1, outcome.report()
    assert outcome.stderr_text == "Invalid server destination\n"
    assert outcome.sections == () and outcome.leftovers == ()


def test_an_invalid_destination_is_not_passed_over(harness: HostHarness) -> None:
    # Wherever it comes in the random order, the session ends there and no cycle follows.
    outcome = harness.convert(server_destinations=[beyond(1), "ssh://invalid", beyond(2)])
    assert outcome.status == 1 and outcome.leftovers == ()
    assert log_lines(outcome) == ["Invalid server destination"]
    assert len(tried(outcome.stderr_text)) == len(outcome.sections) <= 2


@pytest.mark.parametrize(
    ("destination", "complaint"),
    [
        pytest.param("ssh://ann@127.0.0.1", "Bad port '(null)'", id="no port"),
        pytest.param("ssh://ann@127.0.0.1:", "Bad port '(null)'", id="an empty port"),
        pytest.param("ssh://ann@127.0.0.1:0", "Bad port '0'", id="port 0"),
        pytest.param("ssh://ann@127.0.0.1:65536", "Bad port '65536'", id="port 65536"),
        pytest.param(NOBODY_LISTENS, "Connection refused", id="a closed port"),
        pytest.param(f"ssh://ann@{UNKNOWN_NAME}:22", "Could not resolve", id="an unknown name"),
    ],
)
def test_what_ssh_cannot_reach_counts_as_failed(
    harness: HostHarness, destination: str, complaint: str
) -> None:
    conversion = harness.begin(server_destinations=destination, retry_delay=60)
    conversion.wait_for(RETRYING, PATIENCE)
    assert conversion.events.count(CONNECTING) == 1
    assert complaint in conversion.stderr_text


def test_a_server_that_does_not_know_the_key_counts_as_failed(harness: HostHarness) -> None:
    stranger = SshKeyPair.generate().private_text
    conversion = harness.begin(server_identity=stranger, retry_delay=60)
    conversion.wait_for(RETRYING, PATIENCE)
    assert "Permission denied (publickey)" in conversion.stderr_text


def test_a_server_without_the_command_counts_as_failed(harness: HostHarness) -> None:
    conversion = harness.begin(server_command_path="/nonexistent/command", retry_delay=60)
    conversion.wait_for(RETRYING, PATIENCE)
    assert "/nonexistent/command" in conversion.stderr_text


def test_the_second_destination_is_tried_at_once_when_the_first_fails(harness: HostHarness) -> None:
    twice = [harness.sshd.destination()] * 2
    outcome = harness.convert([ENDS_BEFORE_THE_HELLO, {}], server_destinations=twice)
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert outcome.sections[:2] == (CONNECTING, CONNECTING)
    assert outcome.titles.count(CONNECTING.title) == 2
    assert harness.result.exists() and outcome.leftovers == ()


def test_a_server_is_reached_whatever_else_is_down(harness: HostHarness) -> None:
    destinations = [NOBODY_LISTENS, beyond(1), "ssh://ann@127.0.0.1", harness.sshd.destination()]
    outcome = harness.convert(server_destinations=destinations)
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert harness.result.exists()


def test_half_a_message_of_a_failed_connection_is_dropped_with_it(harness: HostHarness) -> None:
    half = {"send": "ServerHello", "body": '{"a"', "length": 100}
    scripts = [{"ServerHello": {"instead": [half, {"exit": 0}]}}, {}]
    outcome = harness.convert(scripts, server_destinations=[harness.sshd.destination()] * 2)
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert harness.result.exists()


def test_one_ssh_runs_at_a_time_and_ended_ones_leave_no_zombie(harness: HostHarness) -> None:
    scripts = [ENDS_BEFORE_THE_HELLO] * 4 + [HELLO_WAITS]
    conversion = harness.begin(scripts, server_destinations=[harness.sshd.destination()] * 5)
    harness.server.begun(5)
    wait_until(lambda: len(children_of(conversion.pid)) == 1, PATIENCE, "the end of all but one")
    assert children_of(conversion.pid) == running_ssh(conversion)


def test_after_many_failures_no_child_is_left(harness: HostHarness) -> None:
    destinations = [beyond(number) for number in range(40)]
    conversion = harness.begin(server_destinations=destinations, retry_delay=60)
    conversion.wait_for(RETRYING, PATIENCE)
    assert sorted(tried(conversion.stderr_text)) == list(range(40))
    wait_until(lambda: children_of(conversion.pid) == [], PATIENCE, "no child")


@pytest.mark.skipif(os.getuid() != 0, reason="the descriptors are hidden from others")
def test_no_descriptor_of_an_ended_connection_is_kept(harness: HostHarness) -> None:
    number_of_pipes = []
    for failures in (1, 20):
        conversion = harness.begin(server_destinations=[beyond(1)] * failures, retry_delay=60)
        conversion.wait_for(RETRYING, PATIENCE)
        number_of_pipes.append(len(os.listdir(f"/proc/{conversion.pid}/fd")))
    assert number_of_pipes[0] == number_of_pipes[1]


@pytest.mark.parametrize("in_its_place", ["link to a file", "directory with files"])
def test_every_connection_gets_an_identity_file_of_its_own(
    harness: HostHarness, in_its_place: str
) -> None:
    twice = [harness.sshd.destination()] * 2
    conversion = harness.begin([FAILS_WHEN_TOLD, HELLO_WAITS], server_destinations=twice)
    harness.server.begun(1)
    identity = working_directory(conversion) / "identity"
    identity.unlink()
    if in_its_place == "link to a file":
        identity.symlink_to(harness.source)
    else:
        (identity / "deeper").mkdir(parents=True)
        (identity / "deeper" / "file").touch()
    before = harness.source.read_bytes()
    harness.server.file("go").touch()
    harness.server.begun(2)
    assert identity.is_file() and not identity.is_symlink()
    assert identity.read_text() == harness.sshd.identity_text
    assert harness.source.read_bytes() == before


def test_an_identity_that_cannot_be_written_ends_the_session(harness: HostHarness) -> None:
    twice = [harness.sshd.destination()] * 2
    conversion = harness.begin(FAILS_WHEN_TOLD, server_destinations=twice)
    harness.server.begun(1)
    directory = working_directory(conversion)
    shutil.rmtree(directory)
    harness.server.file("go").touch()
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 1 and outcome.leftovers == ()
    assert outcome.sections == (CONNECTING,)
    assert log_lines(outcome) == [
        "Could not write identity to a file",
        f"Error: open {directory}/identity: No such file or directory",
    ]


def test_an_ssh_that_cannot_be_started_ends_the_session(harness: HostHarness) -> None:
    # A process with a small stack may pass 128 KiB of arguments, which this command path fills.
    fifo = harness.directory / "late.fifo"
    conversion = harness.begin(server_command_path="/" + "c" * 131_000, output_fifo_path=fifo)
    conversion.wait_until(lambda now: "open(writeFifoPath)" in now.stderr_text)
    resource.prlimit(conversion.pid, resource.RLIMIT_STACK, (262_144, 262_144))
    os.mkfifo(fifo)
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 1 and outcome.leftovers == ()
    assert log_lines(outcome)[-1].startswith("Exception: Could not launch /usr/bin/ssh: ")


def test_the_next_destination_is_tried_when_ssh_is_killed(harness: HostHarness) -> None:
    with SilentListener() as silent:
        conversion = harness.begin(server_destinations=[silent.destination] * 2)
        first = ssh_of(conversion)
        os.kill(first.pid, signal.SIGKILL)
        conversion.wait_until(lambda now: now.events.count(CONNECTING) >= 2, PATIENCE)
        assert ssh_of(conversion) != first
