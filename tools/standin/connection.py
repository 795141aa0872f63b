"""The two pipes to the client: a thread that reads frames, and a writer that can be made to dawdle."""

from __future__ import annotations

import array
import fcntl
import os
import select
import termios
import threading
import time
from collections import deque
from contextlib import contextmanager
from dataclasses import dataclass
from typing import Callable, Iterable, Iterator

from standin.ending import ConversationOver
from standin.framing import Frame, InvalidStream, read_frame

_DRAIN_POLL_SECONDS = 0.001
_DRAIN_SECONDS = 60.0
_PIECES_A_SECOND = 20


@dataclass(frozen=True)
class Pacing:
    """How bytes leave: in pieces of these sizes (the last holds the rest), and how fast at most."""

    chunks: int | tuple[int, ...] | None = None
    rate: int | None = None


class Connection:
    """Frames in through `inbox`, bytes out through `write`.

    The reader runs ahead of the conversation, so that neither side can block the other by writing.
    on_frame is called in its thread for every frame before anybody waiting for it is woken.
    """

    def __init__(self, source: int, sink: int, on_frame: Callable[[Frame], None]) -> None:
        self._source = source
        self._sink = sink
        self._on_frame = on_frame
        self._changed = threading.Condition()
        self._wake_end, self._wake = os.pipe()
        self._stop_after: str | None = None
        self.may_read = True
        self._close_source = False
        self._is_sink_closed = False
        self._collected: list[bytes] | None = None
        self.inbox: deque[Frame] = deque()
        self.has_ended = False
        self.broken: str | None = None
        threading.Thread(target=self._read_frames, daemon=True).start()

    def wait(self, condition: Callable[[], bool], seconds: float | None = None) -> None:
        """Returns once the condition, which the reader's progress may change, holds; or in time."""
        with self._changed:
            self._changed.wait_for(condition, seconds)

    @property
    def client_has_closed(self) -> bool:
        """Whether the client's stream has ended, and not because a script closed our end of it."""
        return self.has_ended and not self._close_source

    def stop_reading_after(self, type_name: str) -> None:
        """Lets the rest of the client's bytes lie once such a frame has come; "now": at once."""
        with self._changed:
            self._stop_after = type_name
            self.may_read = self.may_read and type_name != "now"
        os.write(self._wake, b".")

    def read_on(self) -> None:
        """Reads again after `stop_reading_after`."""
        with self._changed:
            self._stop_after, self.may_read = None, True
            self._changed.notify_all()

    def close_source(self) -> None:
        """Closes the end that the client's bytes come from; ends the reader."""
        with self._changed:
            self._close_source, self.may_read = True, True
            self._changed.notify_all()
        os.write(self._wake, b".")
        self.wait(lambda: self.has_ended)

    def close_sink(self) -> None:
        """Closes the end that bytes to the client leave by, and standard error along.

        While that is open, sshd does not tell the client that the output has ended.
        """
        os.close(self._sink)
        nothing = os.open(os.devnull, os.O_WRONLY)
        if nothing != self._sink:
            os.dup2(nothing, self._sink)
        os.dup2(nothing, 2)
        self._is_sink_closed = True

    def write(self, blocks: Iterable[bytes], pacing: Pacing = Pacing()) -> None:
        """Writes all of it; ends the conversation where the client is gone."""
        if self._collected is not None:
            self._collected.extend(blocks)
            return
        for piece in _paced(blocks, pacing):
            self._write_all(piece)
            if pacing.chunks is not None:
                self._wait_until_taken()
            if pacing.rate is not None:
                time.sleep(len(piece) / pacing.rate)

    @contextmanager
    def together(self, pacing: Pacing) -> Iterator[None]:
        """Holds back what is written within, and then writes it as one."""
        collected, self._collected = self._collected, []
        try:
            yield
        finally:
            blocks, self._collected = self._collected, collected
        self.write([b"".join(blocks)], pacing)

    def wait_for_hangup(self) -> None:
        """Returns once the other end of what is open here is closed; reads and writes nothing."""
        self._poll_for_hangup(None)

    @property
    def is_deserted(self) -> bool:
        """Whether nobody is at the other end any more while the client's bytes are left to lie."""
        return not self.may_read and self._poll_for_hangup(0)

    def _poll_for_hangup(self, milliseconds: int | None) -> bool:
        poll = select.poll()
        poll.register(self._source if self._is_sink_closed else self._sink, 0)
        return bool(poll.poll(milliseconds))

    def _write_all(self, data: bytes) -> None:
        view = memoryview(data)
        if self._is_sink_closed:
            raise ConversationOver("client gone", "the script has closed stdout", 1)
        try:
            while view:
                view = view[os.write(self._sink, view) :]
        except OSError as error:
            raise ConversationOver("client gone", str(error), 1) from error

    def _wait_until_taken(self) -> None:
        """Returns once the pipe is empty, or after a minute: a client may not want to read."""
        waiting = array.array("i", [0])
        deadline = time.monotonic() + _DRAIN_SECONDS
        while time.monotonic() < deadline:
            fcntl.ioctl(self._sink, termios.FIONREAD, waiting)
            if waiting[0] == 0:
                return
            time.sleep(_DRAIN_POLL_SECONDS)

    def _read_frames(self) -> None:
        try:
            while self._wait_for_readable() and (frame := read_frame(self._read)):
                self._on_frame(frame)
                self._deliver(frame)
        except (InvalidStream, OSError) as error:
            self.broken = str(error)
        if self._close_source:
            os.close(self._source)
        with self._changed:
            self.has_ended = True
            self._changed.notify_all()

    def _deliver(self, frame: Frame) -> None:
        with self._changed:
            if frame.type != "Forward":
                self.inbox.append(frame)
            if frame.type == self._stop_after:
                self.may_read = False
            self._changed.notify_all()

    def _wait_for_readable(self) -> bool:
        """Waits until a frame may be read and one begins; False where the source is to be closed."""
        poll = select.poll()
        poll.register(self._source, select.POLLIN)
        poll.register(self._wake_end, select.POLLIN)
        while True:
            self.wait(lambda: self.may_read)
            ready = {descriptor for descriptor, _ in poll.poll()}
            if self._wake_end in ready:
                os.read(self._wake_end, 64)
            if self._close_source:
                return False
            if self.may_read and self._source in ready:
                return True

    def _read(self, count: int) -> bytes:
        return os.read(self._source, count)


def _paced(blocks: Iterable[bytes], pacing: Pacing) -> Iterator[bytes]:
    if pacing.chunks is not None:
        yield from _cut(b"".join(blocks), pacing.chunks)
    elif pacing.rate is not None:
        size = max(1, pacing.rate // _PIECES_A_SECOND)
        for block in blocks:
            yield from _cut(block, size)
    else:
        yield from blocks


def _cut(data: bytes, chunks: int | tuple[int, ...]) -> Iterator[bytes]:
    if isinstance(chunks, int):
        chunks = (chunks,) * (len(data) // chunks)
    start = 0
    for size in chunks:
        yield data[start : start + size]
        start += size
    if data[start:]:
        yield data[start:]
