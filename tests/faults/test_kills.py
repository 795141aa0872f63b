"""The program is killed: its children end with it, and the next start removes what it left; never
what belongs to a program that lives."""

from __future__ import annotations

import contextlib
import os
import shutil
import signal
from pathlib import Path

import pytest
from dead_ends import beyond
from desk import PATIENCE, Desk
from host_view import will_retry
from observed_process import ObservedProcess, children_of, working_directory
from ordeal import Ordeal
from standin.record import wait_until
from stations import STATES, in_state
from terminal_host import Conversion, Outcome

WAITS_BEFORE_THE_HELLO = {"ServerHello": {"before": {"await": "go"}}}
WAITS_WITH_THE_UPLOAD = {"InputArchiveAcknowledgement": {"before": {"await": "go"}}}
NO_DESTINATION = "no URL"  # ends a program at once, after its start
SIZE_OF_A_LONG_UPLOAD = 6_000_000  # more than all buffers on the way hold


def kill(ordeal: Ordeal, conversion: Conversion) -> Outcome:
    """Ends the program so that it can do nothing about it; its children must end by themselves."""
    children = children_of(conversion.pid)
    conversion.signal(signal.SIGKILL)
    outcome = ordeal.end_of(conversion)
    assert outcome.status == -signal.SIGKILL, outcome.report()
    assert len(outcome.leftovers) == 1, outcome.report()
    for child in children:
        child.wait_for_end()
    return outcome


def assert_removed_by_the_next(ordeal: Ordeal, killed: Outcome) -> None:
    """The next start finds the directory and removes it. All checks hold then, but for the line of
    cause, which the program could not write, and flags that its ssh could not restore."""
    following = ordeal.convert(server_destinations=NO_DESTINATION)
    assert following.status == 1, following.report()
    ordeal.assert_survived(following)
    ordeal.assert_survived(killed, silent=True, keeps_flags=False)


@pytest.mark.parametrize("state", STATES)
def test_killed_in_a_state(ordeal: Ordeal, state: str) -> None:
    conversion = ordeal.begin(in_state(state, {"create": "there"}, {"await": "never"}))
    wait_until(ordeal.desk.server.file("there").exists, PATIENCE, state)
    assert len(children_of(conversion.pid)) == 1, "ssh and nothing else"
    assert_removed_by_the_next(ordeal, kill(ordeal, conversion))


def test_killed_in_the_countdown(ordeal: Ordeal) -> None:
    conversion = ordeal.begin(server_destinations=beyond(1), retry_delay=60)
    conversion.wait_for(will_retry(60), PATIENCE)
    assert_removed_by_the_next(ordeal, kill(ordeal, conversion))


def test_killed_in_the_middle_of_the_upload(ordeal: Ordeal) -> None:
    ordeal.desk.source.write_bytes(os.urandom(SIZE_OF_A_LONG_UPLOAD))
    stalls = {
        "ServerHello": {"before": {"stop reading after": "ClientHandshake"}},
        "InputArchive": {"instead": [{"await": "never"}]},
    }
    conversion = ordeal.begin(stalls)
    conversion.wait_until(lambda now: b"Uploading" in now.fifo_bytes, PATIENCE)
    killed = kill(ordeal, conversion)
    ordeal.desk.source.write_bytes(b"")
    following = ordeal.convert(server_destinations=NO_DESTINATION)
    ordeal.assert_survived(following, whole=b"never")
    ordeal.assert_survived(killed, silent=True, keeps_flags=False, whole=b"never")


def with_archiver(desk: Desk, waits_when: str) -> tuple[Path, Path]:
    """A program whose archiver, asked to pack ("-c") or to unpack ("-x"), does so for ever; and the
    file that says that it has begun."""
    folder = desk.directory / "installed"
    folder.mkdir()
    program = Path(shutil.copy2(desk.program, folder))
    genuine = desk.program.with_name("ZanburyArchiver")
    begun = desk.directory / "begun"
    archiver = folder / "ZanburyArchiver"
    archiver.write_text(
        f'#!/bin/sh\n[ "$1" != {waits_when} ] && exec \'{genuine}\' "$@"\n'
        f"touch '{begun}'\nexec sleep 600\n"
    )
    archiver.chmod(0o755)
    return program, begun


@pytest.mark.parametrize("waits_when", ["-c", "-x"], ids=["packing", "unpacking"])
def test_killed_while_the_archiver_works(ordeal: Ordeal, waits_when: str) -> None:
    program, begun = with_archiver(ordeal.desk, waits_when)
    conversion = ordeal.begin(program=program)
    wait_until(begun.exists, PATIENCE, "the archiver")
    assert len(children_of(conversion.pid)) == 2, "ssh and the archiver"
    assert_removed_by_the_next(ordeal, kill(ordeal, conversion))


@pytest.mark.long
@pytest.mark.parametrize("moment", [milliseconds / 1000 for milliseconds in range(0, 600, 12)])
def test_killed_at_any_moment(ordeal: Ordeal, moment: float) -> None:
    conversion = ordeal.begin()
    with contextlib.suppress(TimeoutError):
        conversion.wait(moment)
    conversion.signal(signal.SIGKILL)
    killed = ordeal.end_of(conversion)
    assert killed.status in (0, -signal.SIGKILL) and len(killed.leftovers) <= 1, killed.report()
    assert_removed_by_the_next(ordeal, killed)


@pytest.mark.long
def test_killed_while_the_archiver_packs_a_large_file(ordeal: Ordeal) -> None:
    # The archiver as it is, caught in the middle of its work.
    ordeal.file_system.resize("1g")
    with ordeal.desk.source.open("wb") as source:
        for _ in range(30):
            source.write(os.urandom(10_000_000))
    conversion = ordeal.begin()
    wait_until(lambda: _archiver_of(conversion) is not None, PATIENCE, "the archiver")
    archiver = _archiver_of(conversion)
    assert archiver is not None
    killed = kill(ordeal, conversion)
    assert archiver.has_ended
    ordeal.desk.source.write_bytes(b"")
    following = ordeal.convert(server_destinations=NO_DESTINATION)
    ordeal.assert_survived(following, whole=b"never")
    ordeal.assert_survived(killed, silent=True, keeps_flags=False, whole=b"never")


def _archiver_of(conversion: Conversion) -> ObservedProcess | None:
    for child in children_of(conversion.pid):
        try:
            if child.arguments and child.arguments[0].endswith("ZanburyArchiver"):
                return child
        except FileNotFoundError:
            pass
    return None


def test_of_eight_programs_at_once_only_the_killed_lose_their_directories(ordeal: Ordeal) -> None:
    desk = ordeal.desk
    folders = [desk.directory / f"folder{number}" for number in range(8)]
    for folder in folders:
        folder.mkdir()
    desk.server.play([WAITS_BEFORE_THE_HELLO, WAITS_WITH_THE_UPLOAD] * 4)
    conversions = [
        ordeal.begin(dest_path=folder / "result.csv", logs_dir_path=folder / "logs")
        for folder in folders
    ]
    desk.server.begun(8, PATIENCE)
    directories = [working_directory(conversion) for conversion in conversions]
    dying, living = conversions[::2], conversions[1::2]
    for conversion in dying:
        conversion.signal(signal.SIGKILL)
        ordeal.end_of(conversion)
    # Four starts at the same moment, each of which wants to remove the same four directories.
    following = [ordeal.begin(server_destinations=NO_DESTINATION) for _ in range(4)]
    for conversion in following:
        assert ordeal.end_of(conversion).status == 1
    assert sorted(ordeal.tmpfs.iterdir()) == sorted(directories[1::2])
    desk.server.file("go").touch()
    outcomes = [ordeal.end_of(conversion) for conversion in living]
    for outcome, folder in zip(outcomes, folders[1::2]):
        assert outcome.status == 0, outcome.report()
        assert (folder / "result.csv").read_bytes() == ordeal.whole_result()
    ordeal.assert_survived(outcomes[-1], silent=True)
