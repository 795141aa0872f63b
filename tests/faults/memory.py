"""How much memory a running program has needed."""

from __future__ import annotations

import re
from pathlib import Path


def peak_resident_bytes(pid: int) -> int:
    """The most memory that a process has had resident at any time."""
    status = Path(f"/proc/{pid}/status").read_text("ascii", errors="replace")
    found = re.search(r"^VmHWM:\s+(\d+) kB$", status, re.MULTILINE)
    assert found, status
    return int(found[1]) * 1024
