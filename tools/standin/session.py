"""What one conversation knows, and the ways in which its stages and actions send and wait."""

from __future__ import annotations

import json
from collections import deque
from dataclasses import dataclass, field
from pathlib import Path
from typing import Any, Callable

from standin import crypto
from standin.body import Body, make_body
from standin.connection import Connection, Pacing
from standin.conversion import ConversionResult, SourceFile
from standin.ending import ConversationOver, Refused
from standin.framing import Frame, InvalidStream, header
from standin.keys import ServerKeys
from standin.recorder import Recorder


@dataclass
class ForwardedBytes:
    """What the client has forwarded, decrypted: `total` bytes, of which `unread` await an echo."""

    total: int = 0
    unread: deque[bytes] = field(default_factory=deque)


class Session:
    """The state of one conversation; the connection's reader thread and the script share it."""

    def __init__(self, keys: ServerKeys, recorder: Recorder, directory: Path) -> None:
        self.keys = keys
        self.recorder = recorder
        self.directory = directory
        self.secrets: crypto.Secrets | None = None
        self.source: SourceFile | None = None
        self.result: ConversionResult | None = None
        self.tool = ""
        self.forwarded = ForwardedBytes()
        self.has_client_error = False
        self.connection = Connection(0, 1, self._note_received)

    def body(self, definition: Any) -> Body:
        """The bytes that a script names."""
        return make_body(definition, self.secrets, self.directory)

    def send(
        self,
        type_name: str,
        body: Body = Body(),
        length: int | str | None = None,
        pacing: Pacing = Pacing(),
    ) -> None:
        """One frame; length is what the header announces, if not the truth."""
        self.recorder.sent(type_name, body)
        head = header(type_name, len(body) if length is None else length)
        self.connection.write(_with_head(head, body), pacing)

    def send_error(self, dictionary: dict[str, Any] | None, pacing: Pacing = Pacing()) -> None:
        """An Error message; without a body for None."""
        text = "" if dictionary is None else json.dumps(dictionary, separators=(",", ":"))
        self.send("Error", Body((text.encode("utf-8"),)), pacing=pacing)

    def forward(self, data: bytes, pacing: Pacing = Pacing()) -> None:
        """Relays bytes to the host, encrypted in one Forward message."""
        secrets = self.need_secrets()
        self.recorder.append("relayed.bin", data)
        body = crypto.encrypt(data, secrets.symmetric_key, secrets.forwarding_iv)
        self.send("Forward", Body((body,)), pacing=pacing)

    def need_secrets(self) -> crypto.Secrets:
        """The keys; a script that needs them before the ClientHandshake has failed."""
        if self.secrets is None:
            raise ConversationOver("failed", "the script needs the keys of a ClientHandshake", 1)
        return self.secrets

    def receive(self, type_name: str) -> Frame:
        """The client's next message, not counting what it forwards; it must be of that type."""
        self.wait(lambda: bool(self.connection.inbox))
        frame = self.connection.inbox.popleft()
        if type_name not in (frame.type, "any"):
            raise Refused("unexpected message", f"Did not expect {frame.type} but {type_name}")
        return frame

    def wait(self, condition: Callable[[], bool]) -> None:
        """Waits for the client; its Error message or the end of its stream end the conversation."""
        connection = self.connection
        connection.wait(lambda: condition() or self.has_client_error or connection.has_ended)
        if not condition() or self.has_client_error:
            self.end_of_client()

    def pause(self, seconds: float) -> None:
        """Lets time pass, while an Error message or the end of the client still end it."""
        connection = self.connection
        connection.wait(lambda: self.has_client_error or connection.client_has_closed, seconds)
        if self.has_client_error or connection.client_has_closed or connection.is_deserted:
            self.end_of_client()

    def end_of_client(self) -> None:
        """Reads to the end of the client's stream and ends the conversation as it says."""
        connection = self.connection
        connection.read_on()
        connection.wait(lambda: connection.has_ended)
        if self.has_client_error:
            raise ConversationOver("client error")
        if connection.broken is not None:
            raise Refused("invalid stream", connection.broken)
        raise ConversationOver("client closed")

    def heard_error_to_the_end(self) -> bool:
        """Whether an Error message has come by the end of what the script lets us read."""
        connection = self.connection
        connection.wait(lambda: connection.has_ended or not connection.may_read)
        return self.has_client_error

    def _note_received(self, frame: Frame) -> None:
        self.recorder.received(frame.type, frame.body)
        if frame.type == "Error":
            self.has_client_error = True
        if frame.type == "Forward" and frame.body:
            self._note_forwarded(frame.body)

    def _note_forwarded(self, body: bytes) -> None:
        secrets = self.secrets
        if secrets is None:
            raise InvalidStream("bytes were forwarded before the handshake")
        try:
            data = crypto.decrypt(body, secrets.symmetric_key, secrets.forwarding_iv)
        except ValueError as error:
            raise InvalidStream(f"a forwarded body does not decrypt: {error}") from error
        self.recorder.append("forwarded.bin", data)
        self.forwarded.total += len(data)
        self.forwarded.unread.append(data)


def _with_head(head: bytes, body: Body) -> Any:
    """Head and body, joined where the body is small: a real server sends those in one piece."""
    if len(body) <= 1 << 16:
        return [head + body.data()]
    return (block for part in ([head], body.blocks()) for block in part)
