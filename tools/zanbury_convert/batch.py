"""Converts all files of a call, some at a time, and counts what became of them."""

from __future__ import annotations

import threading
import time
from collections import deque
from collections.abc import Sequence

from .codes import Code
from .display import Display, Tally
from .ending import Ending
from .interruption import Interruption, StopLevel
from .jobs import Job
from .run import Run
from .settings import Settings

_LOOK = 0.2  # seconds; a waiting main thread lets signals in
_SOME_SKIPPED = 2  # exit status when nothing failed, but not every file was converted


class Batch:
    """The files of one call. The main thread waits; signals come to it alone."""

    def __init__(
        self,
        jobs: Sequence[Job],
        settings: Settings,
        display: Display,
        interruption: Interruption,
    ) -> None:
        self._waiting = deque(jobs)
        self._settings = settings
        self._display = display
        self._interruption = interruption
        self._lock = threading.Lock()
        self._endings: list[tuple[Job, Ending]] = []
        self._about_servers: Ending | None = None
        self._failure: BaseException | None = None

    def convert(self) -> int:
        """Converts all of them; the exit status."""
        begun = time.monotonic()
        if len(self._waiting) == 1:
            return (
                Run(self._waiting[0], self._settings, self._display, self._interruption)
                .convert()
                .status
            )
        count = min(self._settings.jobs, len(self._waiting))
        threads = [threading.Thread(target=self._work, daemon=True) for _ in range(count)]
        for thread in threads:
            thread.start()
        for thread in threads:
            while thread.is_alive():
                thread.join(_LOOK)
        if self._failure is not None:
            raise self._failure
        tally = self._tally(time.monotonic() - begun)
        self._display.summary(tally)
        return tally.status

    def _work(self) -> None:
        """Takes one file after the other until none is left."""
        try:
            while (job := self._next()) is not None:
                ending = self._convert(job)
                with self._lock:
                    self._endings.append((job, ending))
                    if ending.code.is_about_servers and ending.code is not Code.NOT_TRIED:
                        self._about_servers = ending
        except BaseException as failure:
            self._failure = failure
            self._interruption.demand_end()

    def _next(self) -> Job | None:
        with self._lock:
            return self._waiting.popleft() if self._waiting else None

    def _convert(self, job: Job) -> Ending:
        ending = self._forestalled(job)
        if ending is None:
            return Run(job, self._settings, self._display, self._interruption).convert()
        self._display.begin(job)
        self._display.end(job, ending)
        return ending

    def _forestalled(self, job: Job) -> Ending | None:
        """The ending of a file that need not be tried."""
        if job.ending is not None:
            return job.ending
        if self._about_servers is None or self._interruption.level is not StopLevel.NONE:
            return None
        code = Code.NOT_TRIED
        words = f"Not tried: {self._about_servers.reason}"
        return Ending(code, code.status, words)

    def _tally(self, seconds: float) -> Tally:
        skipped = sum(job.is_skipped for job, _ in self._endings)
        converted = sum(ending.is_success for _, ending in self._endings)
        failed = len(self._endings) - skipped - converted
        status = 1 if failed else _SOME_SKIPPED if skipped else 0
        if self._interruption.level is not StopLevel.NONE and failed:
            status = self._interruption.status
        return Tally(converted, failed, skipped, seconds, status)
