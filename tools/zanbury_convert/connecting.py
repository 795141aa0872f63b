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
from .servers import Server
from .shown import shown
from .ssh_words import Cause, cause_of

CONNECTING = "Connecting to Zanbury Cloud..."
_COUNTDOWN = re.compile(r"Could not connect\. Will try again in \d+ seconds?\.\.\.")
_NO_WORDS = Cause(Code.UNREACHABLE, "ended the connection before it said hello", "Try again later.")


@dataclass
class Attempt:
    """One attempt: which server, when it began, and why it came to nothing."""

    since: float
    server: Server | None  # None: not known
    cause: Cause | None = None

    @property
    def words(self) -> str:
        """What came of it, as a sentence."""
        name = self.server.name if self.server else "A server"
        return f"{name} {(self.cause or _NO_WORDS).words}."


class Connecting:
    """The rounds of one conversion. `rounds` is how many are allowed, infinity for no limit."""

    def __init__(self, servers: list[Server], command: str, key: str, rounds: float) -> None:
        self._servers = servers
        self._command = command
        self._key = key
        self.rounds = rounds
        self.round = 1
        self._attempts: list[Attempt] = []  # of this round
        self._is_counting_down = False
        self._is_through = False

    @property
    def attempt(self) -> Attempt | None:
        """The attempt that may still succeed; None before the first and during a countdown."""
        is_open = self._attempts and not self._is_counting_down
        return self._attempts[-1] if is_open else None

    @property
    def is_waiting(self) -> bool:
        """Whether no server is known to have said anything yet."""
        return not self._is_through and self.attempt is not None

    def begin_section(self, title: str | None, at: float) -> None:
        """Takes a title that the program shows."""
        if title == CONNECTING:
            if self._is_counting_down:
                self._is_counting_down, self._attempts = False, []
                self.round += 1
            only = self._servers[0] if len(self._servers) == 1 else None
            self._attempts.append(Attempt(at, only))
        elif self._attempts and not self._is_through and _COUNTDOWN.fullmatch(title or ""):
            self._is_counting_down = True
        else:
            self._is_through = True

    def hear(self, line: str) -> bool:
        """Takes a line of standard error; whether it told why an attempt failed."""
        cause = None if self._is_through else cause_of(line, self._command)
        if cause is None or not self._attempts:
            return False
        if cause.code is Code.LOGIN_REFUSED:
            words = cause.words.replace("this key", f"the key {self._key}")
            cause = Cause(cause.code, words, cause.advice)
        attempt = self._attempt_of(line)
        if attempt.cause is None or not attempt.cause.is_hopeless:
            attempt.cause = cause
        return True

    def note_server(self, user: str, host: str, port: str) -> Server:
        """Says whom the present attempt is for; a redirect may lead to a server never named."""
        known = (s for s in self._servers if (s.user, s.host, str(s.port)) == (user, host, port))
        number = int(port) if port.isdecimal() else 0
        server = next(known, None) or Server("", user, host, number)
        if self._attempts:
            self._attempts[-1].server = server
        return server

    def give_up_silent(self, seconds: float) -> Problem:
        """Ends the present attempt, whose server said no hello; the problem, if that is the end."""
        words = f"said no hello within {seconds:g} seconds"
        advice = "Is it a conversion server? --connect-timeout waits longer."
        self._attempts[-1].cause = Cause(Code.UNREACHABLE, words, advice)
        return self._problem(Code.UNREACHABLE)

    def _attempt_of(self, line: str) -> Attempt:
        """The attempt that a line is about; standard error may lag behind the titles."""
        named = next((s for s in self._servers if _names(line, s)), None)
        for attempt in self._attempts if named else []:
            if attempt.server in (None, named) and not (attempt.server is None and attempt.cause):
                attempt.server = named
                return attempt
        open_ones = (attempt for attempt in reversed(self._attempts) if attempt.cause is None)
        return next(open_ones, self._attempts[-1])

    def judge(self) -> Problem | None:
        """The problem, when a round has ended and another one is useless or not allowed.

        Standard error may lag behind the titles: ask when nothing more is there to be taken.
        """
        if not self._is_counting_down or self._is_through:
            return None
        causes = [attempt.cause for attempt in self._attempts]
        if all(cause is not None and cause.is_hopeless for cause in causes):
            codes = {cause.code for cause in causes if cause is not None}
            return self._problem(codes.pop() if len(codes) == 1 else Code.UNREACHABLE)
        if self.round >= self.rounds:
            return self._problem(Code.UNREACHABLE)
        return None

    def hopeless(self) -> list[str]:
        """What waiting will not mend, as sentences, once the round has ended."""
        if not self._is_counting_down or self._is_through:
            return []
        return [a.words for a in self._attempts if a.cause is not None and a.cause.is_hopeless]

    def _problem(self, code: Code) -> Problem:
        told = list(dict.fromkeys(attempt.words for attempt in self._attempts))
        if len(told) > 1:
            told = ["No server could be used:", *(f"  {words}" for words in told)]
        if code is Code.UNREACHABLE and self.round > 1:
            told.append(f"Gave up after {self.round} rounds.")
        causes = (attempt.cause or _NO_WORDS for attempt in self._attempts)
        advice = " ".join(dict.fromkeys(cause.advice for cause in causes))
        return Problem(code, shown_lines(told), advice)


def shown_lines(lines: list[str]) -> str:
    """The lines, made harmless, with line feeds between."""
    return "\n".join(shown(line) for line in lines)


def _names(line: str, server: Server) -> bool:
    """Whether a complaint of ssh names that server."""
    names = (
        f"{server.user}@{server.host}:",
        f"hostname {server.host}:",
        f"host {server.host} port {server.port}:",
        f"Bad port '{server.port}'",
    )
    return any(name in line for name in names)
