"""OFX 2 to CSV: what is converted, and what is refused with which words."""

from __future__ import annotations


import pytest
from reference_client import host_messages
from standin import ofx
from standin.conversion import Conversion, ConversionResult, SourceFile

HEADER = '<?xml version="1.0" encoding="UTF-8"?><?OFX OFXHEADER="200" VERSION="211"?>'
PAID = "<DTPOSTED>20240305</DTPOSTED><TRNAMT>-1.50</TRNAMT>"


def statement(transaction: str, header: str = HEADER) -> bytes:
    """The smallest statement around one transaction's elements."""
    return (
        f"{header}<OFX><STMTRS><CURDEF>USD</CURDEF><BANKACCTFROM><ACCTID>7</ACCTID></BANKACCTFROM>"
        f"<BANKTRANLIST><STMTTRN>{transaction}</STMTTRN></BANKTRANLIST></STMTRS></OFX>"
    ).encode("utf-8")


def only_row(transaction: str) -> str:
    return ofx.read_transactions(statement(transaction))[0].csv_row()


def convert(data: bytes) -> tuple[ConversionResult, bytes]:
    messages: list[bytes] = []
    conversion = Conversion(messages.append, lambda: None)
    result = conversion.run("StatementConverter", SourceFile("may.ofx", data))
    return result, b"".join(messages)


@pytest.mark.parametrize(
    "transaction, row",
    [
        (PAID, "2024-03-05,-1.50,USD,,,,,7\r\n"),
        (PAID + "<NAME>A &amp; B</NAME>", "2024-03-05,-1.50,USD,,A & B,,,7\r\n"),
        (PAID + '<NAME>"A", B</NAME>', '2024-03-05,-1.50,USD,,"""A"", B",,,7\r\n'),
        (PAID + "<PAYEE><NAME>C</NAME></PAYEE>", "2024-03-05,-1.50,USD,,C,,,7\r\n"),
        (PAID + "<TRNTYPE>FEE</TRNTYPE><FITID>9</FITID>", "2024-03-05,-1.50,USD,FEE,,,9,7\r\n"),
        (PAID + "<MEMO>ä</MEMO>", "2024-03-05,-1.50,USD,,,ä,,7\r\n"),
        (
            PAID + "<CURRENCY><CURSYM>EUR</CURSYM></CURRENCY>",
            "2024-03-05,-1.50,EUR,,,,,7\r\n",
        ),
        (
            "<DTPOSTED>20231231235959.999[-5:EST]</DTPOSTED><TRNAMT>+1,05</TRNAMT>",
            "2023-12-31,1.05,USD,,,,,7\r\n",
        ),
        (
            "<DTPOSTED> 20240229 </DTPOSTED><TRNAMT>\n1000000000000000.01\n</TRNAMT>",
            "2024-02-29,1000000000000000.01,USD,,,,,7\r\n",
        ),
    ],
)
def test_a_transaction_becomes_a_row(transaction: str, row: str) -> None:
    assert only_row(transaction) == row


@pytest.mark.parametrize(
    "data, reason",
    [
        (b"", "not well-formed XML"),
        (b"no xml", "not well-formed XML"),
        (b"OFXHEADER:100\nDATA:OFXSGML\n", "OFX 1 file"),
        (b"\xef\xbb\xbfOFXHEADER:100\n", "OFX 1 file"),
        (b"<OFX/>", "OFX header is missing"),
        (HEADER.encode() + b"<XFO/>", "OFX header is missing"),
        (HEADER.encode() + b"<OFX/>", "no bank or card statement"),
        (statement(PAID)[:-1], "not well-formed XML"),
        (statement("<TRNAMT>1</TRNAMT>"), "no date: ''"),
        (statement("<DTPOSTED>20240230</DTPOSTED><TRNAMT>1</TRNAMT>"), "no date: '20240230'"),
        (statement("<DTPOSTED>20240228</DTPOSTED>"), "no amount: ''"),
        (statement("<DTPOSTED>20240228</DTPOSTED><TRNAMT>NaN</TRNAMT>"), "no amount: 'NaN'"),
        (statement("<DTPOSTED>20240228</DTPOSTED><TRNAMT>1e9</TRNAMT>"), "no amount: '1e9'"),
        (HEADER.encode() + b"<a>" * 100 + b"</a>" * 100, "more than 64 deep"),
        (HEADER.encode() + b"<!DOCTYPE OFX><OFX/>", "document type"),
    ],
)
def test_what_is_no_statement_is_refused(data: bytes, reason: str) -> None:
    with pytest.raises(ofx.OfxError, match=reason):
        ofx.read_transactions(data)


def test_entities_are_never_expanded() -> None:
    entities = "".join(f'<!ENTITY e{n} "{f"&e{n - 1};" * 10}">' for n in range(1, 12))
    bomb = statement("<NAME>&e11;</NAME>", f'{HEADER}<!DOCTYPE OFX [<!ENTITY e0 "x">{entities}]>')
    with pytest.raises(ofx.OfxError, match="document type"):
        ofx.read_transactions(bomb)


def test_the_sample_is_converted_whole(statement: bytes) -> None:
    result, stream = convert(statement)
    assert (result.exit_code, result.dest_file_name) == (0, "may.csv")
    assert result.converted is not None
    lines = result.converted.decode("utf-8").split("\r\n")
    assert lines[0] == "Date,Amount,Currency,Type,Payee,Memo,Id,Account"
    assert len(lines) == 1 + 26 + 1 and lines[-1] == ""
    assert lines[4] == "2024-03-03,-4.80,USD,POS,Café Zür Lämmle,,B0004,0042-7718"
    assert b"found 26 transactions" in result.logs["conversion.log"]
    messages = host_messages(stream)
    assert messages[1]["progressTitle"] == "Converting transactions..."
    assert messages[1]["progressValue"] == 26
    assert messages[-2] == {"messageType": "progressStatus", "progressValue": 26}


def test_a_bad_file_ends_the_tool_with_the_status_of_bad_data() -> None:
    result, stream = convert(b"junk")
    assert (result.exit_code, result.dest_file_name, result.converted) == (65, None, None)
    assert b"ERROR: The file is not well-formed XML" in result.logs["conversion.log"]
    assert "not well-formed XML" in host_messages(stream)[-1]["progressTitle"]


def test_a_long_statement_reports_a_bounded_number_of_times() -> None:
    one = f"<STMTTRN>{PAID}</STMTTRN>"
    many = statement(PAID).replace(b"<BANKTRANLIST>", b"<BANKTRANLIST>" + one.encode() * 4999)
    result, stream = convert(many)
    assert result.converted is not None and result.converted.count(b"\r\n") == 5001
    assert len(host_messages(stream)) == 3 + 200
