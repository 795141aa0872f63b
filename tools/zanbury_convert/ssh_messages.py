"""What ssh says when a connection fails, and what that means for the next attempt.

ssh has no environment and so speaks English. A line that is not known here is not a cause: it is shown
as it came. The remote shell's complaint about the command is relayed by ssh and belongs to it.
"""

from __future__ import annotations

import re
from dataclasses import dataclass

from .codes import Code
from .printable import printable


@dataclass(frozen=True)
class Cause:
    """Why one server could not be used. Only a cause that waiting may mend is UNREACHABLE."""

    code: Code
    words: str  # what happened, as the end of a sentence that begins with the server's name
    advice: str = ""

    @property
    def is_hopeless(self) -> bool:
        """Whether the next round would come to the same."""
        return self.code is not Code.UNREACHABLE


_CHECK_NAME = "Check the host's name in the server URL."
_CHECK_HOST_KEY = (
    "Ask the servers' operators whether the host key has changed; then remove the old one "
    "with ssh-keygen -R HOST."
)
_CHECK_COMMAND = "Check --server-command: the path of the conversion server on that machine."
_CHECK_KEY = "Check --identity-file and the user in the server URL; is the public half known there?"

# The first form that fits decides. {0} is the text that its group has caught.
_FORMS: list[tuple[str, Code, str, str]] = [
    (
        r": Permission denied \(([^)]*)\)",
        Code.LOGIN_REFUSED,
        "refuses the login with this key",
        _CHECK_KEY,
    ),
    (r"Too many authentication failures", Code.LOGIN_REFUSED, "refuses the login", _CHECK_KEY),
    (
        r"This account is (?:currently )?not available",
        Code.LOGIN_REFUSED,
        "has closed this account",
        _CHECK_KEY,
    ),
    (
        r"Could not resolve hostname [^:]*: Temporary failure (.*)",
        Code.UNREACHABLE,
        "cannot be looked up just now (temporary failure {0})",
        "Check the network.",
    ),
    (
        r"Could not resolve hostname [^:]*: (.*)",
        Code.UNKNOWN_HOST,
        "is not known: {0}",
        _CHECK_NAME,
    ),
    (r"hostname contains invalid characters", Code.UNKNOWN_HOST, "is not a name", _CHECK_NAME),
    (
        r"Bad port '([^']*)'",
        Code.BAD_PORT,
        "was named with the port {0}, which cannot be",
        "Check the port in the server URL; it must be between 1 and 65535.",
    ),
    (
        r"Host key verification failed",
        Code.HOST_KEY,
        "has a host key that ssh refuses",
        _CHECK_HOST_KEY,
    ),
    (
        r"Unable to negotiate with .*: (no matching .* found)",
        Code.HOST_KEY,
        "shares no method with this ssh: {0}",
        "The server's ssh is too old or too new for this one; ask its operators.",
    ),
    (
        r"connect to host .* port \d+: (.*)",
        Code.UNREACHABLE,
        "cannot be reached: {0}",
        "Check the network, and the server URL.",
    ),
    (
        r"(Connection (?:reset|closed|timed out).*|kex_exchange_identification: .*)",
        Code.UNREACHABLE,
        "ended the connection: {0}",
        "Try again later.",
    ),
]
_NO_COMMAND = re.compile(
    r"not found|No such file|no such file|Permission denied|permission denied|Is a directory"
    r"|cannot execute|Exec format error|Unknown command|bad interpreter"
)
_CHATTER = re.compile(r"Warning: Permanently added |\s*$")


def cause_of(line: str, server_command: str) -> Cause | None:
    """What one line on standard error tells about the end of a connection; None for nothing."""
    for form, code, words, advice in _FORMS:
        if match := re.search(form, line):
            said = printable(match[1].strip(), 120) if match.groups() else ""
            return Cause(code, words.format(said), advice)
    if server_command and server_command in line and (match := _NO_COMMAND.search(line)):
        words = f"cannot run {printable(server_command, 100)}: {match[0].lower()}"
        return Cause(Code.NO_COMMAND, words, _CHECK_COMMAND)
    return None


def is_chatter(line: str) -> bool:
    """Whether a line of ssh's says only what happens at every first connection."""
    return bool(_CHATTER.match(line))
