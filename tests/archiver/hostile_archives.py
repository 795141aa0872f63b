"""Archives made to do harm, byte by byte: those that take more than a line to make."""

from __future__ import annotations

import struct

import zip_builder
from zip_builder import Entry

ZEROS = bytes(1_000_000)


def overlapping() -> bytes:
    """Ten entries that share one compressed block."""
    shared = Entry("0", ZEROS, method=zip_builder.DEFLATED)
    more = [
        Entry(
            str(i),
            ZEROS,
            method=zip_builder.DEFLATED,
            offset=0,
            raw=b"",
            compressed_size=len(shared.content()),
        )
        for i in range(1, 10)
    ]
    return zip_builder.archive(shared, *more)


def implied_directories() -> bytes:
    """10,200 files, each in a hundred directories of its own: 3 MB that would make 1,020,000."""
    return zip_builder.archive(*[Entry(f"{i:x}/" * 99 + "f") for i in range(10_200)])


def unannounced() -> bytes:
    """A Zip64 end with a count modulo 65,536, as only an old one may have it."""
    local, directory = zip_builder.body(Entry(f"{i:05}") for i in range(65_536 + 10))
    end64 = zip_builder.zip64_end(10, len(directory), len(local), len(local) + len(directory))
    return local + directory + end64 + zip_builder.end_record(10, len(directory), len(local))


def shared_extra_fields() -> bytes:
    """Entries that all point to one local header with 64 KiB of extra field."""
    field = struct.pack("<HH", 0x9999, 65_000) + bytes(65_000)
    first = Entry("a", local_extra=field)
    return zip_builder.archive(first, *[Entry(f"a{i}", raw=b"", offset=0) for i in range(5_000)])


def with_end(end: bytes) -> bytes:
    """An honest entry behind which there is this end."""
    local, directory = zip_builder.body([Entry("file", b"x")])
    return local + directory + end


def honest_end(**changes: int) -> bytes:
    """The end of `with_end`, with some fields changed."""
    local, directory = zip_builder.body([Entry("file", b"x")])
    fields = {"entries": 1, "size": len(directory), "offset": len(local)} | changes
    return zip_builder.end_record(**fields)


def zip64_claim(entries: int, size: int) -> bytes:
    """A Zip64 end that claims this much."""
    local, directory = zip_builder.body([Entry("file", b"x")])
    end64 = zip_builder.zip64_end(entries, size, len(local), len(local) + len(directory))
    return local + directory + end64 + zip_builder.end_record(0xFFFF, 0xFFFFFFFF, 0xFFFFFFFF)


def zip64_that_disagrees() -> bytes:
    """An old end that shows one entry, and a Zip64 end that shows two."""
    local, directory = zip_builder.body([Entry("shown", b"x"), Entry("hidden", b"x")])
    end64 = zip_builder.zip64_end(2, len(directory), len(local), len(local) + len(directory))
    first = len(Entry("shown").central(0))
    return local + directory + end64 + zip_builder.end_record(1, len(directory) - first, len(local))


def zip64_end_far_from_its_locator() -> bytes:
    """Two Zip64 ends: the one that the locator names, and the one right before the locator."""
    local, directory = zip_builder.body([Entry("shown", b"x"), Entry("hidden", b"x")])
    at = len(local) + len(directory)
    first = zip_builder.zip64_end(2, len(directory), len(local), at)[:56]
    second = zip_builder.zip64_end(2, len(directory), len(local), at)
    return (
        local + directory + first + second + zip_builder.end_record(0xFFFF, 0xFFFFFFFF, 0xFFFFFFFF)
    )


def an_end_in_the_directory() -> bytes:
    """The directory ends in a comment that holds the end of another archive, with another file."""
    shown, hidden = Entry("shown", b"x"), Entry("hidden", b"y")
    first, second = shown.local(), hidden.local()
    inner = hidden.central(len(first))
    start = len(first) + len(second)
    comment = zip_builder.end_record(1, len(inner), start)
    header = bytearray(shown.central(0) + comment)
    header[32:34] = struct.pack("<H", len(comment))
    directory = inner + bytes(header)
    return first + second + directory + zip_builder.end_record(2, len(directory), start)


def an_end_in_an_entry_that_reaches_the_end() -> bytes:
    """A stored archive whose end claims a comment as long as all that follows, behind which zeros
    stand: who wants the comment to end where the file ends finds the inner archive."""
    inner = bytearray(zip_builder.archive(Entry("hidden", b"y")))
    outer = zip_builder.archive(Entry("shown", bytes(inner))) + bytes(100)
    place = outer.index(b"PK\5\6")
    data = bytearray(outer)
    data[place + 20 : place + 22] = struct.pack("<H", len(outer) - place - 22)
    shown = bytes(data[30 + len("shown") :][: len(inner)])
    return zip_builder.archive(Entry("shown", shown)) + bytes(100)


def two_ends() -> bytes:
    """An archive in whose comment another archive ends that has another file."""
    local, directory = zip_builder.body([Entry("shown", b"x"), Entry("hidden", b"x")])
    second = zip_builder.end_record(1, len(Entry("shown", b"x").central(0)), len(local))
    return local + directory + zip_builder.end_record(2, len(directory), len(local), second)


def thousands_of_ends() -> bytes:
    """A tail full of ends, each with a directory that is long to read."""
    local, directory = zip_builder.body(Entry(f"{i:04}") for i in range(9_000))
    data = local + directory
    count = 2_900
    for i in range(count, 0, -1):
        data += zip_builder.end_record(9_000, len(directory), len(local), announced=(i - 1) * 22)
    return data


def second_disk() -> bytes:
    """The honest end, as it stands on the last of two disks."""
    return honest_end()[:4] + struct.pack("<H", 1) + honest_end()[6:]
