"""The two zip archives of a conversation: the one that comes in, the one that goes back.

    InputArchive/NAME                                   the file to convert
    OutputArchive/Result.plist, /DESTFILENAME, /Logs/*  the result
"""

from __future__ import annotations

import io
import struct
import time
import zipfile
from typing import Iterable, Mapping

from standin.body import Body
from standin.conversion import SourceFile

_INPUT_DIRECTORY = "InputArchive"
_LARGEST_SOURCE = 1 << 31
_FILE_MODE = 0o100644 << 16
_DIRECTORY_MODE = (0o040755 << 16) | 0x10
_FINDER_NAMES = ("._", ".DS_Store")
_UNIX_TIME = 0x5455  # the extra field of APPNOTE 4.6.1 that holds seconds since 1970
_HAS_MODIFICATION_TIME = 1


class ArchiveError(Exception):
    """The archive that came in is not as it must be; the text says how."""


def unpack(data: bytes) -> SourceFile:
    """The one file below the top-level directory; ArchiveError.

    Nothing is written to disk, so that a hostile name can do no harm.
    """
    try:
        with zipfile.ZipFile(io.BytesIO(data)) as archive:
            info = _only_file(archive.infolist())
            return SourceFile(info.filename.partition("/")[2], archive.read(info))
    except (zipfile.BadZipFile, NotImplementedError, RuntimeError, EOFError, OSError) as error:
        raise ArchiveError(f"The input archive is not a zip archive: {error}") from error


def pack(entries: Mapping[str, Body]) -> bytes:
    """A zip with these entries in their order, made now; a name that ends in "/" is a directory."""
    now = time.time()
    buffer = io.BytesIO()
    with zipfile.ZipFile(buffer, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, body in entries.items():
            info = zipfile.ZipInfo(name, time.localtime(now)[:6])
            info.extra = _unix_time(now)
            info.compress_type = zipfile.ZIP_DEFLATED
            info.external_attr = _DIRECTORY_MODE if name.endswith("/") else _FILE_MODE
            with archive.open(info, "w", force_zip64=len(body) >= 1 << 31) as entry:
                for block in body.blocks():
                    entry.write(block)
    return buffer.getvalue()


def _unix_time(seconds: float) -> bytes:
    """The time that does not depend on anybody's time zone, as the local one in the entry does."""
    return struct.pack("<HHBl", _UNIX_TIME, 5, _HAS_MODIFICATION_TIME, int(seconds))


def _only_file(infos: Iterable[zipfile.ZipInfo]) -> zipfile.ZipInfo:
    files = [info for info in infos if not info.is_dir() and not _is_of_finder(info.filename)]
    if len(files) != 1:
        raise ArchiveError(f"The input archive holds {len(files)} files instead of one")
    top, _, name = files[0].filename.partition("/")
    if top != _INPUT_DIRECTORY or not name or "/" in name or name == "..":
        raise ArchiveError(f"The input archive holds {files[0].filename!r}")
    if files[0].file_size > _LARGEST_SOURCE:
        raise ArchiveError("The file in the input archive is too big")
    return files[0]


def _is_of_finder(path: str) -> bool:
    return path.startswith("__MACOSX/") or path.rpartition("/")[2].startswith(_FINDER_NAMES)
