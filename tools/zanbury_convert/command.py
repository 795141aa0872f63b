"""The command zanbury-convert, from its arguments to its exit status."""

from __future__ import annotations

import contextlib
import os
import sys
from pathlib import Path

from .arguments import NAME, parse_arguments
from .batch import Batch
from .codes import Code
from .display import Display, Tally
from .ending import Ending, Problem
from .interruption import Interruption
from .jobs import Job, jobs_of
from .json_display import JsonDisplay
from .plain_display import PlainDisplay
from .printable import printable
from .settings import Settings, settings_of
from .standard_streams import check_open, open_missing_streams


def main(arguments: list[str], beside: Path | None = None) -> int:
    """Runs the command; the exit status. `beside` is where the program is looked for first."""
    open_missing_streams()
    try:
        return _main(arguments, beside)
    except KeyboardInterrupt:  # before anything was begun
        return Code.CANCELED.status
    except OSError as error:
        # Standard output or error takes no more: its reader has left, or a disk is full. What
        # Python still holds for it must not complain at the end.
        os.dup2(os.open(os.devnull, os.O_WRONLY), sys.stdout.fileno())
        if not isinstance(error, BrokenPipeError):
            with contextlib.suppress(OSError):
                print(f"{NAME}: {error.strerror or error}", file=sys.stderr, flush=True)
        os.dup2(sys.stdout.fileno(), sys.stderr.fileno())
        return 1


def _main(arguments: list[str], beside: Path | None) -> int:
    try:
        options = parse_arguments(arguments)
        settings = settings_of(options, beside)
        jobs = jobs_of(options)
        is_written = any(job.output is None for job in jobs)
        check_open(is_read=any(job.source is None for job in jobs), is_written=is_written)
        if options.json and is_written:
            words = "The result and the events of --json would both go to standard output."
            raise Problem(Code.USAGE, words, "Name a file for the result with -o.")
    except Problem as problem:
        return _refuse(problem, "--json" in arguments)
    display = choose_display(
        len(jobs),
        json=options.json,
        plain=options.plain,
        verbose=options.verbose,
        quiet=options.quiet,
    )
    try:
        if options.dry_run:
            return _check(jobs, settings, display)
        with Interruption() as interruption:
            return Batch(jobs, settings, display, interruption).convert()
    finally:
        display.close()


def choose_display(
    count: int,
    *,
    json: bool = False,
    plain: bool = False,
    verbose: bool = False,
    quiet: bool = False,
) -> Display:
    """JSON lines, a live terminal, or plain lines where standard error is not a terminal."""
    if json:
        return JsonDisplay()
    if sys.stderr.isatty() and os.environ.get("TERM", "dumb") != "dumb" and not (plain or quiet):
        from .live_display import LiveDisplay  # rich takes a while to load

        return LiveDisplay(count, is_verbose=verbose)
    return PlainDisplay(count, is_verbose=verbose, is_quiet=quiet)


def _check(jobs: list[Job], settings: Settings, display: Display) -> int:
    """Tells what would be done; nothing is connected to."""
    names = ", ".join(server.name for server in settings.servers)
    failed = 0
    for job in jobs:
        output = printable(str(job.output)) if job.output else "standard output"
        words = f"Would convert {job.name} to {output}\nwith {printable(str(settings.program))}\nat {names}"
        ending = job.ending or Ending(Code.CHECKED, Code.CHECKED.status, words)
        display.begin(job)
        display.end(job, ending)
        failed += not ending.is_success and not job.is_skipped
    skipped = sum(job.is_skipped for job in jobs)
    status = 1 if failed else 2 if skipped else 0
    if len(jobs) > 1:
        display.summary(
            Tally(len(jobs) - failed - skipped, failed, skipped, status=status, is_dry=True)
        )
    return status


def _refuse(problem: Problem, is_json: bool) -> int:
    """Tells on standard error, and to whoever reads events, why nothing was done."""
    ending = problem.ending()
    if is_json:
        JsonDisplay().refuse(ending)
    head, *more = ending.reason.split("\n")
    lines = [f"{NAME}: {printable(head, 1000)}", *(printable(line, 1000) for line in more)]
    if ending.advice:
        lines.append(printable(ending.advice, 1000))
    print(*lines, sep="\n", file=sys.stderr)
    return ending.status
