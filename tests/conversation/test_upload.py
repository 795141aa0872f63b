"""The upload: what is in the archive, how it is shown, and what can stop it."""

from __future__ import annotations

import base64
import hashlib
import io
import os
import random
import shutil
import stat
import subprocess
import zipfile
from pathlib import Path
from typing import Any

import pytest
from assertions import assert_aborted, assert_clean, assert_lost, lost_in
from host_harness import PATIENCE, HostHarness
from host_view import log_lines
from observed_process import working_directory
from session_states import SENDING, WAITING_FOR_HANDSHAKE, handshake, in_state
from standin import crypto
from standin.record import wait_until
from terminal_host import Conversion, Outcome, Section, Status

UPLOADED = handshake()
UNPACKED_BY_NOBODY = in_state(
    WAITING_FOR_HANDSHAKE, "ServerHandshake", {"receive": "InputArchive"}, {"exit": 0}
)
COULD_NOT_COPY = "Could not copy the source file to the InputArchive directory"
TITLE = "Uploading encrypted file..."


def incompressible_text(size: int) -> bytes:
    """That much text that hardly becomes smaller in a zip; always the same."""
    return base64.encodebytes(random.Random(size).randbytes(size * 3 // 4))[:size]


def _zip_of_the_upload(harness: HostHarness) -> bytes:
    """What a server that did not look into it has received."""
    record = harness.connection()
    body = record.received[-1].body
    assert body is not None
    return crypto.decrypt(body, record.secrets["symmetricKey"], record.secrets["inputArchiveIV"])


def shown_progress(outcome: Outcome) -> list[Any]:
    """Sections and statuses of the upload, as the host saw them."""
    own = [event for event in outcome.events if isinstance(event, (Section, Status))]
    return [e for e in own if isinstance(e, Status) or e.title == TITLE]


@pytest.mark.parametrize(
    "name",
    ["statement.ofx", "my statement of May.ofx", "Kontoauszug für Zoë – 明細.ofx", "-k", ".hidden"],
)
def test_the_archive_holds_the_source_under_its_own_name(harness: HostHarness, name: str) -> None:
    source = harness.directory / name
    source.write_bytes(b"some content\n")
    assert_lost(harness.convert(UPLOADED, file_path=source), SENDING)
    with zipfile.ZipFile(io.BytesIO(harness.connection().input_archive)) as archive:
        assert archive.namelist() == ["InputArchive/", f"InputArchive/{name}"]
        assert archive.testzip() is None
        assert archive.read(f"InputArchive/{name}") == b"some content\n"
    assert source.read_bytes() == b"some content\n"


@pytest.mark.parametrize(
    "name",
    [b"latin-1 \xfc.ofx", b"\xff\xfe", b"two\nlines", b"\x1b[2J\x7f", b"C:\\statement.ofx"],
    ids=repr,
)
@pytest.mark.parametrize("is_folder", [False, True], ids=["a file", "in a folder"])
def test_a_name_of_any_bytes_is_uploaded_as_it_is(
    harness: HostHarness, name: bytes, is_folder: bool
) -> None:
    folder = os.fsencode(harness.directory / "folder")
    os.mkdir(folder)
    source = os.path.join(folder, name)
    with open(source, "wb") as file:
        file.write(b"some content\n")
    chosen = folder if is_folder else source
    assert_lost(harness.convert(UNPACKED_BY_NOBODY, file_path=os.fsdecode(chosen)), SENDING)
    (harness.directory / "uploaded.zip").write_bytes(_zip_of_the_upload(harness))
    unpacked = harness.directory / "unpacked"
    archiver = harness.program.with_name("ZanburyArchiver")
    subprocess.run([archiver, "-x", "-k", harness.directory / "uploaded.zip", unpacked], check=True)
    top = os.path.join(os.fsencode(unpacked), b"InputArchive", b"folder" if is_folder else b"")
    assert os.listdir(top) == [name]
    with open(os.path.join(top, name), "rb") as file:
        assert file.read() == b"some content\n"


@pytest.mark.parametrize("mode", [0o640, 0o755], ids=oct)
def test_the_archive_keeps_the_mode_of_the_source(harness: HostHarness, mode: int) -> None:
    harness.source.chmod(mode)
    assert_lost(harness.convert(UPLOADED), SENDING)
    with zipfile.ZipFile(io.BytesIO(harness.connection().input_archive)) as archive:
        attributes = archive.infolist()[1].external_attr >> 16
    assert (stat.S_IFMT(attributes), stat.S_IMODE(attributes)) == (stat.S_IFREG, mode)


def test_an_empty_source_is_uploaded_as_well(harness: HostHarness) -> None:
    harness.source.write_bytes(b"")
    assert_lost(harness.convert(UPLOADED), SENDING)
    with zipfile.ZipFile(io.BytesIO(harness.connection().input_archive)) as archive:
        assert archive.read("InputArchive/statement.ofx") == b""


def test_the_archive_is_encrypted_with_the_keys_of_the_handshake(harness: HostHarness) -> None:
    assert_lost(harness.convert(UPLOADED), SENDING)
    record = harness.connection()
    secrets, body = record.secrets, record.input_archive_encrypted
    zipped = crypto.decrypt(body, secrets["symmetricKey"], secrets["inputArchiveIV"])
    assert zipped.startswith(b"PK\x03\x04") and not body.startswith(b"PK")
    assert len(body) == len(zipped) + 16 - len(zipped) % 16


@pytest.mark.parametrize(
    ("path", "expected"),
    [
        pytest.param("link", "link", id="link to a file"),
        pytest.param("folder", "folder/inside", id="directory"),
        pytest.param("folder//", "folder/inside", id="directory, with slashes behind it"),
        pytest.param("folder/inside/", "inside", id="file, with a slash behind it"),
    ],
)
def test_links_are_followed_and_directories_taken_whole(
    harness: HostHarness, path: str, expected: str
) -> None:
    folder = harness.directory / "folder"
    folder.mkdir()
    (folder / "inside").write_bytes(b"x")
    (harness.directory / "link").symlink_to(folder / "inside")
    asked = f"{harness.directory}/{path}"
    assert_lost(harness.convert(UNPACKED_BY_NOBODY, file_path=asked), SENDING)
    with zipfile.ZipFile(io.BytesIO(_zip_of_the_upload(harness))) as archive:
        assert archive.read(f"InputArchive/{expected}") == b"x"


def test_progress_is_a_section_and_a_status_for_each_step(harness: HostHarness) -> None:
    harness.source.write_bytes(incompressible_text(1_000_000))
    outcome = harness.convert(UPLOADED)
    assert_lost(outcome, SENDING)
    length = len(harness.connection().input_archive_encrypted)
    shown = shown_progress(outcome)
    values = [event.value for event in shown if isinstance(event, Status)]
    assert shown[0::2] == [Section(TITLE, length)] * len(values)
    assert shown[1::2] == [Status(value) for value in values]
    assert values == sorted(values) and len(values) >= 1 + length / 256_000
    # The step that finds the end of the file asks once more.
    assert values[-2:] == [length, length] and values[-3] < length


def begin_stalled(harness: HostHarness, *then: Any, size: int = 8_000_000) -> Conversion:
    """An upload of more than all buffers on the way hold, and of which the server reads nothing."""
    harness.source.write_bytes(incompressible_text(size))
    halted = [{"stop reading after": "ClientHandshake"}, "ServerHello", "ClientHandshake"]
    conversion = harness.begin({"steps": [*halted, "ServerHandshake", *then, "End"]})
    conversion.wait_for(lambda event: isinstance(event, Status), PATIENCE)
    return conversion


def test_a_large_file_arrives_intact_though_the_server_pauses(harness: HostHarness) -> None:
    go_on = [{"await": "go"}, {"read on": True}, "InputArchive", {"exit": 0}]
    conversion = begin_stalled(harness, *go_on, size=20_000_000)
    harness.server.file("go").touch()
    outcome = conversion.wait(PATIENCE)
    assert_lost(outcome, SENDING)
    with zipfile.ZipFile(io.BytesIO(harness.connection().input_archive)) as archive:
        received = archive.read("InputArchive/statement.ofx")
    expected = harness.source.read_bytes()
    assert hashlib.sha256(received).digest() == hashlib.sha256(expected).digest()
    assert outcome.statuses[-1] == len(harness.connection().input_archive_encrypted)


def test_the_user_can_cancel_an_upload_that_is_stuck(harness: HostHarness) -> None:
    conversion = begin_stalled(harness, {"stall": True})
    conversion.cancel()
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 1, outcome.report()
    assert log_lines(outcome)[0] == "User canceled"
    assert outcome.titles[-1] == "Canceling..."
    assert outcome.statuses[-1] < outcome.sections[-2].maximum
    assert_clean(outcome)


def test_an_error_message_stops_an_upload_that_is_stuck(harness: HostHarness) -> None:
    conversion = begin_stalled(harness, {"await": "go"}, {"error": "Enough"})
    harness.server.file("go").touch()
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 1, outcome.report()
    assert log_lines(outcome)[0] == "Enough"
    assert outcome.statuses[-1] < outcome.sections[-1].maximum
    assert_clean(outcome)


def test_the_end_of_the_server_ends_an_upload_that_is_stuck(harness: HostHarness) -> None:
    conversion = begin_stalled(harness, {"await": "go"}, {"kill": "SIGKILL"})
    harness.server.file("go").touch()
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 0, outcome.report()
    assert lost_in(log_lines(outcome)[-1]) == SENDING, outcome.report()
    assert_clean(outcome)


@pytest.mark.parametrize(
    ("path", "error"),
    [
        (None, "EXPORT_FILE_PATH is not set"),
        ("", "EXPORT_FILE_PATH is not set"),
        ("/no/such/file", "stat /no/such/file: No such file or directory"),
        ("/proc/self/mem", "Input/output error"),
        ("/dev/null", "Neither a file nor a directory: /dev/null"),
    ],
    ids=["unset", "empty", "missing", "unreadable", "a device"],
)
def test_a_source_that_cannot_be_copied_aborts(
    harness: HostHarness, path: str | None, error: str
) -> None:
    outcome = harness.convert(UPLOADED, file_path=path)
    reported = harness.connection().error["error"]
    assert error in reported
    assert_aborted(harness, outcome, COULD_NOT_COPY, error=reported)


def begin_prepared(harness: HostHarness) -> tuple[Conversion, Path]:
    """A conversion that waits for the server's answer, and its working directory."""
    answer = [{"create": "asked"}, {"await": "go"}, "ServerHandshake", "InputArchive"]
    conversion = harness.begin(in_state(WAITING_FOR_HANDSHAKE, *answer))
    wait_until(harness.server.file("asked").exists, PATIENCE, "the handshake")
    return conversion, working_directory(conversion)


def test_a_directory_that_cannot_be_made_aborts(harness: HostHarness) -> None:
    conversion, directory = begin_prepared(harness)
    (directory / "InputArchive").write_bytes(b"in the way")
    harness.server.file("go").touch()
    outcome = conversion.wait(PATIENCE)
    reported = harness.connection().error["error"]
    assert str(directory / "InputArchive") in reported
    reason = "Could not create InputArchive directory"
    assert_aborted(harness, outcome, reason, error=reported)


@pytest.mark.parametrize("name", ["InputArchive.zip", "InputArchive.zip-encrypted"])
def test_an_archive_that_cannot_be_encrypted_aborts(harness: HostHarness, name: str) -> None:
    conversion, directory = begin_prepared(harness)
    (directory / name / "in the way").mkdir(parents=True)
    harness.server.file("go").touch()
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 1, outcome.report()
    assert log_lines(outcome)[-1] == "Could not encrypt InputArchive.zip"
    assert harness.connection().error == {"reason": "Could not encrypt InputArchive.zip"}
    assert_clean(outcome)


def test_without_an_archiver_the_upload_aborts(harness: HostHarness, tmp_path: Path) -> None:
    alone = tmp_path / "alone" / "ZanburyToolProxy"
    alone.parent.mkdir()
    shutil.copy2(harness.program, alone)
    outcome = harness.convert(UPLOADED, program=alone)
    assert_aborted(harness, outcome, "Could not create InputArchive.zip")


def test_an_archiver_that_fails_aborts_the_upload(harness: HostHarness, tmp_path: Path) -> None:
    alone = tmp_path / "alone" / "ZanburyToolProxy"
    alone.parent.mkdir()
    shutil.copy2(harness.program, alone)
    archiver = alone.with_name("ZanburyArchiver")
    archiver.write_text("#!/bin/sh\necho disk full >&2\nexit 1\n", "ascii")
    archiver.chmod(0o755)
    outcome = harness.convert(UPLOADED, program=alone)
    assert_aborted(harness, outcome, "Could not create InputArchive.zip", before=("disk full",))
