"""How time and processor time of a conversion grow with the file, as a table and as a plot."""

from __future__ import annotations

import ctypes
import os
import resource
from dataclasses import dataclass
from pathlib import Path

from surroundings import Surroundings
from whole import check, convert

SIZES = (1, 10, 100, 500)  # MB


@dataclass(frozen=True)
class Point:
    """One conversion: MB, seconds from start to end, CPU seconds with archiver and ssh."""

    megabytes: int
    wall: float
    cpu: float


def measure_growth(around: Surroundings, runs: int) -> list[Point]:
    """The quickest of some runs of each size."""
    _become_heir()
    points = []
    for megabytes in SIZES:
        source = around.records(megabytes)
        command = around.answer_server(around.answer(source))
        points.append(
            min((_point(around, source, command, megabytes) for _ in range(runs)), key=_wall)
        )
        if megabytes > 100:
            source.unlink()
    return points


def _wall(point: Point) -> float:
    return point.wall


def _point(around: Surroundings, source: Path, command: str, megabytes: int) -> Point:
    before = _cpu()
    wall = convert(around, source, command)
    _reap("ssh")
    cpu = _cpu() - before
    check(around, source)
    return Point(megabytes, wall, cpu)


def _become_heir() -> None:
    """Processes whose parent ends become children of this one: prctl(2)."""
    pr_set_child_subreaper = 36
    if ctypes.CDLL(None, use_errno=True).prctl(pr_set_child_subreaper, 1, 0, 0, 0) != 0:
        raise OSError(ctypes.get_errno(), "prctl")


def _reap(name: str) -> None:
    """Waits for the program's ssh, which may live a moment longer than the program: only what was
    waited for counts in the children's time.
    """
    for child in Path("/proc/self/task").glob("*/children"):
        for pid in child.read_text("ascii").split():
            if Path(f"/proc/{pid}/comm").read_text("ascii").strip() == name:
                os.waitpid(int(pid), 0)


def _cpu() -> float:
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def write_plot(points: list[Point], path: Path) -> None:
    """An SVG with both curves."""
    import matplotlib

    matplotlib.use("svg")
    matplotlib.rcParams["svg.hashsalt"] = "growth"
    from matplotlib import pyplot

    figure, axes = pyplot.subplots(figsize=(6.4, 4.0))
    sizes = [point.megabytes for point in points]
    axes.plot(sizes, [point.wall for point in points], "o-", label="from start to end")
    axes.plot(
        sizes, [point.cpu for point in points], "s--", label="processor, with ssh and archiver"
    )
    axes.set_xlabel("source file, MB of text records (the answer is as large)")
    axes.set_ylabel("seconds")
    axes.set_xlim(left=0)
    axes.set_ylim(bottom=0)
    axes.grid(alpha=0.3)
    axes.legend()
    figure.tight_layout()
    figure.savefig(path, metadata={"Date": None})
