"""The moving lines at 40, 80 and 120 columns, as text; and a terminal of those widths."""

from __future__ import annotations

import fcntl
import os
import pty
import re
import signal
import struct
import sys
import termios
from collections.abc import Callable

import pyte
import pytest
from command_sandbox import PATIENCE, PROJECT, CommandSandbox

sys.path.insert(0, str(PROJECT / "tools"))

from zanbury_convert.screen import (  # noqa: E402
    Row,
    TerminalStyle,
    clock,
    lines_of_one,
    lines_of_several,
)

COUNTDOWN = "Could not connect. Will try again in 17 seconds..."
SERVER = "convert@cloud-1.example.com:22"
ROWS = {
    "uploading": Row("march.ofx", 0.0, "Uploading encrypted file...", 451, 1000, SERVER),
    "waiting": Row("march.ofx", 0.0, COUNTDOWN, server=f"{SERVER} (round 2 of 3)"),
    "tool": Row("a-statement-with-a-long-name-2024-03.ofx", 0.0, "Converting...", 7, 26),
}
ONE = {
    (40, "uploading"): [
        "⠋ Uploading encrypted file...  45 %",
        "  convert@cloud-1.example.com:22  1:05",
    ],
    (80, "uploading"): [
        "⠋ Uploading encrypted file... ━━━━━━━━━━━━━─────────────────  45 %",
        "  convert@cloud-1.example.com:22  1:05",
    ],
    (120, "uploading"): [
        "⠋ Uploading encrypted file... ━━━━━━━━━━━━━─────────────────  45 %",
        "  convert@cloud-1.example.com:22  1:05",
    ],
    (40, "waiting"): [
        "⠋ Could not connect.…n in 17 seconds...",
        "  convert@cloud-1… (round 2 of 3)  1:05",
    ],
    (80, "waiting"): [
        "⠋ Could not connect. Will try again in 17 seconds...",
        "  convert@cloud-1.example.com:22 (round 2 of 3)  1:05",
    ],
    (120, "waiting"): [
        "⠋ Could not connect. Will try again in 17 seconds...",
        "  convert@cloud-1.example.com:22 (round 2 of 3)  1:05",
    ],
}
SEVERAL = {
    40: [
        "⠋ march.ofx  Uploading …d file...  45 %",
        "⠋ march.ofx  Could not co…17 seconds...",
        "⠋ a-stat…03.ofx  Converting...  26 %",
        "  12 of 20 files…1 not converted  1:05",
    ],
    80: [
        "⠋ march.ofx  Uploading encrypted file...  45 %",
        "⠋ march.ofx  Could not connect. Will try again in 17 seconds...",
        "⠋ a-statement-w…-2024-03.ofx  Converting...  26 %",
        "  12 of 20 files, 1 not converted  1:05",
    ],
    120: [
        "⠋ march.ofx  Uploading encrypted file...  45 %",
        "⠋ march.ofx  Could not connect. Will try again in 17 seconds...",
        "⠋ a-statement-with-a-long-name-2024-03.ofx  Converting...  26 %",
        "  12 of 20 files, 1 not converted  1:05",
    ],
}


@pytest.mark.parametrize(("width", "row"), ONE)
def test_the_lines_of_one_file(width: int, row: str) -> None:
    lines = lines_of_one(ROWS[row], TerminalStyle(width), 65.0)
    assert lines == ONE[width, row]
    assert max(map(len, lines)) <= width


@pytest.mark.parametrize("width", SEVERAL)
def test_the_lines_of_several_files(width: int) -> None:
    counted = "12 of 20 files, 1 not converted"
    lines = lines_of_several([*ROWS.values()], counted, 0.0, TerminalStyle(width), 65.0)
    assert lines == SEVERAL[width]
    assert max(map(len, lines)) <= width


@pytest.mark.parametrize("width", range(12))
def test_no_terminal_is_too_narrow(width: int) -> None:
    for row in ROWS.values():
        assert len(lines_of_one(row, TerminalStyle(width), 0.0)) == 2


def test_a_simple_terminal_gets_simple_characters() -> None:
    lines = lines_of_one(ROWS["uploading"], TerminalStyle(80, is_rich=False), 65.0)
    assert lines[0] == "- Uploading encrypted file... =============.................  45 %"
    assert "".join(lines).isascii()


@pytest.mark.parametrize(
    ("seconds", "words"), [(0, "0:00"), (7.9, "0:07"), (65, "1:05"), (3725, "1:02:05")]
)
def test_times(seconds: float, words: str) -> None:
    assert clock(seconds) == words


class Terminal:
    """A terminal of that width, and what stands on it."""

    def __init__(self, width: int) -> None:
        self.control, self.end = pty.openpty()
        fcntl.ioctl(self.end, termios.TIOCSWINSZ, struct.pack("HHHH", 24, width, 0, 0))
        self._screen = pyte.Screen(width, 24)
        self._stream = pyte.ByteStream(self._screen)

    @property
    def lines(self) -> list[str]:
        lines = [line.rstrip() for line in self._screen.display]
        return [re.sub(r"^[⠋⠙⠹⠸⠼⠴⠦⠧⠇⠏]", "*", line) for line in lines if line]

    def wait_for(self, condition: Callable[[list[str]], bool]) -> list[str]:
        """The lines, once they are as wanted; the test's own time limit ends the waiting."""
        while not condition(self.lines):
            self._stream.feed(os.read(self.control, 65536))
        return [re.sub(r"\d:\d\d$", "M:SS", line) for line in self.lines]


SCREENS = {
    40: ["* Could not connect.…n in 17 seconds...", "  convert@cloud-1.example.com:22  M:SS"],
    80: [f"* {COUNTDOWN}", "  convert@cloud-1.example.com:22  M:SS"],
    120: [f"* {COUNTDOWN}", "  convert@cloud-1.example.com:22  M:SS"],
}


@pytest.mark.parametrize("width", SCREENS)
def test_a_real_terminal(sandbox: CommandSandbox, width: int) -> None:
    sandbox.configure(server="ssh://convert@cloud-1.example.com:22")
    connecting = "Connecting to Zanbury Cloud..."
    plan = [["section", connecting, 0], ["section", COUNTDOWN, 0], ["wait"]]
    terminal = Terminal(width)
    with sandbox.running(
        "--retries", "2", "in.ofx", plan=plan, stdout=terminal.end, stderr=terminal.end
    ) as convert:
        lines = terminal.wait_for(lambda now: any("17 seconds" in line for line in now))
        assert [line for line in lines if "Connecting" not in line] == SCREENS[width]
        convert.send_signal(signal.SIGTERM)
        lines = terminal.wait_for(lambda now: any("Canceled." in line for line in now))
        assert lines[-1] == "Canceled. Nothing was converted."
        assert convert.wait(PATIENCE) == 143
