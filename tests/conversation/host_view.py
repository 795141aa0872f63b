"""What a host makes of a conversion: the sections it shows, the lines that the program logged."""

from __future__ import annotations

from terminal_host import Conversion, Outcome, Section

CONNECTING = Section("Connecting to Zanbury Cloud...", 0)

A_DAY = 86_400  # seconds of a countdown that comes to no end in any test

_OF_SSH = ("Warning: Permanently added ", "ssh: ", "Bad port ", "Connection closed by ")


def log_lines(outcome: Outcome) -> list[str]:
    """The lines on standard error that are not ssh's."""
    lines = outcome.stderr_text.replace("\r\n", "\n").splitlines()
    return [line for line in lines if not line.startswith(_OF_SSH)]


def sections(conversion: Conversion) -> list[Section]:
    """The sections so far, in order."""
    return [event for event in conversion.events if isinstance(event, Section)]


def will_retry(number: int, unit: str = "seconds") -> Section:
    """The section of one tick of the countdown."""
    return Section(f"Could not connect. Will try again in {number} {unit}...", 0)
