"""Results that no well-behaved server would send: whatever is in them, nothing is left outside the
host's two places, and the host hears what is wrong."""

from __future__ import annotations

import io
import plistlib
import stat
import zipfile
from collections.abc import Callable
from pathlib import Path
from typing import Any

import pytest
from assertions import assert_aborted, assert_clean
from host_harness import HostHarness
from host_view import log_lines
from terminal_host import Outcome
from zip_entries import Entry, directory, file, link, result, zipped

NOT_DECRYPTED = "Could not decrypt OutputArchive.zip"
NOT_UNZIPPED = "Could not unzip OutputArchive.zip"
NOT_COPIED = "Could not copy dest file to host path"
ARCHIVER = "ZanburyArchiver: "
CONVERTED = file("OutputArchive/converted.csv", b"a,b\n")
LOGS = directory("OutputArchive/Logs")
GOOD = [*result(), CONVERTED, LOGS]


def _answer(harness: HostHarness, options: dict[str, Any], **fields: Any) -> Outcome:
    """A conversation whose OutputArchive is made with these options."""
    return harness.convert({"OutputArchive": options}, **fields)


def _answer_zip(harness: HostHarness, archive: bytes, **fields: Any) -> Outcome:
    """A conversation whose result is this archive, encrypted as it must be."""
    harness.server.file("result.zip").write_bytes(archive)
    return _answer(harness, {"zip": {"file": "result.zip"}}, **fields)


def _assert_aborted(harness: HostHarness, outcome: Outcome, reason: str, *, complaint: str) -> None:
    """An abort behind a line that holds the complaint; the result had been acknowledged before."""
    *before, last = log_lines(outcome)
    assert len(before) == 1 and complaint in before[0], outcome.report()
    assert_aborted(harness, outcome, reason, before=tuple(before))
    assert last == reason
    assert harness.connection().types_received[-2:] == ["OutputArchiveAcknowledgement", "Error"]
    assert not harness.result.exists() and not harness.logs.exists()


@pytest.mark.parametrize(
    ("options", "complaint"),
    [
        pytest.param({"padding": "wrong"}, "bad decrypt", id="wrong padding"),
        pytest.param({"body": "x" * 1000}, "wrong final block length", id="no whole blocks"),
        pytest.param(
            {"body": {"join": [{"encrypted": "x", "iv": "outputArchiveIV"}, "y"]}},
            "wrong final block length",
            id="a byte behind the last block",
        ),
    ],
)
def test_what_does_not_decrypt_aborts_after_the_acknowledgement(
    harness: HostHarness, options: dict, complaint: str
) -> None:
    # The acknowledgement says that the message has come, and not that it was of use.
    outcome = _answer(harness, options)
    _assert_aborted(harness, outcome, NOT_DECRYPTED, complaint=complaint)


def test_a_message_without_body_is_acknowledged_and_does_not_decrypt(harness: HostHarness) -> None:
    outcome = _answer(harness, {"body": ""})
    assert (outcome.status, log_lines(outcome)[-1]) == (1, NOT_DECRYPTED), outcome.report()
    assert harness.connection().types_received[-2:] == ["OutputArchiveAcknowledgement", "Error"]
    assert_clean(outcome)


def _truncated(archive: bytes) -> bytes:
    return archive[: len(archive) // 2]


def _without_end(archive: bytes) -> bytes:
    return archive[:-1]


def _damaged(archive: bytes) -> bytes:
    """One bit of the converted file's checksum is another, in both places where it stands."""
    with zipfile.ZipFile(io.BytesIO(archive)) as opened:
        checksum = opened.getinfo(CONVERTED.name).CRC.to_bytes(4, "little")
    assert archive.count(checksum) == 2
    return archive.replace(checksum, bytes([checksum[0] ^ 1]) + checksum[1:])


def _encrypted_entries(archive: bytes) -> bytes:
    """All entries of the directory say that they are encrypted."""
    return archive.replace(b"PK\x01\x02\x14\x03\x14\x00\x00", b"PK\x01\x02\x14\x03\x14\x00\x01")


@pytest.mark.parametrize(
    "spoil",
    [
        pytest.param(lambda _: b"", id="nothing"),
        pytest.param(lambda _: b"This is not a zip.", id="text"),
        pytest.param(lambda _: bytes(100_000), id="zeros"),
        pytest.param(_truncated, id="half of one"),
        pytest.param(_without_end, id="without its last byte"),
        pytest.param(_damaged, id="with a wrong checksum"),
        pytest.param(_encrypted_entries, id="with encrypted entries"),
    ],
)
def test_what_is_no_whole_zip_aborts(harness: HostHarness, spoil: Callable[[bytes], bytes]) -> None:
    good = zipped(*GOOD)
    assert spoil(good) != good
    _assert_aborted(harness, _answer_zip(harness, spoil(good)), NOT_UNZIPPED, complaint=ARCHIVER)


OUT = "canary"
LEADING_OUT = [
    ("a name with two dots", file(f"../{OUT}", b"x")),
    ("a name with two dots further down", file(f"OutputArchive/../../{OUT}", b"x")),
    ("two dots between slashes", file(f"OutputArchive//..//..//{OUT}", b"x")),
    ("a directory above", directory(f"../{OUT}")),
    ("a link to the directory above", link("OutputArchive/up", "../..")),
    ("a link to an absolute name", link("OutputArchive/root", "/etc/hostname")),
    ("a link down and up again", link("OutputArchive/up", "Logs/../../..")),
    ("a link that leads out as converted file", link("OutputArchive/x.csv", "../identity")),
    ("a link in place of the logs", link("OutputArchive/Logs2", "/var/log")),
]


@pytest.mark.parametrize("entry", [pytest.param(entry, id=name) for name, entry in LEADING_OUT])
def test_an_archive_that_leads_out_is_refused_as_a_whole(
    harness: HostHarness, entry: Entry
) -> None:
    # The entries around the hostile one are good, and are not delivered either.
    outcome = _answer_zip(harness, zipped(*GOOD, entry))
    _assert_aborted(harness, outcome, NOT_UNZIPPED, complaint=ARCHIVER)


def test_an_absolute_name_writes_nothing_there(harness: HostHarness, tmp_path: Path) -> None:
    target = tmp_path / OUT
    outcome = _answer_zip(harness, zipped(*GOOD, file(str(target), b"x")))
    _assert_aborted(harness, outcome, NOT_UNZIPPED, complaint=ARCHIVER)
    assert not target.exists()


def test_a_file_below_a_link_does_not_go_where_that_leads(
    harness: HostHarness, tmp_path: Path
) -> None:
    below = [link("OutputArchive/out", str(tmp_path)), file(f"OutputArchive/out/{OUT}", b"x")]
    outcome = _answer_zip(harness, zipped(*GOOD, *below))
    _assert_aborted(harness, outcome, NOT_UNZIPPED, complaint=ARCHIVER)
    assert not (tmp_path / OUT).exists()


def test_a_device_is_not_made(harness: HostHarness) -> None:
    device = Entry("OutputArchive/converted.csv2", mode=stat.S_IFIFO | 0o644)
    outcome = _answer_zip(harness, zipped(*GOOD, device))
    _assert_aborted(harness, outcome, NOT_UNZIPPED, complaint=ARCHIVER)


@pytest.mark.filterwarnings("ignore:Duplicate name")
def test_two_entries_of_one_name_are_refused(harness: HostHarness) -> None:
    outcome = _answer_zip(harness, zipped(*GOOD, CONVERTED))
    _assert_aborted(harness, outcome, NOT_UNZIPPED, complaint=ARCHIVER)


def _claiming(archive: bytes, size: int) -> bytes:
    """The archive with this as the size of the converted file, in both places where it stands."""
    true = len(CONVERTED.data).to_bytes(4, "little")
    with zipfile.ZipFile(io.BytesIO(archive)) as opened:
        info = opened.getinfo(CONVERTED.name)
    sizes = info.compress_size.to_bytes(4, "little")
    checksum = info.CRC.to_bytes(4, "little")
    assert archive.count(checksum + sizes + true) == 2
    return archive.replace(checksum + sizes + true, checksum + sizes + size.to_bytes(4, "little"))


@pytest.mark.parametrize("size", [1, 3_000, 4_000_000_000], ids="{} bytes".format)
def test_a_size_that_is_not_the_true_one_is_refused(harness: HostHarness, size: int) -> None:
    outcome = _answer_zip(harness, _claiming(zipped(*GOOD), size))
    _assert_aborted(harness, outcome, NOT_UNZIPPED, complaint=ARCHIVER)


def test_as_many_entries_as_a_tool_may_want_are_no_reason_to_refuse_its_result(
    harness: HostHarness,
) -> None:
    crowd = [file(f"OutputArchive/{number}", b"") for number in range(10_001)]
    outcome = _answer_zip(
        harness, zipped(*GOOD, *crowd, file(r"OutputArchive\..\x", b"a plain name"))
    )
    assert outcome.status == 0 and harness.result.exists(), outcome.report()


@pytest.mark.parametrize("top", ["", "Other", "outputarchive"])
def test_an_archive_without_the_top_level_directory_aborts(harness: HostHarness, top: str) -> None:
    outcome = _answer(harness, {"top": top})
    assert_aborted(harness, outcome, NOT_UNZIPPED)
    assert not harness.result.exists()


def _renamed(top: str) -> list[Entry]:
    return [
        Entry(entry.name.replace("OutputArchive", top), entry.data, entry.mode) for entry in GOOD
    ]


@pytest.mark.parametrize(
    "entries",
    [
        pytest.param([file("OutputArchive", b"x")], id="a file"),
        pytest.param([link("OutputArchive", "Other"), *_renamed("Other")], id="a link"),
        pytest.param([link("OutputArchive", "."), *_renamed("Other")], id="a link to all"),
        pytest.param([*GOOD, link("Other", "OutputArchive")], id="a link beside it"),
    ],
)
def test_the_top_level_is_a_directory_without_links_beside_it(
    harness: HostHarness, entries: list[Entry]
) -> None:
    harness.logs.mkdir()
    outcome = _answer_zip(harness, zipped(*entries))
    assert_aborted(harness, outcome, NOT_UNZIPPED)
    assert not harness.result.exists() and list(harness.logs.iterdir()) == []


@pytest.mark.parametrize("name", ["identity", "config", "OutputArchive.zip"])
def test_what_is_private_is_not_delivered_as_the_result(harness: HostHarness, name: str) -> None:
    # A link that leads to the working directory, and so to whatever lies there.
    plist = plistlib.dumps({"toolExitCode": 0, "destFileName": name})
    outcome = _answer_zip(harness, zipped(link("OutputArchive", "."), file("Result.plist", plist)))
    assert_aborted(harness, outcome, NOT_UNZIPPED)
    assert not harness.result.exists() and not harness.logs.exists()


HARMLESS_LINKS = [
    ("a sibling", "latest.log", "tool-1.log"),
    ("a file further down", "latest.log", "run/1.log"),
    ("a file further up", "run/latest.log", "../tool-1.log"),
    ("a folder", "latest", "run"),
]


@pytest.mark.parametrize("place", ["new", "there already"])
@pytest.mark.parametrize(
    ("name", "target"), [pytest.param(*words, id=identity) for identity, *words in HARMLESS_LINKS]
)
def test_a_link_inside_the_logs_is_delivered_as_a_link(
    harness: HostHarness, name: str, target: str, place: str
) -> None:
    if place == "there already":
        harness.logs.mkdir()
    inner = [
        link(f"OutputArchive/Logs/{name}", target),
        file("OutputArchive/Logs/tool-1.log", b"1"),
        file("OutputArchive/Logs/run/1.log", b"1"),
    ]
    outcome = _answer_zip(harness, zipped(*GOOD, *inner))
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert (harness.logs / name).readlink() == Path(target)
    assert (harness.logs / name).exists()
    assert_clean(outcome)


@pytest.mark.parametrize(
    ("target", "places"),
    [
        pytest.param("../converted.csv", ["new", "there already"], id="beside the logs"),
        pytest.param("..", ["new", "there already"], id="above the logs"),
        pytest.param("older.log", ["there already"], id="a log of the host"),
        pytest.param(".", ["there already"], id="the directory of the host"),
    ],
)
def test_a_link_out_of_the_logs_is_refused(
    harness: HostHarness, target: str, places: list[str]
) -> None:
    entries = zipped(*GOOD, link("OutputArchive/Logs/l.log", target))
    for place in places:
        harness.result.unlink(missing_ok=True)
        reason = "Could not copy logs to host path"
        if place == "there already":
            harness.logs.mkdir()
            (harness.logs / "older.log").touch()
            reason = "Could not copy log file to host logs directory"
        outcome = _answer_zip(harness, entries)
        assert (outcome.status, log_lines(outcome)[0]) == (1, reason), outcome.report()
        assert "A link leads out of the result: " in log_lines(outcome)[1]
        assert not (harness.logs / "l.log").is_symlink()
        assert_clean(outcome)


def test_a_converted_file_may_be_a_link_to_another_inside(harness: HostHarness) -> None:
    inner = [file("OutputArchive/real.csv", b"1"), link("OutputArchive/converted.csv", "real.csv")]
    outcome = _answer_zip(harness, zipped(*result(), LOGS, *inner))
    assert outcome.status == 0 and harness.result.read_bytes() == b"1", outcome.report()
    assert not harness.result.is_symlink()


def test_what_stands_beside_the_result_cannot_replace_what_the_program_goes_by(
    harness: HostHarness,
) -> None:
    # Names of the program's own files in its working directory.
    own = [file(name, b"x") for name in ("config", "identity", "OutputArchive.zip")]
    outcome = _answer_zip(harness, zipped(*GOOD, *own))
    assert outcome.status == 0 and harness.result.read_bytes() == CONVERTED.data, outcome.report()
    assert_clean(outcome)
