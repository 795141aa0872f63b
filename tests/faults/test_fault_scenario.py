"""The checks themselves: a normal conversion passes them, and each of them finds its offence."""

from __future__ import annotations

import dataclasses
import os
import re

import pytest
from canaries import PLAINTEXT
from descriptors import DescriptorCount
from fault_scenario import FaultScenario
from held_states import BEFORE_DOWNLOAD, begin_held, go
from host_harness import PATIENCE
from standin.record import wait_until
from terminal_host import Outcome
from wrapped_program import after


def offences(scenario: FaultScenario, outcome: Outcome) -> list[str]:
    """The numbers of the checks that fail, in order."""
    try:
        scenario.assert_survived(outcome)
    except AssertionError as error:
        return re.findall(r"^check (\d)", str(error), re.MULTILINE)
    return []


def test_a_normal_conversion_passes(scenario: FaultScenario) -> None:
    outcome = scenario.convert()
    scenario.assert_survived(outcome)
    assert outcome.status == 0
    assert scenario.harness.result.read_bytes() == scenario.whole_result()
    assert PLAINTEXT in scenario.whole_result(), "a result in the wrong place would be found"


def test_a_normal_conversion_has_no_more_descriptors_than_that(scenario: FaultScenario) -> None:
    conversion = scenario.begin()
    count = DescriptorCount(conversion.pid)
    conversion.wait()
    assert 0 < count.peak <= DescriptorCount.MOST


def test_a_program_that_goes_on_is_no_survivor(scenario: FaultScenario) -> None:
    conversion = scenario.begin({"ServerHello": {"instead": {"stall": True}}})
    with pytest.raises(AssertionError, match="check 1"):
        scenario.end_of(conversion, bound=0.1)


def test_a_slow_end_is_found(scenario: FaultScenario) -> None:
    outcome = dataclasses.replace(scenario.convert(), duration=PATIENCE + 1)
    assert offences(scenario, outcome) == ["1"]


def test_an_orphan_is_found(scenario: FaultScenario) -> None:
    scenario.grace = 0
    leaving_one = after(
        scenario.harness.program, scenario.harness.directory, "sleep 600 >/dev/null 2>&1 &"
    )
    outcome = scenario.convert(program=leaving_one)
    assert {*offences(scenario, outcome)} == {"2"}


def test_an_orphan_in_a_session_of_its_own_is_found(scenario: FaultScenario) -> None:
    scenario.grace = 0
    command = "setsid sleep 600 >/dev/null 2>&1 &"
    outcome = scenario.convert(
        program=after(scenario.harness.program, scenario.harness.directory, command)
    )
    assert {*offences(scenario, outcome)} == {"2"}


def test_a_file_left_behind_is_found(scenario: FaultScenario) -> None:
    outcome = scenario.convert()
    (scenario.tmpfs / "left").touch()
    assert offences(scenario, outcome) == ["3"]


def test_a_failure_without_a_word_is_found(scenario: FaultScenario) -> None:
    outcome = dataclasses.replace(scenario.convert(), status=1, stderr=b"")
    assert offences(scenario, outcome) == ["4"]


def test_half_a_result_under_status_0_is_found(scenario: FaultScenario) -> None:
    outcome = scenario.convert()
    os.truncate(scenario.harness.result, 10)
    assert offences(scenario, outcome) == ["4", "5"]


def test_secrets_are_found(scenario: FaultScenario) -> None:
    outcome = scenario.convert()
    symmetric_key = scenario.harness.connection().secrets["symmetricKey"]
    last_line_of_identity = scenario.harness.sshd.identity_text.splitlines()[-3]
    for secret in (PLAINTEXT, symmetric_key, last_line_of_identity.encode()):
        told = dataclasses.replace(outcome, stderr=b"it is " + secret)
        assert offences(scenario, told) == ["6"]


def test_descriptors_too_many_are_found(scenario: FaultScenario) -> None:
    numbers = " ".join(f"{number}</dev/null" for number in range(30, 60))
    opening_many = after(scenario.harness.program, scenario.harness.directory, f"exec {numbers}")
    opening_many.write_text(opening_many.read_text().replace("/bin/sh", "/bin/bash"))
    conversion = begin_held(scenario, BEFORE_DOWNLOAD, program=opening_many)
    count = scenario.descriptors_of(conversion)
    wait_until(lambda: count.last > DescriptorCount.MOST, PATIENCE, "a look at them")
    go(scenario.harness)
    assert offences(scenario, scenario.end_of(conversion)) == ["7"]


def test_another_flag_is_found(scenario: FaultScenario) -> None:
    outcome = scenario.convert()
    changed = (*outcome.flags_before[:2], outcome.flags_before[2] ^ os.O_NONBLOCK)
    assert offences(scenario, dataclasses.replace(outcome, flags_after=changed)) == ["8"]


def test_flags_are_seen_while_the_program_has_them(scenario: FaultScenario) -> None:
    conversion = scenario.begin({"ServerHello": {"instead": {"stall": True}}})
    scenario.harness.server.begun(1)
    conversion.cancel()
    scenario.assert_survived(scenario.end_of(conversion))
