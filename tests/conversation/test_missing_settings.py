"""What is missing in the environment is said once, by the name of its variable."""

from __future__ import annotations

import pytest
from host_harness import PATIENCE, HostHarness
from host_view import log_lines, will_retry

ATTEMPTS = 100


def test_no_server_to_connect_to_is_said_once(harness: HostHarness) -> None:
    conversion = harness.begin(server_destinations=" , ", retry_delay=1)
    conversion.wait_until(lambda now: now.fifo_bytes.count(b"again in 1 second...") == 2, PATIENCE)
    conversion.cancel()
    outcome = conversion.wait(PATIENCE)
    assert outcome.sections[0] == will_retry(1, "second")
    assert log_lines(outcome) == [
        "ERROR: EXPORT_SERVER_DESTINATIONS names no server to connect to",
        "User canceled",
    ]


@pytest.mark.parametrize(
    ("field", "variable", "attempt"),
    [
        ("input_fifo_path", "EXPORT_INPUT_FIFO_PATH", "open(readFifoPath)"),
        ("output_fifo_path", "EXPORT_OUTPUT_FIFO_PATH", "open(writeFifoPath)"),
    ],
)
def test_a_fifo_that_does_not_come_is_named_at_the_end(
    harness: HostHarness, field: str, variable: str, attempt: str
) -> None:
    path = harness.directory / "a\nmissing one"
    outcome = harness.convert(**{field: path}, server_destinations="bad")
    lines = log_lines(outcome)
    assert lines[:ATTEMPTS] == [f"{attempt}: No such file or directory"] * ATTEMPTS
    assert lines[ATTEMPTS:] == [
        f"ERROR: Could not open {variable}: {harness.directory}/a",
        "    missing one",
        "Invalid server destination",
    ]
