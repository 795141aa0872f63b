"""Text from strangers (the server, ssh, file names) as it may be shown on a terminal."""

from __future__ import annotations

LIMIT = 400  # characters of one line


def printable(text: str, limit: int = LIMIT) -> str:
    """The text on one line, control characters escaped, cut at `limit` characters."""
    escaped = "".join(
        c if c.isprintable() else _escape(c) for c in text.rstrip("\r\n")[: limit + 1]
    )
    return escaped if len(escaped) <= limit else escaped[: limit - 3] + "..."


def _escape(character: str) -> str:
    return "    " if character == "\t" else character.encode("unicode_escape").decode()
