"""Reads what one conversation of the stand-in server left behind."""

from __future__ import annotations

import json
import time
from base64 import b64decode
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Callable

PATIENCE = 300.0  # seconds; who has waited for so long waits for what will never come
_POLL_SECONDS = 0.01


@dataclass(frozen=True)
class FrameRecord:
    """One message, seen by the server: direction is "received" or "sent"."""

    direction: str
    type: str
    length: int
    sha256: str | None
    body: bytes | None

    @property
    def dictionary(self) -> Any:
        """The body as JSON; an empty dictionary where there is no body."""
        return json.loads(self.body) if self.body else {}


@dataclass(frozen=True)
class ConnectionRecord:
    """The files of one conversation, which may still be going on."""

    directory: Path

    @property
    def argv(self) -> list[str]:
        """The server program's name and arguments."""
        return list(self._json("start.json")["argv"])

    @property
    def environment(self) -> dict[str, str]:
        """The server program's environment."""
        return dict(self._json("start.json")["environment"])

    @property
    def pid(self) -> int:
        """The server program's process."""
        return int(self._json("start.json")["pid"])

    @property
    def frames(self) -> list[FrameRecord]:
        """All messages so far, both directions."""
        complete_lines = self._bytes("frames.jsonl").split(b"\n")[:-1]
        return [_frame(json.loads(line)) for line in complete_lines]

    @property
    def received(self) -> list[FrameRecord]:
        """The client's messages."""
        return [frame for frame in self.frames if frame.direction == "received"]

    @property
    def sent(self) -> list[FrameRecord]:
        """The server's messages."""
        return [frame for frame in self.frames if frame.direction == "sent"]

    @property
    def types_received(self) -> list[str]:
        """The type names of the client's messages."""
        return [frame.type for frame in self.received]

    @property
    def client_handshake_body(self) -> bytes:
        """The body of the ClientHandshake as it came; FileNotFoundError where none did."""
        return (self.directory / "ClientHandshake.json").read_bytes()

    @property
    def client_handshake(self) -> dict[str, Any]:
        """The same as a dictionary, keys in the order of the wire."""
        return dict(json.loads(self.client_handshake_body))

    @property
    def secrets(self) -> dict[str, bytes]:
        """Keys and IVs by their names on the wire, decrypted."""
        return {name: b64decode(text) for name, text in self._json("secrets.json").items()}

    @property
    def input_archive_encrypted(self) -> bytes:
        """The InputArchive's body as it came."""
        return (self.directory / "InputArchive.zip-encrypted").read_bytes()

    @property
    def input_archive(self) -> bytes:
        """The zip that was in it."""
        return (self.directory / "InputArchive.zip").read_bytes()

    @property
    def output_archive(self) -> bytes:
        """The zip that was sent back, before encryption."""
        return (self.directory / "OutputArchive.zip").read_bytes()

    @property
    def forwarded(self) -> bytes:
        """What the client forwarded, decrypted and joined."""
        return self._bytes("forwarded.bin")

    @property
    def relayed(self) -> bytes:
        """What the server forwarded, before encryption and joined."""
        return self._bytes("relayed.bin")

    @property
    def error(self) -> Any:
        """The dictionary of the client's Error message, or None while there was none."""
        errors = [frame for frame in self.received if frame.type == "Error"]
        return errors[0].dictionary if errors else None

    @property
    def end(self) -> dict[str, Any]:
        """How it ended; FileNotFoundError while it goes on."""
        return dict(self._json("end.json"))

    @property
    def has_ended(self) -> bool:
        """Whether `end` can be read."""
        return (self.directory / "end.json").exists()

    def wait_for_end(self, timeout: float = PATIENCE) -> ConnectionRecord:
        """Returns itself once the conversation has ended; TimeoutError."""
        wait_until(lambda: self.has_ended, timeout, f"the end of {self.directory.name}")
        return self

    def wait_for_frame(
        self, type_name: str, direction: str = "received", timeout: float = PATIENCE
    ) -> FrameRecord:
        """The first message of that type, once it is there; TimeoutError."""

        def found() -> list[FrameRecord]:
            wanted = (direction, type_name)
            return [frame for frame in self.frames if (frame.direction, frame.type) == wanted]

        wait_until(lambda: bool(found()), timeout, f"{type_name} {direction}")
        return found()[0]

    def _json(self, name: str) -> Any:
        return json.loads((self.directory / name).read_bytes())

    def _bytes(self, name: str) -> bytes:
        path = self.directory / name
        return path.read_bytes() if path.exists() else b""


def wait_until(condition: Callable[[], bool], timeout: float, what: str) -> None:
    """Returns as soon as the condition holds; TimeoutError that names what was waited for."""
    deadline = time.monotonic() + timeout
    while not condition():
        if time.monotonic() > deadline:
            raise TimeoutError(f"waited {timeout} s for {what}")
        time.sleep(_POLL_SECONDS)


def _frame(note: dict[str, Any]) -> FrameRecord:
    body = b64decode(note["body"]) if "body" in note else None
    return FrameRecord(note["direction"], note["type"], note["length"], note.get("sha256"), body)
