"""The checks themselves: a normal conversion passes them, and each of them finds its offence."""

from __future__ import annotations

import dataclasses
import os
import re

import pytest
from canaries import PLAINTEXT
from descriptors import DescriptorCount
from desk import PATIENCE
from ordeal import Ordeal
from stages import BEFORE_DOWNLOAD, begin_held, go
from standin.record import wait_until
from terminal_host import Outcome
from wrapped_program import after


def offences(ordeal: Ordeal, outcome: Outcome) -> list[str]:
    """The numbers of the checks that fail, in order."""
    try:
        ordeal.assert_survived(outcome)
    except AssertionError as error:
        return re.findall(r"^check (\d)", str(error), re.MULTILINE)
    return []


def test_a_normal_conversion_passes(ordeal: Ordeal) -> None:
    outcome = ordeal.convert()
    ordeal.assert_survived(outcome)
    assert outcome.status == 0
    assert ordeal.desk.result.read_bytes() == ordeal.whole_result()
    assert PLAINTEXT in ordeal.whole_result(), "a result in the wrong place would be found"


def test_a_normal_conversion_has_no_more_descriptors_than_that(ordeal: Ordeal) -> None:
    conversion = ordeal.begin()
    count = DescriptorCount(conversion.pid)
    conversion.wait()
    assert 0 < count.peak <= DescriptorCount.MOST


def test_a_program_that_goes_on_is_no_survivor(ordeal: Ordeal) -> None:
    conversion = ordeal.begin({"ServerHello": {"instead": {"stall": True}}})
    with pytest.raises(AssertionError, match="check 1"):
        ordeal.end_of(conversion, bound=0.1)


def test_a_slow_end_is_found(ordeal: Ordeal) -> None:
    outcome = dataclasses.replace(ordeal.convert(), duration=PATIENCE + 1)
    assert offences(ordeal, outcome) == ["1"]


def test_an_orphan_is_found(ordeal: Ordeal) -> None:
    ordeal.grace = 0
    leaving_one = after(ordeal.desk.program, ordeal.desk.directory, "sleep 600 >/dev/null 2>&1 &")
    outcome = ordeal.convert(program=leaving_one)
    assert {*offences(ordeal, outcome)} == {"2"}


def test_an_orphan_in_a_session_of_its_own_is_found(ordeal: Ordeal) -> None:
    ordeal.grace = 0
    command = "setsid sleep 600 >/dev/null 2>&1 &"
    outcome = ordeal.convert(program=after(ordeal.desk.program, ordeal.desk.directory, command))
    assert {*offences(ordeal, outcome)} == {"2"}


def test_a_file_left_behind_is_found(ordeal: Ordeal) -> None:
    outcome = ordeal.convert()
    (ordeal.tmpfs / "left").touch()
    assert offences(ordeal, outcome) == ["3"]


def test_a_failure_without_a_word_is_found(ordeal: Ordeal) -> None:
    outcome = dataclasses.replace(ordeal.convert(), status=1, stderr=b"")
    assert offences(ordeal, outcome) == ["4"]


def test_half_a_result_under_status_0_is_found(ordeal: Ordeal) -> None:
    outcome = ordeal.convert()
    os.truncate(ordeal.desk.result, 10)
    assert offences(ordeal, outcome) == ["4", "5"]


def test_secrets_are_found(ordeal: Ordeal) -> None:
    outcome = ordeal.convert()
    symmetric_key = ordeal.desk.connection().secrets["symmetricKey"]
    last_line_of_identity = ordeal.desk.sshd.identity_text.splitlines()[-3]
    for secret in (PLAINTEXT, symmetric_key, last_line_of_identity.encode()):
        told = dataclasses.replace(outcome, stderr=b"it is " + secret)
        assert offences(ordeal, told) == ["6"]


def test_descriptors_too_many_are_found(ordeal: Ordeal) -> None:
    numbers = " ".join(f"{number}</dev/null" for number in range(30, 60))
    opening_many = after(ordeal.desk.program, ordeal.desk.directory, f"exec {numbers}")
    opening_many.write_text(opening_many.read_text().replace("/bin/sh", "/bin/bash"))
    conversion = begin_held(ordeal, BEFORE_DOWNLOAD, program=opening_many)
    count = ordeal.descriptors_of(conversion)
    wait_until(lambda: count.last > DescriptorCount.MOST, PATIENCE, "a look at them")
    go(ordeal.desk)
    assert offences(ordeal, ordeal.end_of(conversion)) == ["7"]


def test_another_flag_is_found(ordeal: Ordeal) -> None:
    outcome = ordeal.convert()
    changed = (*outcome.flags_before[:2], outcome.flags_before[2] ^ os.O_NONBLOCK)
    assert offences(ordeal, dataclasses.replace(outcome, flags_after=changed)) == ["8"]


def test_flags_are_seen_while_the_program_has_them(ordeal: Ordeal) -> None:
    conversion = ordeal.begin({"ServerHello": {"instead": {"stall": True}}})
    ordeal.desk.server.begun(1)
    conversion.cancel()
    ordeal.assert_survived(ordeal.end_of(conversion))
