"""The states of a session, and what the server does until it is in one of them."""

from __future__ import annotations

from typing import Any

Script = dict[str, Any]

WAITING_FOR_HELLO = "WaitingForServerHello"
WAITING_FOR_HANDSHAKE = "WaitingForServerHandshake"
SENDING = "SendingInputArchive"
WAITING_FOR_START = "WaitingForServerDidStartForwarding"
FORWARDING = "ForwardingMessages"
WAITING_FOR_RESULT = "WaitingForOutputArchive"

# Each leads on from the one before. In SENDING the whole archive has arrived.
_ON_THE_WAY: dict[str, list[str]] = {
    WAITING_FOR_HELLO: [],
    WAITING_FOR_HANDSHAKE: ["ServerHello", "ClientHandshake"],
    SENDING: ["ServerHandshake", "InputArchive"],
    WAITING_FOR_START: ["InputArchiveAcknowledgement"],
    FORWARDING: ["ServerWillStartForwarding"],
    WAITING_FOR_RESULT: ["Conversion", "ServerDidStopForwarding"],
}
STATES = list(_ON_THE_WAY)


def in_state(state: str, *actions: Any) -> Script:
    """A script that goes the usual way to that state, does these actions and awaits the end."""
    steps: list[Any] = []
    for passed in STATES[: STATES.index(state) + 1]:
        steps += _ON_THE_WAY[passed]
    return {"steps": [*steps, *actions, "End"]}


def handshake(**options: Any) -> Script:
    """A script that answers the client with such a ServerHandshake, and ends when the upload has
    come: the session has then gone on to it."""
    answer = {"stage": "ServerHandshake", **options}
    return in_state(WAITING_FOR_HANDSHAKE, answer, "InputArchive", {"exit": 0})
