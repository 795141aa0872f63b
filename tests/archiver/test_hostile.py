"""Archives made to do harm. Nothing outside the destination, bounded time, memory and disk."""

from __future__ import annotations

import contextlib
import os
import re
import subprocess
import zlib
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

import pytest

import zip_builder
from conftest import Archiver, Outcome
from hostile_archives import (
    an_end_in_an_entry_that_reaches_the_end,
    an_end_in_the_directory,
    honest_end,
    implied_directories,
    overlapping,
    second_disk,
    shared_extra_fields,
    thousands_of_ends,
    two_ends,
    unannounced,
    with_end,
    zip64_claim,
    zip64_end_far_from_its_locator,
    zip64_that_disagrees,
)
from zip_builder import Entry

# The most that any of these may take; an honest small archive takes 7 MiB.
PEAK_KIB = 48 * 1024
SANITIZED = os.environ.get("ZANBURY_SANITIZED", "") != ""


@dataclass(frozen=True)
class Case:
    """An archive, and what the archiver says of it."""

    name: str
    data: bytes
    says: str


def entry(name: str, says: str, *entries: Entry) -> Case:
    """An archive of `entries`, the first of which is refused."""
    return Case(name, zip_builder.archive(*entries), f"cannot unpack '.*': {says}")


def whole(name: str, says: str, data: bytes) -> Case:
    """An archive that is refused as a whole."""
    return Case(name, data, says)


def bad_name(name: str, entry_name: str | bytes, says: str) -> Case:
    """A file whose name is refused."""
    return entry(name, says, Entry(entry_name, b"evil"))


def link(name: str, at: str, target: str, says: str = "it is a link that leads out") -> Case:
    """A link that is refused, after an innocent file that must not be made either."""
    innocent = Entry("innocent", b"x")
    return entry(name, says, innocent, Entry(at, target.encode(), mode=zip_builder.LINK))


MORE_ENDS = "the archive has more than one end"
MANY_DIRECTORIES = "the archive has too many directories"
DATA = b"20240229;CARD PURCHASE;-12.50\n" * 1000
PACKED = zip_builder.deflate(DATA)

CASES = [
    bad_name("absolute", "/tmp/evil", "its name is absolute"),
    bad_name("two slashes", "//evil", "its name is absolute"),
    bad_name("up", "../evil", "its name leads out of the destination"),
    bad_name("up from below", "a/b/../../../evil", "its name leads out of the destination"),
    bad_name("up and down again", "a/../evil", "its name leads out of the destination"),
    bad_name("up at the end", "a/..", "its name leads out of the destination"),
    bad_name("up behind a backslash", "a\\b/../evil", "its name leads out of the destination"),
    bad_name("nul", b"a.txt\0.exe", "its name has a NUL"),
    bad_name("no name", "", "it has no name"),
    bad_name("the destination", ".", "it would replace the destination"),
    bad_name("long component", "n" * 256, "its name is too long"),
    bad_name("long name", "n/" * 2048 + "n", "its name is too long"),
    bad_name("deep", "d/" * 100 + "n", "its name is too deep"),
    bad_name("line feed", "a\nZanburyArchiver: all is well/..", "its name leads out .*"),
    bad_name("control sequence", "\u009b2J\u202e/..", "its name leads out .*"),
    bad_name("escape sequence", "\x1b[2J/..", "its name leads out .*"),
    bad_name("invalid utf-8", b"\xff\xfe/..", "its name leads out .*"),
    link("link to an absolute name", "top/l", "/etc/passwd", "it is a link to an absolute name"),
    link("link up", "l", ".."),
    link("link out of its top", "top/l", "../other"),
    link("link up behind a link", "top/a/l", "b/../../.."),
    link("link up too often", "top/a/l", "../../innocent"),
    link("link to nothing", "l", "", "its link target is not a valid name"),
    link("link to a nul", "l", "a\0b", "its link target is not a valid name"),
    link("link to a long name", "l", "n" * 4096, "its link target is not a valid name"),
    entry(
        "directory link with a slash", "it is neither .*", Entry("l/", b"..", mode=zip_builder.LINK)
    ),
    entry("fifo", "it is neither .*", Entry("f", mode=zip_builder.FIFO)),
    entry("character device", "it is neither .*", Entry("f", mode=zip_builder.CHARACTER_DEVICE)),
    entry("block device", "it is neither .*", Entry("f", mode=zip_builder.BLOCK_DEVICE)),
    entry("socket", "it is neither .*", Entry("f", mode=zip_builder.SOCKET)),
    entry("same name twice", "it is there twice", Entry("a", b"1"), Entry("a", b"2")),
    entry(
        "same name in other words", "it is there twice", Entry("a/b", b"1"), Entry("a/./b", b"2")
    ),
    entry("file and directory", "it is there twice", Entry("a", b"1"), Entry("a/")),
    entry("encrypted", "it is encrypted", Entry("a", DATA, flags=zip_builder.ENCRYPTED)),
    entry(
        "strongly encrypted",
        "it is encrypted",
        Entry("a", DATA, flags=zip_builder.ENCRYPTED | 0x40),
    ),
    entry("bzip2", "its compression method is not supported", Entry("a", DATA, method=12)),
    entry("unknown method", "its compression method is not supported", Entry("a", DATA, method=77)),
    entry("directory with content", "it is a directory with content", Entry("d/", b"x")),
    entry(
        "four gigabytes in a kilobyte",
        "it claims a size that it cannot have",
        Entry("a", raw=bytes(1000), size=0xFFFFFFFE, method=zip_builder.DEFLATED),
    ),
    entry(
        "stored and larger than its bytes",
        "it claims a size that it cannot have",
        Entry("a", raw=bytes(1000), size=2000),
    ),
    entry(
        "more compressed bytes than the archive has",
        "the entries overlap, or the archive is cut short",
        Entry("a", raw=PACKED, compressed_size=1 << 31, size=1 << 31, method=zip_builder.DEFLATED),
    ),
    entry(
        "more bytes than claimed",
        "it holds more than it claims",
        Entry("a", raw=PACKED, size=len(DATA) - 1, method=zip_builder.DEFLATED),
    ),
    entry(
        "fewer bytes than claimed",
        "it holds less than it claims",
        Entry("a", raw=PACKED, size=len(DATA) + 1, method=zip_builder.DEFLATED),
    ),
    entry(
        "a bomb that claims to be small",
        "it holds more than it claims",
        Entry(
            "a", raw=zip_builder.deflate(bytes(50_000_000)), size=1000, method=zip_builder.DEFLATED
        ),
    ),
    entry("wrong checksum", "its checksum is wrong", Entry("a", DATA, crc=1)),
    entry(
        "wrong checksum, deflated",
        "its checksum is wrong",
        Entry("a", raw=PACKED, size=len(DATA), method=8),
    ),
    entry(
        "cut data",
        "its data ends too early",
        Entry("a", DATA, raw=PACKED[:-3], method=zip_builder.DEFLATED),
    ),
    entry(
        "no data", "its data ends too early", Entry("a", b"", raw=b"", method=zip_builder.DEFLATED)
    ),
    entry(
        "broken data",
        "its data is broken",
        Entry("a", DATA, raw=b"\x07" + PACKED, method=zip_builder.DEFLATED),
    ),
    entry(
        "endless empty blocks",
        "its data ends too early",
        Entry("a", b"", raw=b"\0\0\0\xff\xff" * 100_000, method=zip_builder.DEFLATED),
    ),
    Case("overlapping entries", overlapping(), "cannot unpack '.*': the entries overlap, .*"),
    whole(
        "a million and one entries", "the archive has too many entries", zip64_claim(1_000_001, 54)
    ),
    Case("a million directories that are only implied", implied_directories(), MANY_DIRECTORIES),
    whole("far more entries than announced", "the archive has more entries than .*", unannounced()),
    whole("empty file", "this is not a zip archive, .*", b""),
    whole("text", "this is not a zip archive, .*", b"<OFX>" * 1000),
    whole("no end", "this is not a zip archive, .*", with_end(b"")),
    whole("cut end", "this is not a zip archive, .*", with_end(honest_end()[:-1])),
    whole("bytes behind the end", "the archive's end is broken", with_end(honest_end() + b"x")),
    whole(
        "comment beyond the end", "the archive's end is broken", with_end(honest_end(announced=1))
    ),
    whole(
        "too few entries",
        "the archive has more entries than it announces, or fewer",
        with_end(honest_end(entries=0)),
    ),
    whole(
        "too many entries",
        "the archive has more entries than it announces, or fewer",
        with_end(honest_end(entries=2)),
    ),
    whole(
        "directory too long",
        "the archive's directory is not where .*",
        with_end(honest_end(size=500)),
    ),
    whole(
        "directory too short",
        "the archive's directory is not where .*",
        with_end(honest_end(size=10)),
    ),
    whole(
        "directory beyond the end",
        "the archive's directory is not where .*",
        with_end(honest_end(offset=500)),
    ),
    whole(
        "directory before its place",
        "the archive's directory is not where .*",
        with_end(honest_end(offset=3)),
    ),
    whole(
        "huge directory", "the archive's directory is too large", with_end(honest_end(size=1 << 30))
    ),
    whole("2^40 entries", "the archive has too many entries", zip64_claim(1 << 40, 54)),
    whole("2^27 entries", "the archive has too many entries", zip64_claim(1 << 27, 54)),
    whole(
        "2^40 bytes of directory", "the archive's directory is too large", zip64_claim(1, 1 << 40)
    ),
    whole(
        "zip64 end elsewhere",
        "the archive's Zip64 end is missing",
        with_end(zip_builder.zip64_end(1, 54, 35, 1 << 60) + honest_end()),
    ),
    whole("two ends", MORE_ENDS, two_ends()),
    whole("an end in the directory", MORE_ENDS, an_end_in_the_directory()),
    whole("an end in an entry", MORE_ENDS, an_end_in_an_entry_that_reaches_the_end()),
    whole("ends that disagree", "the archive's two ends disagree", zip64_that_disagrees()),
    whole("two zip64 ends", "the archive's Zip64 end is broken", zip64_end_far_from_its_locator()),
    whole("zeros and a byte", "the archive's end is broken", with_end(honest_end() + b"\0\0x")),
    whole(
        "zeros without an end",
        "this is not a zip archive, .*",
        with_end(honest_end() + bytes(65_600)),
    ),
    whole("second of two disks", "the archive is one of several parts", with_end(second_disk())),
    whole("thousands of ends", MORE_ENDS, thousands_of_ends()),
    Case(
        "entry beyond the archive",
        zip_builder.archive(Entry("a", b"x", offset=1 << 30)),
        "cannot unpack 'a': .*",
    ),
    Case(
        "file through a link",
        zip_builder.archive(Entry("l", b"top", mode=zip_builder.LINK), Entry("l/evil", b"x")),
        "cannot unpack 'l': another entry has its name",
    ),
    Case(
        "file below a file",
        zip_builder.archive(Entry("a", b"x"), Entry("a/b", b"x")),
        "cannot unpack 'a/b': cannot use the directory 'a': Not a directory",
    ),
    Case(
        "a good file before a bad one",
        zip_builder.archive(Entry("good", b"x"), Entry("bad", DATA, crc=1)),
        "cannot unpack 'bad': its checksum is wrong",
    ),
]


def unpack(data: bytes, archiver: Archiver, tmp_path: Path) -> Outcome:
    """Unpacks `data` into "in/target", beside which nothing may appear."""
    (tmp_path / "a.zip").write_bytes(data)
    (tmp_path / "in" / "target").mkdir(parents=True)
    outcome = archiver.run("-x", "-k", tmp_path / "a.zip", tmp_path / "in" / "target")
    assert os.listdir(tmp_path / "in") == ["target"]
    assert sorted(os.listdir(tmp_path)) == ["a.zip", "in"]
    assert SANITIZED or outcome.peak_kib < PEAK_KIB
    return outcome


def made(tmp_path: Path) -> tuple[str, ...]:
    """The names that were made in the destination, sorted."""
    target = tmp_path / "in" / "target"
    return tuple(sorted(str(path.relative_to(target)) for path in target.rglob("*")))


@pytest.mark.parametrize("case", [pytest.param(case, id=case.name) for case in CASES])
def test_refused(case: Case, archiver: Archiver, tmp_path: Path) -> None:
    outcome = unpack(case.data, archiver, tmp_path)
    assert outcome.status == 1
    assert re.fullmatch(f"ZanburyArchiver: {case.says}\n", outcome.error), outcome.error
    assert outcome.error.isascii() and len(outcome.error) < 400
    assert made(tmp_path) == ()


@contextlib.contextmanager
def small_file_system(path: Path, options: str) -> Iterator[Path]:
    """A tmpfs at `path` with these mount options; skips where it cannot be had."""
    if os.geteuid() != 0:
        pytest.skip("only root can mount a small file system")
    path.mkdir()
    subprocess.run(["mount", "-t", "tmpfs", "-o", options, "tmpfs", path], check=True)
    try:
        yield path
    finally:
        subprocess.run(["umount", path], check=True)


@pytest.mark.parametrize(
    ("options", "status"),
    [("size=64k", 0), ("size=60k", 1), ("size=1m,nr_inodes=17", 0), ("size=1m,nr_inodes=16", 1)],
)
def test_directories_that_are_only_implied_need_room(
    options: str, status: int, archiver: Archiver, tmp_path: Path
) -> None:
    """A file in fifteen directories: a block and an inode each, and one inode for the root."""
    (tmp_path / "a.zip").write_bytes(zip_builder.archive(Entry("d/" * 15 + "empty")))
    with small_file_system(tmp_path / "small", options) as target:
        outcome = archiver.run("-x", "-k", tmp_path / "a.zip", target)
        assert len(list(target.rglob("*"))) == (0 if status else 16)
    assert outcome.status == status
    assert status == 0 or outcome.error.endswith(
        ": the archive expands to more than the disk has room for\n"
    )


def test_extra_fields_that_entries_share_take_no_memory(archiver: Archiver, tmp_path: Path) -> None:
    """5,000 times 64 KiB, were they read for each entry."""
    outcome = unpack(shared_extra_fields(), archiver, tmp_path)
    assert (outcome.status, outcome.error) == (0, "")


def test_a_ratio_that_deflate_can_reach_passes(archiver: Archiver, tmp_path: Path) -> None:
    data = zip_builder.archive(Entry("zeros", bytes(50_000_000), method=zip_builder.DEFLATED))
    assert len(data) < 50_000_000 / 1000
    assert unpack(data, archiver, tmp_path).status == 0
    assert (tmp_path / "in" / "target" / "zeros").stat().st_size == 50_000_000


def test_an_archive_inside_may_end_where_this_one_ends(archiver: Archiver, tmp_path: Path) -> None:
    inner = zip_builder.archive(Entry("inner", DATA))
    outcome = unpack(zip_builder.archive(Entry("inner.zip", inner)), archiver, tmp_path)
    assert (outcome.status, outcome.error) == (0, "")


def test_the_local_header_is_not_believed(archiver: Archiver, tmp_path: Path) -> None:
    outcome = unpack(
        zip_builder.archive(Entry("harmless", b"x", local_name=b"../evil!")), archiver, tmp_path
    )
    assert outcome.status == 0
    assert made(tmp_path) == ("harmless",)


def test_nothing_is_written_through_links_that_are_there(
    archiver: Archiver, tmp_path: Path
) -> None:
    outside = tmp_path / "outside"
    outside.mkdir()
    (outside / "file").write_text("untouched")
    target = tmp_path / "target"
    target.mkdir()
    (target / "file").symlink_to(outside / "file")
    (target / "directory").symlink_to(outside)
    archive = tmp_path / "a.zip"
    archive.write_bytes(zip_builder.archive(Entry("file", b"new")))
    archiver.unpack(archive, target)
    assert not (target / "file").is_symlink()
    archive.write_bytes(zip_builder.archive(Entry("directory/evil", b"new")))
    outcome = archiver.run("-x", "-k", archive, target)
    assert outcome.status == 1
    assert "cannot use the directory 'directory': Not a directory" in outcome.error
    assert os.listdir(outside) == ["file"]
    assert (outside / "file").read_text() == "untouched"


def test_a_failure_takes_back_what_it_made_and_leaves_what_was_there(
    archiver: Archiver, tmp_path: Path
) -> None:
    target = tmp_path / "target"
    (target / "old").mkdir(parents=True)
    (target / "old" / "kept").write_text("kept")
    archive = tmp_path / "a.zip"
    archive.write_bytes(
        zip_builder.archive(
            Entry("new/good", b"x"), Entry("old/good", b"x"), Entry("bad", DATA, crc=1)
        )
    )
    assert archiver.run("-x", "-k", archive, target).status == 1
    assert os.listdir(target) == ["old"]
    assert (target / "old" / "kept").read_text() == "kept"


def test_every_changed_byte_ends_in_a_result_or_in_one_line(
    archiver: Archiver, tmp_path: Path
) -> None:
    honest = zip_builder.archive(
        Entry("top/a", DATA, method=zip_builder.DEFLATED), Entry("top/b", b"x")
    )
    crc = zlib.crc32(DATA)
    for place in range(0, len(honest), 3):
        data = bytearray(honest)
        data[place] ^= 0xFF
        target = tmp_path / str(place)
        (tmp_path / "a.zip").write_bytes(data)
        outcome = archiver.run("-x", "-k", tmp_path / "a.zip", target)
        assert outcome.status in (0, 1)
        assert outcome.error.count("\n") == outcome.status
        if outcome.status == 0 and (target / "top" / "a").exists():
            assert zlib.crc32((target / "top" / "a").read_bytes()) == crc
    assert all(name == "a.zip" or name.isdigit() for name in os.listdir(tmp_path))
