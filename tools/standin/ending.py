"""The one way out of a conversation, from wherever in it."""

from __future__ import annotations


class ConversationOver(Exception):
    """Ends the conversation; `how` is one of the words that README.md lists for `end`."""

    def __init__(self, how: str, detail: str = "", status: int = 0) -> None:
        super().__init__(f"{how}: {detail}")
        self.how = how
        self.detail = detail
        self.status = status


class Refused(Exception):
    """What the client sent is of no use; the client is told the reason in an Error message."""

    def __init__(self, how: str, reason: str) -> None:
        super().__init__(reason)
        self.how = how
