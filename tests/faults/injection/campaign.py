"""All cases, or a sample of them, on several workers; and the table that comes of it."""

from __future__ import annotations

import multiprocessing
from collections import Counter
from collections.abc import Callable, Iterable
from dataclasses import dataclass, field
from pathlib import Path

from injection.case import ACCEPTED, BROKEN, CONVERTED, FAILED_CLEANLY, NOT_REACHED, Case, Verdict
from injection.case_runner import CaseRunner
from injection.kinds import Kind
from process_tree import die_with_parent


def sample(cases: list[Case], size: int) -> list[Case]:
    """So many of the cases, spread evenly over them."""
    size = min(size, len(cases))
    return [cases[(2 * index + 1) * len(cases) // (2 * size)] for index in range(size)]


@dataclass
class Campaign:
    """Runs cases and keeps their verdicts; `report` is called with each as it comes."""

    program: Path
    workers: int
    report: Callable[[Verdict], None]
    verdicts: list[Verdict] = field(default_factory=list)

    def run(self, cases: Iterable[Case], to_the_end: bool) -> None:
        """Runs these; `to_the_end` goes on with each kind's next number until it is not reached."""
        queue: multiprocessing.Queue = multiprocessing.Queue()
        results: multiprocessing.Queue = multiprocessing.Queue()
        waiting = list(cases)
        last = {case.kind: case.number for case in waiting}
        for case in waiting:
            queue.put(case)
        processes = [
            multiprocessing.Process(target=_work, args=(self.program, queue, results))
            for _ in range(self.workers)
        ]
        for process in processes:
            process.start()
        outstanding = len(waiting)
        while outstanding:
            verdict = results.get()
            outstanding -= 1
            self.verdicts.append(verdict)
            self.report(verdict)
            case = verdict.case
            if to_the_end and case.number == last[case.kind] and verdict.word != NOT_REACHED:
                last[case.kind] += 1
                outstanding += 1
                queue.put(Case(case.kind, last[case.kind]))
        for _ in processes:
            queue.put(None)
        for process in processes:
            process.join()

    @property
    def broken(self) -> list[Verdict]:
        """Those that were not survived."""
        return [verdict for verdict in self.verdicts if verdict.word == BROKEN]

    def table(self) -> str:
        """The counts of each kind, and of all."""
        counts: dict[Kind, Counter[str]] = {}
        for verdict in self.verdicts:
            counts.setdefault(verdict.case.kind, Counter())[verdict.word] += 1
        rows = [_row(str(kind), counts[kind]) for kind in sorted(counts)]
        total: Counter[str] = sum(counts.values(), Counter())
        return "\n".join([_HEADING, *rows, _row("all", total)])


_WORDS = (CONVERTED, FAILED_CLEANLY, ACCEPTED, BROKEN)
_HEADING = f"{'process:call-error':32}{'cases':>8}" + "".join(f"{word:>18}" for word in _WORDS)


def _row(name: str, counts: Counter[str]) -> str:
    cases = sum(counts[word] for word in _WORDS)
    return f"{name:32}{cases:8}" + "".join(f"{counts[word]:18}" for word in _WORDS)


def _work(program: Path, queue: multiprocessing.Queue, results: multiprocessing.Queue) -> None:
    die_with_parent()
    with CaseRunner(program) as runner:
        while (case := queue.get()) is not None:
            try:
                results.put(runner.run(case))
            except Exception as error:  # a defect of the driver must not look like silence
                results.put(Verdict(case, BROKEN, f"the driver failed: {error!r}", 0.0))
