"""The identity on disk: a file that is not private gets no key."""

from __future__ import annotations

import shutil

import pytest
from host_harness import HostHarness
from host_view import log_lines
from wrapped_program import in_shell

STRACE = shutil.which("strace")


@pytest.mark.skipif(STRACE is None, reason="strace is not installed")
def test_a_mode_that_cannot_be_set_is_the_end(harness: HostHarness) -> None:
    refusing = f"{STRACE} -D -qq -o /dev/null -e trace=fchmod -e inject=fchmod:error=EPERM"
    program = in_shell(harness.program, harness.directory, before=refusing)
    outcome = harness.convert(program=program)
    assert outcome.status == 1, outcome.report()
    first, second = log_lines(outcome)
    assert first == "Could not write identity to a file"
    assert second.startswith("Error: chmod ") and second.endswith("Operation not permitted")
    assert harness.server.connections == [] and outcome.leftovers == ()
