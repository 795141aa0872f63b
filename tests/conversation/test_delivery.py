"""The result: where the converted file and the logs go, what the tool's exit code becomes, and what
the host hears when they cannot go there."""

from __future__ import annotations

import hashlib
import os
import stat
import subprocess
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import pytest
import zip_entries
from assertions import assert_aborted, assert_clean
from host_harness import HostHarness
from host_view import log_lines
from terminal_host import Outcome

CONVERTED, LOG = "a,b\n1,2\n", "all well\n"
NORMAL = {"destFileName": "converted.csv", "converted": CONVERTED, "logs": {"tool.log": LOG}}
NOT_COPIED = "Could not copy dest file to host path"
LOG_NOT_COPIED = "Could not copy log file to host logs directory"
FULL = "No space left on device"
LOGS_NOT_COPIED = "Could not copy logs to host path"


def _deliver(
    harness: HostHarness, archive: dict[str, Any] | None = None, **options: Any
) -> Outcome:
    """A conversation whose result differs from the normal one in these words."""
    return harness.convert({"OutputArchive": {**NORMAL, **(archive or {})}}, **options)


def _deliver_zip(harness: HostHarness, *entries: zip_entries.Entry, **options: Any) -> Outcome:
    """A conversation whose result is this archive."""
    harness.server.file("result.zip").write_bytes(zip_entries.zipped(*entries))
    return harness.convert({"OutputArchive": {"zip": {"file": "result.zip"}}}, **options)


def _assert_delivered(harness: HostHarness, outcome: Outcome) -> None:
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert harness.result.read_text() == CONVERTED
    assert (harness.logs / "tool.log").read_text() == LOG
    assert_clean(outcome)


def _assert_failed(harness: HostHarness, outcome: Outcome, reason: str, words: Path | str) -> None:
    """An abort with that reason and a file system's error that has these words in it."""
    error = log_lines(outcome)[-1].removeprefix("Error: ")
    assert str(words) in error, outcome.report()
    before = tuple(log_lines(outcome)[:-2])
    assert all(line.startswith(("opendir ", "ERROR: toolExitCode")) for line in before)
    assert_aborted(harness, outcome, reason, error=error, before=before)
    assert harness.connection().types_received[-2:] == ["OutputArchiveAcknowledgement", "Error"]


@pytest.mark.parametrize(
    ("code", "logged", "status"),
    [
        pytest.param(0, None, 0, id="0"),
        pytest.param(3, "3", 3, id="3"),
        pytest.param(255, "255", 255, id="255"),
        pytest.param(256, "256", 0, id="256, of which the system keeps 8 bits"),
        pytest.param(-1, "-1", 255, id="-1"),
        pytest.param(4294967299, "4294967299", 3, id="more than 32 bits"),
        pytest.param("3", "3", 3, id="a string"),
        pytest.param(" 7th", "7", 7, id="a string that begins with a number"),
        pytest.param("seven", None, 0, id="a string without number"),
        pytest.param(2.9, "2", 2, id="a real"),
        pytest.param(True, "1", 1, id="a boolean"),
        pytest.param(None, None, 0, id="missing"),
    ],
)
def test_the_exit_code_of_the_tool_is_logged_and_handed_on(
    harness: HostHarness, code: Any, logged: str | None, status: int
) -> None:
    outcome = _deliver(harness, {"exitCode": code})
    lines = [f"ERROR: toolExitCode is not zero: {logged}"] if logged else []
    assert (outcome.status, log_lines(outcome)) == (status, lines), outcome.report()
    # A tool that failed has its file and its logs delivered all the same.
    assert harness.result.read_text() == CONVERTED
    assert (harness.logs / "tool.log").read_text() == LOG
    assert harness.connection().types_received[-1] == "OutputArchiveAcknowledgement"
    assert_clean(outcome)


@pytest.mark.parametrize("code", [3, -1, 2.9, "3", True])
def test_the_description_may_have_the_binary_form(harness: HostHarness, code: Any) -> None:
    outcome = _deliver(harness, {"exitCode": code, "resultFormat": "binary"})
    assert outcome.status == int(code) % 256, outcome.report()
    assert harness.result.read_text() == CONVERTED


@pytest.mark.parametrize(
    "plist",
    [
        pytest.param(None, id="missing"),
        pytest.param("no property list", id="unreadable"),
        pytest.param("", id="empty"),
        pytest.param({"plist": ["converted.csv", 3]}, id="an array"),
        pytest.param({"plist": "converted.csv"}, id="a string"),
        pytest.param(
            {"plist": {"toolExitCode": 3, "destFileName": "x", "more": "x" * 262_144}},
            id="over 256 KiB",
        ),
    ],
)
def test_without_description_there_are_no_file_and_no_exit_code(
    harness: HostHarness, plist: Any
) -> None:
    outcome = _deliver(harness, {"result": plist})
    lines = ["ERROR: Could not read Result.plist"]
    assert (outcome.status, log_lines(outcome)) == (0, lines), outcome.report()
    assert not harness.result.exists() and (harness.logs / "tool.log").read_text() == LOG
    assert_clean(outcome)


def test_an_empty_description_names_no_file_and_no_exit_code(harness: HostHarness) -> None:
    outcome = _deliver(harness, {"result": {"plist": {}}})
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert not harness.result.exists() and (harness.logs / "tool.log").read_text() == LOG


@pytest.mark.parametrize(
    ("plist", "exception"),
    [
        ({"toolExitCode": []}, "The value of toolExitCode is not an integer"),
        ({"toolExitCode": {"code": 3}}, "The value of toolExitCode is not an integer"),
        ({"destFileName": 5}, "The value of destFileName is not a string"),
        ({"destFileName": ["converted.csv"]}, "The value of destFileName is not a string"),
    ],
    ids=["code array", "code dictionary", "name integer", "name array"],
)
def test_values_of_the_wrong_type_abort(harness: HostHarness, plist: dict, exception: str) -> None:
    outcome = _deliver(harness, {"result": {"plist": plist}})
    assert_aborted(harness, outcome, exception=exception)
    assert not harness.result.exists() and not harness.logs.exists()


@pytest.mark.parametrize("name", ["", None], ids=["empty", "missing"])
def test_a_result_without_file_name_leaves_the_destination_alone(
    harness: HostHarness, name: Any
) -> None:
    harness.result.write_text("of yesterday")
    outcome = _deliver(harness, {"destFileName": name})
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert harness.result.read_text() == "of yesterday"
    assert (harness.logs / "tool.log").read_text() == LOG


@pytest.mark.parametrize(
    ("options", "delivered"),
    [
        ({"dest_path": None}, (False, True)),
        ({"logs_dir_path": None}, (True, False)),
        ({"dest_path": None, "logs_dir_path": None}, (False, False)),
    ],
    ids=["no file", "no logs", "neither"],
)
def test_what_the_host_does_not_ask_for_is_not_delivered(
    harness: HostHarness, options: dict, delivered: tuple[bool, bool]
) -> None:
    outcome = _deliver(harness, **options)
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert (harness.result.exists(), harness.logs.exists()) == delivered


def _put(path: Path, kind: str) -> None:
    """Something at the path that is in the way."""
    if kind == "a directory":
        (path / "deeper").mkdir(parents=True)
        (path / "deeper" / "file").touch()
    elif kind == "a link":
        (path.parent / "pointed at").write_text("precious")
        path.symlink_to("pointed at")
    elif kind == "a link to nowhere":
        path.symlink_to("nowhere")
    else:
        path.write_text("of yesterday")
        path.chmod(0o400)


@pytest.mark.parametrize("kind", ["a file", "a directory", "a link", "a link to nowhere"])
def test_what_is_at_the_destination_is_replaced(harness: HostHarness, kind: str) -> None:
    _put(harness.result, kind)
    _assert_delivered(harness, _deliver(harness))
    assert harness.result.is_file() and not harness.result.is_symlink()
    if kind == "a link":
        assert (harness.result.parent / "pointed at").read_text() == "precious"


def test_a_logs_directory_that_exists_keeps_its_other_files(harness: HostHarness) -> None:
    harness.logs.mkdir(mode=0o700)
    (harness.logs / "other.log").write_text("other")
    _put(harness.logs / "tool.log", "a file")
    _put(harness.logs / "as link", "a link")
    _put(harness.logs / "as directory", "a directory")
    logs = {"tool.log": LOG, "new.log": "", "as link": "1", "as directory": "2"}
    _assert_delivered(harness, _deliver(harness, {"logs": logs}))
    files = {path.name: path.read_text() for path in harness.logs.iterdir()}
    assert files == {**logs, "other.log": "other", "pointed at": "precious"}
    assert not (harness.logs / "as link").is_symlink()
    assert stat.S_IMODE(harness.logs.stat().st_mode) == 0o700


@pytest.mark.parametrize("place", ["new", "there already"])
def test_logs_may_have_folders(harness: HostHarness, place: str) -> None:
    if place == "there already":
        (harness.logs / "run").mkdir(parents=True)
        (harness.logs / "run" / "stale.log").touch()
    _assert_delivered(harness, _deliver(harness, {"logs": {"tool.log": LOG, "run/1.log": "one"}}))
    assert [path.name for path in (harness.logs / "run").iterdir()] == ["1.log"]
    assert (harness.logs / "run" / "1.log").read_text() == "one"


def test_a_new_logs_directory_is_a_copy_even_of_an_empty_one(harness: HostHarness) -> None:
    outcome = _deliver(harness, {"logs": {}})
    assert (outcome.status, list(harness.logs.iterdir())) == (0, []), outcome.report()


def test_an_archive_without_logs_aborts_where_the_directory_is_new(harness: HostHarness) -> None:
    outcome = _deliver(harness, {"logs": None})
    _assert_failed(harness, outcome, LOGS_NOT_COPIED, "OutputArchive/Logs")
    # The converted file was delivered before.
    assert harness.result.read_text() == CONVERTED and not harness.logs.exists()


def test_an_archive_without_logs_is_no_error_where_the_directory_exists(
    harness: HostHarness,
) -> None:
    harness.logs.mkdir()
    (harness.logs / "other.log").touch()
    outcome = _deliver(harness, {"logs": None})
    assert outcome.status == 0 and harness.result.read_text() == CONVERTED, outcome.report()
    assert [path.name for path in harness.logs.iterdir()] == ["other.log"]
    [line] = log_lines(outcome)
    assert line.startswith("opendir ") and line.endswith("Logs: No such file or directory")


@pytest.mark.parametrize("parent", ["missing", "a file"])
def test_a_destination_that_cannot_be_made_aborts(harness: HostHarness, parent: str) -> None:
    folder = harness.directory / "folder"
    folder.touch() if parent == "a file" else None
    outcome = _deliver(harness, dest_path=folder / "result.csv")
    _assert_failed(harness, outcome, NOT_COPIED, folder / "result.csv")
    assert not harness.logs.exists() and folder.exists() == (parent == "a file")


@pytest.mark.parametrize("parent", ["missing", "a file"])
def test_a_logs_directory_that_cannot_be_made_aborts(harness: HostHarness, parent: str) -> None:
    folder = harness.directory / "folder"
    folder.touch() if parent == "a file" else None
    outcome = _deliver(harness, logs_dir_path=folder / "logs")
    _assert_failed(harness, outcome, LOGS_NOT_COPIED, folder / "logs")
    assert harness.result.read_text() == CONVERTED


@pytest.fixture
def small_disk(tmp_path: Path) -> Iterator[Path]:
    """A disk with room for 256 KiB."""
    place = tmp_path / "disk"
    place.mkdir()
    mount = ["mount", "-t", "tmpfs", "-o", "size=256k", "none", str(place)]
    if os.getuid() != 0 or subprocess.run(mount, stderr=subprocess.DEVNULL).returncode != 0:
        pytest.skip("may not mount a disk here")
    yield place
    subprocess.run(["umount", str(place)], check=True)


def test_of_a_file_that_does_not_fit_nothing_stays_behind(
    harness: HostHarness, small_disk: Path
) -> None:
    outcome = _deliver(
        harness, {"converted": {"fill": 1_000_000}}, dest_path=small_disk / "result.csv"
    )
    _assert_failed(harness, outcome, NOT_COPIED, FULL)
    assert list(small_disk.iterdir()) == []


def test_of_logs_that_do_not_fit_nothing_stays_behind(
    harness: HostHarness, small_disk: Path
) -> None:
    logs = {"small.log": LOG, "large.log": {"fill": 1_000_000}}
    outcome = _deliver(harness, {"logs": logs}, logs_dir_path=small_disk / "logs")
    _assert_failed(harness, outcome, LOGS_NOT_COPIED, FULL)
    assert list(small_disk.iterdir()) == [] and harness.result.read_text() == CONVERTED


def test_of_a_log_that_does_not_fit_nothing_stays_behind(
    harness: HostHarness, small_disk: Path
) -> None:
    logs = small_disk / "logs"
    logs.mkdir()
    outcome = _deliver(harness, {"logs": {"large.log": {"fill": 1_000_000}}}, logs_dir_path=logs)
    _assert_failed(harness, outcome, LOG_NOT_COPIED, FULL)
    assert list(logs.iterdir()) == []


def test_logs_that_cannot_go_into_what_exists_abort(harness: HostHarness) -> None:
    harness.logs.write_text("no directory")
    outcome = _deliver(harness)
    _assert_failed(harness, outcome, LOG_NOT_COPIED, harness.logs / "tool.log")
    assert harness.logs.read_text() == "no directory"


def test_a_tool_that_failed_and_cannot_be_delivered_is_an_abort(harness: HostHarness) -> None:
    outcome = _deliver(harness, {"exitCode": 3}, dest_path=harness.directory / "missing" / "x")
    assert log_lines(outcome)[0] == "ERROR: toolExitCode is not zero: 3"
    _assert_failed(harness, outcome, NOT_COPIED, harness.directory / "missing" / "x")


@pytest.mark.parametrize(
    "name", ["missing.csv", "..", ".", "../identity", "../../x", "/etc/hostname", "Logs/../.."]
)
def test_a_name_that_is_no_file_of_the_result_aborts(harness: HostHarness, name: str) -> None:
    # Neither what is missing nor what leads out of the result, to wherever, is copied.
    plist = {"plist": {"destFileName": name}}
    _put(harness.result, "a file")
    outcome = _deliver(harness, {"result": plist})
    _assert_failed(harness, outcome, NOT_COPIED, "OutputArchive/" + name)
    assert not harness.result.exists(), "what was there is removed before the copy, as ever"


@pytest.mark.parametrize("name", ["Logs/tool.log", "./Logs/../Logs//tool.log"])
def test_a_name_may_lead_further_down(harness: HostHarness, name: str) -> None:
    outcome = _deliver(harness, {"result": {"plist": {"destFileName": name}}})
    assert outcome.status == 0 and harness.result.read_text() == LOG, outcome.report()


def test_a_result_may_be_a_folder(harness: HostHarness) -> None:
    entries = [zip_entries.directory("OutputArchive/Logs")]
    entries += [zip_entries.file("OutputArchive/converted.csv/part", b"1", 0o640)]
    outcome = _deliver_zip(harness, *zip_entries.result(), *entries)
    assert outcome.status == 0, outcome.report()
    assert {path.name: path.read_bytes() for path in harness.result.iterdir()} == {"part": b"1"}


@pytest.mark.parametrize("permissions", [0o600, 0o755])
def test_20_megabytes_arrive_intact_with_their_mode_and_time(
    harness: HostHarness, permissions: int
) -> None:
    content = os.urandom(20_000_000)
    outcome = _deliver_zip(
        harness,
        *zip_entries.result(),
        zip_entries.file("OutputArchive/converted.csv", content, permissions),
        zip_entries.file("OutputArchive/Logs/tool.log", LOG.encode()),
    )
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert hashlib.sha256(harness.result.read_bytes()).digest() == hashlib.sha256(content).digest()
    status = harness.result.stat()
    assert stat.S_IMODE(status.st_mode) == permissions
    assert Path(harness.logs / "tool.log").stat().st_mtime == status.st_mtime
    [archive] = [frame for frame in harness.connection().sent if frame.type == "OutputArchive"]
    downloads = [s for s in outcome.sections if s.title == "Downloading converted file"]
    values = outcome.statuses[-len(downloads) :]
    assert {section.maximum for section in downloads} == {archive.length}
    assert list(values) == sorted(set(values)) and values[-1] == archive.length
    assert len(downloads) > 20, "one for each chunk that was read"
    assert_clean(outcome)
