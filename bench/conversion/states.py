"""The program at rest in each state of a conversation: how soon a cancel ends it, what it costs."""

from __future__ import annotations

import re
import subprocess
import time
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from bare_host import BareHost
from standin import StandinServer
from surroundings import Surroundings

WAITS = {"instead": {"await": "never"}}
# What the server leaves out so that the program stays in that state, and the last frame before.
STATES: dict[str, tuple[dict[str, Any], str]] = {
    "WaitingForServerHello": ({"ServerHello": WAITS}, ""),
    "WaitingForServerHandshake": ({"ServerHandshake": WAITS}, "ClientHandshake"),
    "SendingInputArchive": ({"InputArchiveAcknowledgement": WAITS}, "InputArchive"),
    "WaitingForServerDidStartForwarding": ({"ServerWillStartForwarding": WAITS}, "InputArchive"),
    "WaitingForOutputArchive": ({"OutputArchive": WAITS}, "InputArchive"),
}
FORWARDING: dict[str, Any] = {"Conversion": WAITS}
SETTLING = 0.3  # seconds for what is on its way when the last frame has come


@contextmanager
def at_rest(
    around: Surroundings, script: dict[str, Any], frame: str, **request: Any
) -> Iterator[BareHost]:
    """A program whose server has stopped there."""
    place = around.directory / f"server-{time.monotonic_ns()}"
    place.mkdir()
    server = StandinServer(place, around.keys, script, deadline=600)
    source = around.records(1)
    with BareHost(around, around.request(source, server.command_path, **request)) as host:
        record = server.begun(1)
        if frame:
            record.wait_for_frame(frame)
        time.sleep(SETTLING)
        yield host


def cancel_milliseconds(around: Surroundings, runs: int) -> dict[str, float]:
    """From the host's byte to the end of the process, the slowest of the runs, by state."""
    slowest: dict[str, float] = {}
    for state, (script, frame) in STATES.items():
        for _ in range(runs):
            with at_rest(around, script, frame) as host:
                asked = host.cancel()
                taken = (host.wait(status=1) - asked) / 1e6
            slowest[state] = max(taken, slowest.get(state, 0.0))
    slowest["Retry"] = max(_cancel_in_countdown(around) for _ in range(runs))
    return slowest


def _cancel_in_countdown(around: Surroundings) -> float:
    request = around.request(
        around.records(1), "server", server_destinations="ssh://a@127.0.0.1:1", retry_delay=60
    )
    with BareHost(around, request) as host:
        while "Connection refused" not in host.errors:
            time.sleep(0.01)
        time.sleep(SETTLING)
        asked = host.cancel()
        return (host.wait(status=1) - asked) / 1e6


@dataclass(frozen=True)
class Rest:
    """What waiting costs."""

    cpu: float  # milliseconds a minute
    bare_ticks: float  # the same of a program that only wakes ten times a second
    resident: float  # MiB


def idle(around: Surroundings, seconds: float, tool: str) -> Rest:
    """While nothing happens in the forwarding state."""
    bare = subprocess.Popen([around.programs.directory / "bare_ticks"])
    try:
        with at_rest(around, FORWARDING, "InputArchive", tool=tool) as host:
            pids = (host.process.pid, bare.pid)
            before = [_cpu_nanoseconds(pid) for pid in pids]
            time.sleep(seconds)
            spent = [_cpu_nanoseconds(pid) - earlier for pid, earlier in zip(pids, before)]
            status = Path(f"/proc/{host.process.pid}/status").read_text("ascii")
    finally:
        bare.kill()
        bare.wait()
    resident = re.search(r"VmRSS:\s+(\d+) kB", status)
    assert resident is not None
    cpu, ticks = (nanoseconds / 1e6 * 60 / seconds for nanoseconds in spent)
    return Rest(cpu, ticks, int(resident[1]) / 1024)


def _cpu_nanoseconds(pid: int) -> int:
    """All threads' time on a processor."""
    tasks = Path(f"/proc/{pid}/task").iterdir()
    return sum(int((task / "schedstat").read_text("ascii").split()[0]) for task in tasks)
