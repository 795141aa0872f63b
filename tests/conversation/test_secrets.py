"""Nothing secret can be seen from outside while a session runs, and none is in memory at its end."""

from __future__ import annotations

import base64
import os
import random
import shutil
import signal
from collections.abc import Callable
from dataclasses import dataclass
from pathlib import Path
from typing import Any

import pytest
from assertions import assert_clean
from host_harness import PATIENCE, HostHarness
from observed_process import children_of
from process_memory import (
    CAN_STAND_STILL,
    STRACE,
    WHY_NOT,
    at_its_end,
    found_in_memory,
    standing_still_at_exit,
)
from session_states import FORWARDING, WAITING_FOR_HANDSHAKE, in_state
from standin import ConnectionRecord
from standin.record import wait_until
from terminal_host import Conversion
from wrapped_program import in_shell

_RANDOM = random.Random(20240229)
SOURCE = _RANDOM.randbytes(4000)  # does not become smaller in a zip, and so stands in it as it is
FROM_TOOL = _RANDOM.randbytes(400)
FROM_HOST = _RANDOM.randbytes(400)
CONVERTED = _RANDOM.randbytes(4000)
OF_TEXTS = {
    "the source": SOURCE[1000:1048],
    "what the tool sent": FROM_TOOL[200:248],
    "what the host sent": FROM_HOST[200:248],
    "the result": CONVERTED[1000:1048],
}
HELD_WHILE_FORWARDING = {
    *("symmetricKey", "salt", "forwardingIV", "inputArchiveIV", "outputArchiveIV"),
    "the identity",
}


def _binary(data: bytes) -> dict[str, str]:
    return {"base64": base64.b64encode(data).decode()}


EXCHANGE: list[Any] = [{"forward": _binary(FROM_TOOL)}, {"forwarded": len(FROM_HOST)}]
RESULT = {"stage": "OutputArchive", "converted": _binary(CONVERTED)}


def _secrets(harness: HostHarness, record: ConnectionRecord) -> dict[str, bytes]:
    """All that nobody else may see, as bytes and in the texts that travel."""
    values = dict(record.secrets)
    needles = dict(values)
    needles.update({f"{name}, as text": base64.b64encode(value) for name, value in values.items()})
    for frame in [*record.received, *record.sent]:
        if frame.type in ("ClientHandshake", "ServerHandshake"):
            for name in ("symmetricKey", "salt", "saltIV"):
                text = (frame.dictionary or {}).get(name, "")
                if len(text) >= 24:
                    needles[f"{name} of the {frame.type}"] = text[:60].encode()
    needles["the identity"] = harness.sshd.identity_text.splitlines()[3].encode()
    return {**needles, **OF_TEXTS}


def _exchange(harness: HostHarness, conversion: Conversion) -> ConnectionRecord:
    """Lets host and tool send each other something; what the server knows by then."""
    wait_until(lambda: FROM_TOOL in conversion.fifo_bytes, PATIENCE, "the tool's bytes")
    conversion.send(FROM_HOST)
    wait_until(harness.server.file("exchanged").exists, PATIENCE, "the host's bytes")
    return harness.server.begun(1)


@pytest.fixture
def session(harness: HostHarness, tmp_path: Path) -> Callable[..., Conversion]:
    """Starts a session with a source of random bytes that stands still at its end."""
    harness.source.write_bytes(SOURCE)
    program = standing_still_at_exit(harness.program, tmp_path)
    return lambda script: harness.begin(script, program=program)


needs_strace = pytest.mark.skipif(not CAN_STAND_STILL, reason=WHY_NOT)
needs_root = pytest.mark.skipif(os.getuid() != 0, reason="only root sees into the program")


@needs_root
def test_the_search_finds_what_is_held_and_nothing_that_was_let_go(harness: HostHarness) -> None:
    harness.source.write_bytes(SOURCE)
    waits = [*EXCHANGE, {"create": "exchanged"}, {"await": "never"}]
    conversion = harness.begin(in_state(FORWARDING, *waits))
    record = _exchange(harness, conversion)
    found = found_in_memory(conversion.pid, _secrets(harness, record))
    assert found == HELD_WHILE_FORWARDING


@dataclass(frozen=True)
class Ending:
    """What the server does, what happens while the session forwards, and its name."""

    name: str
    script: Any
    action: Callable[[Conversion], None] = lambda _: None
    exchanges: bool = True


def _forwarding(*then: Any) -> Any:
    return in_state(FORWARDING, *EXCHANGE, {"create": "exchanged"}, *then)


_WRONG_SALT = {"stage": "ServerHandshake", "salt": "one bit off"}
_LATE_ZIP = {**RESULT, "zip": _binary(CONVERTED)}
ENDINGS = [
    Ending("the usual one", _forwarding("ServerDidStopForwarding", RESULT)),
    Ending("a result that is not a zip archive", _forwarding("ServerDidStopForwarding", _LATE_ZIP)),
    Ending("an Error message", _forwarding({"error": "Enough"})),
    Ending(
        "a forwarded message that does not decrypt", _forwarding({"send": "Forward", "body": "x"})
    ),
    Ending("a broken frame", _forwarding({"raw": "x"})),
    Ending("the end of the stream", _forwarding({"exit": 0})),
    Ending(
        "a signal",
        _forwarding({"await": "never"}),
        lambda conversion: conversion.signal(signal.SIGTERM),
    ),
    Ending(
        "a cancel",
        _forwarding("ServerDidStopForwarding", {"create": "last"}, {"await": "never"}),
        lambda conversion: conversion.cancel(),
    ),
    Ending("a wrong salt", in_state(WAITING_FOR_HANDSHAKE, _WRONG_SALT), exchanges=False),
]


@needs_root
@needs_strace
@pytest.mark.parametrize("ending", ENDINGS, ids=lambda ending: ending.name)
def test_nothing_secret_is_in_memory_at_the_end(
    harness: HostHarness, session: Callable[..., Conversion], ending: Ending
) -> None:
    conversion = session(ending.script)
    if ending.exchanges:
        _exchange(harness, conversion)
    if ending.name == "a cancel":
        wait_until(harness.server.file("last").exists, PATIENCE, "the end of forwarding")
    ending.action(conversion)
    with at_its_end(harness, conversion) as pid:
        record = harness.server.begun(1)
        assert len(record.secrets) >= 4
        assert found_in_memory(pid, _secrets(harness, record)) == set()


def _processes() -> dict[int, bytes]:
    """The argument list of every process, as it stands."""
    found = {}
    for entry in Path("/proc").iterdir():
        if entry.name.isdecimal():
            try:
                found[int(entry.name)] = (entry / "cmdline").read_bytes()
            except (FileNotFoundError, ProcessLookupError):
                continue
    return found


def _shown(secrets: dict[str, bytes], text: bytes) -> set[str]:
    """The names of the secrets that stand in a text, in any of the forms that a text can have."""
    return {
        name
        for name, value in secrets.items()
        if any(form in text for form in (value, value.hex().encode(), base64.b64encode(value)))
    }


@needs_root
def test_nothing_secret_can_be_seen_from_outside(harness: HostHarness) -> None:
    harness.source.write_bytes(SOURCE)
    then = ["ServerDidStopForwarding", {"await": "seen"}, RESULT]
    conversion = harness.begin(_forwarding(*then, "End"))
    secrets = _secrets(harness, _exchange(harness, conversion))
    arguments = _processes()
    assert conversion.pid in arguments
    assert {pid for pid, words in arguments.items() if _shown(secrets, words)} == set()
    children = children_of(conversion.pid)
    assert children and {child.environment for child in children} == {b""}
    harness.server.file("seen").touch()
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 0, outcome.report()
    assert _shown(secrets, outcome.stderr_text.encode()) == set()
    assert_clean(outcome)


def test_the_archiver_is_told_two_paths_and_nothing_of_the_host(
    harness: HostHarness, tmp_path: Path
) -> None:
    program = Path(shutil.copy(harness.program, tmp_path))
    archiver, words = tmp_path / "ZanburyArchiver", tmp_path / "words"
    real = harness.program.parent / "ZanburyArchiver"
    tell = f'/usr/bin/tr "\\0" "\\n" < /proc/$$/environ >> {words}; echo "$@" >> {words}'
    archiver.write_text(f'#!/bin/sh\n{tell}\nexec {real} "$@"\n')
    archiver.chmod(0o755)
    conversion = harness.begin(program=program, overrides={"LANG": "C"})
    outcome = conversion.wait(PATIENCE)
    assert outcome.status == 0, outcome.report()
    record = harness.connection()
    text = words.read_bytes()
    assert _shown(_secrets(harness, record), text) == set()
    assert b"EXPORT_" not in text and text.count(b"LANG=C\n") == 2
    assert text.count(b"-k ") == 2


@needs_strace
def test_other_processes_are_kept_out_before_the_identity_is_read(
    harness: HostHarness, tmp_path: Path
) -> None:
    calls = tmp_path / "calls"
    # Linux alone has a call that keeps other processes out; a core file can be refused anywhere.
    marks = ["RLIMIT_CORE, {rlim_cur=0, rlim_max=0}, NULL) = 0"]
    if os.environ.get("ZTP_SYSTEM") != "Posix":
        marks.append("prctl(PR_SET_DUMPABLE, SUID_DUMP_DISABLE) = 0")
    tracer = f"{STRACE} -o {calls} -e trace=prctl,prlimit64,mkdir"
    outcome = harness.convert(program=in_shell(harness.program, tmp_path, before=tracer))
    assert outcome.status == 0, outcome.report()
    text = calls.read_text()
    assert max(text.index(mark) for mark in marks) < text.index("mkdir(")
