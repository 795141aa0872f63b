"""Reads and writes that move less than was asked for, and calls that are interrupted: the file that
arrives at the server and the one that comes back are the same byte for byte."""

from __future__ import annotations

import io
import random
import shutil
import zipfile
from pathlib import Path

import pytest
from fault_scenario import FaultScenario
from host_harness import HostHarness
from preloaded import FlakyIo
from terminal_host import Outcome
from wrapped_program import in_shell

LARGE = 6_000_000  # bytes of something that no archiver makes smaller
# A half of the transfers that libfiu knows become shorter, by any number of bytes.
TRANSFERS = ("read", "readv", "pread", "preadv", "write", "writev", "pwrite", "pwritev")
REDUCTION = "enable_random name=posix/io/rw/{}/reduce,probability=0.5"


def large_files(harness: HostHarness) -> tuple[bytes, dict]:
    """Makes the source large; returns what the server will send back, as large, and the script."""
    harness.source.write_bytes(random.Random(1).randbytes(LARGE))
    whole = random.Random(2).randbytes(LARGE)
    (harness.directory / "converted").write_bytes(whole)
    result = {
        "exitCode": 0,
        "destFileName": "converted.csv",
        "converted": {"file": str(harness.directory / "converted")},
        "logs": {},
    }
    return whole, {"Conversion": {"instead": []}, "OutputArchive": result}


def assert_identical(scenario: FaultScenario, outcome: Outcome, whole: bytes | None = None) -> None:
    """The source has arrived as it is, the result has come back as it was, and nothing is left."""
    assert outcome.status == 0, outcome.report()
    archive = zipfile.ZipFile(io.BytesIO(scenario.harness.connection().input_archive))
    assert archive.read("InputArchive/statement.ofx") == scenario.harness.source.read_bytes()
    assert scenario.harness.result.read_bytes() == (whole or scenario.whole_result())
    scenario.assert_survived(outcome, whole=whole)


@pytest.fixture
def fiu_program(program: Path, tmp_path: Path) -> Path:
    """The program under fiu-run, which its archiver inherits."""
    if shutil.which("fiu-run") is None:
        pytest.skip("fiu-run is not installed")
    commands = " ".join(f"-c '{REDUCTION.format(name)}'" for name in TRANSFERS)
    return in_shell(program, tmp_path, before=f"fiu-run -x -f '' {commands}")


def test_transfers_shortened_by_libfiu(scenario: FaultScenario, fiu_program: Path) -> None:
    assert_identical(scenario, scenario.convert(program=fiu_program))


def test_transfers_of_large_files_shortened_by_libfiu(
    scenario: FaultScenario, fiu_program: Path
) -> None:
    whole, script = large_files(scenario.harness)
    assert_identical(scenario, scenario.convert(script, program=fiu_program), whole)


@pytest.fixture
def flaky_io(program: Path, tmp_path: Path) -> FlakyIo:
    return FlakyIo(program, tmp_path / "page")


def test_short_transfers(scenario: FaultScenario, flaky_io: FlakyIo) -> None:
    flaky_io.set("shorten", 1)
    assert_identical(scenario, scenario.convert(overrides=flaky_io.environment))
    assert flaky_io.get("shortened") > 100


def test_short_transfers_of_large_files(scenario: FaultScenario, flaky_io: FlakyIo) -> None:
    flaky_io.set("shorten", 1)
    whole, script = large_files(scenario.harness)
    outcome = scenario.convert(script, overrides=flaky_io.environment)
    assert_identical(scenario, outcome, whole)
    assert flaky_io.get("shortened") > 1000


def test_every_second_call_is_interrupted(scenario: FaultScenario, flaky_io: FlakyIo) -> None:
    flaky_io.set("refuse", 2)
    assert_identical(scenario, scenario.convert(overrides=flaky_io.environment))
    assert flaky_io.get("refused") > 100


def test_signals_break_off_what_waits(scenario: FaultScenario, flaky_io: FlakyIo) -> None:
    flaky_io.set("signal_period", 200)
    assert_identical(scenario, scenario.convert(overrides=flaky_io.environment))
    assert flaky_io.get("interrupted") > 100


def test_all_of_it_at_once_with_large_files(scenario: FaultScenario, flaky_io: FlakyIo) -> None:
    flaky_io.set("shorten", 1)
    flaky_io.set("refuse", 100)  # a write of the upload that is interrupted waits 0.1 s
    flaky_io.set("signal_period", 500)
    whole, script = large_files(scenario.harness)
    outcome = scenario.convert(script, overrides=flaky_io.environment)
    assert_identical(scenario, outcome, whole)
    done = {name: flaky_io.get(name) for name in ("shortened", "refused", "interrupted")}
    assert all(count > 50 for count in done.values()), done
