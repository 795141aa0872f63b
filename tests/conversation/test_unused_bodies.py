"""Bodies that nobody uses cost neither memory nor disk, however long they are."""

from __future__ import annotations

import re
from pathlib import Path

import pytest
from assertions import assert_aborted
from host_harness import PATIENCE, HostHarness
from observed_process import working_directory
from session_states import WAITING_FOR_HELLO, in_state
from standin.record import wait_until
from terminal_host import Conversion

MEBIBYTE = 1 << 20
SENT = 40 * MEBIBYTE


def _kibibytes(conversion: Conversion, name: str) -> int:
    status = Path(f"/proc/{conversion.pid}/status").read_text("ascii", errors="replace")
    found = re.search(rf"^{name}:\s+(\d+) kB$", status, re.MULTILINE)
    assert found, status
    return int(found[1])


def _bytes_read(conversion: Conversion) -> int:
    counts = Path(f"/proc/{conversion.pid}/io").read_text("ascii")
    return int(counts.split()[1])


@pytest.mark.parametrize("type_", list("iI[]oOf"))
def test_what_is_not_awaited_is_dropped_as_it_arrives(harness: HostHarness, type_: str) -> None:
    length = 9_999_999 if type_ == "f" else 9_999_999_999
    body = {"raw": {"join": [f"{type_}{length}\n", {"fill": min(SENT, length - 1)}]}}
    halt = [{"create": "reached"}, {"await": "go"}, body, {"await": "never"}]
    conversion = harness.begin(in_state(WAITING_FOR_HELLO, *halt))
    wait_until(harness.server.file("reached").exists, PATIENCE, "the connection")
    directory = working_directory(conversion)
    size, count = _kibibytes(conversion, "VmHWM"), _bytes_read(conversion)
    harness.server.file("go").touch()
    arrived = count + min(SENT, length - 1)
    wait_until(lambda: _bytes_read(conversion) >= arrived, PATIENCE, "the part")
    assert _kibibytes(conversion, "VmHWM") - size < 4 * 1024
    assert sum(path.stat().st_size for path in directory.rglob("*")) < MEBIBYTE
    conversion.cancel()
    assert conversion.wait(PATIENCE).status == 1


def test_an_archive_that_nobody_awaits_is_an_unexpected_message(harness: HostHarness) -> None:
    archive = {"raw": {"join": ["o3000000\n", {"fill": 3_000_000}]}}
    outcome = harness.convert(in_state(WAITING_FOR_HELLO, archive))
    assert_aborted(harness, outcome, "ERROR: Did not handle message of type: OutputArchive")
