"""Files of more than 4 GiB: Zip64, and memory that does not grow with the file."""

from __future__ import annotations

import os
import struct
import subprocess
import zipfile
from pathlib import Path

import pytest

import zip_builder
from conftest import Archiver

PEAK_KIB = 24 * 1024
SIZE = (1 << 32) + 12_345
SANITIZED = os.environ.get("ZANBURY_SANITIZED", "") != ""


@pytest.fixture(scope="module")
def large(tmp_path_factory: pytest.TempPathFactory) -> Path:
    """A directory with one sparse file of more than 4 GiB."""
    top = tmp_path_factory.mktemp("large") / "top"
    top.mkdir()
    with (top / "zeros").open("wb") as file:
        file.truncate(SIZE - 4)
        file.seek(0, os.SEEK_END)
        file.write(b"end\n")
    return top


@pytest.mark.skipif(
    "ZANBURY_ARCHIVER_LARGE" not in os.environ,
    reason="half a minute and 4 GiB of disk: set ZANBURY_ARCHIVER_LARGE=1 to run it",
)
def test_a_file_over_four_gigabytes_is_packed_and_unpacked(
    archiver: Archiver, large: Path, tmp_path: Path
) -> None:
    archive = tmp_path / "top.zip"
    outcome = archiver.run("-c", "-k", "--keepParent", large, archive, timeout=300)
    assert (outcome.status, outcome.error) == (0, "")
    assert outcome.peak_kib < PEAK_KIB
    with zipfile.ZipFile(archive) as peer:
        assert peer.getinfo("top/zeros").file_size == SIZE
    listed = subprocess.run(["unzip", "-l", archive], capture_output=True, text=True, check=True)
    assert str(SIZE) in listed.stdout
    subprocess.run(["7z", "l", archive], capture_output=True, check=True)
    outcome = archiver.run("-x", "-k", archive, tmp_path / "target", timeout=300)
    assert (outcome.status, outcome.error) == (0, "")
    assert outcome.peak_kib < PEAK_KIB
    unpacked = tmp_path / "target" / "top" / "zeros"
    assert unpacked.stat().st_size == SIZE
    with unpacked.open("rb") as file:
        file.seek(-8, os.SEEK_END)
        assert file.read() == b"\0\0\0\0end\n"
    unpacked.unlink()


def test_memory_does_not_grow_with_the_file(archiver: Archiver, tmp_path: Path) -> None:
    top = tmp_path / "top"
    top.mkdir()
    with (top / "half").open("wb") as file:
        for _ in range(60):
            file.write(os.urandom(500_000) + b"20240229;CARD PURCHASE;-12.50\n" * 17_000)
    packed = archiver.run("-c", "-k", "--keepParent", top, tmp_path / "top.zip")
    unpacked = archiver.run("-x", "-k", tmp_path / "top.zip", tmp_path / "target")
    assert (packed.status, unpacked.status) == (0, 0)
    assert SANITIZED or max(packed.peak_kib, unpacked.peak_kib) < PEAK_KIB
    assert (tmp_path / "target" / "top" / "half").read_bytes() == (top / "half").read_bytes()


def test_many_entries_take_little_memory(archiver: Archiver, tmp_path: Path) -> None:
    """Forty thousand of them, unpacked and packed again."""
    archive = tmp_path / "peer.zip"
    with zipfile.ZipFile(archive, "w") as peer:
        for number in range(40_000):
            peer.writestr(f"top/{number // 1000:03}/{number:06}", b"")
    unpacked = archiver.run("-x", "-k", archive, tmp_path / "target", timeout=600)
    top = tmp_path / "target" / "top"
    packed = archiver.run("-c", "-k", "--keepParent", top, tmp_path / "top.zip", timeout=600)
    assert (unpacked.status, unpacked.error, packed.status, packed.error) == (0, "", 0, "")
    assert SANITIZED or max(packed.peak_kib, unpacked.peak_kib) < 32 * 1024
    with zipfile.ZipFile(archive) as peer, zipfile.ZipFile(tmp_path / "top.zip") as ours:
        files = [name for name in ours.namelist() if not name.endswith("/")]
        assert files == peer.namelist()


def test_an_archive_with_an_entry_behind_four_gigabytes_is_read(
    archiver: Archiver, tmp_path: Path
) -> None:
    """A sparse archive: the entry's offset stands in its Zip64 field."""
    entry = zip_builder.Entry("file", b"far away")
    entry.offset = 0xFFFFFFFF
    entry.extra = struct.pack("<HHQ", 1, 8, SIZE)
    local, directory = entry.local(), entry.central(0)
    start = SIZE + len(local)
    end64 = zip_builder.zip64_end(1, len(directory), start, start + len(directory))
    archive = tmp_path / "a.zip"
    with archive.open("wb") as file:
        file.seek(SIZE)
        file.write(local + directory + end64 + zip_builder.end_record(1, 0xFFFFFFFF, 0xFFFFFFFF))
    archiver.unpack(archive, tmp_path / "target")
    assert (tmp_path / "target" / "file").read_bytes() == b"far away"
