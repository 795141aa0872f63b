"""The conversion server's program: what sshd runs for each connection, with the argument "server"."""

from __future__ import annotations

import json
import os
import signal
import sys
import traceback
from contextlib import suppress
from dataclasses import dataclass
from pathlib import Path
from types import FrameType
from typing import Any, NoReturn

from standin.conversation import Conversation
from standin.ending import ConversationOver, Refused
from standin.keys import ServerKeys
from standin.recorder import Recorder
from standin.script import check_script
from standin.script_validation import ScriptError
from standin.session import Session

USAGE = "usage: conversion-server --config FILE server"
EXIT_USAGE = 64
DEFAULT_DEADLINE = 3600.0


@dataclass(frozen=True)
class Configuration:
    """The JSON file that `--config` names; paths in it begin at its own directory."""

    directory: Path
    key: Path
    records: Path
    scripts: list[dict[str, Any]]
    deadline: float

    @classmethod
    def load(cls, path: Path) -> Configuration:
        """OSError, ValueError, KeyError or ScriptError where it is of no use."""
        values, directory = json.loads(path.read_bytes()), path.resolve().parent
        scripts = values.get("scripts") or [{}]
        for script in scripts:
            check_script(script)
        deadline = float(values.get("deadline", DEFAULT_DEADLINE))
        key, records = directory / values["key"], directory / values["records"]
        return cls(directory, key, records, scripts, deadline)


def main(arguments: list[str]) -> int:
    """The exit status; messages about a wrong start go to standard error."""
    if len(arguments) != 3 or arguments[0] != "--config" or arguments[2] != "server":
        print(USAGE, file=sys.stderr)
        return EXIT_USAGE
    try:
        configuration = Configuration.load(Path(arguments[1]))
        keys = ServerKeys.load(configuration.key)
    except (OSError, ValueError, KeyError, ScriptError) as error:
        print(f"conversion-server: {arguments[1]}: {error}", file=sys.stderr)
        return EXIT_USAGE
    return _serve(configuration, keys)


def _serve(configuration: Configuration, keys: ServerKeys) -> int:
    recorder = Recorder(configuration.records)
    _end_on_signals(configuration.deadline)
    script = configuration.scripts[min(recorder.number, len(configuration.scripts)) - 1]
    over = ConversationOver("finished")
    try:
        session = Session(keys, recorder, configuration.directory)
        _converse(session, script)
    except ConversationOver as end:
        over = end
    except Exception:  # a defect: the record is the only place where somebody will look
        over = ConversationOver("failed", traceback.format_exc(), 1)
        print(over.detail, file=sys.stderr)
    signal.setitimer(signal.ITIMER_REAL, 0)
    recorder.end(over.how, over.detail, over.status)
    return over.status


def _converse(session: Session, script: dict[str, Any]) -> None:
    try:
        Conversation(session, script).run()
    except Refused as refusal:
        with suppress(ConversationOver):  # a client that is gone cannot be told
            session.send_error({"reason": str(refusal)})
        session.connection.read_on()
        session.connection.wait(lambda: session.connection.has_ended)
        raise ConversationOver(refusal.how, str(refusal), 1) from refusal
    except ConversationOver as over:
        # A client that has nothing more to read may have said why before it left.
        if over.how == "client gone" and session.heard_error_to_the_end():
            raise ConversationOver("client error", over.detail) from over
        raise


def _end_on_signals(deadline: float) -> None:
    def end(number: int, _frame: FrameType | None) -> NoReturn:
        how = "deadline" if number == signal.SIGALRM else "signal"
        raise ConversationOver(how, signal.Signals(number).name, 128 + number)

    for number in (signal.SIGALRM, signal.SIGTERM, signal.SIGHUP, signal.SIGINT):
        signal.signal(number, end)
    signal.setitimer(signal.ITIMER_REAL, deadline)


def run() -> NoReturn:
    """Ends the process at once: the reader's thread may still wait for the client."""
    status = main(sys.argv[1:])
    sys.stderr.flush()
    os._exit(status)
