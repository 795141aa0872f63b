"""A relay between ssh and sshd that passes their bytes on, and breaks their connection.

It sees what goes over the wire: encrypted packets, the key exchange before them included.
"""

from __future__ import annotations

import contextlib
import select
import socket
import struct
import threading
import time
from dataclasses import dataclass

TO_SERVER = "to the server"
TO_CLIENT = "to the client"
_PIECE = 65_536
_RESET = struct.pack("ii", 1, 0)  # SO_LINGER with no time: close becomes a reset
_ENDS_SECONDS = 60.0


@dataclass(frozen=True)
class Fault:
    """What happens to the first connection once so many bytes have gone in that direction."""

    direction: str
    after: int
    kind: str  # "cut", "reset" (a cut without a farewell), "stall" (nothing passes either way)


class Relay:
    """`with Relay(port) as relay:` listens on a port of its own and leads to that one.

    The first connection suffers the fault, all later ones pass. `bytes_per_second` slows every
    connection, both directions together. Nothing of it outlives the with-block.
    """

    def __init__(
        self, port: int, fault: Fault | None = None, bytes_per_second: int | None = None
    ) -> None:
        self.has_struck = threading.Event()  # the fault has come about
        self.released = threading.Event()  # a stall is over: what has waited goes on its way
        self.passed: list[dict[str, int]] = []  # bytes by direction, for each connection
        self.bytes_per_second = bytes_per_second
        self._fault = fault
        self._target = port
        self._closing = threading.Event()
        self._listener = socket.create_server(("127.0.0.1", 0))
        self.port = int(self._listener.getsockname()[1])
        self._threads = [threading.Thread(target=self._serve, name="relay", daemon=True)]

    def destination(self, user: str) -> str:
        """An entry of the destinations that leads through here."""
        return f"ssh://{user}@127.0.0.1:{self.port}"

    @property
    def is_closing(self) -> bool:
        """Whether the with-block has ended."""
        return self._closing.is_set()

    def __enter__(self) -> Relay:
        self._threads[0].start()
        return self

    def __exit__(self, *_: object) -> None:
        self._closing.set()
        self.released.set()
        for thread in self._threads:
            thread.join(_ENDS_SECONDS)
        self._listener.close()

    def _serve(self) -> None:
        fault = self._fault
        while not self.is_closing:
            if not _readable([self._listener]):
                continue
            client, _ = self._listener.accept()
            connection = _Connection(self, client, self._target, fault)
            fault = None
            thread = threading.Thread(target=connection.run, name="relayed", daemon=True)
            self._threads.append(thread)
            thread.start()


class _Connection:
    """One connection through the relay, both directions in one thread."""

    def __init__(self, relay: Relay, client: socket.socket, target: int, fault: Fault | None):
        self._relay = relay
        self._client = client
        self._server = socket.create_connection(("127.0.0.1", target))
        self._fault = fault
        self._passed = {TO_SERVER: 0, TO_CLIENT: 0}
        relay.passed.append(self._passed)

    def run(self) -> None:
        """Passes everything on until one side ends, and then ends both."""
        with self._client, self._server, contextlib.suppress(OSError):
            while not self._relay.is_closing:
                for source in _readable([self._client, self._server]):
                    data = source.recv(self._piece_size())
                    if not data or not self._pass(source, data):
                        return

    def _piece_size(self) -> int:
        pace = self._relay.bytes_per_second
        return max(1, pace // 10) if pace else _PIECE

    def _pass(self, source: socket.socket, data: bytes) -> bool:
        """False where that was the end of the connection."""
        from_client = source is self._client
        direction = TO_SERVER if from_client else TO_CLIENT
        sink = self._server if from_client else self._client
        fault = self._fault
        if fault and fault.direction == direction:
            room = fault.after - self._passed[direction]
            if len(data) >= room:
                self._send(sink, direction, data[:room])
                data = data[room:]
                self._fault = None
                if not self._suffer(fault):
                    return False
        self._send(sink, direction, data)
        return True

    def _suffer(self, fault: Fault) -> bool:
        """Lets the fault happen; whether the connection goes on afterwards."""
        self._relay.has_struck.set()
        if fault.kind == "stall":
            self._relay.released.wait()
            return True
        if fault.kind == "reset":
            for end in (self._client, self._server):
                end.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, _RESET)
        return False

    def _send(self, sink: socket.socket, direction: str, data: bytes) -> None:
        if self._relay.bytes_per_second:
            time.sleep(len(data) / self._relay.bytes_per_second)  # slowness is what is wanted here
        sink.sendall(data)
        self._passed[direction] += len(data)


def _readable(sockets: list[socket.socket]) -> list[socket.socket]:
    """Those of the sockets that can be read from, soon; none of them once in a while."""
    return select.select(sockets, [], [], 0.1)[0]
