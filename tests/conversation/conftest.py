"""Makes the tools and the shared fixtures known to the conversation tests."""

from __future__ import annotations

import sys
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(PROJECT / "tools"), str(Path(__file__).resolve().parent)]

from fixtures import desk, keys, program, sshd  # noqa: E402, F401
