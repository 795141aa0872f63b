"""Bank and card statements in OFX 2 (the XML form), read into transactions, written as CSV (RFC 4180).

Nothing a statement can hold makes the reader work harder than its size: document types, and with
them entities of its own, are refused, and so is nesting that no statement needs.
"""

from __future__ import annotations

import csv
import io
import re
from dataclasses import dataclass, field
from datetime import date
from decimal import Decimal
from typing import Any, Iterable
from xml.parsers import expat

CSV_COLUMNS = ("Date", "Amount", "Currency", "Type", "Payee", "Memo", "Id", "Account")
_STATEMENTS = ("STMTRS", "CCSTMTRS")
_ACCOUNTS = ("BANKACCTFROM", "CCACCTFROM")
_DEEPEST = 64
_AMOUNT = re.compile(r"[+-]?(\d+[.,]?\d*|[.,]\d+)\Z", re.ASCII)
_DATE = re.compile(r"(\d{4})(\d{2})(\d{2})(\d|\.|\[|\Z)", re.ASCII)


class OfxError(Exception):
    """The file is not an OFX 2 statement; the text says why, for the person who sent it."""


@dataclass(frozen=True)
class Transaction:
    """One line of a statement; `posted` is the calendar day as the bank wrote it."""

    posted: date
    amount: Decimal
    currency: str
    kind: str
    payee: str
    memo: str
    id: str
    account: str

    def csv_row(self) -> str:
        """One CSV line with its line ending."""
        fields = (self.posted.isoformat(), f"{self.amount:f}", self.currency, self.kind)
        return _csv_line((*fields, self.payee, self.memo, self.id, self.account))


@dataclass
class _Element:
    name: str
    text: str = ""
    children: list[_Element] = field(default_factory=list)

    def child(self, *names: str) -> _Element:
        """The first child of one of these names, or an empty element."""
        found = (child for child in self.children if child.name in names)
        return next(found, _Element(names[0]))

    def value(self, name: str) -> str:
        """The text of a child, without the blanks around it."""
        return self.child(name).text.strip()

    def all(self, *names: str) -> Iterable[_Element]:
        """All elements below of these names, in the order of the file."""
        for child in self.children:
            if child.name in names:
                yield child
            yield from child.all(*names)


def csv_header() -> str:
    """The first CSV line."""
    return _csv_line(CSV_COLUMNS)


def read_transactions(data: bytes) -> list[Transaction]:
    """All transactions of all statements in the file, in its order; OfxError."""
    if data.lstrip(b"\xef\xbb\xbf \t\r\n").startswith(b"OFXHEADER:"):
        raise OfxError("This is an OFX 1 file (SGML). Only OFX 2 (XML) can be converted.")
    root = _Reader().read(data)
    statements = list(root.all(*_STATEMENTS))
    if not statements:
        raise OfxError("The file holds no bank or card statement.")
    return [item for statement in statements for item in _transactions(statement)]


class _Reader:
    """Builds the tree of elements, refusing what a statement has no need of."""

    def __init__(self) -> None:
        self._root = _Element("")
        self._open = [self._root]
        self._has_ofx_header = False
        self._parser = expat.ParserCreate()
        self._parser.buffer_text = True
        self._parser.StartElementHandler = self._start
        self._parser.EndElementHandler = self._end
        self._parser.CharacterDataHandler = self._text
        self._parser.ProcessingInstructionHandler = self._instruction
        self._parser.StartDoctypeDeclHandler = self._doctype

    def read(self, data: bytes) -> _Element:
        """The root's holder; OfxError."""
        try:
            self._parser.Parse(data, True)
        except expat.ExpatError as error:
            raise OfxError(f"The file is not well-formed XML: {error}.") from error
        if not self._has_ofx_header or self._root.children[0].name != "OFX":
            raise OfxError("The file is not an OFX 2 file: its OFX header is missing.")
        return self._root

    def _start(self, name: str, _attributes: dict[str, str]) -> None:
        if len(self._open) > _DEEPEST:
            raise OfxError(f"The file nests elements more than {_DEEPEST} deep.")
        element = _Element(name)
        self._open[-1].children.append(element)
        self._open.append(element)

    def _end(self, _name: str) -> None:
        self._open.pop()

    def _text(self, text: str) -> None:
        self._open[-1].text += text

    def _instruction(self, target: str, data: str) -> None:
        if target == "OFX" and 'OFXHEADER="200"' in data.replace("'", '"'):
            self._has_ofx_header = True

    def _doctype(self, *_declaration: Any) -> None:
        raise OfxError("The file declares a document type, which OFX does not know.")


def _transactions(statement: _Element) -> Iterable[Transaction]:
    currency = statement.value("CURDEF")
    account = statement.child(*_ACCOUNTS).value("ACCTID")
    for item in statement.child("BANKTRANLIST").all("STMTTRN"):
        yield Transaction(
            posted=_date(item.value("DTPOSTED")),
            amount=_amount(item.value("TRNAMT")),
            currency=item.child("CURRENCY").value("CURSYM") or currency,
            kind=item.value("TRNTYPE"),
            payee=item.value("NAME") or item.child("PAYEE").value("NAME"),
            memo=item.value("MEMO"),
            id=item.value("FITID"),
            account=account,
        )


def _date(text: str) -> date:
    if match := _DATE.match(text):
        try:
            return date(int(match[1]), int(match[2]), int(match[3]))
        except ValueError:
            pass
    raise OfxError(f"A transaction has no date: {text[:40]!r}.")


def _amount(text: str) -> Decimal:
    if not _AMOUNT.match(text):
        raise OfxError(f"A transaction has no amount: {text[:40]!r}.")
    return Decimal(text.replace(",", "."))


def _csv_line(fields: Iterable[str]) -> str:
    line = io.StringIO()
    csv.writer(line, lineterminator="\r\n").writerow(fields)
    return line.getvalue()
