"""Stands in the server's place, starts it, and loses the connection inside one of the frames.

    frame_cutter.py DIRECTION TYPE PLACE MARK COMMAND server

passes all on between sshd and COMMAND until the first frame of that TYPE (its character) comes in
that DIRECTION ("to the server", "to the client"). Of this one it passes what comes before the PLACE
(see `places`), and kills the sshd that it is a child of. It does so once: MARK is a file that does
not exist before. Run by the system's Python without any package (-IS), as its start costs time.
"""

from __future__ import annotations

import fcntl
import os
import signal
import struct
import subprocess
import sys
import termios
import threading
import time
from typing import BinaryIO

_PIECE = 65_536


def places(header: bytes, body: bytes) -> dict[str, int]:
    """How many bytes of a frame are passed on, by the name of the place."""
    return {
        "before it": 0,
        "behind its type": 1,
        "behind its length": len(header) - 1,
        "behind its header": len(header),
        "inside its body": len(header) + len(body) // 2,
        "before its last byte": len(header) + len(body) - 1,
    }


def main() -> None:
    """See above."""
    direction, kind, place, mark, *command = sys.argv[1:]
    server = subprocess.Popen(command, stdin=subprocess.PIPE, stdout=subprocess.PIPE)
    assert server.stdin is not None and server.stdout is not None
    here = (sys.stdin.buffer, server.stdin)
    there = (server.stdout, sys.stdout.buffer)
    cut, passed = (here, there) if direction == "to the server" else (there, here)
    if os.path.exists(mark):
        threading.Thread(target=_pass_bytes, args=here, daemon=True).start()
        _pass_bytes(*there)
        return
    threading.Thread(target=_pass_bytes, args=passed, daemon=True).start()
    _pass_frames(*cut, kind.encode(), place)
    open(mark, "xb").close()
    os.kill(_sshd(), signal.SIGKILL)


def _pass_bytes(source: BinaryIO, sink: BinaryIO) -> None:
    while data := os.read(source.fileno(), _PIECE):
        sink.write(data)
        sink.flush()
    sink.close()


def _pass_frames(source: BinaryIO, sink: BinaryIO, kind: bytes, place: str) -> None:
    """Returns when part of a frame of that type has been passed, and has gone on its way."""
    while header := source.readline():
        body = source.read(int(header[1:]))
        frame = header + body
        is_last = header[:1] == kind
        sink.write(frame[: places(header, body)[place]] if is_last else frame)
        sink.flush()
        if is_last:
            _wait_until_taken(sink)
            return


def _wait_until_taken(sink: BinaryIO) -> None:
    """Returns when the reader has taken all and sleeps again, so that it has sent all, too."""
    sshd = _sshd()
    while _waiting_in(sink) > 0 or _state(sshd)[0] != "S":
        time.sleep(0.002)


def _waiting_in(sink: BinaryIO) -> int:
    try:
        return int(struct.unpack("i", fcntl.ioctl(sink, termios.TIOCOUTQ, bytes(4)))[0])
    except OSError:  # a pipe, which tells both its ends what it holds
        return int(struct.unpack("i", fcntl.ioctl(sink, termios.FIONREAD, bytes(4)))[0])


def _sshd() -> int:
    """The process of sshd that serves this connection."""
    pid = os.getppid()
    while not _name(pid).startswith("sshd"):
        pid = int(_state(pid)[1])
    return pid


def _name(pid: int) -> str:
    with open(f"/proc/{pid}/comm", encoding="utf-8") as file:
        return file.read()


def _state(pid: int) -> list[str]:
    """The state's letter, the parent and so on."""
    with open(f"/proc/{pid}/stat", encoding="utf-8") as file:
        return file.read().rpartition(")")[2].split()


if __name__ == "__main__":
    main()
