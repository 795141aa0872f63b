"""Whether the program does what ends it, whatever it waits for, and whether it is idle meanwhile."""

from __future__ import annotations

import os
from collections.abc import Callable
from pathlib import Path

from observed_process import children_of
from standin.record import PATIENCE, wait_until
from terminal_host import Conversion, Outcome

_SECONDS_A_WAKE_UP = 0.02  # of the processor; a hundred times what it takes


def ends_at_once(conversion: Conversion, cause: Callable[[], object]) -> Outcome:
    """The outcome of a conversation that `cause` ends, its children with it, though nothing comes
    of what it waits for. How many milliseconds that takes is for bench/ to measure."""
    children = children_of(conversion.pid)
    cause()
    outcome = conversion.wait(PATIENCE)
    for child in children:
        child.wait_for_end()
    return outcome


def assert_idle(pid: int, wake_ups: int = 5) -> None:
    """The process goes to sleep so many times more, and hardly uses the processor in between."""
    before = processor_seconds(pid)
    wait_for_wake_ups(pid, wake_ups)
    assert processor_seconds(pid) - before < wake_ups * _SECONDS_A_WAKE_UP


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
