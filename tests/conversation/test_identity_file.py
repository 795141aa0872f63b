"""The identity on disk: how it is made, and how soon it goes."""

from __future__ import annotations

import shutil

import pytest
from dead_ends import beyond
from desk import PATIENCE, Desk
from endings import assert_clean
from host_view import log_lines, will_retry
from wrapped_program import in_shell

STRACE = shutil.which("strace")


def test_none_lies_there_during_the_countdown(desk: Desk) -> None:
    conversion = desk.begin(server_destinations=beyond(1), retry_delay=60)
    conversion.wait_for(will_retry(60))
    [directory] = conversion.temporary_directory.glob("ZanburyToolProxy.*")
    assert [path.name for path in directory.iterdir()] == ["config"]
    conversion.cancel()
    assert_clean(conversion.wait(PATIENCE))


@pytest.mark.skipif(STRACE is None, reason="strace is not installed")
def test_a_mode_that_cannot_be_set_is_the_end(desk: Desk) -> None:
    refusing = f"{STRACE} -D -qq -o /dev/null -e trace=fchmod -e inject=fchmod:error=EPERM"
    program = in_shell(desk.program, desk.directory, before=refusing)
    outcome = desk.convert(program=program)
    assert outcome.status == 1, outcome.report()
    first, second = log_lines(outcome)
    assert first == "Could not write identity to a file"
    assert second.startswith("Error: chmod ") and second.endswith("Operation not permitted")
    assert desk.server.connections == [] and outcome.leftovers == ()
