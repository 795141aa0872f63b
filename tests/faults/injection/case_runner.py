"""Where cases are run: one sshd, one server key and one tmpfs for many conversions in turn."""

from __future__ import annotations

import contextlib
import shutil
import tempfile
from collections.abc import Iterator
from pathlib import Path

from fault_scenario import FaultScenario
from host_harness import HostHarness
from injection.case import Case, Verdict, run
from injection.targets import target
from injection.trace import Trace
from process_tree import become_subreaper
from standin import LoopbackSshd, ServerKeys
from tmpfs import Tmpfs


class CaseRunner:
    """Use it in a with-block, from the main thread of a process of its own."""

    def __init__(self, program: Path) -> None:
        self._program = program
        self._cases = 0
        self._open = contextlib.ExitStack()

    def __enter__(self) -> CaseRunner:
        become_subreaper()
        self._directory = Path(tempfile.mkdtemp(prefix="inject-faults."))
        self._open.callback(shutil.rmtree, self._directory, ignore_errors=True)
        for name in ("bundle", "tmpfs"):
            (self._directory / name).mkdir()
        self._tmpfs = self._open.enter_context(Tmpfs(self._directory / "tmpfs"))
        quiet = LoopbackSshd(extra_configuration="SetEnv SHLVL=1")
        self._sshd = self._open.enter_context(quiet)
        self._keys = ServerKeys.generate()
        return self

    def __exit__(self, *_: object) -> None:
        self._open.close()

    def run(self, case: Case, full_trace: Path | None = None) -> Verdict:
        """Runs one case; `full_trace` is a file that then holds all calls of the program."""
        with self._scenario() as scenario:
            trace = full_trace or self._directory / "trace"
            process = target(case.kind.target, self._directory / "bundle")
            return run(case, process, scenario, trace, full_trace is not None)

    def trace(self, name: str = "program") -> Trace:
        """All calls of that target in a conversion without a fault."""
        with self._scenario() as scenario:
            file = self._directory / "trace"
            process = target(name, self._directory / "bundle")
            scenario.assert_survived(scenario.end_of(process.begin(scenario, file, [])))
            return Trace(file)

    def cases(self, name: str) -> list[Case]:
        """Every call that target makes without a fault, with every error that it can have."""
        trace = self.trace(name)
        process = target(name, self._directory / "bundle")
        return [
            Case(kind, number)
            for kind in process.kinds(trace)
            for number in range(1, process.count(trace, kind.call) + 1)
        ]

    @contextlib.contextmanager
    def _scenario(self) -> Iterator[FaultScenario]:
        self._cases += 1
        place = self._directory / f"harness{self._cases}"
        place.mkdir()
        (self._directory / "trace").unlink(missing_ok=True)
        try:
            with HostHarness(self._program, self._keys, self._sshd, place) as harness:
                yield FaultScenario(harness, self._tmpfs)
        finally:
            shutil.rmtree(place, ignore_errors=True)
            for left in self._tmpfs.path.iterdir():
                shutil.rmtree(left, ignore_errors=True)
