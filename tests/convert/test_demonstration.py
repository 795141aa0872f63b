"""What ./demo does around a conversion: shows results, passes the status on, leaves nothing."""

from __future__ import annotations

import itertools
import json
import os
import pty
import re
import shlex
import signal
import subprocess
import sys
from pathlib import Path

import pytest
from command_sandbox import FAKE_PROGRAM, PATIENCE, PROJECT

DEMO = PROJECT / "demo"


class Demonstration:
    """A directory with a statement, a program that plays a plan, and an empty TMPDIR."""

    def __init__(self, directory: Path) -> None:
        self.directory = directory
        self.temporary = directory / "temporary"
        self.results = directory / "results"
        self.temporary.mkdir()
        self.statement = directory / "march.ofx"
        self.statement.write_text("".join(f"line {n}\n" for n in range(1, 21)))

    def start(self, *plan: list) -> subprocess.Popen:
        program = self.directory / "program"
        tool = shlex.quote(json.dumps(plan))
        program.write_text(f"#!/bin/sh\nEXPORT_TOOL={tool} exec {FAKE_PROGRAM}\n")
        program.chmod(0o755)
        module = [sys.executable, "-m", "demonstration"]
        return subprocess.Popen(
            [*module, str(program), str(self.results), str(self.statement)],
            env={**os.environ, "PYTHONPATH": str(PROJECT / "tools"), "TMPDIR": str(self.temporary)},
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
            text=True,
        )

    def show(self, *plan: list) -> tuple[int, str]:
        with self.start(*plan) as process:
            written, _ = process.communicate(timeout=PATIENCE)
        return process.returncode, written

    def is_empty(self, written: str) -> bool:
        """Nothing in TMPDIR, and nobody listens on the port that was told."""
        port = int(re.search(r"port (\d+)", written)[1])
        listening = Path("/proc/net/tcp").read_text()
        return (
            not any(self.temporary.iterdir())
            and f"0100007F:{port:04X} 00000000:0000 0A" not in listening
        )


@pytest.fixture
def demonstration(tmp_path: Path) -> Demonstration:
    return Demonstration(tmp_path)


def test_the_first_lines_of_result_and_log_are_shown(demonstration: Demonstration) -> None:
    status, written = demonstration.show(["section", "Connecting", 0], ["copy"], ["exit", 0])
    assert status == 0 and demonstration.is_empty(written)
    assert "  line 8\n  ... and 12 more lines\n" in written and "  line 9\n" not in written
    assert "tool.log\n  copied\n" in written
    assert (demonstration.results / "march.csv").read_text() == demonstration.statement.read_text()


def test_an_earlier_result_is_not_shown_again(demonstration: Demonstration) -> None:
    demonstration.results.mkdir()
    (demonstration.results / "march.csv").write_text("old\n")
    status, written = demonstration.show(["exit", 3])
    assert status == 3 and demonstration.is_empty(written)
    assert "old" not in written and not (demonstration.results / "march.csv").exists()


def test_a_conversation_that_never_began_is_said_to_be_none(demonstration: Demonstration) -> None:
    _, written = demonstration.show(["exit", 1])
    assert "The program did not reach the server." in written


@pytest.mark.parametrize("number", [signal.SIGINT, signal.SIGTERM, signal.SIGHUP])
def test_a_signal_cancels_and_leaves_nothing(demonstration: Demonstration, number: int) -> None:
    with demonstration.start(["section", "ready", 0], ["read", 1], ["exit", 1]) as process:
        lines = itertools.takewhile(lambda line: "ready" not in line, process.stdout)
        written = "".join(lines)
        process.send_signal(number)
        written += process.stdout.read()
        assert process.wait(timeout=PATIENCE) == 128 + number
    assert "Canceled. Nothing was converted." in written and demonstration.is_empty(written)


@pytest.mark.parametrize(
    ("arguments", "status", "words"),
    [
        (["nowhere.ofx"], 2, "demo: there is no file nowhere.ofx"),
        (["tests"], 2, "demo: tests is a directory; name one statement in it"),
        (["--fast"], 2, "demo: no option named '--fast'"),
        (["a", "b"], 2, "usage: ./demo [FILE]"),
        (["--help"], 0, "./demo FILE     converts FILE"),
    ],
)
def test_the_demo_says_what_it_wants(arguments: list[str], status: int, words: str) -> None:
    done = subprocess.run(
        [str(DEMO), *arguments], cwd=PROJECT, capture_output=True, text=True, timeout=PATIENCE
    )
    assert (done.returncode, words in done.stdout + done.stderr) == (status, True)


def test_the_counter_of_the_build_moves_on_a_terminal(tmp_path: Path) -> None:
    """The script in a tree of its own, where nothing is missing and cmake only counts."""
    (tmp_path / "scripts").mkdir()
    for path, text in {
        tmp_path / "demo": DEMO.read_text(),
        tmp_path / "scripts" / "install-packages": "#!/bin/sh\n",
        tmp_path / "cmake": "#!/bin/sh\nprintf '[1/2] Building\\n[2/2] Linking\\n'\nexit 3\n",
    }.items():
        path.write_text(text)
        path.chmod(0o755)
    control, terminal = pty.openpty()
    done = subprocess.run(
        [str(tmp_path / "demo")],
        env={**os.environ, "PATH": f"{tmp_path}:/usr/bin:/bin"},
        stdout=terminal,
        stderr=subprocess.PIPE,
        text=True,
        timeout=PATIENCE,
    )
    os.close(terminal)
    written = os.read(control, 65536).decode()
    os.close(control)
    assert "\rBuilding the program... 1/2 \rBuilding the program... 2/2 \r" in written
    assert written.endswith("Building the program... failed\r\n")
    assert done.returncode == 3 and "[2/2] Linking" in done.stderr
