"""Streams that others neglect: a standard error that nobody reads, a server that closes only one end."""

from __future__ import annotations

import fcntl
import os
import signal
import subprocess
from collections.abc import Iterator
from pathlib import Path

import pytest
from dead_ends import SilentListener
from desk import PATIENCE, Desk
from observed_process import children_of
from standin.record import wait_until


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
    desk: Desk, full_pipe: int
) -> None:
    # A FIFO that is not there makes it write log lines from the start; nothing else would end it.
    place = desk.directory / "place"
    place.mkdir()
    with SilentListener() as silent:
        request = desk.request(
            server_destinations=silent.destination, input_fifo_path=desk.directory / "missing"
        )
        environment = {**request.environment(), "TMPDIR": str(place)}
        process = subprocess.Popen([desk.program], env=environment, stderr=full_pipe)
        wait_until(lambda: bool(list(place.iterdir())), PATIENCE, "the working directory")
        process.send_signal(signal.SIGTERM)
        assert process.wait(PATIENCE) == 1
    assert list(place.iterdir()) == []


def test_no_ssh_is_left_over_by_servers_that_close_only_their_output(desk: Desk) -> None:
    closes_one_end = {"ServerHello": {"instead": [{"close": "stdout"}, {"stall": True}]}}
    four_times = [desk.sshd.destination()] * 4
    conversion = desk.begin([closes_one_end] * 3 + [HELLO_WAITS], server_destinations=four_times)
    desk.server.begun(4, PATIENCE)
    # The ones before it have been told to end.
    wait_until(lambda: len(children_of(conversion.pid)) == 1, PATIENCE, "the end of all but one")
    conversion.cancel()
    assert conversion.wait(PATIENCE).status == 1
