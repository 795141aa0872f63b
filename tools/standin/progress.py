"""The messages that a tool on the server sends to the host, as the host reads them from its FIFO.

    message = length LF plist        length: of the plist in bytes, decimal; plist: XML, version 1.0
"""

from __future__ import annotations

import plistlib


def section(title: str | None, maximum: int = 0) -> bytes:
    """A new section of the work; maximum is its last value, 0 where nobody knows."""
    message: dict[str, object] = {"messageType": "progressSection"}
    if title is not None:
        message["progressTitle"] = title
    if maximum:
        message["progressValue"] = maximum
    return _message(message)


def status(value: int) -> bytes:
    """How far the section has come."""
    return _message({"messageType": "progressStatus", "progressValue": value})


def _message(dictionary: dict[str, object]) -> bytes:
    body = plistlib.dumps(dictionary, fmt=plistlib.FMT_XML)
    return b"%d\n%s" % (len(body), body)
