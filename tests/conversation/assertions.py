"""How a conversation ends, seen from both sides: aborted with its reasons, or with a lost line."""

from __future__ import annotations

import re

from host_harness import HostHarness
from host_view import log_lines
from terminal_host import Outcome


def assert_clean(outcome: Outcome) -> None:
    """Nothing is left in TMPDIR, and no child holds on to standard error."""
    assert outcome.leftovers == (), outcome.report()
    assert outcome.stderr_closed, outcome.report()


def assert_aborted(
    harness: HostHarness,
    outcome: Outcome,
    reason: str | None = None,
    *,
    exception: str | None = None,
    error: str | None = None,
    before: tuple[str, ...] = (),
    connection: int = 1,
) -> None:
    """The log says exactly this (after the lines `before`), the server heard the same, status 1."""
    named = {"reason": reason, "error": error, "exception": exception}
    told = {name: text for name, text in named.items() if text is not None}
    labels = {"reason": "", "error": "Error: ", "exception": "Exception: "}
    lines = [labels[name] + text for name, text in told.items()] or [""]
    assert outcome.status == 1, outcome.report()
    assert log_lines(outcome) == [*before, *lines], outcome.report()
    record = harness.connection(connection)
    assert record.error == told, outcome.report()
    assert record.end["how"] == "client error"
    assert_clean(outcome)


def lost_in(line: str) -> str:
    """The state in which that log line says that the connection to a server was lost; "" for any
    other line."""
    found = re.fullmatch(
        r"ERROR: The connection to the server was lost in state (\w+) \(\S+:\d+\)", line
    )
    return found[1] if found else ""


def assert_lost(outcome: Outcome, state: str, *, before: tuple[str, ...] = ()) -> None:
    """The stream ended in that state: one line says so; the status is the tool's, 0."""
    *earlier, last = log_lines(outcome)
    assert (tuple(earlier), lost_in(last)) == (before, state), outcome.report()
    assert outcome.status == 0, outcome.report()
    assert_clean(outcome)
