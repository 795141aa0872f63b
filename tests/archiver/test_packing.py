"""What the archiver packs, as other zip programs see it."""

from __future__ import annotations

import os
import re
import socket
import stat
import subprocess
import threading
import zipfile
from pathlib import Path

import pytest

from conftest import EXECUTABLE, Archiver

UMLAUT = "Kontoauszug für März.ofx"


@pytest.fixture
def tree(tmp_path: Path) -> Path:
    """A directory with all that an archive can hold."""
    top = tmp_path / "InputArchive"
    (top / "sub" / "nothing here").mkdir(parents=True)
    (top / UMLAUT).write_text("<OFX>\n" * 1000)
    (top / "two words.txt").write_bytes(b"x")
    (top / "empty").write_bytes(b"")
    (top / "random").write_bytes(os.urandom(3_000_000))
    (top / "records").write_bytes(b"20240229;CARD PURCHASE;-12.50\n" * 200_000)
    (top / "sub" / "program").write_text("#!/bin/sh\n")
    (top / "sub" / "program").chmod(0o755)
    (top / "sub" / "link").symlink_to("program")
    os.utime(top / UMLAUT, (1_700_000_001, 1_700_000_001))
    return top


@pytest.fixture
def packed(archiver: Archiver, tree: Path, tmp_path: Path) -> Path:
    """The tree, packed."""
    path = tmp_path / "InputArchive.zip"
    archiver.pack(tree, path)
    return path


def contents(top: Path) -> dict[str, tuple[int, bytes | str, int]]:
    """Mode, content or target, and time of all below `top`, by name."""
    found = {}
    for path in [top, *top.rglob("*")]:
        status = path.lstat()
        content: bytes | str = b""
        if path.is_symlink():
            content = os.readlink(path)
        elif path.is_file():
            content = path.read_bytes()
        seconds = 0 if path.is_symlink() or path.is_dir() else int(status.st_mtime)
        found[str(path.relative_to(top.parent))] = (status.st_mode, content, seconds)
    return found


def test_top_level_directory_comes_first_and_is_kept(packed: Path) -> None:
    with zipfile.ZipFile(packed) as archive:
        names = archive.namelist()
    assert names[0] == "InputArchive/"
    assert all(name.startswith("InputArchive/") for name in names)
    assert f"InputArchive/{UMLAUT}" in names
    assert "InputArchive/sub/nothing here/" in names


def test_zipfile_finds_every_checksum_right(packed: Path, tree: Path) -> None:
    with zipfile.ZipFile(packed) as archive:
        assert archive.testzip() is None
        assert archive.read(f"InputArchive/{UMLAUT}") == (tree / UMLAUT).read_bytes()
        assert archive.read("InputArchive/random") == (tree / "random").read_bytes()


def test_names_are_marked_as_utf8(packed: Path) -> None:
    with zipfile.ZipFile(packed) as archive:
        assert archive.getinfo(f"InputArchive/{UMLAUT}").flag_bits & 0x800


def test_modes_stand_in_the_unix_attributes(packed: Path) -> None:
    with zipfile.ZipFile(packed) as archive:
        modes = {info.filename: info.external_attr >> 16 for info in archive.infolist()}
        assert all(info.create_system == 3 for info in archive.infolist())
    assert modes["InputArchive/sub/program"] == stat.S_IFREG | 0o755
    assert modes["InputArchive/sub/link"] == stat.S_IFLNK | 0o777
    assert stat.S_ISDIR(modes["InputArchive/sub/"])


def test_small_archives_have_no_zip64_records(packed: Path) -> None:
    assert b"PK\6\6" not in packed.read_bytes()[-200:]


def test_unzip_checks_it(packed: Path) -> None:
    result = subprocess.run(["unzip", "-tq", packed], capture_output=True, text=True, check=False)
    assert result.returncode == 0, result.stderr
    assert "No errors detected" in result.stdout


@pytest.mark.parametrize(
    "command",
    [
        pytest.param(["unzip", "-q", "{zip}", "-d", "{to}"], id="unzip"),
        pytest.param(["bsdtar", "-xf", "{zip}", "-C", "{to}"], id="bsdtar"),
        pytest.param(["7z", "x", "-bd", "-y", "-snl", "-o{to}", "{zip}"], id="7z"),
    ],
)
def test_others_unpack_the_same_tree(
    command: list[str], packed: Path, tree: Path, tmp_path: Path
) -> None:
    target = tmp_path / "target"
    target.mkdir()
    words = [word.format(zip=packed, to=target) for word in command]
    subprocess.run(words, check=True, capture_output=True, env=os.environ | {"LC_ALL": "C.UTF-8"})
    unpacked = contents(target / "InputArchive")
    if command[0] == "7z":  # it keeps the modes of directories to itself
        unpacked = {n: v for n, v in unpacked.items() if not stat.S_ISDIR(v[0])}
        expected = {n: v for n, v in contents(tree).items() if not stat.S_ISDIR(v[0])}
        assert unpacked == expected
    else:
        assert unpacked == contents(tree)


def test_we_unpack_the_same_tree(
    archiver: Archiver, packed: Path, tree: Path, tmp_path: Path
) -> None:
    archiver.unpack(packed, tmp_path / "target")
    assert contents(tmp_path / "target" / "InputArchive") == contents(tree)


NAMES = [b"control \x01\x1b[2J\n", b"latin-1 \xfc", b"cp437 \x94", "ö".encode(), "ö\x01".encode()]


def test_names_of_any_bytes_are_stored_as_they_are(archiver: Archiver, tmp_path: Path) -> None:
    top = os.fsencode(tmp_path / "top")
    os.mkdir(top)
    for name in NAMES:
        with open(os.path.join(top, name), "wb") as file:
            file.write(name)
    archiver.pack(tmp_path / "top", tmp_path / "top.zip")
    archiver.unpack(tmp_path / "top.zip", tmp_path / "target")
    target = os.fsencode(tmp_path / "target" / "top")
    assert sorted(os.listdir(target)) == sorted(NAMES)
    for peer in (["unzip", "-tq"], ["unzip", "-l"], ["7z", "t", "-bd"], ["7z", "l"]):
        locale = os.environ | {"LC_ALL": "C.UTF-8"}
        result = subprocess.run(
            [*peer, tmp_path / "top.zip"], capture_output=True, env=locale, check=False
        )
        assert result.returncode == 0, result
    with zipfile.ZipFile(tmp_path / "top.zip") as peer:  # without the mark it takes code page 437
        marked = {info.filename for info in peer.infolist() if info.flag_bits & 0x800}
    assert marked == {"top/ö", "top/ö\x01"}


def test_a_refusal_of_a_strange_name_is_one_plain_line(archiver: Archiver, tmp_path: Path) -> None:
    os.mkfifo(make_directory(tmp_path / "top") + b"/\x1b[2J\n\xff")
    outcome = archiver.run("-c", "-k", "--keepParent", tmp_path / "top", tmp_path / "top.zip")
    assert outcome.status == 1
    assert re.fullmatch(
        r"ZanburyArchiver: cannot pack '.*/top/\\x1b\[2J\\x0a\\xff': .*\n", outcome.error
    )


def test_packing_twice_gives_the_same_bytes(
    archiver: Archiver, packed: Path, tree: Path, tmp_path: Path
) -> None:
    archiver.pack(tree, tmp_path / "again.zip")
    assert (tmp_path / "again.zip").read_bytes() == packed.read_bytes()


def test_bytes_that_do_not_deflate_hardly_grow(archiver: Archiver, tmp_path: Path) -> None:
    top = tmp_path / "top"
    top.mkdir()
    (top / "random").write_bytes(os.urandom(5_000_000))
    archiver.pack(top, tmp_path / "top.zip")
    assert (tmp_path / "top.zip").stat().st_size < 5_000_000 * 1.002


def make_directory(path: Path) -> bytes:
    """A new directory; returns its path as bytes."""
    path.mkdir()
    return os.fsencode(path)


def make_fifo(path: Path) -> None:
    """A FIFO that nobody writes to: opening it would wait for ever."""
    os.mkfifo(path)


def make_socket(path: Path) -> None:
    """A socket, bound by a short relative name."""
    here = os.open(path.parent, os.O_RDONLY)
    try:
        with socket.socket(socket.AF_UNIX) as bound:
            bound.bind(f"/proc/self/fd/{here}/{path.name}")
    finally:
        os.close(here)


@pytest.mark.parametrize("make", [make_fifo, make_socket])
def test_special_files_are_refused_and_leave_no_archive(
    make, archiver: Archiver, tmp_path: Path
) -> None:
    top = tmp_path / "top"
    top.mkdir()
    (top / "first").write_bytes(b"x")
    make(top / "special")
    outcome = archiver.run("-c", "-k", "--keepParent", top, tmp_path / "top.zip")
    assert outcome.status == 1
    assert re.fullmatch(
        r"ZanburyArchiver: cannot pack '.*/special': it is neither a file nor .*\n", outcome.error
    )
    assert os.listdir(tmp_path) == ["top"]


# Root without the capabilities that pass over permissions is a user like any other.
AS_A_USER = ["setpriv", "--bounding-set=-dac_override,-dac_read_search"]


def pack_as_a_user(archiver: Archiver, top: Path, archive: Path) -> subprocess.CompletedProcess:
    """Packs without any privilege."""
    prefix = AS_A_USER if os.geteuid() == 0 else []
    words = [*prefix, archiver.executable, "-c", "-k", "--keepParent", str(top), str(archive)]
    return subprocess.run(words, capture_output=True, text=True, check=False)


def test_a_directory_that_cannot_be_written_is_packed(archiver: Archiver, tmp_path: Path) -> None:
    top = tmp_path / "top"
    (top / "closed").mkdir(parents=True)
    (top / "closed" / "file").write_bytes(b"content")
    (top / "closed").chmod(0o500)
    result = pack_as_a_user(archiver, top, tmp_path / "top.zip")
    assert (result.returncode, result.stderr) == (0, "")
    archiver.unpack(tmp_path / "top.zip", tmp_path / "target")
    unpacked = tmp_path / "target" / "top" / "closed"
    assert (unpacked / "file").read_bytes() == b"content"
    assert stat.S_IMODE(unpacked.stat().st_mode) == 0o700  # it can be removed again


@pytest.mark.parametrize(
    ("closed", "mode", "says"),
    [
        ("sub", 0o000, "cannot read '.*/top/sub': Permission denied"),
        ("sub", 0o400, "cannot read '.*/top/sub/file': Permission denied"),
        ("sub/file", 0o200, "cannot open '.*/top/sub/file': Permission denied"),
    ],
)
def test_what_cannot_be_read_is_named_and_leaves_no_archive(
    closed: str, mode: int, says: str, archiver: Archiver, tmp_path: Path
) -> None:
    top = tmp_path / "top"
    (top / "sub").mkdir(parents=True)
    (top / "sub" / "file").write_bytes(b"content")
    (top / closed).chmod(mode)
    result = pack_as_a_user(archiver, top, tmp_path / "top.zip")
    (top / "sub").chmod(0o700)
    assert result.returncode == 1
    assert re.fullmatch(f"ZanburyArchiver: {says}\n", result.stderr), result.stderr
    assert os.listdir(tmp_path) == ["top"]


def test_a_full_disk_leaves_no_archive(archiver: Archiver, tmp_path: Path) -> None:
    top = tmp_path / "top"
    top.mkdir()
    (top / "random").write_bytes(os.urandom(3_000_000))
    (tmp_path / "out").mkdir()
    words = ["-c", "-k", "--keepParent", str(top), str(tmp_path / "out" / "top.zip")]
    # A limit on the size of files fails the write as a full disk does, with another reason.
    limited = subprocess.run(
        ["/bin/sh", "-c", 'ulimit -f 2000; exec "$0" "$@"', archiver.executable, *words],
        capture_output=True,
        text=True,
        check=False,
    )
    assert limited.returncode == 1
    assert re.fullmatch(r"ZanburyArchiver: cannot write '.*': File too large\n", limited.stderr)
    assert os.listdir(tmp_path / "out") == []


def test_a_file_that_changes_while_it_is_packed_fails(archiver: Archiver, tmp_path: Path) -> None:
    top = tmp_path / "top"
    top.mkdir()
    with (top / "growing").open("wb") as growing:
        growing.truncate(2_000_000_000)  # seconds of reading
        growing.seek(0, os.SEEK_END)
        stop = threading.Event()

        def grow() -> None:
            while not stop.wait(0.001):
                growing.write(b"x" * 4096)
                growing.flush()

        writer = threading.Thread(target=grow)
        writer.start()
        try:
            outcome = archiver.run("-c", "-k", "--keepParent", top, tmp_path / "top.zip")
        finally:
            stop.set()
            writer.join()
    assert outcome.status == 1
    assert re.fullmatch(
        r"ZanburyArchiver: '.*/growing'(: became longer while it was read| changed while it was "
        r"packed)\n",
        outcome.error,
    )
    assert sorted(os.listdir(tmp_path)) == ["top"]


@pytest.mark.parametrize(
    "arguments",
    [
        [],
        ["-c"],
        ["-c", "-k", "In", "In.zip"],
        ["-c", "-k", "--keepParent", "In"],
        ["-x", "-k", "In.zip"],
        ["-x", "In.zip", "there"],
        ["--version"],
    ],
)
def test_other_arguments_are_a_usage_error(arguments: list[str], archiver: Archiver) -> None:
    outcome = archiver.run(*arguments)
    assert outcome.status == 2
    assert outcome.error.startswith("usage: ZanburyArchiver -c -k --keepParent DIRECTORY ZIP\n")


def test_help_goes_to_standard_output() -> None:
    result = subprocess.run([EXECUTABLE, "--help"], capture_output=True, text=True, check=False)
    assert (result.returncode, result.stderr) == (0, "")
    assert result.stdout.startswith("usage: ZanburyArchiver -c -k --keepParent DIRECTORY ZIP\n")
