"""A conversion to which something happens, and the eight things that must hold afterwards."""

from __future__ import annotations

import contextlib
import os
import signal
import time
from collections.abc import Collection
from pathlib import Path
from typing import Any

from canaries import canaries_of, found_in, hide_in_source
from descriptors import DescriptorCount
from host_harness import PATIENCE, HostHarness
from host_view import log_lines
from process_tree import children, survivors_of
from standin.conversion import Conversion as ToolRun
from standin.conversion import SourceFile
from terminal_host import Conversion, Outcome
from tmpfs import Tmpfs


class FaultScenario:
    """A harness whose secrets are canaries, a tmpfs that must be empty in the end (`tmpfs` is its
    path, `file_system` the mount), and the checks."""

    def __init__(self, harness: HostHarness, file_system: Tmpfs) -> None:
        self.harness = harness
        self.file_system = file_system
        self.tmpfs = file_system.path
        self.grace = PATIENCE  # seconds that a descendant has to notice that the program is gone
        self._known = children()
        self._counts: dict[int, DescriptorCount] = {}
        self._began = time.time()
        hide_in_source(harness)

    def begin(self, script: Any = None, **options: Any) -> Conversion:
        """As HostHarness.begin, with the tmpfs as TMPDIR unless another is given."""
        options.setdefault("temporary_directory", self.tmpfs)
        conversion = self.harness.begin(script, **options)
        self._known.add(conversion.pid)
        self._counts[conversion.pid] = DescriptorCount(conversion.pid)
        return conversion

    def descriptors_of(self, conversion: Conversion) -> DescriptorCount:
        """The count of a conversion that `begin` has started, for check 7."""
        return self._counts[conversion.pid]

    def convert(self, script: Any = None, **options: Any) -> Outcome:
        """As HostHarness.convert; a program that does not end is check 1's failure."""
        return self.end_of(self.begin(script, **options))

    def end_of(self, conversion: Conversion, bound: float = PATIENCE) -> Outcome:
        """The outcome of a conversion, which has `bound` seconds from now to end."""
        try:
            return conversion.wait(bound)
        except TimeoutError as error:
            raise AssertionError(f"check 1, it ended within its bound: {error}") from error

    def assert_survived(
        self,
        outcome: Outcome,
        *,
        bound: float = PATIENCE,
        whole: bytes | None = None,
        earlier: bytes | None = None,
        silent: bool = False,
        leaves: Collection[str] = (),
        keeps_flags: bool = True,
    ) -> None:
        """The eight checks. `whole` is the complete result, `earlier` what stood in its place.

        The rest is for faults that cannot be survived so well: `silent` needs no line of cause,
        `leaves` are names that may stay in the tmpfs (of a file that fills it, say), and
        `keeps_flags` is False where the program was killed.
        """
        failures = [
            *_ended_in_time(outcome, bound),
            *self._no_descendant(outcome),
            *self._nothing_in_tmpfs(leaves),
            *self._cause_given(outcome, whole, silent),
            *self._result_whole_or_failure(outcome, whole, earlier),
            *self._no_canary(outcome),
            *self._descriptors_as_ever(outcome),
            *_flags_as_before(outcome, keeps_flags),
        ]
        assert not failures, "\n".join([*failures, outcome.report()])

    def _no_descendant(self, outcome: Outcome) -> list[str]:
        left = survivors_of(outcome.pid, self._known, self.grace)
        for process in left:
            with contextlib.suppress(ProcessLookupError):
                os.kill(process.pid, signal.SIGKILL)
        return [f"check 2, no descendant is left: {process}" for process in left]

    def _nothing_in_tmpfs(self, leaves: Collection[str]) -> list[str]:
        names = sorted(set(os.listdir(self.tmpfs)) - set(leaves))
        return [f"check 3, TMPDIR is empty: {name}" for name in names]

    def _cause_given(self, outcome: Outcome, whole: bytes | None, silent: bool) -> list[str]:
        if silent or self._converted(outcome, whole):
            return []
        if any(line.strip() for line in log_lines(outcome)):
            return []
        return ["check 4, standard error has a line of cause"]

    def _result_whole_or_failure(
        self, outcome: Outcome, whole: bytes | None, earlier: bytes | None
    ) -> list[str]:
        if outcome.status != 0 or self._converted(outcome, whole):
            return []
        if not self.harness.result.exists() or self.harness.result.read_bytes() == earlier:
            return []
        return ["check 5, no partial result without a failure status"]

    def _converted(self, outcome: Outcome, whole: bytes | None) -> bool:
        if outcome.status != 0 or not self.harness.result.is_file():
            return False
        return self.harness.result.read_bytes() == (self.whole_result() if whole is None else whole)

    def whole_result(self) -> bytes:
        """What the stand-in's tool makes of the source."""
        file = SourceFile(self.harness.source.name, self.harness.source.read_bytes())
        converted = ToolRun(lambda _: None, lambda: None).run("StatementTool", file).converted
        assert converted is not None, "the source cannot be converted: pass `whole`"
        return converted

    def _no_canary(self, outcome: Outcome) -> list[str]:
        places = [("standard error", outcome.stderr), ("standard output", outcome.stdout)]
        places += [(str(file), file.read_bytes()) for file in self._leftover_files()]
        return [
            f"check 6, no secret is seen: {finding}"
            for finding in found_in(canaries_of(self.harness), places)
        ]

    def _leftover_files(self) -> list[Path]:
        """What is left in the tmpfs, cores of this run, and what stands beside the result."""
        cores = [core for core in Path.cwd().glob("core*") if core.stat().st_mtime >= self._began]
        beside = [
            path
            for path in self.harness.result.parent.iterdir()
            if path not in (self.harness.source, self.harness.result)
        ]
        return [path for path in [*self.tmpfs.rglob("*"), *cores, *beside] if path.is_file()]

    def _descriptors_as_ever(self, outcome: Outcome) -> list[str]:
        count = self._counts.pop(outcome.pid, None)
        if count is None:
            return []
        count.stop()
        if count.last <= DescriptorCount.MOST:
            return []
        return [f"check 7, descriptors did not grow: {count.last} at the end"]


def _ended_in_time(outcome: Outcome, bound: float) -> list[str]:
    if outcome.duration <= bound:
        return []
    return [f"check 1, it ended within its bound: {outcome.duration:.1f} s"]


def _flags_as_before(outcome: Outcome, keeps_flags: bool) -> list[str]:
    if not keeps_flags or outcome.flags_after == outcome.flags_before:
        return []
    flags = f"{outcome.flags_before} became {outcome.flags_after}"
    return [f"check 8, the host's descriptors have their flags: {flags}"]
