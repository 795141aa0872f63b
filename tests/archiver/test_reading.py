"""Archives that other programs made, unpacked by the archiver."""

from __future__ import annotations

import io
import os
import stat
import struct
import subprocess
import time
import zipfile
from collections.abc import Callable
from pathlib import Path

import pytest

import zip_builder
from conftest import Archiver

UMLAUT = "Größe.csv"
RECORDS = b"20240229;CARD PURCHASE;-12.50\n" * 20_000


@pytest.fixture
def tree(tmp_path: Path) -> Path:
    """A result as the server sends it."""
    top = tmp_path / "made" / "OutputArchive"
    (top / "Logs").mkdir(parents=True)
    (top / "empty directory").mkdir()
    (top / "Result.plist").write_text("<plist/>")
    (top / UMLAUT).write_bytes(RECORDS)
    (top / "empty").write_bytes(b"")
    (top / "Logs" / "tool.log").write_text("done\n")
    (top / "Logs" / "tool.log").chmod(0o640)
    os.utime(top / "Logs" / "tool.log", (1_700_000_001, 1_700_000_001))
    return top


def run(command: list[str], directory: Path, **options) -> None:
    """Runs a peer, with UTF-8 names."""
    environment = os.environ | {"LC_ALL": "C.UTF-8"}
    subprocess.run(
        command, cwd=directory, check=True, env=environment, stderr=subprocess.PIPE, **options
    )


def by_zip(top: Path, archive: Path) -> None:
    run(["zip", "-qr", str(archive), top.name], top.parent)


def by_zip_stored(top: Path, archive: Path) -> None:
    run(["zip", "-q0r", str(archive), top.name], top.parent)


def by_zip_into_a_pipe(top: Path, archive: Path) -> None:
    with archive.open("wb") as stream:
        pipe = subprocess.Popen(["cat"], stdin=subprocess.PIPE, stdout=stream)
        run(["zip", "-qr", "-", top.name], top.parent, stdout=pipe.stdin)
        pipe.stdin.close()
        assert pipe.wait() == 0


def by_zip_as_zip64(top: Path, archive: Path) -> None:
    run(["zip", "-qr", "-fz", str(archive), top.name], top.parent)


def by_bsdtar(top: Path, archive: Path) -> None:
    run(["bsdtar", "--format", "zip", "-cf", str(archive), top.name], top.parent)


def by_bsdtar_with_dots(top: Path, archive: Path) -> None:
    run(["bsdtar", "--format", "zip", "-cf", str(archive), f"./{top.name}"], top.parent)


def by_7z(top: Path, archive: Path) -> None:
    run(["7z", "a", "-bd", "-tzip", str(archive), top.name], top.parent, stdout=subprocess.DEVNULL)


def write_with_zipfile(top: Path, stream: io.BufferedIOBase) -> None:
    with zipfile.ZipFile(stream, "w", zipfile.ZIP_DEFLATED) as archive:
        for path in [top, *sorted(top.rglob("*"))]:
            archive.write(path, path.relative_to(top.parent))


def by_zipfile(top: Path, archive: Path) -> None:
    with archive.open("wb") as stream:
        write_with_zipfile(top, stream)


def by_zipfile_into_a_pipe(top: Path, archive: Path) -> None:
    with archive.open("wb") as stream:
        pipe = subprocess.Popen(["cat"], stdin=subprocess.PIPE, stdout=stream)
        write_with_zipfile(top, pipe.stdin)
        pipe.stdin.close()
        assert pipe.wait() == 0


MAKERS: list[Callable[[Path, Path], None]] = [
    by_zip,
    by_zip_stored,
    by_zip_into_a_pipe,
    by_zip_as_zip64,
    by_bsdtar,
    by_bsdtar_with_dots,
    by_7z,
    by_zipfile,
    by_zipfile_into_a_pipe,
]


@pytest.mark.parametrize("make", MAKERS)
def test_reads_what_others_write(
    make: Callable[[Path, Path], None], tree: Path, archiver: Archiver, tmp_path: Path
) -> None:
    archive = tmp_path / "peer.zip"
    make(tree, archive)
    archiver.unpack(archive, tmp_path / "target")
    unpacked = tmp_path / "target" / "OutputArchive"
    names = sorted(str(path.relative_to(tree)) for path in tree.rglob("*"))
    assert sorted(str(path.relative_to(unpacked)) for path in unpacked.rglob("*")) == names
    for name in names:
        if (tree / name).is_file():
            assert (unpacked / name).read_bytes() == (tree / name).read_bytes()
    log = (unpacked / "Logs" / "tool.log").stat()
    assert stat.S_IMODE(log.st_mode) == 0o640
    assert abs(log.st_mtime - 1_700_000_001) <= 2  # DOS times have even seconds


def test_existing_files_are_replaced_and_others_stay(archiver: Archiver, tmp_path: Path) -> None:
    target = tmp_path / "target"
    (target / "top").mkdir(parents=True)
    (target / "top" / "file").write_text("old and much longer")
    (target / "top" / "other").write_text("other")
    (tmp_path / "a.zip").write_bytes(zip_builder.archive(zip_builder.Entry("top/file", b"new")))
    archiver.unpack(tmp_path / "a.zip", target)
    assert (target / "top" / "file").read_text() == "new"
    assert (target / "top" / "other").read_text() == "other"


def unpacked_names(
    archiver: Archiver, tmp_path: Path, *entries: zip_builder.Entry, comment=b""
) -> list:
    """Unpacks an archive of `entries` and returns the names that were made."""
    (tmp_path / "a.zip").write_bytes(zip_builder.archive(*entries, comment=comment))
    archiver.unpack(tmp_path / "a.zip", tmp_path / "target")
    return sorted(str(p.relative_to(tmp_path / "target")) for p in (tmp_path / "target").rglob("*"))


def test_an_empty_archive_unpacks_to_nothing(archiver: Archiver, tmp_path: Path) -> None:
    assert unpacked_names(archiver, tmp_path) == []


def test_an_archive_may_have_a_comment(archiver: Archiver, tmp_path: Path) -> None:
    entry = zip_builder.Entry("file", b"x")
    assert unpacked_names(archiver, tmp_path, entry, comment=b"made by hand") == ["file"]


def test_utf8_names_need_no_mark(archiver: Archiver, tmp_path: Path) -> None:
    entry = zip_builder.Entry("Größe", b"x", flags=0)
    assert unpacked_names(archiver, tmp_path, entry) == ["Größe"]


def test_directories_need_no_entry_of_their_own(archiver: Archiver, tmp_path: Path) -> None:
    assert unpacked_names(archiver, tmp_path, zip_builder.Entry("a/b/c", b"x")) == [
        "a",
        "a/b",
        "a/b/c",
    ]


def test_an_archive_in_an_archive_is_a_file(archiver: Archiver, tmp_path: Path) -> None:
    inner = zip_builder.archive(zip_builder.Entry("../../evil", b"x"))
    (tmp_path / "a.zip").write_bytes(zip_builder.archive(zip_builder.Entry("inner.zip", inner)))
    archiver.unpack(tmp_path / "a.zip", tmp_path / "target")
    assert (tmp_path / "target" / "inner.zip").read_bytes() == inner


def test_names_that_differ_in_case_or_normalisation_are_two(
    archiver: Archiver, tmp_path: Path
) -> None:
    names = ["OFX", "ofx", "\u00fc", "u\u0308"]
    entries = [zip_builder.Entry(name, name.encode()) for name in names]
    assert unpacked_names(archiver, tmp_path, *entries) == sorted(names)
    assert all((tmp_path / "target" / name).read_bytes() == name.encode() for name in names)


def test_the_set_id_bits_are_dropped_and_the_owner_can_read(
    archiver: Archiver, tmp_path: Path
) -> None:
    (tmp_path / "a.zip").write_bytes(
        zip_builder.archive(
            zip_builder.Entry("set-id", b"x", mode=0o106755),
            zip_builder.Entry("no rights", b"x", mode=0o100000 | 0o010),
            zip_builder.Entry("closed/", mode=0o041000),
        )
    )
    archiver.unpack(tmp_path / "a.zip", tmp_path / "target")
    modes = {p.name: stat.S_IMODE(p.stat().st_mode) for p in (tmp_path / "target").iterdir()}
    assert modes == {"set-id": 0o755, "no rights": 0o410, "closed": 0o700}


def test_an_archive_without_unix_modes_gets_the_usual_ones(
    archiver: Archiver, tmp_path: Path
) -> None:
    dos = {"made_by": 20, "mode": 0}
    (tmp_path / "a.zip").write_bytes(
        zip_builder.archive(zip_builder.Entry("d/", **dos), zip_builder.Entry("d/f", b"x", **dos))
    )
    archiver.unpack(tmp_path / "a.zip", tmp_path / "target")
    assert stat.S_IMODE((tmp_path / "target" / "d").stat().st_mode) == 0o755
    assert stat.S_IMODE((tmp_path / "target" / "d" / "f").stat().st_mode) == 0o644


def test_times_come_from_the_timestamp_field_or_else_from_the_dos_fields(
    archiver: Archiver, tmp_path: Path
) -> None:
    field = struct.pack("<HHBi", 0x5455, 5, 1, 1_700_000_001)
    (tmp_path / "a.zip").write_bytes(
        zip_builder.archive(
            zip_builder.Entry("unix", b"x", extra=field), zip_builder.Entry("dos", b"x")
        )
    )
    archiver.unpack(tmp_path / "a.zip", tmp_path / "target")
    assert (tmp_path / "target" / "unix").stat().st_mtime == 1_700_000_001
    noon = time.mktime((2024, 3, 1, 12, 0, 0, 0, 0, -1))
    assert (tmp_path / "target" / "dos").stat().st_mtime == noon


def test_links_that_stay_inside_are_made(archiver: Archiver, tmp_path: Path) -> None:
    (tmp_path / "a.zip").write_bytes(
        zip_builder.archive(
            zip_builder.Entry("top/a/link", b"../b/file", mode=zip_builder.LINK),
            zip_builder.Entry("top/b/file", b"content"),
        )
    )
    archiver.unpack(tmp_path / "a.zip", tmp_path / "target")
    assert os.readlink(tmp_path / "target" / "top" / "a" / "link") == "../b/file"
    assert (tmp_path / "target" / "top" / "a" / "link").read_bytes() == b"content"
