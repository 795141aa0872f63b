"""A disk that is full at each step of a conversion: the user learns which step it was and why, what
was there before is as the order of the steps leaves it, and nothing else stays behind."""

from __future__ import annotations

import os
import random
import subprocess
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import pytest
from assertions import assert_aborted
from disk_filler import DiskFiller, pages
from fault_scenario import FaultScenario
from host_harness import PATIENCE
from host_view import log_lines
from own_archiver import with_archiver, zipped_size
from standin.record import wait_until
from terminal_host import Conversion
from tmpfs import Tmpfs

FULL = "No space left on device"
SIZE = 1_000_000
EARLIER = b"the result of an earlier conversion\n"
NO_IDENTITY = "Could not write identity to a file"
NO_COPY = "Could not copy the source file to the InputArchive directory"
NO_DELIVERY = "Could not copy dest file to host path"
HELD = [{"create": "held"}, {"await": "go"}]
BEFORE_UPLOAD = {"ServerHandshake": {"before": HELD}}
RESULT = {"converted": {"file": "converted"}, "logs": {"tool.log": "done\n"}}
BEFORE_DOWNLOAD = {"OutputArchive": {"before": HELD, **RESULT}}


def _noise(size: int) -> bytes:
    """Bytes that no archiver can shorten; always the same."""
    return random.Random(size).randbytes(size)


@pytest.fixture
def small(scenario: FaultScenario) -> FaultScenario:
    """A scenario whose disk has room for 16 MiB, with an earlier result at the destination."""
    scenario.file_system.resize("16m")
    scenario.harness.result.write_bytes(EARLIER)
    return scenario


@pytest.fixture
def filler(small: FaultScenario) -> Iterator[DiskFiller]:
    with DiskFiller(small.tmpfs) as filling:
        yield filling


def _begin_held(scenario: FaultScenario, script: dict[str, Any], **options: Any) -> Conversion:
    """A conversion that stands where the script holds it; `_go_on` lets it go."""
    scenario.harness.server.file("converted").write_bytes(_noise(SIZE))
    conversion = scenario.begin(script, **options)
    wait_until(scenario.harness.server.file("held").exists, PATIENCE, "the held server")
    return conversion


def _go_on(scenario: FaultScenario) -> None:
    scenario.harness.server.file("go").touch()


def _working_directory(scenario: FaultScenario) -> Path:
    [directory] = scenario.tmpfs.iterdir()
    return directory


def test_no_room_for_the_identity(small: FaultScenario, filler: DiskFiller) -> None:
    filler.leave(0)
    outcome = small.convert()
    first, second = log_lines(outcome)
    assert (outcome.status, first) == (1, NO_IDENTITY), outcome.report()
    assert second.startswith("Error: write: No space left on device (") and "/identity)" in second
    assert small.harness.server.connections == [] and small.harness.result.read_bytes() == EARLIER
    small.assert_survived(outcome)


@pytest.mark.parametrize(
    ("inodes", "error"),
    [
        pytest.param(1, "Error: There is no working directory", id="not even for the directory"),
        pytest.param(2, f"/identity: {FULL}", id="only for the directory"),
    ],
)
def test_no_room_for_another_name(small: FaultScenario, inodes: int, error: str) -> None:
    options = f"remount,nr_inodes={inodes}"
    subprocess.run(["mount", "-o", options, str(small.tmpfs)], check=True)
    outcome = small.convert()
    first, second = log_lines(outcome)[-2:]
    assert (outcome.status, first) == (1, NO_IDENTITY), outcome.report()
    assert second.startswith("Error: ") and second.endswith(error)
    assert small.harness.server.connections == []
    small.assert_survived(outcome)


def test_no_room_for_the_copy_of_the_source(small: FaultScenario, filler: DiskFiller) -> None:
    small.harness.source.write_bytes(_noise(SIZE))
    conversion = _begin_held(small, BEFORE_UPLOAD)
    copy = _working_directory(small) / "InputArchive" / small.harness.source.name
    filler.leave(SIZE // 2)
    _go_on(small)
    outcome = small.end_of(conversion)
    assert_aborted(small.harness, outcome, NO_COPY, error=f"write: {FULL} ({copy})")
    small.assert_survived(outcome)
    assert small.harness.result.read_bytes() == EARLIER


def test_no_room_for_the_archive(small: FaultScenario, filler: DiskFiller) -> None:
    small.harness.source.write_bytes(_noise(SIZE))
    conversion = _begin_held(small, BEFORE_UPLOAD)
    zip_file = _working_directory(small) / "InputArchive.zip"
    filler.leave(SIZE + SIZE // 2)
    _go_on(small)
    outcome = small.end_of(conversion)
    cause = f"ZanburyArchiver: cannot write '{zip_file}': {FULL}"
    reason = "Could not create InputArchive.zip"
    assert_aborted(small.harness, outcome, reason, before=(cause,))
    small.assert_survived(outcome)
    assert small.harness.result.read_bytes() == EARLIER


def test_no_room_for_the_encrypted_archive(small: FaultScenario, filler: DiskFiller) -> None:
    # The archive stays until all of it is encrypted: there is room for half of that.
    zipped = zipped_size(small.harness, _noise(SIZE))
    conversion = _begin_held(small, BEFORE_UPLOAD)
    filler.leave(pages(SIZE) + pages(zipped) + zipped // 2)
    _go_on(small)
    outcome = small.end_of(conversion)
    assert_aborted(small.harness, outcome, "Could not encrypt InputArchive.zip")
    small.assert_survived(outcome)
    assert small.harness.result.read_bytes() == EARLIER


SHORTAGES = {
    "download": (0.5, [f"write: {FULL}", "Invalid message received"]),
    "decrypt": (1.5, ["Could not decrypt OutputArchive.zip"]),
    "unpack": (
        2.5,
        [
            "ZanburyArchiver: the archive expands to more than the disk has room for",
            "Could not unzip OutputArchive.zip",
        ],
    ),
}


@pytest.mark.parametrize(("room", "lines"), SHORTAGES.values(), ids=SHORTAGES.keys())
def test_no_room_to_take_the_result_in(
    small: FaultScenario, filler: DiskFiller, room: float, lines: list[str]
) -> None:
    # It is there three times in the end: as it came, as an archive, and unpacked.
    conversion = _begin_held(small, BEFORE_DOWNLOAD)
    filler.leave(int(room * SIZE))
    _go_on(small)
    outcome = small.end_of(conversion)
    assert (outcome.status, log_lines(outcome)) == (1, lines), outcome.report()
    small.assert_survived(outcome)
    assert small.harness.result.read_bytes() == EARLIER and not small.harness.logs.exists()


def test_the_room_of_the_upload_is_there_for_the_result(
    small: FaultScenario, filler: DiskFiller
) -> None:
    # What was uploaded lies there twice, as a copy and encrypted; what comes back, three times.
    small.harness.source.write_bytes(_noise(SIZE))
    answer = {"before": HELD, "destFileName": "result.csv", **RESULT}
    conversion = _begin_held(small, {"Conversion": {"instead": []}, "OutputArchive": answer})
    filler.leave(SIZE + SIZE // 5)
    _go_on(small)
    outcome = small.end_of(conversion)
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    small.assert_survived(outcome, whole=_noise(SIZE))


def test_a_disk_that_becomes_full_behind_the_unpacking_does_not_matter(
    small: FaultScenario, tmp_path: Path
) -> None:
    # Delivery takes nothing more of the disk that the program works on.
    fill = '"$real" "$@"; [ "$1" = -c ] || dd if=/dev/zero "of=$4/full" bs=1M 2>/dev/null; df "$4"'
    program = with_archiver(small.harness.program, tmp_path / "own", f"{fill} > '{tmp_path}/df'")
    conversion = _begin_held(small, BEFORE_DOWNLOAD, program=program)
    _go_on(small)
    outcome = small.end_of(conversion)
    assert " 100% " in (tmp_path / "df").read_text()
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert small.harness.result.read_bytes() == _noise(SIZE)
    assert (small.harness.logs / "tool.log").read_text() == "done\n"
    small.assert_survived(outcome, whole=_noise(SIZE))


@pytest.fixture
def target(tmp_path: Path) -> Iterator[Tmpfs]:
    """A disk of 1 MiB for what is delivered."""
    place = tmp_path / "target"
    place.mkdir()
    with Tmpfs(place, "1m") as disk:
        if not disk.is_mounted:
            pytest.skip("only root can mount a small file system")
        yield disk


def test_no_room_for_the_converted_file(small: FaultScenario, target: Tmpfs) -> None:
    # The earlier result had to go first, for the new one may need its room: of both nothing is
    # left, and the status and the last lines say that there is no result.
    small.harness.result = target.path / "result.csv"
    small.harness.result.write_bytes(EARLIER)
    outcome = small.convert({"OutputArchive": {"converted": {"fill": 2_000_000}}})
    reason, error = log_lines(outcome)
    assert (outcome.status, reason) == (1, NO_DELIVERY), outcome.report()
    assert error == f"Error: write: {FULL} ({small.harness.result})"
    assert list(target.path.iterdir()) == []
    small.assert_survived(outcome)


def test_the_room_of_the_earlier_result_is_there_for_the_new_one(
    small: FaultScenario, target: Tmpfs
) -> None:
    small.harness.result = target.path / "result.csv"
    small.harness.result.write_bytes(bytes(1 << 20))
    assert os.statvfs(target.path).f_bavail == 0
    outcome = small.convert({"OutputArchive": {"converted": {"fill": 1 << 20, "byte": 55}}})
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    small.assert_survived(outcome, whole=b"7" * (1 << 20))


LOGS_MISSING = {
    "new": "Could not copy logs to host path",
    "there already": "Could not copy log file to host logs directory",
}


@pytest.mark.parametrize("place", LOGS_MISSING)
def test_no_room_for_the_logs(small: FaultScenario, target: Tmpfs, place: str) -> None:
    # The converted file is delivered before them and stays, whole; the status says failure.
    logs = target.path / "logs"
    if place == "there already":
        logs.mkdir()
        (logs / "older.log").write_text("older\n")
        (logs / "tool.log").write_text("earlier\n")
    script = {"OutputArchive": {"converted": "whole\n", "logs": {"tool.log": {"fill": 2_000_000}}}}
    outcome = small.convert(script, logs_dir_path=logs)
    reason, error = log_lines(outcome)
    assert (outcome.status, reason) == (1, LOGS_MISSING[place]), outcome.report()
    assert error == f"Error: write: {FULL} ({logs}/tool.log)"
    assert small.harness.result.read_text() == "whole\n"
    left = [path.name for path in target.path.rglob("*")]
    assert sorted(left) == (["logs", "older.log"] if place == "there already" else [])
    small.assert_survived(outcome)
