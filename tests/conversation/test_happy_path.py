"""A conversion without incident, byte for byte, from the environment to the delivered file."""

from __future__ import annotations

import hashlib
import io
import stat
import zipfile

import pytest
from assertions import assert_clean
from host_harness import PATIENCE, HostHarness
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


class RecordedConversation:
    """A conversation with bytes forwarded in both directions, and all that it left."""

    def __init__(self, harness: HostHarness) -> None:
        conversion = harness.begin({"Conversion": {"before": TELLING}})
        conversion.wait_until(lambda now: b"go on\n" in now.fifo_bytes, PATIENCE)
        self.ssh = ssh_of(conversion)
        conversion.send(ASKED)
        self.outcome = conversion.wait(PATIENCE)
        self.record = harness.connection()
        self.secrets = self.record.secrets


@pytest.fixture
def recorded(harness: HostHarness) -> RecordedConversation:
    return RecordedConversation(harness)


def _size(recorded: RecordedConversation, name: str) -> int:
    return next(frame.length for frame in recorded.record.frames if frame.type == name)


def test_the_whole_conversation(harness: HostHarness, recorded: RecordedConversation) -> None:
    # One test, because it is one conversation: each part is held against what was promised.
    assert recorded.outcome.status == 0, recorded.outcome.report()
    assert log_lines(recorded.outcome) == [] and recorded.outcome.stdout == b""
    _assert_frames_of_the_client(recorded)
    _assert_archive_that_was_sent(harness, recorded)
    _assert_bytes_on_the_fifo(recorded)
    assert recorded.record.forwarded == ASKED
    _assert_delivery(harness, recorded)
    assert recorded.record.end["how"] == "client closed"
    assert_clean(recorded.outcome)
    recorded.ssh.wait_for_end()


def _assert_frames_of_the_client(recorded: RecordedConversation) -> None:
    assert recorded.record.types_received == [
        "ClientHandshake",
        "InputArchive",
        "Forward",
        "OutputArchiveAcknowledgement",
    ]
    assert list(recorded.record.client_handshake) == [
        "toolName",
        "toolVersion",
        "systemVersion",
        "publicKey",
        "symmetricKey",
        "forwardingIV",
        "inputArchiveIV",
        "salt",
    ]
    _, _, forward, acknowledgement = recorded.record.received
    key, iv = recorded.secrets["symmetricKey"], recorded.secrets["forwardingIV"]
    assert forward.body == crypto.encrypt(ASKED, key, iv)
    assert acknowledgement.body == b""


def _assert_archive_that_was_sent(harness: HostHarness, recorded: RecordedConversation) -> None:
    with zipfile.ZipFile(io.BytesIO(recorded.record.input_archive)) as archive:
        assert archive.namelist() == ["InputArchive/", "InputArchive/statement.ofx"]
        assert archive.read("InputArchive/statement.ofx") == harness.source.read_bytes()
        mode = archive.getinfo("InputArchive/statement.ofx").external_attr >> 16
    assert stat.S_IMODE(mode) == stat.S_IMODE(harness.source.stat().st_mode)
    key, iv = recorded.secrets["symmetricKey"], recorded.secrets["inputArchiveIV"]
    encrypted = crypto.encrypt(recorded.record.input_archive, key, iv)
    assert recorded.record.input_archive_encrypted == encrypted


def _assert_bytes_on_the_fifo(recorded: RecordedConversation) -> None:
    up, down = _size(recorded, "InputArchive"), _size(recorded, "OutputArchive")
    tool = (
        section("Reading statement...")
        + section("Converting transactions...", 26)
        + b"".join(status(number) for number in range(1, 27))
        + section("Writing converted file...")
    )
    # Small archives go in one piece; the end of an upload is recorded once more.
    assert recorded.outcome.fifo_bytes == (
        CONNECTING + uploading(up, up, up) + PATIENT + b"go on\n" + tool + downloading(down, down)
    )
    assert recorded.record.relayed == b"go on\n" + tool


def _assert_delivery(harness: HostHarness, recorded: RecordedConversation) -> None:
    with zipfile.ZipFile(io.BytesIO(recorded.record.output_archive)) as archive:
        converted = archive.read("OutputArchive/statement.csv")
        log = archive.read("OutputArchive/Logs/conversion.log")
    assert harness.result.read_bytes() == converted and converted.startswith(CSV)
    assert [path.name for path in harness.logs.iterdir()] == ["conversion.log"]
    assert (harness.logs / "conversion.log").read_bytes() == log


def _converted(conversion: Conversion) -> Outcome:
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 0, outcome.report()
    return outcome


def test_keys_are_new_for_every_conversation(harness: HostHarness) -> None:
    harness.convert()
    harness.convert(dest_path=harness.directory / "other.csv")
    first, second = harness.connection(1).secrets, harness.connection(2).secrets
    for name in ("symmetricKey", "salt", "forwardingIV", "inputArchiveIV"):
        assert first[name] != second[name], name
    assert len({*first.values()}) == len(first)


def test_two_conversations_at_a_time_do_not_disturb_each_other(harness: HostHarness) -> None:
    # Each server waits in the midst of its conversation until the other has come as far.
    meeting = [{"create": "one is there"}, {"await": "two is there"}]
    other = [{"create": "two is there"}, {"await": "one is there"}]
    harness.server.play([{"Conversion": {"before": meeting}}, {"Conversion": {"before": other}}])
    first = harness.begin()
    harness.server.begun(1)
    second = harness.begin(dest_path=harness.directory / "second.csv", logs_dir_path=None)
    for conversion in (first, second):
        assert_clean(_converted(conversion))
    assert (harness.directory / "second.csv").read_bytes() == harness.result.read_bytes()


def test_a_large_statement_comes_back_whole(harness: HostHarness) -> None:
    # Some 8 MB go up, in many writes.
    harness.source.write_bytes(_padded(harness.source.read_bytes(), 15_000_000))
    outcome = harness.convert()
    assert outcome.status == 0, outcome.report()
    size = len(harness.connection().input_archive_encrypted)
    uploads = [event for event in outcome.sections if event.title == "Uploading encrypted file..."]
    assert {event.maximum for event in uploads} == {size} and size > 5_000_000
    with zipfile.ZipFile(io.BytesIO(harness.connection().input_archive)) as archive:
        sent = archive.read("InputArchive/statement.ofx")
    assert hashlib.sha256(sent).digest() == hashlib.sha256(harness.source.read_bytes()).digest()
    assert harness.result.read_bytes().startswith(CSV)
    assert Section("Writing converted file...", 0) in outcome.sections
    assert_clean(outcome)


def _padded(statement: bytes, size: int) -> bytes:
    """The same statement with a comment of so many characters, which zip to half at best."""
    blocks = (hashlib.sha512(str(number).encode()).hexdigest() for number in range(size // 128))
    comment = f"<!--{''.join(blocks)}-->".encode()
    return statement.replace(b"<OFX>", comment + b"<OFX>", 1)
