"""How long a message of the tool takes to the host, beside the same bytes through plain ssh."""

from __future__ import annotations

import os
import statistics
import subprocess
from dataclasses import dataclass

from bare_host import BareHost
from surroundings import Surroundings

import select
import time

TICKS = 1000
MESSAGE_SIZE = 38  # bytes of one message, as answer-server sends it


@dataclass(frozen=True)
class Delays:
    """Milliseconds from the server's write to the host's read."""

    median: float
    percentile99: float

    @classmethod
    def between(cls, sent: list[int], seen: list[int]) -> Delays:
        if len(sent) != len(seen):
            raise RuntimeError(f"{len(sent)} messages left, {len(seen)} came")
        delays = sorted((b - a) / 1e6 for a, b in zip(sent, seen))
        return cls(statistics.median(delays), delays[len(delays) * 99 // 100])


def through_program(around: Surroundings) -> Delays:
    """The program's relay."""
    source = around.records(1)
    seen: list[int] = []
    marker = b"34\nprogress of the tool"

    def arrival(data: bytes, now: int) -> None:
        seen.extend([now] * data.count(marker))

    command = around.answer_server(around.answer(source), TICKS)
    with BareHost(around, around.request(source, command), arrival) as host:
        host.wait()
    return Delays.between(around.tick_times, seen)


def through_ssh(around: Surroundings) -> Delays:
    """ssh with a FIFO as its standard output."""
    fifo = around.directory / "plain.fifo"
    os.mkfifo(fifo)
    descriptor = os.open(fifo, os.O_RDWR | os.O_NONBLOCK)
    seen: list[int] = []
    with open(fifo, "wb", buffering=0) as target:
        ssh = subprocess.Popen(
            around.ssh(around.ticker(TICKS)), stdin=subprocess.DEVNULL, stdout=target
        )
    pending = 0
    while len(seen) < TICKS:
        if not select.select([descriptor], [], [], 30)[0]:
            raise RuntimeError("no message came")
        pending += len(os.read(descriptor, 65536))
        now = time.monotonic_ns()
        seen.extend([now] * (pending // MESSAGE_SIZE))
        pending %= MESSAGE_SIZE
    ssh.wait()
    os.close(descriptor)
    fifo.unlink()
    return Delays.between(around.tick_times, seen)
