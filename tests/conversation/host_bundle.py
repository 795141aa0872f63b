"""Application bundles of hosts, in the forms that hosts come in."""

from __future__ import annotations

import plistlib
from pathlib import Path
from typing import Any

COMPLETE = {
    "CFBundleIdentifier": "com.example.ledger",
    "CFBundleVersion": "4711",
    "CFBundleShortVersionString": "8.2.1",
}


def write_bundle(
    directory: Path,
    information: dict[str, Any],
    place: str = "Contents/Info.plist",
    form: plistlib.PlistFormat = plistlib.FMT_XML,
) -> Path:
    """Makes a bundle with that information list, and returns its path."""
    bundle = directory / "Ledger.app"
    (bundle / place).parent.mkdir(parents=True)
    (bundle / place).write_bytes(plistlib.dumps(information, fmt=form))
    return bundle
