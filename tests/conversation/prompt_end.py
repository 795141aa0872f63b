"""Whether the program does what ends it at once, and how busy it is while it waits."""

from __future__ import annotations

import os
import time
from collections.abc import Callable
from pathlib import Path

from observed_process import ObservedProcess, children_of
from standin.record import wait_until
from terminal_host import Conversion, Outcome

PATIENCE = 20.0  # seconds
AT_ONCE = 1.0  # seconds


def ends_at_once(conversion: Conversion, cause: Callable[[], object]) -> Outcome:
    """The outcome of a conversation that ends within a second of `cause`, its children with it."""
    children = children_of(conversion.pid)
    before = time.monotonic()
    cause()
    ObservedProcess(conversion.pid).wait_for_end()
    took = time.monotonic() - before
    outcome = conversion.wait(PATIENCE)
    assert took < AT_ONCE, f"took {took:.3f} s: {outcome.report()}"
    for child in children:
        child.wait_for_end()
    return outcome


def processor_seconds(pid: int) -> float:
    """The processor time that a process has used until now."""
    fields = Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def wait_for_wake_ups(pid: int, count: int) -> None:
    """Returns once the process has gone to sleep `count` more times; TimeoutError, which is also
    what a process that never sleeps comes to."""
    aim = _voluntary_switches(pid) + count
    wait_until(lambda: _voluntary_switches(pid) >= aim, PATIENCE, f"{count} wake-ups")


def _voluntary_switches(pid: int) -> int:
    status = Path(f"/proc/{pid}/status").read_text()
    [line] = [line for line in status.splitlines() if line.startswith("voluntary_ctxt_switches:")]
    return int(line.split()[1])
