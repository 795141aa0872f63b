"""A limit on the size of files, which the system enforces by a deadly signal where nobody cares: a
write beyond it is a failure like any other, at each step that writes a file."""

from __future__ import annotations

import random
import resource

from assertions import assert_aborted
from fault_scenario import FaultScenario
from host_harness import PATIENCE
from host_view import log_lines
from observed_process import working_directory
from own_archiver import zipped_size
from standin.record import wait_until
from terminal_host import Conversion
from wrapped_program import in_shell

TOO_LARGE = "File too large"
SIZE = 300_000
EARLIER = b"the result of an earlier conversion\n"


def _begin_limited(scenario: FaultScenario, stage: str, limit: int, **script: object) -> Conversion:
    """A conversion whose files may grow to `limit` bytes from before that stage on."""
    scenario.harness.result.write_bytes(EARLIER)
    held = [{"create": "held"}, {"await": "go"}]
    conversion = scenario.begin({stage: {"before": held, **script}})
    wait_until(scenario.harness.server.file("held").exists, PATIENCE, "the held server")
    resource.prlimit(conversion.pid, resource.RLIMIT_FSIZE, (limit, limit))
    return conversion


def _go_on(scenario: FaultScenario) -> None:
    scenario.harness.server.file("go").touch()


def test_the_identity(scenario: FaultScenario) -> None:
    program = in_shell(
        scenario.harness.program, scenario.harness.directory, before="prlimit --fsize=100"
    )
    outcome = scenario.convert(program=program)
    first, second = log_lines(outcome)
    assert (outcome.status, first) == (1, "Could not write identity to a file"), outcome.report()
    assert second.startswith(f"Error: write: {TOO_LARGE} (") and second.endswith("/identity)")
    scenario.assert_survived(outcome)


def test_the_copy_of_the_source(scenario: FaultScenario) -> None:
    scenario.harness.source.write_bytes(bytes(SIZE))
    conversion = _begin_limited(scenario, "ServerHandshake", SIZE - 1)
    copy = working_directory(conversion) / "InputArchive" / scenario.harness.source.name
    _go_on(scenario)
    outcome = scenario.end_of(conversion)
    reason = "Could not copy the source file to the InputArchive directory"
    assert_aborted(scenario.harness, outcome, reason, error=f"write: {TOO_LARGE} ({copy})")
    scenario.assert_survived(outcome, earlier=EARLIER)


def test_the_archive(scenario: FaultScenario) -> None:
    limit = zipped_size(scenario.harness, random.Random(1).randbytes(SIZE)) - 1
    conversion = _begin_limited(scenario, "ServerHandshake", limit)
    zip_file = working_directory(conversion) / "InputArchive.zip"
    _go_on(scenario)
    outcome = scenario.end_of(conversion)
    cause = f"ZanburyArchiver: cannot write '{zip_file}': {TOO_LARGE}"
    assert_aborted(scenario.harness, outcome, "Could not create InputArchive.zip", before=(cause,))
    scenario.assert_survived(outcome)


def test_the_encrypted_archive(scenario: FaultScenario) -> None:
    # One block longer than the archive, which has just the size that is allowed.
    limit = zipped_size(scenario.harness, random.Random(1).randbytes(SIZE))
    conversion = _begin_limited(scenario, "ServerHandshake", limit)
    _go_on(scenario)
    outcome = scenario.end_of(conversion)
    assert_aborted(scenario.harness, outcome, "Could not encrypt InputArchive.zip")
    scenario.assert_survived(outcome)


def test_the_result_as_it_comes(scenario: FaultScenario) -> None:
    scenario.harness.server.file("noise").write_bytes(random.Random(1).randbytes(SIZE))
    conversion = _begin_limited(scenario, "OutputArchive", SIZE, converted={"file": "noise"})
    _go_on(scenario)
    outcome = scenario.end_of(conversion)
    lines = [f"write: {TOO_LARGE}", "Invalid message received"]
    assert (outcome.status, log_lines(outcome)) == (1, lines), outcome.report()
    assert scenario.harness.result.read_bytes() == EARLIER
    scenario.assert_survived(outcome)


def test_what_is_unpacked(scenario: FaultScenario) -> None:
    conversion = _begin_limited(scenario, "OutputArchive", SIZE - 1, converted={"fill": SIZE})
    _go_on(scenario)
    outcome = scenario.end_of(conversion)
    cause, reason = log_lines(outcome)
    assert (outcome.status, reason) == (1, "Could not unzip OutputArchive.zip"), outcome.report()
    assert cause.startswith("ZanburyArchiver: ") and cause.endswith(TOO_LARGE)
    assert scenario.harness.result.read_bytes() == EARLIER
    scenario.assert_survived(outcome)
