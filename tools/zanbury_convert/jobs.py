"""The files of one call: which source becomes which result, checked as far as that is possible.

A call that makes no sense as a whole is a Problem. What is wrong with one file of several is that
file's ending: the others are converted.
"""

from __future__ import annotations

import argparse
import os
from dataclasses import dataclass
from pathlib import Path

from .codes import Code
from .ending import Ending, Problem
from .printable import printable
from .staging import exists

_STREAM = Path("-")


@dataclass(frozen=True)
class Job:
    """One file to convert; absolute paths. `ending` is set where that is settled beforehand."""

    source: Path | None  # None: standard input
    output: Path | None  # None: standard output
    logs: Path | None  # None: nobody wants them
    may_replace: bool = False
    ending: Ending | None = None
    is_skipped: bool = False

    @property
    def name(self) -> str:
        """What the file is called on the screen."""
        return printable(self.source.name, 80) if self.source else "standard input"


def jobs_of(arguments: argparse.Namespace) -> list[Job]:
    """The jobs, in the order of the sources. Problem when the files make no sense together."""
    sources = arguments.sources
    if len(sources) > 1:
        _check_several(arguments)
    if arguments.directory:
        _make_directory(arguments.directory.expanduser().absolute(), arguments.dry_run)
    jobs = [_job(source, arguments) for source in sources]
    if len(jobs) == 1 and jobs[0].ending is not None and not jobs[0].is_skipped:
        ending = jobs[0].ending
        raise Problem(ending.code, ending.reason, ending.advice)
    _check_distinct(jobs)
    return jobs


def _check_several(arguments: argparse.Namespace) -> None:
    if arguments.output:
        advice = "-d DIRECTORY takes the results of several files."
        raise Problem(Code.USAGE, "-o names one result, but there are several sources.", advice)
    if _STREAM in arguments.sources:
        words = "Standard input cannot be one of several sources."
        raise Problem(Code.USAGE, words, "Convert it by itself.")


def _make_directory(directory: Path, is_dry: bool) -> None:
    try:
        if not is_dry:
            directory.mkdir(exist_ok=True)
    except OSError as error:
        words = f"The directory {printable(str(directory))} cannot be created: {error.strerror}."
        raise Problem(Code.OUTPUT, words, "Choose another one with -d.") from error


def _job(path: Path, arguments: argparse.Namespace) -> Job:
    source = None if path == _STREAM else path.expanduser().absolute()
    output = _output(path, arguments)
    logs = _logs(output, arguments)
    job = Job(source, output, logs, may_replace=arguments.force)
    try:
        if source is not None:
            _check_source(source)
        if output is not None:
            _check_output(output, source, arguments)
        if logs is not None:
            _check_logs(logs, output)
    except Problem as problem:
        skipped = problem.code is Code.EXISTS and arguments.no_clobber
        return Job(source, output, logs, ending=problem.ending(), is_skipped=skipped)
    return job


def _output(source: Path, arguments: argparse.Namespace) -> Path | None:
    """Where the result goes; None for standard output."""
    if arguments.output == _STREAM or (source == _STREAM and not arguments.output):
        if not arguments.directory:
            return None
    given = arguments.output or (arguments.directory or Path()) / f"{_name_of(source)}.converted"
    return Path(given).expanduser().absolute()


def _name_of(source: Path) -> str:
    return "stdin" if source == _STREAM else source.name


def _logs(output: Path | None, arguments: argparse.Namespace) -> Path | None:
    if arguments.logs:
        place = arguments.logs.expanduser().absolute()
        return place / output.name if output and len(arguments.sources) > 1 else place
    return output.with_name(output.name + ".logs") if output else None


def _check_source(source: Path) -> None:
    name = printable(str(source))
    if source.is_dir():
        raise _bad_source(f"The source {name} is a directory.", "Name the files in it.")
    if not source.exists():
        raise _bad_source(f"The source {name} does not exist.", "Check its name.")
    if not source.is_file():
        raise _bad_source(f"The source {name} is not a file.", "A source of - reads a stream.")
    if not os.access(source, os.R_OK):
        raise _bad_source(f"The source {name} cannot be read.", "Make it readable for you.")


def _bad_source(words: str, advice: str) -> Problem:
    return Problem(Code.SOURCE, words, advice)


def _check_output(output: Path, source: Path | None, arguments: argparse.Namespace) -> None:
    name = printable(str(output))
    if output.is_dir():
        raise _bad_output(f"The output {name} is a directory.", "-d names a directory.")
    if source is not None and output.exists() and output.samefile(source):
        raise _bad_output(f"The output {name} is the source itself.", "Name another file.")
    if os.path.lexists(output) and not arguments.force:
        raise exists(output)
    # With --dry-run the directory of several results need not be there yet.
    if not (arguments.dry_run and arguments.directory):
        _check_place(output.parent)


def _check_logs(logs: Path, output: Path | None) -> None:
    name = printable(str(logs))
    if logs.exists() and not logs.is_dir():
        raise _bad_output(f"The logs cannot go to {name}: it is a file.", "--logs names a place.")
    if output is None or logs.parent != output.parent:
        _check_place(logs.parent if logs.parent.exists() else logs.parent.parent)


def _check_place(directory: Path) -> None:
    name = printable(str(directory))
    if not directory.is_dir():
        raise _bad_output(
            f"The directory {name} does not exist.", "Make it, or choose another place."
        )
    if not os.access(directory, os.W_OK | os.X_OK):
        raise _bad_output(f"Nothing can be written into {name}.", "Choose another place.")


def _bad_output(words: str, advice: str) -> Problem:
    return Problem(Code.OUTPUT, words, advice)


def _check_distinct(jobs: list[Job]) -> None:
    """Two sources of one name would become the same result."""
    seen: dict[Path, Job] = {}
    for job in jobs:
        other = seen.setdefault(job.output, job) if job.output else job
        if other is not job:
            words = f"Two sources would become {printable(str(job.output))}:\n"
            words += "\n".join(f"  {printable(str(one.source))}" for one in (other, job))
            raise Problem(Code.USAGE, words, "Convert them into two directories.")
