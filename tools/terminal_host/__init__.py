"""Runs one conversion as the desktop host does; see README.md beside this file."""

from .conversion import CANCEL, Conversion, run
from .errors import EndedEarly, HostError
from .events import Event, Exit, Message, Raw, Section, Status, StderrLine
from .fifo import FifoParser
from .outcome import Outcome
from .program import find_program
from .request import Request

__all__ = [
    "CANCEL",
    "Conversion",
    "EndedEarly",
    "Event",
    "Exit",
    "FifoParser",
    "HostError",
    "Message",
    "Outcome",
    "Raw",
    "Request",
    "Section",
    "Status",
    "StderrLine",
    "find_program",
    "run",
]
