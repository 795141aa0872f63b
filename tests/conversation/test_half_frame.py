"""Nothing follows half a Forward message: what came next would be read as bytes of its body."""

from __future__ import annotations

import signal
from pathlib import Path

from host_harness import PATIENCE, HostHarness
from host_view import log_lines
from session_states import FORWARDING, in_state
from standin.record import wait_until
from terminal_host import Conversion
from timely_exit import wait_for_wake_ups


def _wait_until_stuck(conversion: Conversion) -> None:
    """Returns once the program wakes up again and again and reads nothing: it waits in a write."""

    def reads_nothing() -> bool:
        counts = Path(f"/proc/{conversion.pid}/io")
        before = counts.read_text("ascii").splitlines()[0]
        wait_for_wake_ups(conversion.pid, 4)
        return counts.read_text("ascii").splitlines()[0] == before

    wait_until(reads_nothing, PATIENCE, "a write that waits")


def test_an_end_inside_a_forward_message_closes_the_stream(harness: HostHarness) -> None:
    stalled = [{"forward": "ready"}, {"stop reading after": "now"}, {"await": "never"}]
    conversion = harness.begin(in_state(FORWARDING, *stalled))
    conversion.wait_until(lambda now: b"ready" in now.fifo_bytes, PATIENCE)
    conversion.send(bytes(12_000_000))
    _wait_until_stuck(conversion)
    conversion.signal(signal.SIGTERM)
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 1 and outcome.leftovers == ()
    # An Error message would have been tried, and told of: there is no room for it either.
    assert log_lines(outcome) == ["Terminated by signal SIGTERM"], outcome.report()
