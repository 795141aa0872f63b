"""Where cases are run: one sshd, one server key and one tmpfs for many conversions in turn."""

from __future__ import annotations

import contextlib
import shutil
import tempfile
from collections.abc import Iterator
from pathlib import Path

from desk import Desk
from injection.case import Case, Verdict, begin_under_strace, run
from injection.trace import Trace
from ordeal import Ordeal
from process_tree import become_subreaper
from standin import LoopbackSshd, ServerKeys
from tmpfs import Tmpfs


class Workshop:
    """Use it in a with-block, from the main thread of a process of its own."""

    def __init__(self, program: Path) -> None:
        self._program = program
        self._cases = 0
        self._open = contextlib.ExitStack()

    def __enter__(self) -> Workshop:
        become_subreaper()
        self._directory = Path(tempfile.mkdtemp(prefix="inject-faults."))
        self._open.callback(shutil.rmtree, self._directory, ignore_errors=True)
        (self._directory / "tmpfs").mkdir()
        self._tmpfs = self._open.enter_context(Tmpfs(self._directory / "tmpfs"))
        quiet = LoopbackSshd(extra_configuration="SetEnv SHLVL=1")
        self._sshd = self._open.enter_context(quiet)
        self._keys = ServerKeys.generate()
        return self

    def __exit__(self, *_: object) -> None:
        self._open.close()

    def run(self, case: Case, full_trace: Path | None = None) -> Verdict:
        """Runs one case; `full_trace` is a file that then holds all calls of the program."""
        with self._ordeal() as ordeal:
            trace = full_trace or self._directory / "trace"
            return run(case, ordeal, trace, full_trace is not None)

    def trace(self) -> Trace:
        """All calls of a conversion without a fault."""
        with self._ordeal() as ordeal:
            file = self._directory / "trace"
            outcome = ordeal.end_of(begin_under_strace(ordeal, ["-D", "-o", str(file)]))
            ordeal.assert_survived(outcome)
            return Trace(file)

    @contextlib.contextmanager
    def _ordeal(self) -> Iterator[Ordeal]:
        self._cases += 1
        place = self._directory / f"desk{self._cases}"
        place.mkdir()
        (self._directory / "trace").unlink(missing_ok=True)
        try:
            with Desk(self._program, self._keys, self._sshd, place) as desk:
                yield Ordeal(desk, self._tmpfs)
        finally:
            shutil.rmtree(place, ignore_errors=True)
            for left in self._tmpfs.path.iterdir():
                shutil.rmtree(left, ignore_errors=True)
