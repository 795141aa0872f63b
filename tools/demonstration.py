"""The second half of ./demo: converts statements with the built program and a stand-in server.

    python3 -m demonstration PROGRAM RESULTS [STATEMENT...]

The server runs under an sshd of its own on the loopback interface, with keys made for this run.
Everything but the results is gone at the end, also after a failure or Ctrl-C.
"""

from __future__ import annotations

import contextlib
import os
import shutil
import signal
import sys
import tempfile
import time
from collections.abc import Sequence
from pathlib import Path
from types import FrameType
from typing import NoReturn

from standin import ConnectionRecord, LoopbackSshd, ServerKeys, StandinServer
from terminal_host import HostError, Request
from zanbury_convert.batch import Batch
from zanbury_convert.command import choose_display
from zanbury_convert.interruption import Interruption
from zanbury_convert.jobs import Job
from zanbury_convert.printable import printable
from zanbury_convert.servers import servers_of
from zanbury_convert.settings import Limits, Settings

_SAMPLES = Path(__file__).resolve().parent / "standin" / "samples"
_TOOL = "ZanburyConverter"
_LINES = 8  # of the result and of a log
_TO_WATCH = 3.0  # seconds that the tool takes at least when somebody watches
_SERVER_SECONDS = 60.0  # for a server to notice that its client is gone
_DEADLINE = 3600.0  # seconds; a conversion that nobody ended
# What each frame of the conversation means, as the server saw it.
_CHAPTERS = {
    ("sent", "ServerHello"): "The program started ssh, which logged in; the server said hello.",
    (
        "received",
        "ClientHandshake",
    ): "The program sent a fresh AES-256 key under the server's RSA key.",
    ("sent", "ServerHandshake"): "The server proved that it could read that key.",
    ("received", "InputArchive"): "{name} went up in an encrypted zip archive of {length:,} bytes.",
    ("sent", "Forward"): "The tool at work told its progress, encrypted, through the program.",
    ("sent", "OutputArchive"): "Result and log came back in such an archive of {length:,} bytes.",
    ("received", "Error"): "The program told the server that it gave up.",
}


def main(program: Path, results: Path, statements: Sequence[Path]) -> int:
    """Converts one statement after the other until one fails; returns the last exit status."""
    for ending in (signal.SIGTERM, signal.SIGHUP):
        signal.signal(ending, _leave)
    status = 0
    with tempfile.TemporaryDirectory(prefix="zanbury-demo.") as directory, LoopbackSshd() as sshd:
        print(f"Started an sshd of its own on 127.0.0.1, port {sshd.port}.")
        keys = ServerKeys.generate()
        for number, statement in enumerate(statements):
            place = Path(directory, str(number))
            place.mkdir()
            server = StandinServer(place, keys, _script(statement), deadline=_DEADLINE)
            settings = _settings(program, sshd, server)
            status = _demonstrate(_job(statement, results), settings, server)
            if status != 0:
                break
    print("\nThe server, its sshd, all keys and temporary files are gone again.")
    return status


def _demonstrate(job: Job, settings: Settings, server: StandinServer) -> int:
    """Converts one statement and tells about it; returns the exit status."""
    assert job.source is not None and job.output is not None and job.logs is not None
    size = job.source.stat().st_size
    print(f"\nConverting {printable(str(job.source))} ({size:,} bytes)", flush=True)
    display = choose_display(1)
    try:
        with Interruption() as interruption:
            status = Batch([job], settings, display, interruption).convert()
    finally:
        display.close()
    _wait_for_the_end_of(server)
    if job.output.exists():
        _print_head(job.output)
    for log in sorted(job.logs.glob("*")):
        _print_head(log)
    print("\nWhat happened")
    for sentence in _story(server.connections, job.source, status):
        print(f"  - {sentence}")
    sys.stdout.flush()
    return status


def _wait_for_the_end_of(server: StandinServer) -> None:
    """Waits until no server is at work any more: ssh is gone, but its other end may write yet."""
    deadline = time.monotonic() + _SERVER_SECONDS
    while time.monotonic() < deadline and _mentioned_in_a_command_line(str(server.directory)):
        time.sleep(0.02)


def _mentioned_in_a_command_line(text: str) -> bool:
    for command_line in Path("/proc").glob("[0-9]*/cmdline"):
        with contextlib.suppress(OSError):
            if text.encode() in command_line.read_bytes():
                return True
    return False


def _job(statement: Path, results: Path) -> Job:
    """The statement and where its result goes; results of an earlier run are removed."""
    results.mkdir(parents=True, exist_ok=True)
    output = results / (statement.stem + ".csv")
    logs = results / (statement.stem + ".logs")
    output.unlink(missing_ok=True)
    shutil.rmtree(logs, ignore_errors=True)
    return Job(statement, output, logs)


def _settings(program: Path, sshd: LoopbackSshd, server: StandinServer) -> Settings:
    """What the desktop host would be set up with."""
    request = Request(
        tool=_TOOL,
        tool_version="1.0",
        server_command_path=server.command_path,
        server_identity=sshd.identity_text,
        host_pid=os.getpid(),
        client_id="demo",
        user_name=sshd.user,
        public_key=server.keys.public_key_text,
        retry_delay=3,
        server_destinations=[sshd.destination()],
    )
    limits = Limits(rounds=3, connect=60, whole=0, cancel_grace=2)
    key = sshd.directory / "identity"
    return Settings(request, program, servers_of([sshd.destination()]), key, limits, jobs=1)


def _script(statement: Path) -> dict:
    """Normal service; a little slower when somebody watches, so that there is something to see."""
    if not sys.stderr.isatty():
        return {}
    transactions = statement.read_bytes().upper().count(b"<STMTTRN>")
    return {"Conversion": {"pace": min(0.2, _TO_WATCH / max(1, transactions))}}


def _print_head(path: Path) -> None:
    """The first lines of a file."""
    print(f"\n{printable(path.name)}")
    lines = path.read_text(encoding="utf-8", errors="replace").splitlines()
    for line in lines[:_LINES]:
        print(f"  {printable(line, 96)}")
    if len(lines) > _LINES:
        print(f"  ... and {len(lines) - _LINES:,} more lines")


def _story(connections: Sequence[ConnectionRecord], statement: Path, status: int) -> list[str]:
    """What the server's record of the conversation tells, in plain words."""
    end = f"The program ended with status {status}."
    if not connections:
        return ["The program did not reach the server.", end]
    lengths = {(frame.direction, frame.type): frame.length for frame in connections[-1].frames}
    name = printable(statement.name)
    sentences = [
        words.format(name=name, length=lengths[frame])
        for frame, words in _CHAPTERS.items()
        if frame in lengths
    ]
    return [*sentences, end]


def _leave(number: int, frame: FrameType | None) -> NoReturn:
    raise SystemExit(128 + number)


def _run(arguments: Sequence[str]) -> int:
    program, results, *files = (Path(argument).absolute() for argument in arguments)
    statements = files or sorted(_SAMPLES.glob("*.ofx"))
    if not statements:
        print(f"demo: there is no statement in {_SAMPLES}", file=sys.stderr)
        return 2
    try:
        return main(program, results, statements)
    except KeyboardInterrupt:
        print("\nStopped.")
        return 130
    except (HostError, OSError, RuntimeError) as error:
        print(f"demo: {error}", file=sys.stderr)
        return 1


if __name__ == "__main__":
    sys.exit(_run(sys.argv[1:]))
