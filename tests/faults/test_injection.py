"""A sample of all system calls of a conversion, each made to fail; scripts/inject-faults has all of
them. And the single calls whose failure was not survived once."""

from __future__ import annotations

import functools
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest
from fault_scenario import FaultScenario
from injection.campaign import sample
from injection.case import BROKEN, FAILED_CLEANLY, NOT_REACHED, Case, starvations
from injection.case_runner import CaseRunner
from injection.kinds import Kind
from injection.trace import Trace
from wrapped_program import after

# How many of each target's cases; all of them take a quarter of an hour.
SAMPLE_SIZES = {"program": 110, "ssh": 4, "archiver": 2, "pack": 20, "unpack": 20}
SAMPLE = [(name, index) for name, size in SAMPLE_SIZES.items() for index in range(size)]


@pytest.fixture(scope="module")
def runner(program: Path) -> Iterator[CaseRunner]:
    with CaseRunner(program) as made:
        yield made


@pytest.fixture(scope="module")
def cases(runner: CaseRunner) -> Callable[[str], list[Case]]:
    """All cases of a target, found once."""
    return functools.cache(runner.cases)


@pytest.fixture(scope="module")
def trace(runner: CaseRunner) -> Trace:
    """All calls of the program in a conversion without a fault."""
    return runner.trace()


@pytest.mark.parametrize(("target", "index"), SAMPLE)
def test_a_failing_call_is_survived(
    runner: CaseRunner, cases: Callable[[str], list[Case]], target: str, index: int
) -> None:
    case = sample(cases(target), SAMPLE_SIZES[target])[index]
    verdict = runner.run(case)
    assert verdict.word != BROKEN, f"{case}: {verdict.remark}"


def test_running_out_of_memory_for_good_is_survived(runner: CaseRunner, trace: Trace) -> None:
    cases = starvations(trace)
    assert len(cases) >= 5
    verdicts = [runner.run(case) for case in cases]
    assert [verdict.remark for verdict in verdicts if verdict.word == BROKEN] == []
    assert any(verdict.word == FAILED_CLEANLY for verdict in verdicts), "it did run out"


# From the signals' pipes to the archiver's; without room for the FIFOs ten seconds go by in tries.
@pytest.mark.parametrize("limit", [4, 7, 10, 12, 13, 14, 16, 17, 19, 21])
def test_having_no_more_descriptors_is_survived(scenario: FaultScenario, limit: int) -> None:
    program = after(scenario.harness.program, scenario.harness.directory, f"ulimit -n {limit}")
    outcome = scenario.convert(program=program)
    scenario.assert_survived(outcome)
    assert outcome.status == 1, outcome.report()


FIRST, LAST = 0, -1


@pytest.mark.parametrize(
    ("call", "error", "which"),
    [
        (r"epoll_create1\(", "EMFILE", FIRST),
        (r"eventfd2\(", "ENFILE", FIRST),
        (r"epoll_ctl\(\d+, EPOLL_CTL_ADD, ", "ENOSPC", LAST),
        (r"fcntl\(11, F_SETFL, O_RDONLY\|O_NONBLOCK\)", "EPERM", FIRST),
        (r"rt_sigaction\(SIGCHLD", "EINVAL", FIRST),
        (r"flock\(", "EAGAIN", FIRST),
        (r"newfstatat\(AT_FDCWD, \"[^\"]*/ZanburyToolProxy.\w*\"", "EACCES", LAST),
        (r"openat\(AT_FDCWD, \"[^\"]*/Result.plist\"", "EIO", FIRST),
        (r"write\(\d+, \"i\d+\\n\"", "EIO", FIRST),
    ],
    ids=[
        "the run loop cannot be made",
        "the run loop cannot be woken",
        "the run loop cannot watch what it knows",
        "a pipe of the signals cannot be made non-blocking",
        "the end of a child cannot be noticed",
        "the working directory is locked by another",
        "the working directory cannot be looked at before it is removed",
        "the description of the result cannot be read",
        "the upload cannot be written",
    ],
)
def test_a_failure_is_survived(
    runner: CaseRunner, trace: Trace, call: str, error: str, which: int
) -> None:
    kind = Kind("program", call.partition("\\")[0], error)
    verdict = runner.run(Case(kind, trace.numbers_of(kind.call, call)[which]))
    assert verdict.word not in (BROKEN, NOT_REACHED), verdict.remark
