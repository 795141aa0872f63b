"""Whose system calls fail: those of the program, of a child that is to become ssh or the archiver
and has not got there yet, of the archiver. Each target starts a conversion under strace."""

from __future__ import annotations

import shlex
import shutil
from abc import ABC, abstractmethod
from collections.abc import Iterable
from pathlib import Path

from fault_scenario import FaultScenario
from injection.kinds import Kind, kinds_of
from injection.trace import Trace
from terminal_host import Conversion

_STRACE = Path("/usr/bin/strace")
_ARCHIVER = "ZanburyArchiver"


class Target(ABC):
    """One process of a conversion, by its name."""

    def __init__(self, name: str) -> None:
        self.name = name

    @abstractmethod
    def begin(self, scenario: FaultScenario, trace: Path, options: Iterable[str]) -> Conversion:
        """Starts a conversion in which strace watches that process and writes into `trace`."""

    def kinds(self, trace: Trace) -> list[Kind]:
        """What is made to fail in it, given all of its calls."""
        return kinds_of(self.name, set(trace.calls))

    def count(self, trace: Trace, call: str) -> int:
        """How often it makes that call at least."""
        return trace.calls[call]


class TheProgram(Target):
    """The tracer is a grandchild (-D), so that the program stays the host's own child."""

    def begin(self, scenario: FaultScenario, trace: Path, options: Iterable[str]) -> Conversion:
        arguments = ["-D", "-o", str(trace), *options, str(scenario.harness.program)]
        return scenario.begin(program=_STRACE, arguments=arguments)


class TheArchiver(Target):
    """A copy of the program has a script in its archiver's place, which watches one of the two runs
    of the real one: that with `mode` as its first argument."""

    def __init__(self, name: str, mode: str, directory: Path) -> None:
        super().__init__(name)
        self._mode = mode
        self._directory = directory

    def begin(self, scenario: FaultScenario, trace: Path, options: Iterable[str]) -> Conversion:
        program = self._directory / scenario.harness.program.name
        if not program.exists():
            shutil.copy(scenario.harness.program, program)
        real = shlex.quote(str(scenario.harness.program.with_name(_ARCHIVER)))
        watched = shlex.join([str(_STRACE), "-D", "-o", str(trace), *options])
        script = self._directory / _ARCHIVER
        script.write_text(
            f'#!/bin/sh\n[ "$1" = {self._mode} ] && exec {watched} {real} "$@"\nexec {real} "$@"\n'
        )
        script.chmod(0o755)
        return scenario.begin(program=program)


class TheChild(Target):
    """What a child of the program does between fork and exec. Its children are watched, too (-f),
    and what they do later in the same way fails likewise; of the execve only that of one path."""

    def __init__(self, name: str, path: Path, errors: dict[str, tuple[str, ...]]) -> None:
        super().__init__(name)
        self._path = path
        self._errors = errors

    def begin(self, scenario: FaultScenario, trace: Path, options: Iterable[str]) -> Conversion:
        program = scenario.harness.program
        # The execve of the program itself is the host's affair.
        only = ["-P", str(program.parent / self._path)] if "execve" in " ".join(options) else []
        arguments = ["-f", "--seccomp-bpf", "-D", "-o", str(trace), *options, *only, str(program)]
        return scenario.begin(program=_STRACE, arguments=arguments)

    def kinds(self, trace: Trace) -> list[Kind]:
        return [
            Kind(self.name, call, error)
            for call, errors in self._errors.items()
            for error in errors
        ]

    def count(self, trace: Trace, call: str) -> int:
        return 1  # the trace counts those of ssh and of the archiver, too


_EXECVE = {"execve": ("EACCES", "EAGAIN", "EIO", "ENOENT", "ENOMEM", "ETXTBSY")}
_STREAMS = {
    "close_range": ("EMFILE", "ENOMEM"),
    "dup2": ("EBADF", "EBUSY", "EINTR", "EMFILE"),
}

NAMES = ("program", "ssh", "archiver", "pack", "unpack")


def target(name: str, directory: Path) -> Target:
    """The target of that name; the directory, which must exist, is for what it needs."""
    match name:
        case "program":
            return TheProgram(name)
        case "ssh":
            return TheChild(name, Path("/usr/bin/ssh"), _EXECVE | _STREAMS)
        case "archiver":
            return TheChild(name, Path(_ARCHIVER), _EXECVE)
        case "pack":
            return TheArchiver(name, "-c", directory)
        case "unpack":
            return TheArchiver(name, "-x", directory)
        case _:
            raise ValueError(f"no target named {name}")
