"""Conversations that are held in a certain state, also in those in which the program itself is at
work."""

from __future__ import annotations

import contextlib
from collections.abc import Callable, Iterator
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from fault_scenario import FaultScenario
from host_harness import PATIENCE, HostHarness
from observed_process import working_directory
from own_archiver import with_archiver
from session_states import FORWARDING, STATES, WAITING_FOR_RESULT, WAITING_FOR_START, in_state
from standin.record import wait_until
from stopped_at import stopped_at_opening
from terminal_host import Conversion, Section

HELD = [{"create": "held"}, {"await": "go"}]
_MARK = Section("Marked by the tool", 0)
_MARKING = {"forward": {"progressSection": _MARK.title, "maximum": 0}}
_PATIENT = Section("This may take several minutes, please be patient.", 0)

BEFORE_UPLOAD = {"ServerHandshake": {"before": HELD}}
BEFORE_DOWNLOAD = {"OutputArchive": {"before": HELD}}


@dataclass(frozen=True)
class Work:
    """The program is busy with a file: the script that holds the server before it,
    the file or the directory that it is in, given the working directory and the harness, and which
    opening of that, or of something in it, begins the file."""

    script: dict[str, Any]
    place: Callable[[Path, HostHarness], Path]
    opening: int = 1


WORK = {
    "copying": Work(BEFORE_UPLOAD, lambda own, harness: own / "InputArchive" / harness.source.name),
    "encrypting": Work(BEFORE_UPLOAD, lambda own, _: own / "InputArchive.zip-encrypted"),
    "decrypting": Work(BEFORE_DOWNLOAD, lambda own, _: own / "OutputArchive.zip"),
    # Under names that nobody can foresee: behind the opening of their directory.
    "delivering the file": Work(BEFORE_DOWNLOAD, lambda _, harness: harness.result.parent, 2),
    "delivering the logs": Work(BEFORE_DOWNLOAD, lambda _, harness: harness.logs.parent, 4),
    "replacing a log": Work(BEFORE_DOWNLOAD, lambda _, harness: harness.logs, 2),
}
ARCHIVING = {"packing": "-c", "unpacking": "-x"}


def hold_in(state: str) -> dict[str, Any]:
    """A script that goes on as usual once `go` lets it, and until then stands in the state."""
    if state == WAITING_FOR_RESULT:
        stop = {"together": [_MARKING, {"send": "ServerDidStopForwarding"}]}
        return {"ServerDidStopForwarding": {"instead": [stop, *HELD]}}
    return {
        STATES[0]: {"ServerHello": {"before": HELD}},
        STATES[1]: {"ServerHandshake": {"before": HELD}},
        STATES[2]: {"InputArchiveAcknowledgement": {"before": HELD}},
        WAITING_FOR_START: {"ServerWillStartForwarding": {"before": HELD}},
        FORWARDING: {"Conversion": {"before": [_MARKING, *HELD]}},
    }[state]


def begin_in(scenario: FaultScenario, state: str, **options: Any) -> Conversion:
    """A conversion whose session has come to that state."""
    conversion = begin_held(scenario, hold_in(state), **options)
    await_held_in(conversion, state)
    return conversion


def await_held_in(conversion: Conversion, state: str) -> None:
    """Returns when the session, too, has come to the state in which `hold_in` holds the server."""
    if state == WAITING_FOR_START:
        conversion.wait_for(_PATIENT, PATIENCE)
    elif state in (FORWARDING, WAITING_FOR_RESULT):
        conversion.wait_for(_MARK, PATIENCE)


def begin_held(scenario: FaultScenario, script: dict[str, Any], **options: Any) -> Conversion:
    """A conversion whose server has come to the script's HELD."""
    conversion = scenario.begin(script, **options)
    wait_until(scenario.harness.server.file("held").exists, PATIENCE, "the held server")
    return conversion


@contextlib.contextmanager
def stopped_at_work(scenario: FaultScenario, activity: str, **options: Any) -> Iterator[Conversion]:
    """A conversion whose program has opened the file of that WORK for writing, or its tree, and is
    stopped there until SIGCONT or the end of the with-block."""
    work = WORK[activity]
    conversion = begin_held(scenario, work.script, **options)
    place = work.place(working_directory(conversion), scenario.harness)
    with stopped_at_opening(conversion, place, lambda: go(scenario.harness), work.opening):
        yield conversion


def begin_archiving(scenario: FaultScenario, activity: str, then: str) -> Conversion:
    """A conversion whose archiver does `then`, in a shell, at that activity of ARCHIVING."""
    begun = scenario.harness.directory / "begun"
    in_it = f"[ \"$1\" != {ARCHIVING[activity]} ] || {{ touch '{begun}'; {then}; }}"
    script = f'{in_it}\nexec "$real" "$@"'
    program = with_archiver(scenario.harness.program, scenario.harness.directory / "own", script)
    conversion = scenario.begin({}, program=program)
    wait_until(begun.exists, PATIENCE, "the archiver")
    return conversion


def go(harness: HostHarness) -> None:
    """Lets the held server go on."""
    harness.server.file("go").touch()
