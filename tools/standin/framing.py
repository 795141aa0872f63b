"""One frame of the server stream, the unit in which both sides talk.

    frame  = type length LF body
    type   = one character, see RAW_TYPES
    length = up to 10 decimal digits, none for 0: the number of body bytes
"""

from __future__ import annotations

from dataclasses import dataclass
from typing import Callable

RAW_TYPES = {
    "None": ".",
    "Error": "!",
    "ServerHello": "h",
    "ClientHandshake": "c",
    "ServerHandshake": "s",
    "InputArchive": "i",
    "InputArchiveAcknowledgement": "I",
    "ServerWillStartForwarding": "[",
    "Forward": "f",
    "ServerDidStopForwarding": "]",
    "OutputArchive": "o",
    "OutputArchiveAcknowledgement": "O",
}
_NAMES = {raw.encode("ascii"): name for name, raw in RAW_TYPES.items()}
_MOST_DIGITS = 10
_BLOCK = 1 << 20


class InvalidStream(Exception):
    """The bytes that came are not a frame, or end within one."""


@dataclass(frozen=True)
class Frame:
    """One received message: the name of its type, and its body."""

    type: str
    body: bytes


def header(type_name: str, length: int | str) -> bytes:
    """The bytes before a body; an unknown name stands for itself, a text length too."""
    return f"{RAW_TYPES.get(type_name, type_name)}{length}\n".encode("latin-1")


def read_frame(read: Callable[[int], bytes]) -> Frame | None:
    """The next frame, or None at the end of the stream; InvalidStream as the class says.

    read gives 1 to n bytes, or none at the end. No byte beyond the frame is asked for.
    """
    raw_type = read(1)
    if not raw_type:
        return None
    if raw_type not in _NAMES:
        raise InvalidStream(f"unknown type {raw_type!r}")
    return Frame(_NAMES[raw_type], _read_body(read, _read_length(read)))


def _read_length(read: Callable[[int], bytes]) -> int:
    digits = b""
    while (byte := read(1)) != b"\n":
        if not byte:
            raise InvalidStream("the stream ends within a length")
        digits += byte
        if not byte.isdigit() or len(digits) > _MOST_DIGITS:
            raise InvalidStream(f"no length: {digits!r}")
    return int(digits or b"0")


def _read_body(read: Callable[[int], bytes], length: int) -> bytes:
    body = bytearray()
    while len(body) < length:
        block = read(min(_BLOCK, length - len(body)))
        if not block:
            raise InvalidStream(f"the stream ends after {len(body)} of {length} body bytes")
        body += block
    return bytes(body)
