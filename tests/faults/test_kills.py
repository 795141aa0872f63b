"""The program is killed: its children end with it, and the next start removes what it left; never
what belongs to a program that lives."""

from __future__ import annotations

import contextlib
import os
import shutil
import signal
from pathlib import Path

import pytest
from fault_scenario import FaultScenario
from host_harness import PATIENCE, HostHarness
from host_view import will_retry
from observed_process import ObservedProcess, children_of, working_directory
from session_states import STATES, in_state
from standin.record import wait_until
from terminal_host import Conversion, Outcome
from unreachable_servers import beyond

WAITS_BEFORE_THE_HELLO = {"ServerHello": {"before": {"await": "go"}}}
WAITS_WITH_THE_UPLOAD = {"InputArchiveAcknowledgement": {"before": {"await": "go"}}}
NO_DESTINATION = "no URL"  # ends a program at once, after its start
SIZE_OF_A_LONG_UPLOAD = 6_000_000  # more than all buffers on the way hold


def kill(scenario: FaultScenario, conversion: Conversion) -> Outcome:
    """Ends the program so that it can do nothing about it; its children must end by themselves."""
    children = children_of(conversion.pid)
    conversion.signal(signal.SIGKILL)
    outcome = scenario.end_of(conversion)
    assert outcome.status == -signal.SIGKILL, outcome.report()
    assert len(outcome.leftovers) == 1, outcome.report()
    for child in children:
        child.wait_for_end()
    return outcome


def assert_removed_by_the_next(scenario: FaultScenario, killed: Outcome) -> None:
    """The next start finds the directory and removes it. All checks hold then, but for the line of
    cause, which the program could not write, and flags that its ssh could not restore."""
    following = scenario.convert(server_destinations=NO_DESTINATION)
    assert following.status == 1, following.report()
    scenario.assert_survived(following)
    scenario.assert_survived(killed, silent=True, keeps_flags=False)


@pytest.mark.parametrize("state", STATES)
def test_killed_in_a_state(scenario: FaultScenario, state: str) -> None:
    conversion = scenario.begin(in_state(state, {"create": "there"}, {"await": "never"}))
    wait_until(scenario.harness.server.file("there").exists, PATIENCE, state)
    assert len(children_of(conversion.pid)) == 1, "ssh and nothing else"
    assert_removed_by_the_next(scenario, kill(scenario, conversion))


def test_killed_in_the_countdown(scenario: FaultScenario) -> None:
    conversion = scenario.begin(server_destinations=beyond(1), retry_delay=60)
    conversion.wait_for(will_retry(60), PATIENCE)
    assert_removed_by_the_next(scenario, kill(scenario, conversion))


def test_killed_in_the_middle_of_the_upload(scenario: FaultScenario) -> None:
    scenario.harness.source.write_bytes(os.urandom(SIZE_OF_A_LONG_UPLOAD))
    stalls = {
        "ServerHello": {"before": {"stop reading after": "ClientHandshake"}},
        "InputArchive": {"instead": [{"await": "never"}]},
    }
    conversion = scenario.begin(stalls)
    conversion.wait_until(lambda now: b"Uploading" in now.fifo_bytes, PATIENCE)
    killed = kill(scenario, conversion)
    scenario.harness.source.write_bytes(b"")
    following = scenario.convert(server_destinations=NO_DESTINATION)
    scenario.assert_survived(following, whole=b"never")
    scenario.assert_survived(killed, silent=True, keeps_flags=False, whole=b"never")


def with_archiver(harness: HostHarness, waits_when: str) -> tuple[Path, Path]:
    """A program whose archiver, asked to pack ("-c") or to unpack ("-x"), does so for ever; and the
    file that says that it has begun."""
    folder = harness.directory / "installed"
    folder.mkdir()
    program = Path(shutil.copy2(harness.program, folder))
    genuine = harness.program.with_name("ZanburyArchiver")
    begun = harness.directory / "begun"
    archiver = folder / "ZanburyArchiver"
    archiver.write_text(
        f'#!/bin/sh\n[ "$1" != {waits_when} ] && exec \'{genuine}\' "$@"\n'
        f"touch '{begun}'\nexec sleep 600\n"
    )
    archiver.chmod(0o755)
    return program, begun


@pytest.mark.parametrize("waits_when", ["-c", "-x"], ids=["packing", "unpacking"])
def test_killed_while_the_archiver_works(scenario: FaultScenario, waits_when: str) -> None:
    program, begun = with_archiver(scenario.harness, waits_when)
    conversion = scenario.begin(program=program)
    wait_until(begun.exists, PATIENCE, "the archiver")
    assert len(children_of(conversion.pid)) == 2, "ssh and the archiver"
    assert_removed_by_the_next(scenario, kill(scenario, conversion))


@pytest.mark.long
@pytest.mark.parametrize("moment", [milliseconds / 1000 for milliseconds in range(0, 600, 12)])
def test_killed_at_any_moment(scenario: FaultScenario, moment: float) -> None:
    conversion = scenario.begin()
    with contextlib.suppress(TimeoutError):
        conversion.wait(moment)
    conversion.signal(signal.SIGKILL)
    killed = scenario.end_of(conversion)
    assert killed.status in (0, -signal.SIGKILL) and len(killed.leftovers) <= 1, killed.report()
    assert_removed_by_the_next(scenario, killed)


@pytest.mark.long
def test_killed_while_the_archiver_packs_a_large_file(scenario: FaultScenario) -> None:
    # The archiver as it is, caught in the middle of its work.
    scenario.file_system.resize("1g")
    with scenario.harness.source.open("wb") as source:
        for _ in range(30):
            source.write(os.urandom(10_000_000))
    conversion = scenario.begin()
    wait_until(lambda: _archiver_of(conversion) is not None, PATIENCE, "the archiver")
    archiver = _archiver_of(conversion)
    assert archiver is not None
    killed = kill(scenario, conversion)
    assert archiver.has_ended
    scenario.harness.source.write_bytes(b"")
    following = scenario.convert(server_destinations=NO_DESTINATION)
    scenario.assert_survived(following, whole=b"never")
    scenario.assert_survived(killed, silent=True, keeps_flags=False, whole=b"never")


def _archiver_of(conversion: Conversion) -> ObservedProcess | None:
    for child in children_of(conversion.pid):
        try:
            if child.arguments and child.arguments[0].endswith("ZanburyArchiver"):
                return child
        except FileNotFoundError:
            pass
    return None


def test_of_eight_programs_at_once_only_the_killed_lose_their_directories(
    scenario: FaultScenario,
) -> None:
    harness = scenario.harness
    folders = [harness.directory / f"folder{number}" for number in range(8)]
    for folder in folders:
        folder.mkdir()
    harness.server.play([WAITS_BEFORE_THE_HELLO, WAITS_WITH_THE_UPLOAD] * 4)
    conversions = [
        scenario.begin(dest_path=folder / "result.csv", logs_dir_path=folder / "logs")
        for folder in folders
    ]
    harness.server.begun(8, PATIENCE)
    directories = [working_directory(conversion) for conversion in conversions]
    dying, living = conversions[::2], conversions[1::2]
    for conversion in dying:
        conversion.signal(signal.SIGKILL)
        scenario.end_of(conversion)
    # Four starts at the same moment, each of which wants to remove the same four directories.
    following = [scenario.begin(server_destinations=NO_DESTINATION) for _ in range(4)]
    for conversion in following:
        assert scenario.end_of(conversion).status == 1
    assert sorted(scenario.tmpfs.iterdir()) == sorted(directories[1::2])
    harness.server.file("go").touch()
    outcomes = [scenario.end_of(conversion) for conversion in living]
    for outcome, folder in zip(outcomes, folders[1::2]):
        assert outcome.status == 0, outcome.report()
        assert (folder / "result.csv").read_bytes() == scenario.whole_result()
    scenario.assert_survived(outcomes[-1], silent=True)
