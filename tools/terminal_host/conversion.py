"""One conversion, run as the desktop host runs it: FIFOs, environment, program, and the tidying up."""

from __future__ import annotations

import contextlib
import os
import signal
import subprocess
import weakref
from collections.abc import Callable, Iterator, Mapping, Sequence
from dataclasses import replace
from pathlib import Path

from .channel import Channel
from .errors import HostError
from .events import Event, Exit
from .listener import Listener
from .outcome import Outcome
from .program import find_program
from .record import Record
from .request import Request

CANCEL = b"\x18"  # any byte outside the forwarding phase cancels; this one says so in ASCII


class Conversion:
    """Runs the program once. Use it in a `with` statement, or call `close` at the end.

    Whatever happens, the program does not outlive the conversion (nor a host that exits in an
    orderly way), and the FIFOs and the private directory are removed. All of it belongs to the
    object, so many conversions may run in one process. README.md beside this file has the details.
    """

    def __init__(
        self,
        request: Request,
        program: str | os.PathLike[str] | None = None,
        *,
        arguments: Sequence[str] = (),
        overrides: Mapping[str, str | None] | None = None,
        temporary_directory: str | os.PathLike[str] | None = None,
        keep_history: bool = True,
        stderr_grace: float = 2.0,
    ) -> None:
        self._request = request
        self._program = program
        self._arguments = list(arguments)
        self._overrides = dict(overrides or {})
        self._given_temporary_directory = temporary_directory
        self._stderr_grace = stderr_grace
        self._record = Record(keep_history)
        self._channel: Channel | None = None
        self._process: subprocess.Popen | None = None
        self._listener: Listener | None = None

    def start(self) -> Conversion:
        """Makes the FIFOs and starts the program; HostError says why that cannot be done."""
        program = find_program(self._program)
        self._channel = Channel()
        try:
            self._process = self._spawn(program)
        except (OSError, ValueError) as error:
            self._channel.close()
            raise HostError(f"cannot start {program}: {_reason(error)}") from error
        self._finalizer = weakref.finalize(self, _let_go, self._process, self._channel)
        self._listener = Listener(
            self._process, self._channel, self._record, self.temporary_directory, self._stderr_grace
        )
        self._listener.start()
        return self

    def __enter__(self) -> Conversion:
        return self.start()

    def __exit__(self, *_: object) -> None:
        self.close()

    def environment(self) -> dict[str, str]:
        """The whole environment of the program; only after `start`."""
        request = replace(
            self._request,
            input_fifo_path=self._request.input_fifo_path or self.input_fifo,
            output_fifo_path=self._request.output_fifo_path or self.output_fifo,
        )
        own = {"TMPDIR": str(self.temporary_directory)}
        variables = {**request.environment(), **own, **self._overrides}
        return {name: value for name, value in variables.items() if value is not None}

    def _spawn(self, program: Path) -> subprocess.Popen:
        return subprocess.Popen(
            [str(program), *self._arguments],
            env=self.environment(),
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            bufsize=0,
            start_new_session=True,
        )

    # What can be seen while it runs.

    @property
    def pid(self) -> int:
        """Process id of the program, of its session and of its process group."""
        return self._process.pid

    @property
    def running(self) -> bool:
        """True until the program has ended and all that it wrote is recorded."""
        return self._listener is not None and self._record.outcome is None

    @property
    def events(self) -> tuple[Event, ...]:
        """All events so far."""
        return self._record.events

    @property
    def fifo_bytes(self) -> bytes:
        """All bytes that came through the output FIFO so far."""
        return self._record.fifo_bytes

    @property
    def stderr_text(self) -> str:
        """Standard error so far."""
        return self._record.stderr.decode(errors="replace")

    @property
    def pending_input(self) -> int:
        """Bytes of `send` that the input FIFO has not taken yet."""
        return self._listener.pending_input

    @property
    def directory(self) -> Path:
        """The private directory of this conversion."""
        return self._channel.directory

    @property
    def temporary_directory(self) -> Path:
        """TMPDIR of the program."""
        return Path(self._given_temporary_directory or self._channel.temporary_directory)

    @property
    def input_fifo(self) -> Path:
        """The FIFO that carries the host's bytes to the program."""
        return self._channel.input_path

    @property
    def output_fifo(self) -> Path:
        """The FIFO that carries the program's messages to the host."""
        return self._channel.output_path

    # Waiting.

    def wait_for(self, wanted: Event | Callable[[Event], object], timeout: float = 10.0) -> Event:
        """The first event, from the beginning, that equals `wanted` or for which it is true.

        Raises EndedEarly when the program ends without it, TimeoutError after `timeout` seconds.
        """
        fits = wanted if callable(wanted) else (lambda event: event == wanted)
        seen = 0

        def search() -> Event | None:
            nonlocal seen
            events = self._record.events_from(seen)
            seen += len(events)
            return next((event for event in events if fits(event)), None)

        aim = "the event waited for" if callable(wanted) else str(wanted)
        return self._record.wait(search, timeout, aim)

    def wait_until(self, condition: Callable[[Conversion], object], timeout: float = 10.0) -> None:
        """Waits until `condition` holds for this conversion. Raises as `wait_for` does."""
        self._record.wait(lambda: condition(self), timeout, "the state waited for")

    def follow(self, tick: float | None = None) -> Iterator[Event | None]:
        """Yields each event as it comes, Exit last; and None after every `tick` seconds without one."""
        number = 0
        while True:
            event = self._record.next_event(number, tick)
            yield event
            if isinstance(event, Exit):
                return
            number += event is not None

    def wait(self, timeout: float = 60.0) -> Outcome:
        """The outcome, once the program has ended. Raises TimeoutError after `timeout` seconds."""
        return self._record.wait(lambda: self._record.outcome, timeout, "the end of the program")

    # Acting.

    def send(self, data: bytes) -> None:
        """Queues bytes for the program; they go into the input FIFO as it takes them."""
        self._listener.send(data)

    def cancel(self) -> None:
        """Asks the program to cancel: one byte into the input FIFO."""
        self.send(CANCEL)

    def signal(self, number: int) -> None:
        """Sends a signal to the program alone; nothing happens when it has ended."""
        with contextlib.suppress(ProcessLookupError):
            self._process.send_signal(number)

    def kill(self) -> None:
        """Ends the program and all of its process group, without a chance to tidy up."""
        if self.running:
            _kill_group(self._process)

    def close(self) -> None:
        """Ends what still runs and removes the FIFOs and the directory. Twice does no harm."""
        if self._listener is None:
            return
        outcome = self._record.outcome
        if outcome is None or not outcome.stderr_closed:
            _kill_group(self._process)
        self._listener.grace = 0.2
        self._listener.wake()
        self._listener.join()
        self._finalizer.detach()
        self._channel.close()


def run(
    request: Request,
    program: str | os.PathLike[str] | None = None,
    *,
    timeout: float = 60.0,
    **options: object,
) -> Outcome:
    """Runs one conversion to its end; `options` are those of Conversion.

    Raises HostError when it cannot start, TimeoutError when it takes more than `timeout` seconds
    (the program is then ended).
    """
    with Conversion(request, program, **options) as conversion:
        return conversion.wait(timeout)


def _kill_group(process: subprocess.Popen) -> None:
    """SIGKILL to the group that the program leads, also when the program itself is gone."""
    with contextlib.suppress(ProcessLookupError, PermissionError):
        os.killpg(process.pid, signal.SIGKILL)


def _let_go(process: subprocess.Popen, channel: Channel) -> None:
    """The last resort, at the host's exit, for a conversion that nobody closed."""
    if process.poll() is None:
        _kill_group(process)
        process.wait()
    channel.close()


def _reason(error: Exception) -> str:
    return getattr(error, "strerror", None) or str(error)
