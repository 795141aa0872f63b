"""Keeps count of a program's attempts to reach a server, and tells when to give up.

    round = *attempt countdown        ; every server once, in an order that the program chooses

An attempt begins with the title that the program shows for it, and the countdown after the last one
ends the round. A connection that says hello ends the counting.
"""

from __future__ import annotations

import re
from dataclasses import dataclass

from .codes import Code
from .ending import Problem
from .printable import printable
from .servers import Server
from .ssh_messages import Cause, cause_of

CONNECTING = "Connecting to Zanbury Cloud..."
_COUNTDOWN = re.compile(r"Could not connect\. Will try again in \d+ seconds?\.\.\.")
_NO_WORDS = Cause(Code.UNREACHABLE, "ended the connection before it said hello", "Try again later.")


@dataclass
class Attempt:
    """One attempt: when it began, and for which server; None as long as that is not known."""

    since: float
    server: Server | None


class Connecting:
    """The rounds of one conversion. `rounds` is how many are allowed, infinity for no limit.

    Titles and lines come by different ways, so a line may come before its title or long after it:
    causes are kept by server, and what they amount to is asked for when nothing more comes.
    """

    def __init__(self, servers: list[Server], command: str, key: str, rounds: float) -> None:
        self._servers = servers
        self._command = command
        self._key = key
        self.rounds = rounds
        self.round = 1
        self._attempt: Attempt | None = None  # the last one
        self._causes: dict[Server | None, Cause] = {}
        self._is_counting_down = False
        self._is_through = False

    @property
    def attempt(self) -> Attempt | None:
        """The attempt that may still succeed; None before the first and during a countdown."""
        return None if self._is_counting_down else self._attempt

    @property
    def is_waiting(self) -> bool:
        """Whether no server is known to have said anything yet."""
        return not self._is_through and self.attempt is not None

    @property
    def is_over(self) -> bool:
        """Whether a round has ended and another one is useless or not allowed."""
        if not self._is_counting_down or self._is_through:
            return False
        return self.round >= self.rounds or self._is_hopeless

    @property
    def hopeless(self) -> list[str]:
        """What waiting will not mend, as sentences, once a round has ended."""
        if not self._is_counting_down or self._is_through:
            return []
        return [_told(name, cause) for name, cause in self._causes.items() if cause.is_hopeless]

    def begin_section(self, title: str | None, at: float) -> None:
        """Takes a title that the program shows."""
        if title == CONNECTING:
            self.round += self._is_counting_down
            self._is_counting_down = False
            self._attempt = Attempt(at, self._only_server)
        elif self._attempt and not self._is_through and _COUNTDOWN.fullmatch(title or ""):
            self._is_counting_down = True
        else:
            self._is_through = True

    def hear(self, line: str) -> bool:
        """Takes a line of standard error; whether it told why an attempt failed."""
        cause = None if self._is_through else cause_of(line, self._command)
        if cause is None:
            return False
        if cause.code is Code.LOGIN_REFUSED:
            words = cause.words.replace("this key", f"the key {self._key}")
            cause = Cause(cause.code, words, cause.advice)
        server = next((s for s in self._servers if _names(line, s)), None) or self._present_server
        if server not in self._causes or not self._causes[server].is_hopeless:
            self._causes[server] = cause
        return True

    def note_server(self, user: str, host: str, port: str) -> Server:
        """Says whom the present attempt is for; a redirect may lead to a server never named."""
        known = (s for s in self._servers if (s.user, s.host, str(s.port)) == (user, host, port))
        number = int(port) if port.isdecimal() else 0
        server = next(known, None) or Server("", user, host, number)
        if self._attempt is not None:
            self._attempt.server = server
        return server

    def give_up_silent(self, seconds: float) -> None:
        """Notes that the server of the present attempt has said no hello."""
        words = f"said no hello within {seconds:g} seconds"
        advice = "Is it a conversion server? --connect-timeout waits longer."
        self._causes[self._present_server] = Cause(Code.UNREACHABLE, words, advice)

    def problem(self) -> Problem:
        """Why no server could be used. Ask when the program has ended and all was heard."""
        causes = dict(self._causes)
        if None not in causes:
            causes |= {server: _NO_WORDS for server in self._servers if server not in causes}
        told = [_told(server, cause) for server, cause in causes.items()]
        if len(told) > 1:
            told = ["No server could be used:", *(f"  {words}" for words in told)]
        codes = {cause.code for cause in causes.values()}
        code = codes.pop() if len(codes) == 1 else Code.UNREACHABLE
        if code is Code.UNREACHABLE and self.round > 1:
            told.append(f"Gave up after {self.round} rounds.")
        advice = " ".join(dict.fromkeys(cause.advice for cause in causes.values()))
        return Problem(code, "\n".join(printable(line) for line in told), advice)

    @property
    def _only_server(self) -> Server | None:
        return self._servers[0] if len(self._servers) == 1 else None

    @property
    def _present_server(self) -> Server | None:
        return self._attempt.server if self._attempt else self._only_server

    @property
    def _is_hopeless(self) -> bool:
        return all(
            server in self._causes and self._causes[server].is_hopeless for server in self._servers
        )


def _told(server: Server | None, cause: Cause) -> str:
    """What came of a server, as a sentence."""
    return f"{server.name if server else 'A server'} {cause.words}."


def _names(line: str, server: Server) -> bool:
    """Whether a complaint of ssh names that server."""
    names = (
        f"{server.user}@{server.host}:",
        f"hostname {server.host}:",
        f"host {server.host} port {server.port}:",
        f"Bad port '{server.port}'",
    )
    return any(name in line for name in names)
