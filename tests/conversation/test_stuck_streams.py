"""Streams that others neglect: a standard error that nobody reads, a server that closes only one end."""

from __future__ import annotations

import fcntl
import os
import signal
import subprocess
import time
from collections.abc import Iterator
from pathlib import Path

import pytest

from desk import PATIENCE, Desk
from observed_process import children_of

AT_ONCE = 2.0  # seconds; the program itself takes a tenth of one


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
    program: Path, tmp_path: Path, full_pipe: int
) -> None:
    # A FIFO that is not there makes it write log lines from the start.
    environment = {"TMPDIR": str(tmp_path), "EXPORT_INPUT_FIFO_PATH": str(tmp_path / "missing")}
    process = subprocess.Popen([program], env=environment, stderr=full_pipe)
    deadline = time.monotonic() + PATIENCE
    while not list(tmp_path.glob("ZanburyToolProxy.*")):
        assert time.monotonic() < deadline
        time.sleep(0.01)
    process.send_signal(signal.SIGTERM)
    assert process.wait(AT_ONCE) == 1
    assert list(tmp_path.iterdir()) == []


def test_no_ssh_is_left_over_by_servers_that_close_only_their_output(desk: Desk) -> None:
    closes_one_end = {"ServerHello": {"instead": [{"close": "stdout"}, {"stall": True}]}}
    conversion = desk.begin(closes_one_end)
    desk.server.begun(4, PATIENCE)
    alive = [child for child in children_of(conversion.pid) if not child.has_ended]
    # The one in use, and one that has been told to end a moment ago.
    assert len(alive) <= 2
    conversion.cancel()
    assert conversion.wait(PATIENCE).status == 1
