"""The program beside an archiver of the test's own, so that a conversation can be held, or its disk
changed, at the moment in which it packs or unpacks."""

from __future__ import annotations

import shutil
import subprocess
from pathlib import Path

from host_harness import HostHarness

ARCHIVER = "ZanburyArchiver"


def with_archiver(program: Path, folder: Path, script: str) -> Path:
    """A copy of the program in that new folder, with a shell script in the archiver's place. In it
    `real` is the path of the real archiver, $1 is -c or -x."""
    folder.mkdir()
    real = program.with_name(ARCHIVER)
    archiver = folder / ARCHIVER
    archiver.write_text(f"#!/bin/sh\nreal='{real}'\n{script}\n", "utf-8")
    archiver.chmod(0o755)
    return Path(shutil.copy2(program, folder))


def zipped_size(harness: HostHarness, source: bytes) -> int:
    """Makes `source` the content of the source file and returns the size of its archive."""
    folder = harness.directory / "trial" / "InputArchive"
    folder.mkdir(parents=True, exist_ok=True)
    harness.source.write_bytes(source)
    (folder / harness.source.name).write_bytes(source)
    zip_file = folder.with_suffix(".zip")
    words = ["-c", "-k", "--keepParent", str(folder), str(zip_file)]
    subprocess.run([str(harness.program.with_name(ARCHIVER)), *words], check=True)
    size = zip_file.stat().st_size
    shutil.rmtree(folder.parent)
    return size
