"""Zip archives made entry by entry, as no well-behaved server would send them."""

from __future__ import annotations

import io
import plistlib
import stat
import zipfile
from dataclasses import dataclass
from typing import Any

RESULT = {"toolExitCode": 0, "destFileName": "converted.csv"}


@dataclass(frozen=True)
class Entry:
    """One entry, its name as it stands; a name that ends in "/" is a directory's."""

    name: str
    data: bytes = b""
    mode: int = stat.S_IFREG | 0o644


def directory(name: str, permissions: int = 0o755) -> Entry:
    """A directory."""
    return Entry(name.rstrip("/") + "/", mode=stat.S_IFDIR | permissions)


def link(name: str, target: str) -> Entry:
    """A symbolic link."""
    return Entry(name, target.encode(), stat.S_IFLNK | 0o777)


def file(name: str, data: bytes, permissions: int = 0o644) -> Entry:
    """A plain file."""
    return Entry(name, data, stat.S_IFREG | permissions)


def result(dictionary: Any = None) -> list[Entry]:
    """The top-level directory and the description of a result."""
    content = plistlib.dumps(RESULT if dictionary is None else dictionary)
    return [directory("OutputArchive"), file("OutputArchive/Result.plist", content)]


def zipped(*entries: Entry) -> bytes:
    """The archive of these entries in their order; names may occur twice."""
    buffer = io.BytesIO()
    with zipfile.ZipFile(buffer, "w", zipfile.ZIP_DEFLATED) as archive:
        for entry in entries:
            info = zipfile.ZipInfo(entry.name, (2024, 3, 1, 12, 30, 0))
            info.compress_type = zipfile.ZIP_DEFLATED
            info.create_system = 3  # Unix: the mode counts
            info.external_attr = entry.mode << 16
            archive.writestr(info, entry.data)
    return buffer.getvalue()
