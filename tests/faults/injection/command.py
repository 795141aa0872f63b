"""The command scripts/inject-faults: its options, its words, its exit status."""

from __future__ import annotations

import argparse
import os
import re
import sys
import time
from pathlib import Path

from injection.campaign import Campaign, sample
from injection.case import ACCEPTED, BROKEN, Case, Verdict
from injection.case_runner import CaseRunner
from injection.kinds import Kind
from injection.targets import NAMES
from terminal_host import find_program


def main(arguments: list[str]) -> int:
    """Runs the command; 1 when a case was not survived."""
    options = _parser().parse_args(arguments)
    program = find_program(options.program or os.environ.get("ZTP_PROGRAM"))
    if options.case:
        return _run_one(program, options.case, options.trace)
    with CaseRunner(program) as runner:
        cases = [case for name in options.targets.split(",") for case in runner.cases(name)]
    wanted = options.only.split(",") if options.only else None
    cases = [case for case in cases if not wanted or case.kind.call in wanted]
    if options.sample:
        cases = sample(cases, options.sample)
    return _run_many(program, cases, options)


def _parser() -> argparse.ArgumentParser:
    parser = argparse.ArgumentParser(
        prog="inject-faults",
        description="Makes every system call of a conversion fail, one at a time.",
    )
    parser.add_argument("--program", type=Path, help="the program; else that of the build tree")
    parser.add_argument("--workers", type=int, default=4, help="conversions at a time (4)")
    parser.add_argument("--sample", type=int, metavar="N", help="only N cases, spread evenly")
    parser.add_argument("--only", metavar="CALL,...", help="only these system calls")
    everyone = ",".join(NAMES)
    parser.add_argument("--targets", default=everyone, metavar="NAME,...", help=f"of {everyone}")
    parser.add_argument("--case", metavar="TARGET:CALL-ERROR-N", help="one case, told in full")
    parser.add_argument("--trace", type=Path, help="with --case: a file for all of its calls")
    return parser


def _run_one(program: Path, name: str, trace: Path | None) -> int:
    target, call, error, number = re.split("[:-]", name)
    with CaseRunner(program) as runner:
        verdict = runner.run(Case(Kind(target, call, error), int(number)), trace)
    print(f"{verdict.case}: {verdict.word} after {verdict.seconds:.1f} s\n{verdict.remark}")
    return verdict.word == BROKEN


def _run_many(program: Path, cases: list[Case], options: argparse.Namespace) -> int:
    began = time.monotonic()
    campaign = Campaign(program, options.workers, _tell)
    print(f"{len(cases)} cases")
    campaign.run(cases, to_the_end=not options.sample)
    print(campaign.table())
    print(f"{time.monotonic() - began:.0f} s, {len(campaign.broken)} not survived")
    return bool(campaign.broken)


def _tell(verdict: Verdict) -> None:
    if verdict.word in (ACCEPTED, BROKEN):
        print(f"{verdict.case}: {verdict.word}: {verdict.remark}", flush=True)


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
