"""Listens to one running program, in a thread of its own, until all that it wrote is recorded."""

from __future__ import annotations

import contextlib
import os
import selectors
import subprocess
import threading
from collections import deque
from collections.abc import Callable
from pathlib import Path

from .channel import Channel
from .events import StderrLine
from .fifo import FifoParser
from .record import Record
from .streams import SharedStreams

_CHUNK = 65536  # bytes


class Listener:
    """Moves bytes both ways between a program and its record, and notices the program's end.

    The end is reported after everything: the FIFO is read until it is empty, and standard error
    until it ends, or until the grace (seconds) is over when another process still holds it.
    """

    def __init__(
        self,
        process: subprocess.Popen,
        streams: SharedStreams,
        channel: Channel,
        record: Record,
        leftover_place: Path,
        grace: float,
    ):
        self._process = process
        self._streams = streams
        self._flags_after: tuple[int, ...] = ()
        self._channel = channel
        self._record = record
        self._leftover_place = leftover_place
        self._grace = grace
        self._parser = FifoParser()
        self._line = bytearray()  # the beginning of a line of standard error
        self._outgoing: deque[bytes] = deque()
        self._ended: tuple[int, float] | None = None  # status, seconds since the start
        self._wake_lock = threading.Lock()  # the pipe is closed by the thread, used by any other
        self._wake_in, self._wake_out = os.pipe()
        os.set_blocking(self._wake_in, False)
        os.set_blocking(self._wake_out, False)
        self._selector = selectors.DefaultSelector()
        self._thread = threading.Thread(target=self._run, name="listener", daemon=True)
        self._reaper = threading.Thread(target=self._reap, name="reaper", daemon=True)

    def start(self) -> None:
        """Begins to listen."""
        self._watch(self._wake_in, self._wake_up)
        self._watch(self._channel.output_descriptor, self._read_fifo)
        self._watch(self._streams.error_reader, self._read_stderr)
        self._watch(self._streams.output_reader, self._read_stdout)
        self._thread.start()
        self._reaper.start()

    def send(self, data: bytes) -> None:
        """Queues bytes for the input FIFO."""
        self._outgoing.append(bytes(data))
        self.wake()

    def wake(self) -> None:
        """Makes the thread look around; nothing happens once it has ended."""
        with self._wake_lock, contextlib.suppress(BlockingIOError):
            if self._wake_out >= 0:
                os.write(self._wake_out, b"!")

    def join(self) -> None:
        """Waits for the end of both threads."""
        self._reaper.join()
        self._thread.join()

    def hurry(self) -> None:
        """Waits only a moment for the end of standard error once the program has ended."""
        self._grace = min(self._grace, 0.2)
        self.wake()

    @property
    def pending_input(self) -> int:
        """Bytes that wait for room in the input FIFO."""
        return sum(len(data) for data in tuple(self._outgoing))

    def _run(self) -> None:
        while not self._is_over():
            ready = self._selector.select(self._time_left())
            # The FIFO last: with a message, all that standard error got before it is recorded.
            for key, _ in sorted(ready, key=lambda item: item[0].data == self._read_fifo):
                key.data()
        while self._read_fifo():
            pass
        self._finish()

    def _reap(self) -> None:
        status = self._process.wait()
        self._flags_after = self._streams.let_go()
        self._ended = (status, self._record.now())
        self.wake()

    def _is_over(self) -> bool:
        return self._ended is not None and (self._output_is_closed() or self._time_left() == 0)

    def _time_left(self) -> float | None:
        """Seconds until the grace is over; None while the program runs."""
        if self._ended is None:
            return None
        return max(0.0, self._ended[1] + self._grace - self._record.now())

    def _output_is_closed(self) -> bool:
        watched = self._selector.get_map()
        readers = (self._streams.error_reader, self._streams.output_reader)
        return not any(reader in watched for reader in readers)

    def _watch(
        self, descriptor: int, action: Callable[[], object], event: int = selectors.EVENT_READ
    ) -> None:
        self._selector.register(descriptor, event, action)

    def _wake_up(self) -> None:
        with contextlib.suppress(BlockingIOError):
            os.read(self._wake_in, _CHUNK)
        if self._outgoing and self._channel.input_descriptor not in self._selector.get_map():
            self._watch(self._channel.input_descriptor, self._feed_input, selectors.EVENT_WRITE)

    def _feed_input(self) -> None:
        taken = self._channel.write(self._outgoing[0])
        rest = self._outgoing.popleft()[taken:]
        if rest:
            self._outgoing.appendleft(rest)
        if not self._outgoing:
            self._selector.unregister(self._channel.input_descriptor)
            self._record.add([])

    def _read_fifo(self) -> bool:
        """Records what one read gives; False when nothing was there."""
        chunk = self._channel.read()
        if chunk:
            self._record.add(self._parser.feed(chunk), fifo=chunk)
        return bool(chunk)

    def _read_stderr(self) -> None:
        chunk = self._read_pipe(self._streams.error_reader)
        *lines, self._line = (self._line + chunk).split(b"\n")
        self._record.add([_stderr_line(line) for line in lines], stderr=chunk)

    def _read_stdout(self) -> None:
        self._record.add([], stdout=self._read_pipe(self._streams.output_reader))

    def _read_pipe(self, descriptor: int) -> bytes:
        chunk = os.read(descriptor, _CHUNK)
        if not chunk:
            self._selector.unregister(descriptor)
        return chunk

    def _finish(self) -> None:
        assert self._ended is not None, "called when the program has ended"
        status, duration = self._ended
        self._record.add(self._parser.finish())
        self._record.add([_stderr_line(self._line)] if self._line else [])
        stderr_closed = self._output_is_closed()
        self._close()
        self._record.finish(
            status=status,
            duration=duration,
            stderr_closed=stderr_closed,
            leftovers=_names_in(self._leftover_place),
            pid=self._process.pid,
            flags=(self._streams.flags_before, self._flags_after),
        )

    def _close(self) -> None:
        self._selector.close()
        self._streams.close()
        with self._wake_lock:
            os.close(self._wake_in)
            os.close(self._wake_out)
            self._wake_in = self._wake_out = -1


def _stderr_line(line: bytes) -> StderrLine:
    return StderrLine(line.decode(errors="replace"))


def _names_in(directory: Path) -> list[str]:
    try:
        return sorted(os.listdir(directory))
    except OSError:
        return []
