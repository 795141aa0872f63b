"""The one tool that the stand-in server offers: a statement in OFX 2 becomes CSV.

It reports to the host as it goes, keeps a log, and ends with the exit status of a program.
"""

from __future__ import annotations

from dataclasses import dataclass
from datetime import datetime, timezone
from pathlib import PurePosixPath
from typing import Callable

from standin import ofx, progress

EXIT_OK = 0
EXIT_BAD_DATA = 65  # EX_DATAERR of sysexits.h
_LOG_NAME = "conversion.log"
_MOST_STATUSES = 200


@dataclass(frozen=True)
class SourceFile:
    """The file to convert, under its own name."""

    name: str
    data: bytes


@dataclass(frozen=True)
class ConversionResult:
    """What the tool leaves: without a converted file where it failed."""

    exit_code: int
    dest_file_name: str | None
    converted: bytes | None
    logs: dict[str, bytes]


class Conversion:
    """One run of the tool.

    report takes each message for the host; before_each is called before each transaction.
    """

    def __init__(self, report: Callable[[bytes], None], before_each: Callable[[], None]) -> None:
        self._report = report
        self._before_each = before_each
        self._log: list[str] = []

    def run(self, tool: str, source: SourceFile | None) -> ConversionResult:
        """Converts the file; a bad one gives a result that says so, no exception."""
        self._note(f"{tool or 'a tool without a name'} starts")
        try:
            if source is None:
                raise ofx.OfxError("There is no file to convert.")
            converted = self._convert(source)
        except ofx.OfxError as error:
            self._note(f"ERROR: {error}")
            self._report(progress.section(str(error)))
            return ConversionResult(EXIT_BAD_DATA, None, None, self._logs())
        name = PurePosixPath(source.name).stem + ".csv"
        self._note(f"wrote {name}: {len(converted)} bytes")
        return ConversionResult(EXIT_OK, name, converted, self._logs())

    def _convert(self, source: SourceFile) -> bytes:
        self._note(f"reads {source.name}: {len(source.data)} bytes")
        self._report(progress.section("Reading statement..."))
        transactions = ofx.read_transactions(source.data)
        self._note(f"found {len(transactions)} transactions")
        lines = [ofx.csv_header(), *self._rows(transactions)]
        self._report(progress.section("Writing converted file..."))
        return "".join(lines).encode("utf-8")

    def _rows(self, transactions: list[ofx.Transaction]) -> list[str]:
        count = len(transactions)
        every = max(1, count // _MOST_STATUSES)
        self._report(progress.section("Converting transactions...", count))
        rows = []
        for number, transaction in enumerate(transactions, start=1):
            self._before_each()
            rows.append(transaction.csv_row())
            if number % every == 0 or number == count:
                self._report(progress.status(number))
        return rows

    def _note(self, text: str) -> None:
        self._log.append(f"{datetime.now(timezone.utc):%Y-%m-%dT%H:%M:%SZ} {text}\n")

    def _logs(self) -> dict[str, bytes]:
        return {_LOG_NAME: "".join(self._log).encode("utf-8")}
