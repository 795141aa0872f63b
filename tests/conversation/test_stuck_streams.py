"""Streams that others neglect: a standard error that nobody reads, a server that closes only one end."""

from __future__ import annotations

import fcntl
import os
import signal
import subprocess
from collections.abc import Iterator
from pathlib import Path

import pytest
from host_harness import PATIENCE, HostHarness
from observed_process import children_of
from standin.record import wait_until
from unreachable_servers import SilentListener


HELLO_WAITS = {"ServerHello": {"instead": {"await": "never"}}}


@pytest.fixture(params=[0, os.O_NONBLOCK], ids=["blocking", "as ssh leaves it"])
def full_pipe(request: pytest.FixtureRequest) -> Iterator[int]:
    """The writing end of a pipe without room."""
    reading_end, writing_end = os.pipe()
    os.set_blocking(writing_end, False)
    for piece in (b"x" * 4096, b"x"):
        try:
            while True:
                os.write(writing_end, piece)
        except BlockingIOError:
            pass
    fcntl.fcntl(writing_end, fcntl.F_SETFL, request.param)
    yield writing_end
    os.close(reading_end)
    os.close(writing_end)


def test_a_signal_ends_the_program_although_nobody_reads_its_log(
    harness: HostHarness, full_pipe: int
) -> None:
    # A FIFO that is not there makes it write log lines from the start; nothing else would end it.
    place = harness.directory / "place"
    place.mkdir()
    with SilentListener() as silent:
        request = harness.request(
            server_destinations=silent.destination, input_fifo_path=harness.directory / "missing"
        )
        environment = {**request.environment(), "TMPDIR": str(place)}
        process = subprocess.Popen([harness.program], env=environment, stderr=full_pipe)
        wait_until(lambda: bool(list(place.iterdir())), PATIENCE, "the working directory")
        process.send_signal(signal.SIGTERM)
        assert process.wait(PATIENCE) == 1
    assert list(place.iterdir()) == []


def test_no_ssh_is_left_over_by_servers_that_close_only_their_output(harness: HostHarness) -> None:
    closes_one_end = {"ServerHello": {"instead": [{"close": "stdout"}, {"stall": True}]}}
    four_times = [harness.sshd.destination()] * 4
    conversion = harness.begin([closes_one_end] * 3 + [HELLO_WAITS], server_destinations=four_times)
    harness.server.begun(4, PATIENCE)
    # The ones before it have been told to end.
    wait_until(lambda: len(children_of(conversion.pid)) == 1, PATIENCE, "the end of all but one")
    conversion.cancel()
    assert conversion.wait(PATIENCE).status == 1
