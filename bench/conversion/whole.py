"""Whole conversions beside the same steps done by hand, and beside ssh that only carries the bytes."""

from __future__ import annotations

import os
import shlex
import shutil
import subprocess
import tempfile
import time
from dataclasses import dataclass, field
from pathlib import Path

from bare_host import BareHost
from surroundings import Surroundings

KEY, VECTOR = "0f" * 32, "1e" * 16
BY_HAND = Path(__file__).with_name("by-hand")


@dataclass
class Whole:
    """Wall seconds of each run, in turns."""

    ours: list[float] = field(default_factory=list)
    by_hand: list[float] = field(default_factory=list)
    floor: list[float] = field(default_factory=list)


def measure_whole(around: Surroundings, megabytes: int, runs: int) -> Whole:
    """A file of that size, an answer as large."""
    source = around.records(megabytes)
    answer = around.answer(source)
    encrypted_answer = _encrypted(answer)
    whole = Whole()
    for _ in range(runs):
        whole.ours.append(convert(around, source, around.answer_server(answer)))
        check(around, source)
        whole.floor.append(_carry(around, encrypted_answer))
        whole.by_hand.append(_by_hand(around, source, encrypted_answer))
    return whole


def convert(around: Surroundings, source: Path, command_path: str) -> float:
    """One conversion by the program; `check` must follow."""
    shutil.rmtree(around.logs, ignore_errors=True)
    with BareHost(around, around.request(source, command_path)) as host:
        return (host.wait() - host.started) / 1e9


def check(around: Surroundings, source: Path) -> None:
    """Makes sure that a conversion worked, and removes its result."""
    subprocess.run(["cmp", source, around.result], check=True)
    around.result.unlink()


def _by_hand(around: Surroundings, source: Path, encrypted_answer: Path) -> float:
    with tempfile.TemporaryDirectory(dir=around.directory) as place:
        remote = f"cat >/dev/null; cat {shlex.quote(str(encrypted_answer))}"
        environment = {**os.environ, "KEY": KEY, "IV": VECTOR}
        seconds = _seconds([BY_HAND, source, place, remote, *around.ssh()], environment)
        subprocess.run(["cmp", source, Path(place) / "result.csv"], check=True)
    return seconds


def _carry(around: Surroundings, archive: Path) -> float:
    remote = f"cat >/dev/null; cat {shlex.quote(str(archive))}"
    place = around.directory / "carried"
    with archive.open("rb") as source, place.open("wb") as target:
        started = time.monotonic()
        subprocess.run(around.ssh(remote), stdin=source, stdout=target, check=True)
        seconds = time.monotonic() - started
    subprocess.run(["cmp", archive, place], check=True)
    place.unlink()
    return seconds


def _seconds(command: list, environment: dict[str, str]) -> float:
    started = time.monotonic()
    subprocess.run(command, env=environment, check=True)
    return time.monotonic() - started


def _encrypted(path: Path) -> Path:
    encrypted = path.with_name(path.name + "-encrypted")
    if not encrypted.exists():
        enc = ["openssl", "enc", "-aes-256-cbc", "-K", KEY, "-iv", VECTOR]
        subprocess.run([*enc, "-in", path, "-out", encrypted], check=True)
    return encrypted
