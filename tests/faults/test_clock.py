"""The time of day jumps by hours, forwards and backwards: nothing that waits takes notice."""

from __future__ import annotations

import subprocess
import time
from collections.abc import Callable, Iterator
from pathlib import Path

import pytest
from fault_scenario import FaultScenario
from host_harness import PATIENCE
from host_view import A_DAY, CONNECTING, sections, will_retry
from preloaded import ShiftedClock
from standin.record import wait_until
from terminal_host import Conversion
from timely_exit import ends_at_once

HOURS = 3600
JUMPS = [7 * HOURS, -9 * HOURS]
POLLS = 3  # looks at the host's FIFO that must come after a jump
CONVERTER = "ZanburyConverter"
ENDS_BEFORE_THE_HELLO = {"ServerHello": {"instead": {"exit": 1}}}
COUNTDOWN = [will_retry(3), will_retry(2), will_retry(1, "second")]


@pytest.fixture
def clock(program: Path, tmp_path: Path) -> ShiftedClock:
    return ShiftedClock(program, tmp_path / "page")


@pytest.fixture
def host() -> Iterator[subprocess.Popen]:
    """A process that stands for the host. Asked for before the scenario, which it is not part of."""
    with subprocess.Popen(["sleep", "600"]) as process:
        yield process
        process.kill()


def _date(clock: ShiftedClock) -> int:
    command = ["date", "+%s"]
    return int(subprocess.run(command, env=clock.environment, capture_output=True).stdout)


@pytest.mark.parametrize("jump", JUMPS)
def test_the_library_shifts_the_time_of_day(clock: ShiftedClock, jump: int) -> None:
    clock.set("offset", jump)
    assert abs(_date(clock) - (time.time() + jump)) < 60
    assert clock.get("asked") > 0


def test_the_library_shifts_the_clock_that_the_program_waits_by(
    scenario: FaultScenario, clock: ShiftedClock
) -> None:
    # What would happen if the countdown went by a clock that jumps: back by hours, it stands still.
    own_clock = {"server_destinations": "", "overrides": clock.environment}
    conversion = scenario.begin(retry_delay=A_DAY, **own_clock)
    conversion.wait_for(will_retry(A_DAY), PATIENCE)
    clock.set("monotonic_offset", -9 * HOURS)
    # Another program, begun only now, goes on counting meanwhile.
    other = scenario.begin(retry_delay=3, server_destinations="")
    other.wait_for(COUNTDOWN[0], PATIENCE)
    shown = sections(conversion)
    other.wait_for(COUNTDOWN[2], PATIENCE)
    assert sections(conversion) == shown
    for one in (conversion, other):
        one.cancel()
        assert scenario.end_of(one).titles[-1] == "Canceling..."


@pytest.mark.parametrize("jumps", [JUMPS, JUMPS[::-1]], ids=["on and back", "back and on"])
def test_a_countdown_takes_its_time(
    scenario: FaultScenario, clock: ShiftedClock, jumps: list[int]
) -> None:
    scripts = [ENDS_BEFORE_THE_HELLO, {}]
    conversion = scenario.begin(scripts, retry_delay=3, overrides=clock.environment)
    for section, jump in zip(COUNTDOWN, jumps):
        conversion.wait_for(section, PATIENCE)
        clock.set("offset", jump)
    outcome = scenario.end_of(conversion)
    assert outcome.sections[:5] == (CONNECTING, *COUNTDOWN, CONNECTING), outcome.report()
    # One second before each of its sections, and one behind the last.
    assert outcome.sections[4].at > 3.9, outcome.report()
    assert outcome.status == 0
    scenario.assert_survived(outcome)


def _forwarding_to(
    scenario: FaultScenario, clock: ShiftedClock, host: subprocess.Popen, script: dict
) -> Conversion:
    """A conversation with a tool whose host is polled, on its way with the clock as it is."""
    conversion = scenario.begin(
        script, tool=CONVERTER, host_pid=host.pid, overrides=clock.environment
    )
    scenario.harness.server.begun(1).wait_for_frame("InputArchive", timeout=PATIENCE)
    return conversion


def _jump(clock: ShiftedClock, jump: int) -> None:
    """Returns when the program has asked for the time a few more times."""
    clock.set("offset", jump)
    before = clock.get("monotonic_asked")
    wait_until(lambda: clock.get("monotonic_asked") > before + POLLS, PATIENCE, "more polls")


ENDS: dict[str, Callable[[Conversion, subprocess.Popen], object]] = {
    "cancel": lambda conversion, _: conversion.cancel(),
    "host's death": lambda _, host: (host.kill(), host.wait()),
}


@pytest.mark.parametrize("jump", JUMPS)
@pytest.mark.parametrize("end", ENDS)
def test_the_host_is_polled_as_ever(
    host: subprocess.Popen, scenario: FaultScenario, clock: ShiftedClock, end: str, jump: int
) -> None:
    waits = {"InputArchiveAcknowledgement": {"instead": {"await": "never"}}}
    conversion = _forwarding_to(scenario, clock, host, waits)
    _jump(clock, jump)
    outcome = ends_at_once(conversion, lambda: ENDS[end](conversion, host))
    assert outcome.status == 1, outcome.report()
    scenario.assert_survived(outcome)


@pytest.mark.parametrize("jump", JUMPS)
def test_a_conversation_goes_on_to_its_end(
    host: subprocess.Popen, scenario: FaultScenario, clock: ShiftedClock, jump: int
) -> None:
    waits = {"InputArchiveAcknowledgement": {"before": {"await": "go"}}}
    conversion = _forwarding_to(scenario, clock, host, waits)
    _jump(clock, jump)
    scenario.harness.server.file("go").touch()
    outcome = scenario.end_of(conversion)
    assert outcome.status == 0, outcome.report()
    scenario.assert_survived(outcome)
