"""The actions by which a script departs from the normal conversation.

An action is a function of the session and the action's dictionary; those that contain other actions
are the business of `conversation.py`.
"""

from __future__ import annotations

import os
import signal
import time
from typing import Any, Callable

from standin.body import Body
from standin.ending import ConversationOver
from standin.session import Session
from standin.stages import pacing

Action = dict[str, Any]
_POLL_SECONDS = 0.01


def _send(session: Session, action: Action) -> None:
    body = session.body(action["body"]) if "body" in action else Body()
    session.send(action["send"], body, action.get("length"), pacing(action))


def _raw(session: Session, action: Action) -> None:
    body = session.body(action["raw"])
    session.recorder.sent("raw", body)
    session.connection.write(body.blocks(), pacing(action))


def _forward(session: Session, action: Action) -> None:
    session.forward(session.body(action["forward"]).data(), pacing(action))


def _error(session: Session, action: Action) -> None:
    reason = action["error"]
    dictionary = {"reason": reason} if isinstance(reason, str) else reason
    session.send_error(dictionary, pacing(action))


def _receive(session: Session, action: Action) -> None:
    session.receive(action["receive"])


def _forwarded(session: Session, action: Action) -> None:
    awaited = int(action["forwarded"])
    session.wait(lambda: session.forwarded.total >= awaited)


def _echo(session: Session, action: Action) -> None:
    unread, missing = session.forwarded.unread, action["echo"]
    while missing > 0:
        session.wait(lambda: bool(unread))
        data = unread.popleft()
        if data[missing:]:
            unread.appendleft(data[missing:])
        session.forward(data[:missing])
        missing -= len(data)


def _await(session: Session, action: Action) -> None:
    path = session.directory / action["await"]
    while not path.exists():
        session.pause(_POLL_SECONDS)


def _create(session: Session, action: Action) -> None:
    (session.directory / action["create"]).touch()


def _stop_reading(session: Session, action: Action) -> None:
    session.connection.stop_reading_after(action["stop reading after"])


def _read_on(session: Session, _action: Action) -> None:
    session.connection.read_on()


def _close(session: Session, action: Action) -> None:
    if action["close"] == "stdin":
        session.connection.close_source()
    else:
        session.connection.close_sink()


def _drain(session: Session, _action: Action) -> None:
    session.connection.read_on()
    session.connection.wait(lambda: session.connection.has_ended)


def _stall(session: Session, _action: Action) -> None:
    session.connection.wait_for_hangup()
    raise ConversationOver("client gone", "while stalling", 1)


def _exit(_session: Session, action: Action) -> None:
    raise ConversationOver("exit", status=action["exit"])


def _kill(session: Session, action: Action) -> None:
    number = signal.Signals[action["kill"]]
    session.recorder.end("signal", number.name, 128 + number)
    signal.signal(number, signal.SIG_DFL) if number != signal.SIGKILL else None
    os.kill(os.getpid(), number)
    time.sleep(1)


ACTION_FUNCTIONS: dict[str, Callable[[Session, Action], None]] = {
    "send": _send,
    "raw": _raw,
    "forward": _forward,
    "error": _error,
    "receive": _receive,
    "forwarded": _forwarded,
    "echo": _echo,
    "await": _await,
    "create": _create,
    "stop reading after": _stop_reading,
    "read on": _read_on,
    "close": _close,
    "drain": _drain,
    "stall": _stall,
    "exit": _exit,
    "kill": _kill,
}
