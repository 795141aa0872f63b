"""A conversion without incident, from the host's environment to the delivered file."""

from __future__ import annotations

from desk import Desk


def test_a_statement_is_converted_and_delivered_with_its_logs(desk: Desk) -> None:
    outcome = desk.convert()
    assert outcome.status == 0, outcome.report()
    assert desk.result.read_text().startswith("Date,Amount,Currency,")
    assert [path.suffix for path in desk.logs.iterdir()] == [".log"]
    assert outcome.leftovers == ()
