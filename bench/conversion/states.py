"""The program at rest in each state of a conversation: how soon a cancel ends it, what it costs."""

from __future__ import annotations

import re
import time
from collections.abc import Iterator
from contextlib import contextmanager
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


def idle(around: Surroundings, seconds: float, tool: str) -> tuple[float, float]:
    """CPU milliseconds a minute and resident MiB while nothing happens in the forwarding state."""
    with at_rest(around, FORWARDING, "InputArchive", tool=tool) as host:
        process = Path("/proc", str(host.process.pid))
        before = _cpu_nanoseconds(process)
        time.sleep(seconds)
        cpu = (_cpu_nanoseconds(process) - before) / 1e6 * 60 / seconds
        resident = re.search(r"VmRSS:\s+(\d+) kB", (process / "status").read_text("ascii"))
        assert resident is not None
        return cpu, int(resident[1]) / 1024


def _cpu_nanoseconds(process: Path) -> int:
    """All threads' time on a processor."""
    tasks = (process / "task").iterdir()
    return sum(int((task / "schedstat").read_text("ascii").split()[0]) for task in tasks)
