"""Makes the tools and the modules beside this file known to the tests of the documents."""

from __future__ import annotations

import sys
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]
sys.path[:0] = [str(PROJECT / "tools"), str(Path(__file__).resolve().parent)]
