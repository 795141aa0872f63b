"""A limit on the size of files, which the system enforces by a deadly signal where nobody cares: a
write beyond it is a failure like any other, at each step that writes a file."""

from __future__ import annotations

import random
import resource

from desk import PATIENCE
from endings import assert_aborted
from host_view import log_lines
from observed_process import working_directory
from ordeal import Ordeal
from own_archiver import zipped_size
from standin.record import wait_until
from terminal_host import Conversion
from wrapped_program import in_shell

TOO_LARGE = "File too large"
SIZE = 300_000
EARLIER = b"the result of an earlier conversion\n"


def _begin_limited(ordeal: Ordeal, stage: str, limit: int, **script: object) -> Conversion:
    """A conversion whose files may grow to `limit` bytes from before that stage on."""
    ordeal.desk.result.write_bytes(EARLIER)
    held = [{"create": "held"}, {"await": "go"}]
    conversion = ordeal.begin({stage: {"before": held, **script}})
    wait_until(ordeal.desk.server.file("held").exists, PATIENCE, "the held server")
    resource.prlimit(conversion.pid, resource.RLIMIT_FSIZE, (limit, limit))
    return conversion


def _go_on(ordeal: Ordeal) -> None:
    ordeal.desk.server.file("go").touch()


def test_the_identity(ordeal: Ordeal) -> None:
    program = in_shell(ordeal.desk.program, ordeal.desk.directory, before="prlimit --fsize=100")
    outcome = ordeal.convert(program=program)
    first, second = log_lines(outcome)
    assert (outcome.status, first) == (1, "Could not write identity to a file"), outcome.report()
    assert second.startswith(f"Error: write: {TOO_LARGE} (") and second.endswith("/identity)")
    ordeal.assert_survived(outcome)


def test_the_copy_of_the_source(ordeal: Ordeal) -> None:
    ordeal.desk.source.write_bytes(bytes(SIZE))
    conversion = _begin_limited(ordeal, "ServerHandshake", SIZE - 1)
    copy = working_directory(conversion) / "InputArchive" / ordeal.desk.source.name
    _go_on(ordeal)
    outcome = ordeal.end_of(conversion)
    reason = "Could not copy the source file to the InputArchive directory"
    assert_aborted(ordeal.desk, outcome, reason, error=f"write: {TOO_LARGE} ({copy})")
    ordeal.assert_survived(outcome, earlier=EARLIER)


def test_the_archive(ordeal: Ordeal) -> None:
    limit = zipped_size(ordeal.desk, random.Random(1).randbytes(SIZE)) - 1
    conversion = _begin_limited(ordeal, "ServerHandshake", limit)
    zip_file = working_directory(conversion) / "InputArchive.zip"
    _go_on(ordeal)
    outcome = ordeal.end_of(conversion)
    cause = f"ZanburyArchiver: cannot write '{zip_file}': {TOO_LARGE}"
    assert_aborted(ordeal.desk, outcome, "Could not create InputArchive.zip", before=(cause,))
    ordeal.assert_survived(outcome)


def test_the_encrypted_archive(ordeal: Ordeal) -> None:
    # One block longer than the archive, which has just the size that is allowed.
    limit = zipped_size(ordeal.desk, random.Random(1).randbytes(SIZE))
    conversion = _begin_limited(ordeal, "ServerHandshake", limit)
    _go_on(ordeal)
    outcome = ordeal.end_of(conversion)
    assert_aborted(ordeal.desk, outcome, "Could not encrypt InputArchive.zip")
    ordeal.assert_survived(outcome)


def test_the_result_as_it_comes(ordeal: Ordeal) -> None:
    ordeal.desk.server.file("noise").write_bytes(random.Random(1).randbytes(SIZE))
    conversion = _begin_limited(ordeal, "OutputArchive", SIZE, converted={"file": "noise"})
    _go_on(ordeal)
    outcome = ordeal.end_of(conversion)
    lines = [f"write: {TOO_LARGE}", "Invalid message received"]
    assert (outcome.status, log_lines(outcome)) == (1, lines), outcome.report()
    assert ordeal.desk.result.read_bytes() == EARLIER
    ordeal.assert_survived(outcome)


def test_what_is_unpacked(ordeal: Ordeal) -> None:
    conversion = _begin_limited(ordeal, "OutputArchive", SIZE - 1, converted={"fill": SIZE})
    _go_on(ordeal)
    outcome = ordeal.end_of(conversion)
    cause, reason = log_lines(outcome)
    assert (outcome.status, reason) == (1, "Could not unzip OutputArchive.zip"), outcome.report()
    assert cause.startswith("ZanburyArchiver: ") and cause.endswith(TOO_LARGE)
    assert ordeal.desk.result.read_bytes() == EARLIER
    ordeal.assert_survived(outcome)
