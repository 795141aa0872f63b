#!/usr/bin/env python3
"""Lists the frames of docs/conversation.json in hexadecimal, as PROTOCOL.md shows them.

    listing.py            prints the listings
    listing.py --write    puts them into PROTOCOL.md, in place of what stands in its blocks

A block in PROTOCOL.md begins with "```text frame N", for the bytes of the N-th frame as they
travel, or "```text clear N", for what its body holds when it is decrypted.
"""

from __future__ import annotations

import io
import json
import re
import sys
import zipfile
from pathlib import Path
from typing import Any

DOCS = Path(__file__).resolve().parents[2] / "docs"
PROTOCOL = DOCS / "PROTOCOL.md"
BLOCK = re.compile(r"^```text (frame|clear) (\d+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
_IN_LINE = 24  # bytes
_LOCAL_HEADER = 30  # bytes, before the name


def record() -> dict[str, Any]:
    """The recorded conversation."""
    return json.loads((DOCS / "conversation.json").read_text("utf-8"))


def frame_bytes(frame: dict[str, Any], part: str = "bytes") -> bytes:
    """The frame as it travels, or its decrypted body ("clear")."""
    return bytes.fromhex("".join(frame[part]))


def listings(frames: list[dict[str, Any]]) -> dict[tuple[str, int], str]:
    """What stands in each block, by its kind and the number of its frame, from 1."""
    result = {}
    for number, frame in enumerate(frames, start=1):
        result["frame", number] = _frame_listing(frame)
        if "clear" in frame:
            result["clear", number] = _clear_listing(frame_bytes(frame, "clear"))
    return result


def _frame_listing(frame: dict[str, Any]) -> str:
    header, line_feed, body = frame_bytes(frame).partition(b"\n")
    length = int(header[1:] or b"0")
    meaning = f"{frame['type']}, {length} bytes of body" if length else f"{frame['type']}, no body"
    return f"{(header + line_feed).hex(' '):24}{meaning}\n" + _lines(body, "iv" not in frame)


def _clear_listing(clear: bytes) -> str:
    if not clear.startswith(b"PK"):
        return _lines(clear)
    return "".join(f"# {label}\n{_lines(part)}" for label, part in _zip_parts(clear))


def _zip_parts(data: bytes) -> list[tuple[str, bytes]]:
    """An archive cut at its records, each with its name."""
    parts = []
    with zipfile.ZipFile(io.BytesIO(data)) as archive:
        directory = archive.start_dir
        for entry in archive.infolist():
            start = entry.header_offset
            extra = int.from_bytes(data[start + 28 : start + 30], "little")
            content = start + _LOCAL_HEADER + len(entry.filename.encode()) + extra
            parts.append((f"local header of {entry.filename}", data[start:content]))
            if entry.compress_size:
                how = "stored" if entry.compress_type == zipfile.ZIP_STORED else "deflated"
                parts.append((f"its content, {how}", data[content : content + entry.compress_size]))
    end = data.rindex(b"PK\5\6")
    return [*parts, ("central directory", data[directory:end]), ("its end record", data[end:])]


def _lines(data: bytes, has_text: bool = True) -> str:
    pieces = [data[start : start + _IN_LINE] for start in range(0, len(data), _IN_LINE)]
    return "".join(_line(piece, _text(piece) if has_text else "") for piece in pieces)


def _line(piece: bytes, meaning: str) -> str:
    return f"{piece.hex(' '):{3 * _IN_LINE - 1}}  {meaning}".rstrip() + "\n"


def _text(piece: bytes) -> str:
    return "".join(chr(byte) if 0x20 <= byte < 0x7F else "." for byte in piece)


def main(arguments: list[str]) -> int:
    texts = listings(record()["frames"])
    if arguments == ["--write"]:
        document = PROTOCOL.read_text("utf-8")
        fresh = lambda block: f"```text {block[1]} {block[2]}\n{texts[block[1], int(block[2])]}```"
        PROTOCOL.write_text(BLOCK.sub(fresh, document), "utf-8")
    else:
        for (kind, number), text in texts.items():
            print(f"```text {kind} {number}\n{text}```\n")
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
