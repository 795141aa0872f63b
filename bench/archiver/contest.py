"""Packs and unpacks text records with the archiver and with its peers.

The peers are zip and unzip, bsdtar and 7z, each at its default level. All run in turns, so that a
busy minute hits everyone; the table shows medians, and each ratio beside zip or unzip.
"""

from __future__ import annotations

import shutil
import statistics
import subprocess
import sys
import tempfile
from dataclasses import dataclass, field
from pathlib import Path

from records import write_records

MEASURE = str(Path(__file__).with_name("measure.py"))
TOP = "InputArchive"


@dataclass
class Contestant:
    """One program with its two commands; "{zip}" and "{to}" are filled in."""

    name: str
    pack: list[str]
    unpack: list[str]
    packing: list[tuple[float, float, int]] = field(default_factory=list)
    unpacking: list[tuple[float, float, int]] = field(default_factory=list)
    size: int = 0


def contestants(archiver: Path) -> list[Contestant]:
    """Everyone, the peer that the others are compared with first."""
    ours = str(archiver.resolve())
    return [
        Contestant(
            "zip, unzip", ["zip", "-qr", "{zip}", TOP], ["unzip", "-q", "{zip}", "-d", "{to}"]
        ),
        Contestant(
            "ZanburyArchiver",
            [ours, "-c", "-k", "--keepParent", TOP, "{zip}"],
            [ours, "-x", "-k", "{zip}", "{to}"],
        ),
        Contestant(
            "bsdtar",
            ["bsdtar", "--format", "zip", "-cf", "{zip}", TOP],
            ["bsdtar", "-xf", "{zip}", "-C", "{to}"],
        ),
        Contestant(
            "7z -tzip",
            ["7z", "a", "-bd", "-tzip", "{zip}", TOP],
            ["7z", "x", "-bd", "-y", "-o{to}", "{zip}"],
        ),
    ]


def measured(command: list[str], directory: Path, **names: Path) -> tuple[float, float, int]:
    """Runs a command in `directory`: wall seconds, CPU seconds, peak KiB."""
    words = [word.format(**names) for word in command]
    result = subprocess.run(
        [sys.executable, "-I", "-S", MEASURE, *words],
        cwd=directory,
        stdout=subprocess.PIPE,
        text=True,
        check=True,
    )
    wall, cpu, peak = result.stdout.split()
    return float(wall), float(cpu), int(peak)


def run_once(contestant: Contestant, directory: Path) -> None:
    """Packs and unpacks once, and makes sure that nothing was lost."""
    archive, target = directory / "bench.zip", directory / "unpacked"
    archive.unlink(missing_ok=True)
    contestant.packing.append(measured(contestant.pack, directory, zip=archive))
    contestant.size = archive.stat().st_size
    target.mkdir()
    contestant.unpacking.append(measured(contestant.unpack, directory, zip=archive, to=target))
    subprocess.run(["diff", "-rq", directory / TOP, target / TOP], check=True)
    shutil.rmtree(target)


def row(name: str, runs: list[tuple[float, float, int]], base: float, last: str) -> str:
    """One line of the table."""
    wall, cpu, peak = (statistics.median(column) for column in zip(*runs))
    return f"{name:<17}{wall:>9.2f}{cpu:>9.2f}{peak / 1024:>10.1f}{base / wall:>10.1f}{last}"


def table(everyone: list[Contestant], total: int) -> str:
    """The results, ready to print."""
    first = everyone[0]
    lines = [
        f"{'packing':<17}{'wall s':>9}{'CPU s':>9}{'peak MiB':>10}{'x faster':>10}"
        f"{'size':>10}{'beside zip':>12}"
    ]
    base = statistics.median(run[0] for run in first.packing)
    for one in everyone:
        size = f"{one.size / total:>10.1%}{one.size / first.size:>12.3f}"
        lines.append(row(one.name, one.packing, base, size))
    lines += ["", f"{'unpacking':<17}{'wall s':>9}{'CPU s':>9}{'peak MiB':>10}{'x faster':>10}"]
    base = statistics.median(run[0] for run in first.unpacking)
    lines += [row(one.name, one.unpacking, base, "") for one in everyone]
    return "\n".join(lines)


def run_contest(archiver: Path, megabytes: int, runs: int, place: Path | None) -> list[Contestant]:
    """Everyone's measurements of that many runs, in turns."""
    missing = [name for name in ("zip", "unzip", "bsdtar", "7z") if not shutil.which(name)]
    if missing:
        sys.exit(f"not installed: {', '.join(missing)} (scripts/install-packages check bench)")
    with tempfile.TemporaryDirectory(dir=place) as name:
        directory = Path(name)
        (directory / TOP).mkdir()
        write_records(directory / TOP / "records.csv", megabytes * 1_000_000)
        everyone = contestants(archiver)
        for _ in range(runs):
            for one in everyone:
                run_once(one, directory)
    return everyone
