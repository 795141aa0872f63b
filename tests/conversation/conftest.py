"""Makes the tools and the shared fixtures known to the conversation tests."""

from __future__ import annotations

import sys
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]
sys.path[:0] = [
    str(PROJECT / "tools"),
    str(PROJECT / "tests" / "support"),
    str(Path(__file__).resolve().parent),
]

import default_signals  # noqa: E402, F401
from fixtures import harness, keys, program, sshd  # noqa: E402, F401
