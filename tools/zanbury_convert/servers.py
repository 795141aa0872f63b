"""The servers' URLs, checked as the program will read them, and their names for people."""

from __future__ import annotations

import re
from dataclasses import dataclass
from urllib.parse import unquote

from .codes import Code
from .ending import Problem
from .printable import printable

_FORM = re.compile(
    r"(?:[A-Za-z][A-Za-z0-9+.-]*:)?//"
    r"(?P<user>[^/?#@:\s]+)(?::[^/?#@\s]*)?@"
    r"(?P<host>\[[0-9A-Fa-f:.]+\]|[^/?#@:\s\[\]]+)"
    r":(?P<port>[0-9]+)(?:[/?#]\S*)?",
    re.ASCII,
)
_LARGEST_PORT = 65535
_LONGEST = 2048  # characters
_ADVICE = "Write it as ssh://USER@HOST:PORT, for example ssh://jo@cloud-1.example.com:22."


@dataclass(frozen=True)
class Server:
    """One place to connect to."""

    url: str
    user: str
    host: str
    port: int

    @property
    def name(self) -> str:
        """As ssh would write it, with the port behind."""
        host = f"[{self.host}]" if ":" in self.host else self.host
        return printable(f"{self.user}@{host}:{self.port}", 100)


def servers_of(urls: list[str]) -> list[Server]:
    """The servers that these texts name, each of them one URL or several with commas between.

    Problem names the first that cannot be used.
    """
    texts = [text.strip() for url in urls for text in url.split(",")]
    return [_server(text) for text in texts if text]


def _server(url: str) -> Server:
    match = _FORM.fullmatch(url) if len(url) <= _LONGEST else None
    if match is None:
        raise _useless(url, "it is not a URL with user, host and port")
    user, host = unquote(match["user"]), unquote(match["host"]).strip("[]")
    if user.startswith("-") or host.startswith("-"):
        raise _useless(url, "user and host may not begin with a hyphen")
    if not user.isprintable() or not re.fullmatch(r"[!-~]*", host) or set(host) & set("@/"):
        raise _useless(url, "user or host hold characters that ssh would misread")
    port = int(match["port"][:20])
    if not 1 <= port <= _LARGEST_PORT:
        raise _useless(url, f"the port must be between 1 and {_LARGEST_PORT}")
    return Server(url, user, host, port)


def _useless(url: str, why: str) -> Problem:
    return Problem(
        Code.SERVER_URL, f"The server {printable(url, 200)!r} cannot be used: {why}.", _ADVICE
    )
