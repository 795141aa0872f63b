"""One conversion in which one system call fails, and what is to be said of it."""

from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path

from fault_scenario import FaultScenario
from host_harness import PATIENCE
from injection.accepted import accepted_reason
from injection.kinds import Kind
from injection.targets import Target
from injection.trace import Trace
from terminal_host import Exit, Outcome, StderrLine

_LOADER_GAVE_UP = 127
# The first thing that the program itself does.
_BEGINNING_OF_MAIN = "fcntl(0, F_GETFD)"
# What the program says when it ends with status 0 although there is no result.
_NO_RESULT = (
    "ERROR: The connection to the server was lost in state ",
    "ERROR: Could not read Result.plist",
)

NOT_REACHED = "not reached"
CONVERTED = "converted anyway"
FAILED_CLEANLY = "failed cleanly"
ACCEPTED = "accepted"
BROKEN = "BROKEN"


@dataclass(frozen=True)
class Case:
    """The n-th call (from 1) of a kind."""

    kind: Kind
    number: int

    @property
    def calls(self) -> str:
        """The calls that strace watches."""
        return self.kind.call

    @property
    def faults(self) -> list[str]:
        """What strace injects."""
        return [f"{self.kind.call}:{self.kind.effect}:when={self.number}"]

    def __str__(self) -> str:
        return f"{self.kind}-{self.number}"


@dataclass(frozen=True)
class Starvation(Case):
    """No memory at all from a certain request on: the n-th brk and the `mapping`-th mmap."""

    mapping: int

    @property
    def calls(self) -> str:
        return "brk,mmap,mremap"

    @property
    def faults(self) -> list[str]:
        return [
            f"brk:retval=0:when={self.number}+",
            f"mmap:error=ENOMEM:when={self.mapping}+",
            "mremap:error=ENOMEM",
        ]


def starvations(trace: Trace) -> list[Starvation]:
    """One for each time that the program, its libraries loaded, asks for memory."""
    kind = Kind("program", "brk", "ENOMEM")
    found = list[Starvation]()
    made = {"brk": 0, "mmap": 0}
    main_has_begun = False
    for line in trace.lines:
        main_has_begun |= line.startswith(_BEGINNING_OF_MAIN)
        call = line.partition("(")[0]
        if call in made:
            if main_has_begun:
                found.append(Starvation(kind, made["brk"] + 1, made["mmap"] + 1))
            made[call] += 1
    return found


@dataclass(frozen=True)
class Verdict:
    """What became of a case; `remark` is the injected call and, where it broke, the rest."""

    case: Case
    word: str
    remark: str
    seconds: float


def run(
    case: Case, target: Target, scenario: FaultScenario, trace_file: Path, full_trace: bool = False
) -> Verdict:
    """Runs the conversion with that fault in the target. The scenario is used up by it."""
    options = ["-e", "trace=" + ("all" if full_trace else case.calls)]
    for fault in case.faults:
        options += ["-e", "inject=" + fault]
    try:
        outcome = scenario.end_of(target.begin(scenario, trace_file, options))
    except AssertionError as error:
        injected = Trace(trace_file).injected or "nothing injected"
        return Verdict(case, BROKEN, f"{injected}\n{error}", PATIENCE)
    return _judge(case, scenario, outcome, Trace(trace_file))


def _judge(case: Case, scenario: FaultScenario, outcome: Outcome, trace: Trace) -> Verdict:
    injected = trace.injected
    findings = [*trace.crashes, *_findings(scenario, outcome)]
    if findings:
        reason = accepted_reason(str(case), injected or "", findings)
        word, remark = (ACCEPTED, reason) if reason else (BROKEN, "\n".join(findings))
        remark = f"{injected}\n{remark}" + ("" if reason else f"\n{outcome.report()}")
        return Verdict(case, word, remark, outcome.duration)
    if injected is None:
        return Verdict(case, NOT_REACHED, "", outcome.duration)
    word = CONVERTED if _has_converted(scenario, outcome) else FAILED_CLEANLY
    return Verdict(case, word, injected, outcome.duration)


def _findings(scenario: FaultScenario, outcome: Outcome) -> list[str]:
    """What is wrong, one line each: of the eight checks, of the exit status, of the delivery."""
    findings = []
    try:
        scenario.assert_survived(outcome)
    except AssertionError as error:
        findings = [line for line in str(error).splitlines() if line.startswith("check ")]
    if not _is_allowed(scenario, outcome):
        findings.append(f"status {outcome.status} is none that may come")
    if _has_converted(scenario, outcome) and not _explains_missing_logs(scenario, outcome):
        findings.append("the logs are missing and no line says so")
    return findings


def _is_allowed(scenario: FaultScenario, outcome: Outcome) -> bool:
    if outcome.status == _LOADER_GAVE_UP:
        return outcome.events == (StderrLine(outcome.stderr_text.rstrip("\n")), Exit(127))
    if outcome.status == 0:
        told = any(line in outcome.stderr_text for line in _NO_RESULT)
        return _has_converted(scenario, outcome) or told
    return outcome.status == 1


def _has_converted(scenario: FaultScenario, outcome: Outcome) -> bool:
    result = scenario.harness.result
    return (
        outcome.status == 0 and result.exists() and result.read_bytes() == scenario.whole_result()
    )


def _explains_missing_logs(scenario: FaultScenario, outcome: Outcome) -> bool:
    log = scenario.harness.logs / "conversion.log"
    return (log.is_file() and log.stat().st_size > 0) or bool(outcome.stderr_text.strip())
