"""Shows a running conversion on a terminal: the present section moves, earlier ones stay."""

from __future__ import annotations

import time

from rich.console import Console
from rich.progress import BarColumn, Progress, SpinnerColumn, Task, TaskID, TextColumn
from rich.progress_bar import ProgressBar
from rich.text import Text

from .display import Ending, kind_of
from .events import Event, Raw, Section, Status, StderrLine
from .shown import shown


class _Bar(BarColumn):
    """A bar for a section that told its maximum; others have the spinner alone."""

    def render(self, task: Task) -> ProgressBar | Text:  # type: ignore[override]
        return super().render(task) if task.total else Text("")


class _Share(TextColumn):
    """How much of the maximum is done, in per cent."""

    def render(self, task: Task) -> Text:
        return Text(f"{task.percentage:3.0f} %" if task.total else "", style="progress.percentage")


class LiveDisplay:
    """One line that moves, with python3-rich. The lines above it are in the order of the events."""

    def __init__(self, console: Console | None = None) -> None:
        self._console = console or Console(highlight=False)
        self._progress = Progress(
            SpinnerColumn(),
            TextColumn("{task.fields[title]}", markup=False),
            _Bar(bar_width=30),
            _Share(""),
            TextColumn("{task.fields[seconds]}", style="progress.elapsed"),
            console=self._console,
            transient=True,
        )
        self._section: tuple[str, int] | None = None
        self._task: TaskID | None = None
        self._began = 0.0
        self._progress.start()

    def show(self, event: Event) -> None:
        """Sections move the line, all else is printed above it."""
        if isinstance(event, Section):
            self._begin(event)
        elif isinstance(event, Status) and self._task is not None:
            self._progress.update(self._task, completed=event.value)
        elif isinstance(event, StderrLine):
            self._print(f"  {shown(event.text)}", "yellow")
        elif isinstance(event, Raw):
            self._print(f"  bytes that are no message: {shown(repr(event.data), 60)}", "dim")

    def notice(self, kind: str, words: str) -> None:
        """In bold: it answers what the user did."""
        self._print(words, "bold")

    def end(self, ending: Ending) -> None:
        """Ends the section and tells in words what has come of it."""
        self._finish_section()
        self.close()
        for line in ending.words:
            self._print(line, "")

    def close(self) -> None:
        """Removes the moving line. Twice does no harm."""
        self._progress.stop()

    def _begin(self, section: Section) -> None:
        same = (kind_of(section.title), section.maximum)
        title = shown(section.title or "Working...", 60)
        if same == self._section and self._task is not None:
            self._progress.update(self._task, title=title)
            return
        self._finish_section()
        self._section, self._began = same, time.monotonic()
        total = section.maximum or None
        self._task = self._progress.add_task("", total=total, title=title, seconds="")

    def _finish_section(self) -> None:
        """Prints the section as it stands; only one that reached its maximum is ticked off."""
        if self._task is None:
            return
        task = self._progress.tasks[0]
        complete = bool(task.total) and task.completed >= (task.total or 0)
        tick = ("✓" if self._console.encoding.startswith("utf") else "x") if complete else " "
        seconds = time.monotonic() - self._began
        self._progress.remove_task(self._task)
        self._task = None
        self._print(f"{tick} {task.fields['title']}  {seconds:.1f} s", "green" if complete else "")

    def _print(self, line: str, style: str) -> None:
        self._console.print(Text(line, style=style), soft_wrap=True)
