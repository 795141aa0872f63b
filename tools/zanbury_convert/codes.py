"""The registry of endings: every way in which a conversion can end has one code.

A code is stable: scripts read it from the events of --json. The exit status follows from it, except
for a tool that failed (its own status) and for a signal (128 and the signal's number). The table in
the manual page and the list in docs/convert-events.schema.json say the same; tests compare them.
"""

from __future__ import annotations

from enum import Enum


class Code(Enum):
    """An ending: its name in the events, its exit status, what it means."""

    CONVERTED = ("converted", 0, "A result was delivered by this run.")
    CHECKED = ("checked", 0, "--dry-run: settings, keys, servers and files can be used.")

    FAILED = ("failed", 1, "The program or the server gave up; the reason quotes them.")
    TOOL_FAILED = ("tool-failed", 1, "The tool failed; the status is the tool's own.")
    NO_RESULT = ("no-result", 1, "The program ended without an error, but nothing was delivered.")
    UNREADABLE_RESULT = ("unreadable-result", 1, "The server did not say which file is the result.")
    NOT_WRITTEN = ("not-written", 1, "The result came, but could not be put in its place.")
    LOGS_NOT_WRITTEN = ("logs-not-written", 1, "The result was delivered, but not the logs.")
    TOO_BIG = ("too-big", 1, "The server accepts no upload of that size.")
    INVALID_SALT = ("invalid-salt", 1, "The server does not have the private half of the key.")
    NO_ARCHIVER = ("no-archiver", 1, "The program's archiver is missing or failed.")
    PROGRAM_KILLED = (
        "program-killed",
        1,
        "The program was killed by a signal from another process.",
    )

    USAGE = ("usage", 2, "The command line cannot be used.")
    CONFIGURATION = ("configuration", 2, "The configuration file cannot be used.")
    MISSING_SETTINGS = ("missing-settings", 2, "Settings are missing; all of them are named.")
    SOURCE = ("source", 2, "The source cannot be read.")
    OUTPUT = ("output", 2, "Nothing can be written where result or logs should go.")
    EXISTS = ("exists", 2, "The result exists already, and --force was not given.")
    PRIVATE_KEY = ("private-key", 2, "The private key cannot be used.")
    PUBLIC_KEY = ("public-key", 2, "The servers' public key cannot be used.")
    SERVER_URL = ("server-url", 2, "A server's URL cannot be used.")
    PROGRAM = ("program", 2, "The program is missing or cannot be started.")

    CONNECTION_LOST = ("connection-lost", 3, "The connection was lost and no result came.")

    UNREACHABLE = ("unreachable", 4, "No server could be reached in the rounds allowed.")
    LOGIN_REFUSED = ("login-refused", 4, "The servers refuse the private key or the user.")
    UNKNOWN_HOST = ("unknown-host", 4, "The servers' names cannot be resolved.")
    BAD_PORT = ("bad-port", 4, "A server's port is invalid.")
    HOST_KEY = (
        "host-key",
        4,
        "The servers' host keys are refused, or share no type with this ssh.",
    )
    NO_COMMAND = ("no-command", 4, "The servers do not have the command to run.")
    NOT_TRIED = ("not-tried", 4, "Not tried, because the servers failed for another file.")

    TIMEOUT = ("timeout", 124, "The conversion took longer than --timeout allows.")
    CANCELED = ("canceled", 130, "Canceled: 130 by Ctrl-C, 143 by SIGTERM, 129 by SIGHUP.")

    def __init__(self, word: str, status: int, meaning: str) -> None:
        self.word = word
        self.status = status
        self.meaning = meaning

    @property
    def is_about_servers(self) -> bool:
        """Whether another file would end the same way."""
        return self.status == 4
