"""The frame reader's speed, from its benchmark program."""

from __future__ import annotations

import json
import subprocess
from dataclasses import dataclass
from pathlib import Path

REPETITIONS = 5


@dataclass(frozen=True)
class FrameSpeed:
    """One large body beside memcpy; small frames a second, in pieces and byte by byte."""

    body_beside_memcpy: float
    frames: float
    frames_ideal: float
    frames_byte_by_byte: float


def measure_frames(program: Path) -> FrameSpeed:
    """Medians of some repetitions."""
    options = [f"--benchmark_repetitions={REPETITIONS}", "--benchmark_format=json"]
    only = "--benchmark_report_aggregates_only=true"
    done = subprocess.run([program, *options, only], stdout=subprocess.PIPE, check=True)
    medians = {
        row["run_name"]: row
        for row in json.loads(done.stdout)["benchmarks"]
        if row["aggregate_name"] == "median"
    }
    times = {name: row["real_time"] for name, row in medians.items()}
    return FrameSpeed(
        times["largeBodyIntoMemory"] / times["memcpyOfLargeBody"],
        medians["smallFramesInPieces/piece:65536"]["items_per_second"],
        medians["idealLoopOverSmallFrames"]["items_per_second"],
        medians["smallFramesInPieces/piece:1"]["items_per_second"],
    )
