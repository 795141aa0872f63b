"""One conversion, run as the desktop host runs it: FIFOs, environment, program, tidying up."""

from __future__ import annotations

import contextlib
import os
import signal
import subprocess
import weakref
from collections.abc import Callable, Iterator, Mapping, Sequence
from dataclasses import dataclass, replace
from pathlib import Path
from typing import Any, cast

from .channel import Channel
from .errors import HostError
from .events import Event, Exit
from .listener import Listener
from .outcome import Outcome
from .program import find_program
from .record import Record
from .request import Request
from .streams import SharedStreams

CANCEL = b"\x18"  # any byte outside the forwarding phase cancels; this one says so in ASCII
_PATIENCE = 300.0  # seconds; long enough for any machine, so that only a hang is caught


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
        self._run: _Run | None = None

    def start(self) -> Conversion:
        """Makes the FIFOs and starts the program; HostError says why that cannot be done."""
        program = find_program(self._program)
        channel = Channel()
        place = Path(self._given_temporary_directory or channel.temporary_directory)
        streams = SharedStreams()
        try:
            process = self._spawn(program, self._environment(channel, place), streams)
        except (OSError, ValueError) as error:
            streams.let_go()
            streams.close()
            channel.close()
            raise HostError(f"cannot start {program}: {_reason(error)}") from error
        listener = Listener(process, streams, channel, self._record, place, self._stderr_grace)
        end = weakref.finalize(self, _let_go, process, channel, listener, self._record)
        self._run = _Run(channel, place, process, listener, end)
        listener.start()
        return self

    def __enter__(self) -> Conversion:
        return self.start()

    def __exit__(self, *_: object) -> None:
        self.close()

    def _environment(self, channel: Channel, temporary_directory: Path) -> dict[str, str]:
        request = replace(
            self._request,
            input_fifo_path=self._request.input_fifo_path or channel.input_path,
            output_fifo_path=self._request.output_fifo_path or channel.output_path,
        )
        variables: dict[str, str | None] = {**request.environment()}
        variables["TMPDIR"] = str(temporary_directory)
        variables.update(self._overrides)
        return {name: value for name, value in variables.items() if value is not None}

    def _spawn(
        self, program: Path, environment: Mapping[str, str], streams: SharedStreams
    ) -> subprocess.Popen:
        return subprocess.Popen(
            [str(program), *self._arguments],
            env=environment,
            stdin=streams.input,
            stdout=streams.output,
            stderr=streams.error,
            start_new_session=True,
        )

    @property
    def _started(self) -> _Run:
        if self._run is None:
            raise RuntimeError("the conversion is not started")
        return self._run

    # What can be seen while it runs.

    @property
    def pid(self) -> int:
        """Process id of the program, of its session and of its process group."""
        return self._started.process.pid

    @property
    def running(self) -> bool:
        """True until the program has ended and all that it wrote is recorded."""
        return self._run is not None and self._record.outcome is None

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
        return self._started.listener.pending_input

    @property
    def directory(self) -> Path:
        """The private directory of this conversion."""
        return self._started.channel.directory

    @property
    def temporary_directory(self) -> Path:
        """TMPDIR of the program."""
        return self._started.temporary_directory

    @property
    def input_fifo(self) -> Path:
        """The FIFO that carries the host's bytes to the program."""
        return self._started.channel.input_path

    @property
    def output_fifo(self) -> Path:
        """The FIFO that carries the program's messages to the host."""
        return self._started.channel.output_path

    # Waiting.

    def wait_for(
        self, wanted: Event | Callable[[Event], object], timeout: float = _PATIENCE
    ) -> Event:
        """The first event, from the beginning, that equals `wanted` or for which it is true.

        Raises EndedEarly when the program ends without it, TimeoutError after `timeout` seconds.
        """
        seen = 0

        def fits(event: Event) -> bool:
            return bool(wanted(event)) if callable(wanted) else event == wanted

        def search() -> Event | None:
            nonlocal seen
            new = self._record.events_from(seen)
            seen += len(new)
            return next((event for event in new if fits(event)), None)

        aim = "the event waited for" if callable(wanted) else str(wanted)
        found = self._record.wait(search, timeout, aim)
        return cast(Event, found)

    def wait_until(
        self, condition: Callable[[Conversion], object], timeout: float = _PATIENCE
    ) -> None:
        """Waits until `condition` holds for this conversion. Raises as `wait_for` does."""
        self._record.wait(lambda: condition(self), timeout, "the state waited for")

    def follow(self, tick: float | None = None) -> Iterator[Event | None]:
        """Yields each event as it comes, Exit last; and None after each `tick` seconds without."""
        number = 0
        while True:
            event = self._record.next_event(number, tick)
            yield event
            if isinstance(event, Exit):
                return
            number += event is not None

    def wait(self, timeout: float = _PATIENCE) -> Outcome:
        """The outcome, once the program has ended. Raises TimeoutError after `timeout` seconds."""
        return self._record.wait(lambda: self._record.outcome, timeout, "the end of the program")

    # Acting.

    def send(self, data: bytes) -> None:
        """Queues bytes for the program; they go into the input FIFO as it takes them."""
        self._started.listener.send(data)

    def cancel(self) -> None:
        """Asks the program to cancel: one byte into the input FIFO."""
        self.send(CANCEL)

    def signal(self, number: int) -> None:
        """Sends a signal to the program alone; nothing happens when it has ended."""
        with contextlib.suppress(ProcessLookupError):
            self._started.process.send_signal(number)

    def kill(self) -> None:
        """Ends the program and all of its process group, without a chance to tidy up."""
        if self.running:
            _kill_group(self._started.process)

    def close(self) -> None:
        """Ends what still runs and removes the FIFOs and the directory. Twice does no harm."""
        if self._run is not None:
            self._run.let_go()


@dataclass(frozen=True)
class _Run:
    """What a conversion holds once it is started."""

    channel: Channel
    temporary_directory: Path
    process: subprocess.Popen
    listener: Listener
    let_go: weakref.finalize  # acts once: at `close`, else when the object or the host goes


def run(
    request: Request,
    program: str | os.PathLike[str] | None = None,
    *,
    timeout: float = _PATIENCE,
    **options: Any,
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


def _let_go(
    process: subprocess.Popen, channel: Channel, listener: Listener, record: Record
) -> None:
    """Ends what still runs of the program, and removes what was made for it."""
    if record.outcome is None or not record.outcome.stderr_closed:
        _kill_group(process)
    listener.hurry()
    listener.join()
    channel.close()


def _reason(error: Exception) -> str:
    return getattr(error, "strerror", None) or str(error)
