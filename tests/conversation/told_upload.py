"""Conversations whose server acknowledges the upload only when the host has been told its end.

The end of an upload is told in a turn of its own; a server on the same machine is now and then
faster than that. Tests that compare what comes behind wait for it.
"""

from __future__ import annotations

from typing import Any

from desk import PATIENCE, Desk
from terminal_host import Conversion, Outcome, Status

_TOLD = "the upload was told"
_HELD_BACK = {"before": {"await": _TOLD}}


def begin(desk: Desk, script: dict[str, Any], **options: Any) -> Conversion:
    """Starts such a conversation, of one small file and with an output FIFO that is read."""
    conversion = desk.begin({"InputArchiveAcknowledgement": _HELD_BACK, **script}, **options)
    conversion.wait_until(lambda now: _statuses(now) == 2, PATIENCE)
    desk.server.file(_TOLD).touch()
    return conversion


def convert(desk: Desk, script: dict[str, Any], **options: Any) -> Outcome:
    """Runs such a conversation to its end."""
    return begin(desk, script, **options).wait(PATIENCE)


def _statuses(conversion: Conversion) -> int:
    return sum(isinstance(event, Status) for event in conversion.events)
