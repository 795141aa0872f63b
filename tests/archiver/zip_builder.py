"""Makes zip archives byte by byte (APPNOTE 6.3), so that a test can have each of them lie.

An archive is a list of entries, a central directory and an end record. Every field has its honest
value unless it is given another.
"""

from __future__ import annotations

import struct
import zlib
from collections.abc import Iterable
from dataclasses import dataclass

STORED, DEFLATED = 0, 8
UTF8 = 0x800
ENCRYPTED = 0x1
DIRECTORY, FILE, LINK = 0o040755, 0o100644, 0o120777
FIFO, CHARACTER_DEVICE, BLOCK_DEVICE, SOCKET = 0o010644, 0o020644, 0o060644, 0o140644
MADE_BY_UNIX = 3 << 8 | 20
DOS_TIME, DOS_DATE = 0x6000, 0x5861  # 12:00:00 on 2024-03-01


def deflate(data: bytes) -> bytes:
    """`data` as a raw deflate stream."""
    encoder = zlib.compressobj(9, zlib.DEFLATED, -15)
    return encoder.compress(data) + encoder.flush()


@dataclass
class Entry:
    """One entry. None stands for the honest value."""

    name: str | bytes
    data: bytes = b""
    mode: int = FILE
    method: int = STORED
    flags: int = UTF8
    raw: bytes | None = None
    size: int | None = None
    compressed_size: int | None = None
    crc: int | None = None
    local_name: bytes | None = None
    local_extra: bytes = b""
    extra: bytes = b""
    made_by: int = MADE_BY_UNIX
    offset: int | None = None

    def encoded_name(self) -> bytes:
        """The name as it stands in the archive."""
        return self.name if isinstance(self.name, bytes) else self.name.encode()

    def content(self) -> bytes:
        """The bytes behind the local header."""
        if self.raw is not None:
            return self.raw
        return deflate(self.data) if self.method == DEFLATED else self.data

    def common(self) -> bytes:
        """The fields that both headers share, from the flags to the sizes."""
        crc = zlib.crc32(self.data) if self.crc is None else self.crc
        packed = len(self.content()) if self.compressed_size is None else self.compressed_size
        size = len(self.data) if self.size is None else self.size
        return struct.pack(
            "<HHHHIII", self.flags, self.method, DOS_TIME, DOS_DATE, crc, packed, size
        )

    def local(self) -> bytes:
        """The local header and the content."""
        name = self.encoded_name() if self.local_name is None else self.local_name
        lengths = struct.pack("<HH", len(name), len(self.local_extra))
        head = b"PK\3\4" + struct.pack("<H", 20) + self.common() + lengths
        return head + name + self.local_extra + self.content()

    def central(self, offset: int) -> bytes:
        """The entry of the central directory."""
        name = self.encoded_name()
        head = b"PK\1\2" + struct.pack("<HH", self.made_by, 20) + self.common()
        tail = struct.pack(
            "<HHHHHII",
            len(name),
            len(self.extra),
            0,
            0,
            0,
            self.mode << 16,
            offset if self.offset is None else self.offset,
        )
        return head + tail + name + self.extra


def end_record(
    entries: int, size: int, offset: int, comment: bytes = b"", announced: int | None = None
) -> bytes:
    """The record at the archive's end."""
    length = len(comment) if announced is None else announced
    return (
        b"PK\5\6" + struct.pack("<HHHHIIH", 0, 0, entries, entries, size, offset, length) + comment
    )


def zip64_end(entries: int, size: int, offset: int, at: int) -> bytes:
    """A Zip64 end record that lies `at` this offset, and its locator."""
    record = b"PK\6\6" + struct.pack("<QHHIIQQQQ", 44, 45, 45, 0, 0, entries, entries, size, offset)
    return record + b"PK\6\7" + struct.pack("<IQI", 0, at, 1)


def body(entries: Iterable[Entry]) -> tuple[bytes, bytes]:
    """The local part and the central directory."""
    parts, directory, offset = [], [], 0
    for entry in entries:
        directory.append(entry.central(offset))
        parts.append(entry.local())
        offset += len(parts[-1])
    return b"".join(parts), b"".join(directory)


def archive(*entries: Entry, comment: bytes = b"") -> bytes:
    """A whole archive with an honest end."""
    local, directory = body(entries)
    return local + directory + end_record(len(entries), len(directory), len(local), comment)
