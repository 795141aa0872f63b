"""The command `convert`: one conversion from a shell, from its options to its exit status."""

from __future__ import annotations

import os
import sys
from dataclasses import dataclass
from pathlib import Path

from .conversion import Conversion
from .display import Display, Ending, JsonDisplay, PlainDisplay
from .errors import HostError
from .events import Exit
from .interruption import PATIENCE, Interruption, Step
from .options import UsageError, complain, parse_arguments
from .settings import Settings, settings_of
from .shown import shown

_TICK = 0.1  # seconds; how soon a Ctrl-C is noticed
_NOTICES = {
    Step.CANCEL: ("cancel", "Asked the program to cancel. Ctrl-C again ends it."),
    Step.TERMINATE: ("terminate", f"Ending the program; by force in {PATIENCE:.0f} seconds."),
    Step.KILL: ("kill", "Ended the program by force."),
}


def main(arguments: list[str]) -> int:
    """Runs the command; gives the exit status."""
    try:
        options = parse_arguments(arguments)
        settings = settings_of(options)
        display = choose_display(options.json, options.plain)
        return convert(settings, display)
    except (UsageError, HostError) as error:
        complain(str(error))
        return 2
    except BrokenPipeError:
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        return 1


def convert(settings: Settings, display: Display) -> int:
    """Runs one conversion, shown on the display, with Ctrl-C as a cancel; gives the exit status."""
    delivery = _Delivery(settings.output, settings.logs)
    try:
        with Interruption() as interruption:
            status = _follow(settings, display, interruption)
        ending = _ending(status, interruption.step, delivery)
        display.end(ending)
        return ending.status
    finally:
        delivery.tidy()
        display.close()


def _follow(settings: Settings, display: Display, interruption: Interruption) -> int:
    """Shows every event until the program has ended; gives its status."""
    with Conversion(settings.request, settings.program, keep_history=False) as conversion:
        for event in conversion.follow(_TICK):
            if event is not None:
                display.show(event)
            if isinstance(event, Exit):
                return event.status
            step = interruption.attend(conversion)
            if step is not None:
                display.notice(*_NOTICES[step])
    raise AssertionError("the events end with the exit")


class _Delivery:
    """Tells what the program has put at the places for result and logs.

    The logs' directory is made beforehand: a tool without logs is then no failure.
    """

    def __init__(self, output: Path, logs: Path) -> None:
        self._output = output
        self._logs = logs
        self._before = _identity(output)
        self._made_logs = not logs.exists()
        logs.mkdir(exist_ok=True)
        self._logs_before = _identities(logs)

    @property
    def result(self) -> Path | None:
        """The converted file; None when nothing new stands there."""
        now = _identity(self._output)
        return self._output if now is not None and now != self._before else None

    @property
    def logs(self) -> Path | None:
        """The directory with the logs; None when nothing new came."""
        return self._logs if _identities(self._logs) != self._logs_before else None

    def tidy(self) -> None:
        """Removes the logs' directory again if it was made for nothing."""
        if self._made_logs and self._logs.is_dir() and not any(self._logs.iterdir()):
            self._logs.rmdir()


@dataclass(frozen=True)
class _Identity:
    """Tells a file from another one that was put in its place."""

    inode: int
    changed: int


def _identity(path: Path) -> _Identity | None:
    try:
        status = path.stat()
    except OSError:
        return None
    return _Identity(status.st_ino, status.st_ctime_ns)


def _identities(directory: Path) -> dict[Path, _Identity | None]:
    return {path: _identity(path) for path in directory.iterdir()} if directory.is_dir() else {}


def _ending(status: int, step: Step, delivery: _Delivery) -> Ending:
    """What happened, in the user's words."""
    result, logs = delivery.result, delivery.logs
    words = [_verdict(status, step, result is not None)]
    if result is not None:
        words.append(f"Result: {shown(str(result))} ({result.stat().st_size:,} bytes)")
    if logs is not None:
        words.append(f"Logs:   {shown(str(logs))}")
    code = 128 - status if status < 0 else status
    return Ending(code, _text(result), _text(logs), tuple(words))


def _text(path: Path | None) -> str | None:
    return None if path is None else str(path)


def _verdict(status: int, step: Step, delivered: bool) -> str:
    if status < 0:
        return f"The program was ended by signal {-status}. Nothing was converted."
    if status == 0 and delivered:
        return "Converted."
    if status == 0:
        return "The program ended without an error, but no result came."
    if delivered:
        return f"The tool failed with status {status}; what it made of the file is kept."
    if step is not Step.NONE:
        return "Canceled. Nothing was converted."
    return f"The conversion failed with status {status}. Nothing was converted."


def choose_display(json: bool = False, plain: bool = False) -> Display:
    """Live where the terminal can move its cursor and python3-rich is there, else plain lines."""
    if json:
        return JsonDisplay()
    if plain or not sys.stdout.isatty() or os.environ.get("TERM", "dumb") == "dumb":
        return PlainDisplay()
    try:
        from .live_display import LiveDisplay
    except ImportError:
        return PlainDisplay()
    return LiveDisplay()
