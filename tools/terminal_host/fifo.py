"""Reads the messages that the program writes into its output FIFO, in chunks of any size.

    stream  = *(message / raw)
    message = length LF plist       ; length: decimal bytes of plist, no leading zero
    plist   = XML property list, a dictionary that says its "messageType"

What the server forwards comes through the same FIFO unchecked, so anything may stand between two
messages. Such bytes are kept as Raw, and reading goes on where the next message may begin: at a
length line followed by "<?xml". Digits right in front of a length line cannot be told from it.
"""

from __future__ import annotations

import plistlib
import re
from xml.parsers.expat import ExpatError

from .events import FifoEvent, Message, Raw, Section, Status

MAXIMUM_MESSAGE_LENGTH = 64 * 1024 * 1024  # bytes; a longer one is not a message

_HEADER = re.compile(rb"([1-9][0-9]{0,9})\n(?=<\?xml)")
# A place where a message begins, or may begin once more bytes have come.
_START = re.compile(rb"[1-9][0-9]{0,9}(?:\n(?:<\?xml|(?:<(?:\?(?:x(?:m)?)?)?)?\Z)|\Z)")
_NOT_A_PLIST = (plistlib.InvalidFileException, ExpatError, ValueError, TypeError, AttributeError)


class FifoParser:
    """Turns the bytes of one output FIFO into events. Never fails: what it cannot read is Raw."""

    def __init__(self) -> None:
        self._pending = bytearray()

    def feed(self, chunk: bytes) -> list[FifoEvent]:
        """Takes the next bytes; returns the events that they complete, in order."""
        self._pending += chunk
        events: list[FifoEvent] = []
        while self._pending and self._take_one(events):
            pass
        return events

    def finish(self) -> list[FifoEvent]:
        """Call at the end of the stream: half a message that is left over becomes Raw."""
        return (
            [self._take_raw(len(self._pending), "the stream ends inside a message")]
            if self._pending
            else []
        )

    def _take_one(self, events: list[FifoEvent]) -> bool:
        """Moves one event out of the pending bytes; False when more bytes are needed for it."""
        start = _START.search(self._pending)
        if start is None or start.start() > 0:
            end = len(self._pending) if start is None else start.start()
            events.append(self._take_raw(end, "no length line"))
            return True
        header = _HEADER.match(self._pending)
        if header is None:
            return False
        length = int(header[1])
        if length > MAXIMUM_MESSAGE_LENGTH:
            events.append(self._take_raw(header.end(), f"a message of {length} bytes is too long"))
            return True
        end = header.end() + length
        if len(self._pending) < end:
            return False
        events.append(self._take_message(header.end(), end))
        return True

    def _take_message(self, begin: int, end: int) -> FifoEvent:
        try:
            content = plistlib.loads(bytes(self._pending[begin:end]), fmt=plistlib.FMT_XML)
        except _NOT_A_PLIST as error:
            return self._take_raw(end, f"the property list cannot be read: {error}")
        if not isinstance(content, dict):
            return self._take_raw(end, "the property list is not a dictionary")
        del self._pending[:end]
        return _event_of(content)

    def _take_raw(self, end: int, reason: str) -> Raw:
        data = bytes(self._pending[:end])
        del self._pending[:end]
        return Raw(data, reason)


def _event_of(content: dict) -> FifoEvent:
    """The event that a message's dictionary stands for; Message when keys or types are others."""
    title, value = content.get("progressTitle"), content.get("progressValue", 0)
    if isinstance(value, int) and not isinstance(value, bool) and value >= 0:
        keys = content.keys() - {"messageType"}
        if content.get("messageType") == "progressStatus" and keys == {"progressValue"}:
            return Status(value)
        known = keys <= {"progressTitle", "progressValue"} and isinstance(title, (str, type(None)))
        if content.get("messageType") == "progressSection" and known:
            return Section(title, value)
    return Message(content)
