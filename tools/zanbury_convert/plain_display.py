"""Shows conversions as plain lines on standard error: for logs, pipes and simple terminals."""

from __future__ import annotations

import sys
import threading

from terminal_host import Raw, Section, Status, StderrLine
from terminal_host.events import Event

from .display import Tally, kind_of, server_words, words_of
from .ending import Ending
from .jobs import Job
from .printable import printable

_STEP = 25  # per cent between two lines of a section


class _Course:
    """How far one file has come, and the line that is held back.

    That a section is complete is told when the next one begins, or when all went well: after a
    failure nobody wants to read "100 %".
    """

    def __init__(self) -> None:
        self.section: tuple[str, int] | None = None
        self.title = ""
        self.step = 0
        self.held: str | None = None
        self.server = ""


class PlainDisplay:
    """One line for each new section, and for each quarter of one that has a maximum.

    Of several files only the ends are shown, unless everything is wanted.
    """

    def __init__(self, count: int, *, is_verbose: bool = False, is_quiet: bool = False) -> None:
        self._count = count
        self._done = 0
        self._is_verbose = is_verbose
        self._is_quiet = is_quiet
        self._courses: dict[int, _Course] = {}
        self._lock = threading.RLock()

    def begin(self, job: Job) -> None:
        self._courses[id(job)] = _Course()

    def connect(self, job: Job, server: str | None, number: int, rounds: float) -> None:
        words = server_words(server, number, rounds)
        course = self._courses[id(job)]
        if server is not None and words != course.server:
            course.server = words
            self._progress(job, f"Server: {words}")

    def show(self, job: Job, event: Event) -> None:
        with self._lock:
            if isinstance(event, Section):
                self._begin_section(job, event)
            elif isinstance(event, Status):
                self._advance(job, event)
            elif isinstance(event, StderrLine) and self._is_verbose:
                self._progress(job, printable(event.text))
            elif isinstance(event, Raw):
                data = printable(repr(event.data), 60)
                self._progress(job, f"{_time(event)}(bytes that are not a message: {data})")

    def line(self, job: Job, line: StderrLine) -> None:
        if not self._is_verbose:
            self._progress(job, printable(line.text))

    def notice(self, job: Job, kind: str, words: str) -> None:
        self._write(job, words)

    def end(self, job: Job, ending: Ending) -> None:
        with self._lock:
            self._done += 1
            course = self._courses.pop(id(job))
            if ending.is_success and course.held:
                self._progress(job, course.held)
            if self._count == 1:
                lines = words_of(job, ending)
            else:
                lines = self._line_of_one(job, ending)
            if not (self._is_quiet and ending.is_success):
                print(*lines, sep="\n", file=sys.stderr, flush=True)

    def summary(self, tally: Tally) -> None:
        if not (self._is_quiet and tally.status == 0):
            print(tally.words, file=sys.stderr, flush=True)

    def close(self) -> None:
        pass

    def _line_of_one(self, job: Job, ending: Ending) -> list[str]:
        width = len(str(self._count))
        head, *more = words_of(job, ending)
        if ending.is_success:
            more = []
        first = f"[{self._done:{width}d}/{self._count}] {job.name}: {head}"
        return [first, *(f"    {line}" for line in more)]

    def _begin_section(self, job: Job, section: Section) -> None:
        course = self._courses[id(job)]
        same = (kind_of(section.title), section.maximum)
        if same != course.section:
            if course.held:
                self._progress(job, course.held)
            course.section, course.step, course.held = same, 0, None
            course.title = printable(section.title or "Working...")
            self._progress(job, f"{_time(section)}{course.title}")

    def _advance(self, job: Job, status: Status) -> None:
        course = self._courses[id(job)]
        maximum = course.section[1] if course.section else 0
        step = min(100, 100 * status.value // maximum) // _STEP if maximum else 0
        if step > course.step:
            course.step = step
            line = f"{_time(status)}{course.title} {step * _STEP} %"
            if step * _STEP == 100:
                course.held = line
            else:
                self._progress(job, line)

    def _progress(self, job: Job, words: str) -> None:
        if not self._is_quiet and (self._count == 1 or self._is_verbose):
            self._write(job, words)

    def _write(self, job: Job, words: str) -> None:
        name = "" if self._count == 1 else f"{job.name}: "
        with self._lock:
            print(f"{name}{words}", file=sys.stderr, flush=True)


def _time(event: Section | Status | Raw) -> str:
    return f"{event.at:7.1f} s  "
