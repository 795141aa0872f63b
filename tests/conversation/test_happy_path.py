"""A conversion without incident, byte for byte, from the environment to the delivered file."""

from __future__ import annotations

import hashlib
import io
import stat
import zipfile

import pytest
from desk import PATIENCE, Desk
from endings import assert_clean
from host_messages import CONNECTING, PATIENT, downloading, section, status, uploading
from host_view import log_lines
from observed_process import ssh_of
from standin import crypto
from terminal_host import Conversion, Outcome, Section

CSV = (
    b"Date,Amount,Currency,Type,Payee,Memo,Id,Account\r\n"
    b"2024-03-01,-1450.00,USD,DEBIT,Larchwood Estates,Rent March,B0001,"
)
ASKED = b"\x00\xff any bytes\r\n\x18"
TELLING = [{"forward": "go on\n"}, {"forwarded": len(ASKED)}]


class Told:
    """A conversation with bytes forwarded in both directions, and all that it left."""

    def __init__(self, desk: Desk) -> None:
        conversion = desk.begin({"Conversion": {"before": TELLING}})
        conversion.wait_until(lambda now: b"go on\n" in now.fifo_bytes, PATIENCE)
        self.ssh = ssh_of(conversion)
        conversion.send(ASKED)
        self.outcome = conversion.wait(PATIENCE)
        self.record = desk.connection()
        self.secrets = self.record.secrets


@pytest.fixture
def told(desk: Desk) -> Told:
    return Told(desk)


def _size(told: Told, name: str) -> int:
    return next(frame.length for frame in told.record.frames if frame.type == name)


def test_the_whole_conversation(desk: Desk, told: Told) -> None:
    # One test, because it is one conversation: each part is held against what was promised.
    assert told.outcome.status == 0, told.outcome.report()
    assert log_lines(told.outcome) == [] and told.outcome.stdout == b""
    _assert_frames_of_the_client(told)
    _assert_archive_that_was_sent(desk, told)
    _assert_bytes_on_the_fifo(told)
    assert told.record.forwarded == ASKED
    _assert_delivery(desk, told)
    assert told.record.end["how"] == "client closed"
    assert_clean(told.outcome)
    told.ssh.wait_for_end()


def _assert_frames_of_the_client(told: Told) -> None:
    assert told.record.types_received == [
        "ClientHandshake",
        "InputArchive",
        "Forward",
        "OutputArchiveAcknowledgement",
    ]
    assert list(told.record.client_handshake) == [
        "toolName",
        "toolVersion",
        "systemVersion",
        "publicKey",
        "symmetricKey",
        "forwardingIV",
        "inputArchiveIV",
        "salt",
    ]
    _, _, forward, acknowledgement = told.record.received
    key, iv = told.secrets["symmetricKey"], told.secrets["forwardingIV"]
    assert forward.body == crypto.encrypt(ASKED, key, iv)
    assert acknowledgement.body == b""


def _assert_archive_that_was_sent(desk: Desk, told: Told) -> None:
    with zipfile.ZipFile(io.BytesIO(told.record.input_archive)) as archive:
        assert archive.namelist() == ["InputArchive/", "InputArchive/statement.ofx"]
        assert archive.read("InputArchive/statement.ofx") == desk.source.read_bytes()
        mode = archive.getinfo("InputArchive/statement.ofx").external_attr >> 16
    assert stat.S_IMODE(mode) == stat.S_IMODE(desk.source.stat().st_mode)
    key, iv = told.secrets["symmetricKey"], told.secrets["inputArchiveIV"]
    encrypted = crypto.encrypt(told.record.input_archive, key, iv)
    assert told.record.input_archive_encrypted == encrypted


def _assert_bytes_on_the_fifo(told: Told) -> None:
    up, down = _size(told, "InputArchive"), _size(told, "OutputArchive")
    tool = (
        section("Reading statement...")
        + section("Converting transactions...", 26)
        + b"".join(status(number) for number in range(1, 27))
        + section("Writing converted file...")
    )
    # Small archives go in one piece; the end of an upload is told once more.
    assert told.outcome.fifo_bytes == (
        CONNECTING + uploading(up, up, up) + PATIENT + b"go on\n" + tool + downloading(down, down)
    )
    assert told.record.relayed == b"go on\n" + tool


def _assert_delivery(desk: Desk, told: Told) -> None:
    with zipfile.ZipFile(io.BytesIO(told.record.output_archive)) as archive:
        converted = archive.read("OutputArchive/statement.csv")
        log = archive.read("OutputArchive/Logs/conversion.log")
    assert desk.result.read_bytes() == converted and converted.startswith(CSV)
    assert [path.name for path in desk.logs.iterdir()] == ["conversion.log"]
    assert (desk.logs / "conversion.log").read_bytes() == log


def _converted(conversion: Conversion) -> Outcome:
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 0, outcome.report()
    return outcome


def test_keys_are_new_for_every_conversation(desk: Desk) -> None:
    desk.convert()
    desk.convert(dest_path=desk.directory / "other.csv")
    first, second = desk.connection(1).secrets, desk.connection(2).secrets
    for name in ("symmetricKey", "salt", "forwardingIV", "inputArchiveIV"):
        assert first[name] != second[name], name
    assert len({*first.values()}) == len(first)


def test_two_conversations_at_a_time_do_not_disturb_each_other(desk: Desk) -> None:
    # Each server waits in the midst of its conversation until the other has come as far.
    meeting = [{"create": "one is there"}, {"await": "two is there"}]
    other = [{"create": "two is there"}, {"await": "one is there"}]
    desk.server.play([{"Conversion": {"before": meeting}}, {"Conversion": {"before": other}}])
    first = desk.begin()
    desk.server.begun(1)
    second = desk.begin(dest_path=desk.directory / "second.csv", logs_dir_path=None)
    for conversion in (first, second):
        assert_clean(_converted(conversion))
    assert (desk.directory / "second.csv").read_bytes() == desk.result.read_bytes()


def test_a_large_statement_comes_back_whole(desk: Desk) -> None:
    # Some 8 MB go up, in many writes.
    desk.source.write_bytes(_padded(desk.source.read_bytes(), 15_000_000))
    outcome = desk.convert()
    assert outcome.status == 0, outcome.report()
    size = len(desk.connection().input_archive_encrypted)
    uploads = [event for event in outcome.sections if event.title == "Uploading encrypted file..."]
    assert {event.maximum for event in uploads} == {size} and size > 5_000_000
    with zipfile.ZipFile(io.BytesIO(desk.connection().input_archive)) as archive:
        sent = archive.read("InputArchive/statement.ofx")
    assert hashlib.sha256(sent).digest() == hashlib.sha256(desk.source.read_bytes()).digest()
    assert desk.result.read_bytes().startswith(CSV)
    assert Section("Writing converted file...", 0) in outcome.sections
    assert_clean(outcome)


def _padded(statement: bytes, size: int) -> bytes:
    """The same statement with a comment of so many characters, which zip to half at best."""
    blocks = (hashlib.sha512(str(number).encode()).hexdigest() for number in range(size // 128))
    comment = f"<!--{''.join(blocks)}-->".encode()
    return statement.replace(b"<OFX>", comment + b"<OFX>", 1)
