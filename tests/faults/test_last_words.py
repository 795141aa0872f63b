"""What is said at the end waits for a log or a host that pauses, and not for ever for one that is gone.

The clock that the program waits by is moved on by hand: a second here is not a second of the machine."""

from __future__ import annotations

import fcntl
import os
import subprocess
from collections.abc import Callable
from pathlib import Path

import pytest
from host_harness import PATIENCE, HostHarness
from host_messages import CANCELING
from preloaded import ShiftedClock
from unreachable_servers import SilentListener
from unread_fifo import UnreadFifo, unread_fifo

PAUSE = 500  # milliseconds: longer than the server's last message is waited for, and shorter than
BEYOND = 600  # what the log and the host get; both together are more than that


@pytest.fixture
def clock(program: Path, tmp_path: Path) -> ShiftedClock:
    return ShiftedClock(program, tmp_path / "page")


class FullPipe:
    """A pipe without room for more than what is read from it."""

    def __init__(self) -> None:
        self._reading_end, self.writing_end = os.pipe()
        os.set_blocking(self.writing_end, False)
        size = fcntl.fcntl(self.writing_end, fcntl.F_GETPIPE_SZ)
        assert os.write(self.writing_end, b"." * size) == size
        os.set_blocking(self.writing_end, True)

    def read_to_the_end(self) -> bytes:
        """Everything behind what filled it; the writers must end first, or meanwhile."""
        os.close(self.writing_end)
        with open(self._reading_end, "rb") as file:
            return file.read().lstrip(b".")


def _start_without_a_server(
    program: Path, clock: ShiftedClock, directory: Path, stderr: int
) -> subprocess.Popen:
    """The program on its way out, its log lines waiting for room."""
    clock.hold()
    given = {"EXPORT_SERVER_DESTINATIONS": "bad", "TMPDIR": str(directory)}
    process = subprocess.Popen([program], env={**clock.environment, **given}, stderr=stderr)
    clock.wait_for_looks()
    return process


def test_the_log_may_pause(program: Path, clock: ShiftedClock, tmp_path: Path) -> None:
    pipe = FullPipe()
    process = _start_without_a_server(program, clock, tmp_path, pipe.writing_end)
    clock.move_on(PAUSE)
    clock.wait_for_looks()
    assert pipe.read_to_the_end() == b"Invalid server destination\n"
    assert process.wait(PATIENCE) == 1


def test_a_log_that_nobody_reads_is_given_up(
    program: Path, clock: ShiftedClock, tmp_path: Path
) -> None:
    pipe = FullPipe()
    process = _start_without_a_server(program, clock, tmp_path, pipe.writing_end)
    clock.move_on(PAUSE)
    clock.wait_for_looks()
    assert process.poll() is None
    clock.move_on(BEYOND)
    assert process.wait(PATIENCE) == 1
    assert pipe.read_to_the_end() == b""
    assert list(tmp_path.glob("ZanburyToolProxy.*")) == []


def _canceled_with_a_full_fifo(
    harness: HostHarness, clock: ShiftedClock, then: Callable[[UnreadFifo], object]
) -> bytes:
    """What the host finds in its FIFO behind the stuffing, when all is over."""
    with SilentListener() as silent, unread_fifo(harness.directory / "out") as output:
        conversion = harness.begin(
            server_destinations=silent.destination,
            output_fifo_path=output.path,
            overrides=clock.environment,
        )
        output.read_until(b"Connecting")
        output.fill()
        clock.hold()
        conversion.cancel()
        clock.wait_for_looks()
        clock.move_on(PAUSE)
        clock.wait_for_looks()
        then(output)
        clock.let_go()
        assert conversion.wait(PATIENCE).status == 1
        return output.read()


def test_a_host_that_pauses_hears_of_its_cancel(harness: HostHarness, clock: ShiftedClock) -> None:
    heard = _canceled_with_a_full_fifo(harness, clock, lambda fifo: fifo.read())
    assert heard.endswith(CANCELING)


def test_a_host_that_reads_nothing_does_not_keep_the_program(
    harness: HostHarness, clock: ShiftedClock
) -> None:
    heard = _canceled_with_a_full_fifo(harness, clock, lambda _: clock.move_on(BEYOND))
    assert CANCELING not in heard


def test_a_host_that_pauses_while_it_is_told_something_else_hears_of_its_cancel(
    harness: HostHarness, clock: ShiftedClock
) -> None:
    with unread_fifo(harness.directory / "out") as output:
        output.fill()
        conversion = harness.begin(output_fifo_path=output.path, overrides=clock.environment)
        clock.wait_for_looks()  # in the write of its first message, none of which is out
        clock.hold()
        conversion.cancel()
        conversion.wait_until(lambda now: "User canceled" in now.stderr_text, PATIENCE)
        clock.move_on(PAUSE)
        clock.wait_for_looks()
        heard = output.read()
        clock.let_go()
        assert conversion.wait(PATIENCE).status == 1
        assert output.read().endswith(CANCELING), heard[-400:]
