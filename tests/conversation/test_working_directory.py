"""The private working directory: where it is made, who removes it, and when it cannot be made."""

from __future__ import annotations

import fcntl
import os
import re
import signal
from pathlib import Path

import pytest
from host_harness import PATIENCE, HostHarness
from host_view import log_lines
from observed_process import working_directory
from unreachable_servers import SilentListener
from wrapped_program import after

HELLO_WAITS = {"ServerHello": {"instead": {"await": "never"}}}
HELLO_WAITS_FOR_ALL = {"ServerHello": {"before": {"await": "all are there"}}}


def _no_place(tmp_path: Path, kind: str) -> str:
    (tmp_path / "file").touch()
    return {
        "nonexistent": str(tmp_path / "nonexistent"),
        "a file": str(tmp_path / "file"),
        "not writable": "/proc",
    }[kind]


@pytest.mark.parametrize("kind", ["nonexistent", "a file", "not writable"])
def test_without_a_working_directory_there_is_no_place_for_the_key(
    harness: HostHarness, tmp_path: Path, kind: str
) -> None:
    outcome = harness.convert(overrides={"TMPDIR": _no_place(tmp_path, kind)})
    assert outcome.status == 1, outcome.report()
    first, second = outcome.stderr_text.splitlines()
    assert first == "Could not write identity to a file" and second.startswith("Error: ")
    assert outcome.sections == () and harness.server.connections == []


@pytest.mark.parametrize("value", [None, "", "relative/place"], ids=["unset", "empty", "relative"])
def test_without_a_usable_tmpdir_it_is_made_in_tmp(harness: HostHarness, value: str | None) -> None:
    with SilentListener() as silent:
        conversion = harness.begin(
            server_destinations=silent.destination, overrides={"TMPDIR": value}
        )
        directory = working_directory(conversion)
        assert re.fullmatch(r"/tmp/ZanburyToolProxy\.[A-Za-z0-9]{6}", str(directory))
        conversion.signal(signal.SIGTERM)
        assert conversion.wait(PATIENCE).status == 1
        assert not directory.exists()


def test_it_goes_with_all_that_is_in_it(harness: HostHarness, tmp_path: Path) -> None:
    keepsake = tmp_path / "keepsake"
    keepsake.mkdir()
    (keepsake / "file").touch()
    conversion = harness.begin(HELLO_WAITS)
    harness.server.begun(1)
    directory = working_directory(conversion)
    (directory / "a" / "b").mkdir(parents=True)
    (directory / "a" / "b" / "c").touch()
    (directory / "a" / "link").symlink_to(keepsake)
    conversion.signal(signal.SIGTERM)
    outcome = conversion.wait(PATIENCE)
    assert (outcome.status, outcome.leftovers) == (1, ())
    assert log_lines(outcome) == ["Terminated by signal SIGTERM"]
    assert (keepsake / "file").exists()


def test_what_a_killed_program_left_is_removed_by_the_next_one(
    harness: HostHarness, tmp_path: Path
) -> None:
    place = tmp_path / "place"
    place.mkdir()
    killed = harness.begin(HELLO_WAITS, temporary_directory=place)
    harness.server.begun(1)
    directory = working_directory(killed)
    killed.signal(signal.SIGKILL)
    assert killed.wait(PATIENCE).leftovers == (directory.name,)
    assert (directory / "identity").exists()
    outcome = harness.convert({}, temporary_directory=place)
    assert (outcome.status, outcome.leftovers) == (0, ()), outcome.report()


@pytest.mark.parametrize(
    ("name", "survives"),
    [
        pytest.param("ZanburyToolProxy.aB3xYz", False, id="an abandoned one goes"),
        pytest.param("ZanburyToolProxy.aB3xY", True, id="too short a name"),
        pytest.param("ZanburyToolProxy.aB3xYzz", True, id="too long a name"),
        pytest.param("ZanburyToolProxy.aB3x.z", True, id="a character that is never drawn"),
        pytest.param("zanburyToolProxy.aB3xYz", True, id="another name"),
        pytest.param("ZanburyToolProxy", True, id="no ending"),
    ],
)
def test_abandoned_directories_are_known_by_their_name(
    harness: HostHarness, tmp_path: Path, name: str, survives: bool
) -> None:
    abandoned = tmp_path / "place" / name
    (abandoned / "InputArchive").mkdir(parents=True)
    abandoned.chmod(0o700)
    (abandoned / "InputArchive" / "statement.ofx").touch()
    outcome = harness.convert(arguments=[], temporary_directory=tmp_path / "place")
    assert outcome.status == 0, outcome.report()
    assert outcome.leftovers == ((name,) if survives else ())
    assert (abandoned / "InputArchive" / "statement.ofx").exists() == survives


def test_a_directory_that_somebody_holds_is_kept(harness: HostHarness, tmp_path: Path) -> None:
    held = tmp_path / "place" / "ZanburyToolProxy.aB3xYz"
    (held / "folder").mkdir(parents=True)
    held.chmod(0o700)
    lock = os.open(held, os.O_RDONLY | os.O_DIRECTORY)
    fcntl.flock(lock, fcntl.LOCK_EX)
    outcome = harness.convert(temporary_directory=tmp_path / "place")
    assert outcome.leftovers == (held.name,) and (held / "folder").is_dir()
    os.close(lock)
    outcome = harness.convert(temporary_directory=tmp_path / "place")
    assert outcome.leftovers == ()


def test_only_directories_of_the_own_user_are_removed(harness: HostHarness, tmp_path: Path) -> None:
    place = tmp_path / "place"
    elsewhere = tmp_path / "elsewhere"
    (elsewhere / "folder").mkdir(parents=True)
    place.mkdir()
    (place / "ZanburyToolProxy.linked").symlink_to(elsewhere)
    (place / "ZanburyToolProxy.a00000").touch()
    kept = ["ZanburyToolProxy.a00000", "ZanburyToolProxy.linked"]
    if os.getuid() == 0:
        (place / "ZanburyToolProxy.others").mkdir()
        os.chown(place / "ZanburyToolProxy.others", 65534, 65534)
        kept.append("ZanburyToolProxy.others")
    outcome = harness.convert(temporary_directory=place)
    assert (outcome.status, outcome.leftovers) == (0, tuple(kept)), outcome.report()
    assert (elsewhere / "folder").is_dir()


def test_only_private_directories_are_removed(harness: HostHarness, tmp_path: Path) -> None:
    precious = tmp_path / "place" / "ZanburyToolProxy.aB3xYz"
    precious.mkdir(parents=True)
    precious.chmod(0o755)
    outcome = harness.convert(temporary_directory=tmp_path / "place")
    assert (outcome.status, outcome.leftovers) == (0, (precious.name,)), outcome.report()


@pytest.mark.parametrize(
    ("mode", "mode_above", "is_used"),
    [
        pytest.param(0o700, 0o755, True, id="the user's own"),
        pytest.param(0o755, 0o755, True, id="readable"),
        pytest.param(0o1777, 0o755, True, id="sticky"),
        pytest.param(0o777, 0o755, False, id="for everybody"),
        pytest.param(0o775, 0o755, False, id="for the group"),
        pytest.param(0o700, 0o777, False, id="below one for everybody"),
        pytest.param(0o700, 0o1777, True, id="below a sticky one"),
    ],
)
def test_a_place_that_others_may_change_is_not_used(
    harness: HostHarness, tmp_path: Path, mode: int, mode_above: int, is_used: bool
) -> None:
    place = tmp_path / "above" / "place"
    place.mkdir(parents=True)
    place.chmod(mode)
    place.parent.chmod(mode_above)
    conversion = harness.begin(HELLO_WAITS, temporary_directory=place)
    harness.server.begun(1)
    directory = working_directory(conversion)
    assert directory.parent == (place if is_used else Path("/tmp"))
    conversion.cancel()
    outcome = conversion.wait(PATIENCE)
    warning = f"ERROR: Others may write to {place}: the working directory is made in /tmp"
    assert log_lines(outcome) == [*([] if is_used else [warning]), "User canceled"]
    assert not directory.exists()


def test_a_place_is_used_where_it_really_is(harness: HostHarness, tmp_path: Path) -> None:
    # Who may change the link could lead every later path elsewhere.
    place = tmp_path / "place"
    place.mkdir()
    (tmp_path / "public").mkdir()
    (tmp_path / "public").chmod(0o777)
    (tmp_path / "public" / "link").symlink_to(place)
    conversion = harness.begin(HELLO_WAITS, overrides={"TMPDIR": str(tmp_path / "public" / "link")})
    harness.server.begun(1)
    assert working_directory(conversion).parent == place
    conversion.cancel()
    assert conversion.wait(PATIENCE).status == 1 and list(place.iterdir()) == []


def test_what_a_killed_program_left_goes_although_its_place_gives_its_group_to_all(
    harness: HostHarness, tmp_path: Path
) -> None:
    left = tmp_path / "place" / "ZanburyToolProxy.aB3xYz"
    left.mkdir(parents=True)
    left.chmod(0o2700)
    outcome = harness.convert(temporary_directory=tmp_path / "place")
    assert (outcome.status, outcome.leftovers) == (0, ()), outcome.report()


@pytest.mark.skipif(os.getuid() != 0, reason="only root can give a directory away")
@pytest.mark.parametrize("depth", [0, 1], ids=["itself", "the one above"])
def test_a_place_of_another_user_is_not_used(
    harness: HostHarness, tmp_path: Path, depth: int
) -> None:
    place = tmp_path / "above" / "place"
    place.mkdir(parents=True)
    os.chown([place, place.parent][depth], 65534, 65534)
    outcome = harness.convert(temporary_directory=place)
    assert outcome.status == 0
    assert "the working directory is made in /tmp" in outcome.stderr_text


def test_eight_programs_that_start_at_once_do_not_disturb_each_other(
    harness: HostHarness, tmp_path: Path
) -> None:
    place = tmp_path / "place"
    place.mkdir()
    (place / "ZanburyToolProxy.aB3xYz").mkdir(mode=0o700)
    harness.server.play(HELLO_WAITS_FOR_ALL)
    gate = tmp_path / "gate"
    waiting = f"while [ ! -e '{gate}' ]; do :; done"
    program = after(harness.program, tmp_path, waiting)
    results = [tmp_path / f"result{number}.csv" for number in range(8)]
    conversions = [
        harness.begin(
            program=program,
            temporary_directory=place,
            dest_path=result,
            logs_dir_path=result.with_suffix(".logs"),
        )
        for result in results
    ]
    gate.touch()
    harness.server.begun(8)
    directories = {working_directory(conversion) for conversion in conversions}
    assert len(directories) == 8 and set(place.iterdir()) == directories
    harness.server.file("all are there").touch()
    outcomes = [conversion.wait(PATIENCE) for conversion in conversions]
    for outcome in outcomes:
        assert outcome.status == 0, outcome.report()
    assert all(result.exists() for result in results) and list(place.iterdir()) == []
