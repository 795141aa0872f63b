"""Shows conversions on a terminal: the lines at the bottom move, what is finished stays above."""

from __future__ import annotations

import threading
import time

from rich.console import Console, ConsoleOptions, RenderResult
from rich.live import Live
from rich.text import Text

from terminal_host import Raw, Section, Status, StderrLine
from terminal_host.events import Event

from .display import Tally, kind_of, server_words, words_of
from .ending import Ending
from .jobs import Job
from .printable import printable
from .screen import Row, TerminalStyle, lines_of_one, lines_of_several


class LiveDisplay:
    """The moving lines, with python3-rich. The lines above them are in the order of the events."""

    def __init__(self, count: int, *, is_verbose: bool = False) -> None:
        self._count = count
        self._is_verbose = is_verbose
        self._console = Console(stderr=True, highlight=False)
        self._is_rich = self._console.encoding.startswith("utf")
        self._rows: dict[int, Row] = {}
        self._kinds: dict[int, tuple[str, int]] = {}
        self._ended = [0, 0]  # well, badly
        self._began = time.monotonic()
        self._lock = threading.RLock()
        self._live = Live(self, console=self._console, transient=True, refresh_per_second=10)
        self._live.start()

    def __rich_console__(self, console: Console, options: ConsoleOptions) -> RenderResult:
        """The moving lines as they are at this moment."""
        style = TerminalStyle(options.max_width, self._is_rich)
        now = time.monotonic()
        # Without our lock: this thread holds the library's, which the others take after ours.
        rows = list(self._rows.values())
        if self._count > 1:
            lines = lines_of_several(rows, self._counted(), self._began, style, now)
        else:
            lines = [line for row in rows for line in lines_of_one(row, style, now)]
        yield Text("\n".join(lines), no_wrap=True, overflow="crop")

    def begin(self, job: Job) -> None:
        with self._lock:
            self._rows[id(job)] = Row(job.name, time.monotonic())

    def connect(self, job: Job, server: str | None, number: int, rounds: float) -> None:
        with self._lock:
            self._rows[id(job)].server = server_words(server, number, rounds)

    def show(self, job: Job, event: Event) -> None:
        """Sections move the line, all else is printed above it."""
        with self._lock:
            if isinstance(event, Section):
                self._begin_section(job, event)
            elif isinstance(event, Status):
                self._rows[id(job)].value = event.value
            elif isinstance(event, StderrLine) and self._is_verbose:
                self._print(job, f"  {printable(event.text)}", "yellow")
            elif isinstance(event, Raw):
                data = printable(repr(event.data), 60)
                self._print(job, f"  bytes that are not a message: {data}", "dim")

    def line(self, job: Job, line: StderrLine) -> None:
        if not self._is_verbose:
            self._print(job, f"  {printable(line.text)}", "yellow")

    def notice(self, job: Job, kind: str, words: str) -> None:
        """In bold: it answers what the user did, or tells what nobody but the user can mend."""
        self._print(job, words, "bold")

    def end(self, job: Job, ending: Ending) -> None:
        """Ends the last section and tells in words what has come of it all."""
        with self._lock:
            # After a failure nobody wants to read that the last section was complete.
            is_told = ending.is_success or self._rows[id(job)].share != 1.0
            if self._count == 1 and is_told and id(job) in self._kinds:
                self._finish_section(job)
            self._rows.pop(id(job))
            self._kinds.pop(id(job), None)
            self._ended[not ending.is_success] += 1
            if self._count == 1:
                self.close()
            self._tell(job, ending)

    def summary(self, tally: Tally) -> None:
        self.close()
        self._console.print(Text(tally.words), soft_wrap=True)

    def close(self) -> None:
        """Removes the moving lines. Twice does no harm."""
        self._live.stop()

    def _tell(self, job: Job, ending: Ending) -> None:
        head, *more = words_of(job, ending)
        style = "green" if ending.is_success else "red"
        if self._count == 1:
            self._write(head, "" if ending.is_success else style)
        else:
            mark = self._mark(ending.is_success)
            seconds = f"  {ending.seconds:.1f} s" if ending.is_success else ""
            self._write(f"{mark} {job.name}: {head}{seconds}", style)
        for line in more if self._count == 1 or not ending.is_success else []:
            self._write(line if self._count == 1 else f"    {line}", "")

    def _begin_section(self, job: Job, section: Section) -> None:
        row = self._rows[id(job)]
        same = (kind_of(section.title), section.maximum)
        if same != self._kinds.get(id(job)):
            if self._count == 1 and id(job) in self._kinds:
                self._finish_section(job)
            self._kinds[id(job)] = same
            row.value, row.section_began = 0, time.monotonic()
        row.title = printable(section.title or "Working...", 200)
        row.maximum = section.maximum

    def _finish_section(self, job: Job) -> None:
        """Prints the section as it stands; only one that reached its maximum is ticked off."""
        row = self._rows[id(job)]
        complete = row.share == 1.0
        mark = self._mark(True) if complete else " "
        seconds = time.monotonic() - row.section_began
        self._print(job, f"{mark} {row.title}  {seconds:.1f} s", "green" if complete else "")

    def _mark(self, is_good: bool) -> str:
        return ("✓" if is_good else "✗") if self._is_rich else ("x" if is_good else "!")

    def _counted(self) -> str:
        well, badly = self._ended
        failed = f", {badly} not converted" if badly else ""
        return f"{well + badly} of {self._count} files{failed}"

    def _print(self, job: Job, line: str, style: str) -> None:
        name = "" if self._count == 1 else f"{job.name}: "
        self._write(f"{name}{line}", style)

    def _write(self, line: str, style: str) -> None:
        self._console.print(Text(line, style=style), soft_wrap=True)
