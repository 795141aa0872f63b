"""Destinations behind which no server ever speaks: some fail at once, some for ever keep silent."""

from __future__ import annotations

import re
import socket

# A label of more than 63 characters: no resolver asks anybody for it.
UNKNOWN_NAME = f"Now{'h' * 60}ere.Invalid"
NOBODY_LISTENS = "ssh://nobody@127.0.0.1:1"  # tcpmux: refused at once


def beyond(number: int) -> str:
    """A destination whose port, 70000 and `number`, ssh names in its complaint and ends at once."""
    return f"ssh://nobody@127.0.0.1:{70000 + number}"


def tried(stderr: str) -> list[int]:
    """The numbers of the destinations `beyond` that ssh complained of, in their order."""
    return [int(port) - 70000 for port in re.findall(r"Bad port '(7\d{4})'", stderr)]


class SilentListener:
    """A port that takes connections and never says a word, so that ssh waits there for ever."""

    def __init__(self, address: str = "127.0.0.1") -> None:
        family = socket.AF_INET6 if ":" in address else socket.AF_INET
        self._socket = socket.socket(family)
        self._socket.bind((address, 0))
        self._socket.listen()
        self.port = int(self._socket.getsockname()[1])

    @property
    def destination(self) -> str:
        """The plain form of a destination that leads here over IPv4."""
        return f"ssh://nobody@127.0.0.1:{self.port}"

    def close(self) -> None:
        """What waited here sees the end of its connection."""
        self._socket.close()

    def __enter__(self) -> SilentListener:
        return self

    def __exit__(self, *_: object) -> None:
        self.close()
