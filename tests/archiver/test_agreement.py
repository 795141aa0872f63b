"""Archives that unzip, 7z and bsdtar read in the same way: the archiver reads them so, too."""

from __future__ import annotations

import os
import subprocess
import zipfile
from dataclasses import dataclass
from pathlib import Path

import pytest

import zip_builder
from conftest import Archiver
from zip_builder import Entry

PEERS = {
    "unzip": ["unzip", "-q", "{zip}", "-d", "{to}"],
    "7z": ["7z", "x", "-bd", "-y", "-o{to}", "{zip}"],
    "bsdtar": ["bsdtar", "-xf", "{zip}", "-C", "{to}"],
}
EMPTY_ARCHIVE = zip_builder.end_record(0, 0, 0)


@dataclass(frozen=True)
class Case:
    """An archive, its files, and the peers that read it without a word of complaint."""

    name: str
    data: bytes
    files: dict[bytes, bytes]
    peers: tuple[str, ...] = ("unzip", "7z", "bsdtar")


def zip64_archive(name: str, content: bytes) -> bytes:
    """An archive with a Zip64 end, as programs write it that do not know how much will come."""
    local, directory = zip_builder.body([Entry(name, content)])
    end64 = zip_builder.zip64_end(1, len(directory), len(local), len(local) + len(directory))
    return local + directory + end64 + zip_builder.end_record(1, 0xFFFFFFFF, 0xFFFFFFFF)


def holding(name: str, content: bytes, peers: tuple[str, ...] = Case.peers) -> Case:
    """An archive whose last file holds `content`, stored."""
    data = zip_builder.archive(Entry("first", b"1"), Entry("inner.zip", content))
    return Case(name, data, {b"first": b"1", b"inner.zip": content}, peers)


def unannounced(count: int) -> bytes:
    """More entries than 16 bits count, announced modulo 65,536, as Apple's archiver does it."""
    local, directory = zip_builder.body(Entry(f"{i:05}") for i in range(count))
    return local + directory + zip_builder.end_record(count % 65_536, len(directory), len(local))


ONE = zip_builder.archive(Entry("file", b"content"))

CASES = [
    holding("an archive", ONE),
    holding("an empty archive", EMPTY_ARCHIVE),
    holding("a zip64 archive", zip64_archive("file", b"content")),
    holding(
        "an archive that has a comment", zip_builder.archive(Entry("a", b"x"), comment=b"by hand")
    ),
    holding("an archive with its bytes in front of it", b"#!/bin/sh\n" + ONE),
    holding("many archives", ONE * 500),
    holding("only what an end begins with", b"PK\5\6" * 1000),
    Case("zeros", ONE + bytes(10_000), {b"file": b"content"}),
    Case(
        "as many zeros as a comment may have",
        ONE + bytes(65_535),
        {b"file": b"content"},
        ("unzip",),
    ),
    Case("zeros behind a zip64 end", zip64_archive("file", b"x") + bytes(512), {b"file": b"x"}),
    Case(
        "a backslash",
        zip_builder.archive(Entry("a\\b", b"1"), Entry("C:\\c", b"2")),
        {b"a\\b": b"1", b"C:\\c": b"2"},
        ("unzip",),
    ),
    Case(
        "a name that an end begins with",
        zip_builder.archive(Entry("PK\5\6", b"1"), Entry("PK\5\6" * 8, b"2")),
        {b"PK\5\6": b"1", b"PK\5\6" * 8: b"2"},
        (),
    ),
    Case(
        "control characters",
        zip_builder.archive(Entry("a\x1b[2J\n\x7f", b"1")),
        {b"a\x1b[2J\n\x7f": b"1"},
        ("bsdtar",),
    ),
    Case(
        "bytes that are not utf-8",
        zip_builder.archive(Entry(b"Gr\x94\xe1e", b"1", flags=0), Entry(b"\xff", b"2", flags=0)),
        {b"Gr\x94\xe1e": b"1", b"\xff": b"2"},
        (),
    ),
    Case(
        "more entries than 16 bits count",
        unannounced(65_546),
        {b"%05d" % i: b"" for i in range(65_546)},
        ("unzip", "7z"),
    ),
]


def files(directory: Path) -> dict[bytes, bytes]:
    """The content of all files below `directory`, by their names as bytes."""
    found = {}
    top = os.fsencode(directory)
    for place, _, names in os.walk(top):
        for name in names:
            path = os.path.join(place, name)
            with open(path, "rb") as file:
                found[os.path.relpath(path, top)] = file.read()
    return found


@pytest.mark.parametrize("case", [pytest.param(case, id=case.name) for case in CASES])
def test_is_read_as_the_others_read_it(case: Case, archiver: Archiver, tmp_path: Path) -> None:
    archive = tmp_path / "a.zip"
    archive.write_bytes(case.data)
    archiver.unpack(archive, tmp_path / "ours")
    assert files(tmp_path / "ours") == case.files
    for peer in case.peers:
        target = tmp_path / peer
        target.mkdir()
        words = [word.format(zip=archive, to=target) for word in PEERS[peer]]
        locale = os.environ | {"LC_ALL": "C.UTF-8"}
        result = subprocess.run(words, capture_output=True, env=locale, check=False)
        assert files(target) == case.files, (peer, result)


def test_what_bsdtar_pads_is_read(archiver: Archiver, tmp_path: Path) -> None:
    """Into a pipe it writes whole tape records."""
    top = tmp_path / "top"
    top.mkdir()
    (top / "file").write_bytes(b"content")
    with (tmp_path / "a.zip").open("wb") as archive:
        writer = subprocess.Popen(
            ["bsdtar", "--format", "zip", "-cf", "-", "top"], cwd=tmp_path, stdout=subprocess.PIPE
        )
        subprocess.run(["cat"], stdin=writer.stdout, stdout=archive, check=True)
        writer.stdout.close()
        assert writer.wait() == 0
    assert (tmp_path / "a.zip").read_bytes().endswith(bytes(1000))
    archiver.unpack(tmp_path / "a.zip", tmp_path / "ours")
    assert files(tmp_path / "ours") == {b"top/file": b"content"}


def test_a_packed_directory_of_archives_is_unpacked(archiver: Archiver, tmp_path: Path) -> None:
    top = tmp_path / "top"
    top.mkdir()
    (top / "empty.zip").write_bytes(EMPTY_ARCHIVE)
    (top / "one.zip").write_bytes(ONE)
    with zipfile.ZipFile(top / "z.zip", "w") as archive:
        archive.writestr("inner.zip", EMPTY_ARCHIVE)
    archiver.pack(top, tmp_path / "top.zip")
    archiver.unpack(tmp_path / "top.zip", tmp_path / "ours")
    assert files(tmp_path / "ours" / "top") == files(top)


def test_a_name_in_a_path_field_is_the_name(archiver: Archiver, tmp_path: Path) -> None:
    """Where the characters of its surroundings are not UTF-8, zip adds the name that is."""
    (tmp_path / "Größe.csv").write_bytes(b"content")
    posix = os.environ | {"LC_ALL": "C"}
    subprocess.run(["zip", "-q", "a.zip", "Größe.csv"], cwd=tmp_path, env=posix, check=True)
    archiver.unpack(tmp_path / "a.zip", tmp_path / "ours")
    assert files(tmp_path / "ours") == {"Größe.csv".encode(): b"content"}
