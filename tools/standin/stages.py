"""The stages of a conversation as they normally go, with the options that change what they send.

A stage is a function of the session and its options; the script's words are checked beforehand.
"""

from __future__ import annotations

from typing import Any, Callable

from standin import archive, crypto
from standin.body import Body
from standin.connection import Pacing
from standin.conversion import Conversion
from standin.ending import Refused
from standin.handshake import read_client_handshake, server_handshake_body
from standin.result import result_zip
from standin.session import Session

Options = dict[str, Any]


def pacing(options: Options) -> Pacing:
    """How the bytes of an action or stage leave."""
    chunks = options.get("chunks")
    return Pacing(tuple(chunks) if isinstance(chunks, list) else chunks, options.get("rate"))


def _send(session: Session, type_name: str, body: Body, options: Options) -> None:
    if "body" in options:
        body = session.body(options["body"])
    for _ in range(options.get("repeat", 1)):
        kind, length = options.get("type", type_name), options.get("length")
        session.send(kind, body, length, pacing(options))


def _sender(type_name: str) -> Callable[[Session, Options], None]:
    return lambda session, options: _send(session, type_name, Body(), options)


def _client_handshake(session: Session, _options: Options) -> None:
    read_client_handshake(session)


def _server_handshake(session: Session, options: Options) -> None:
    _send(session, "ServerHandshake", server_handshake_body(session, options), options)


def _input_archive(session: Session, _options: Options) -> None:
    encrypted = session.receive("InputArchive").body
    session.recorder.write("InputArchive.zip-encrypted", encrypted)
    secrets = session.need_secrets()
    try:
        zipped = crypto.decrypt(encrypted, secrets.symmetric_key, secrets.input_archive_iv)
        session.recorder.write("InputArchive.zip", zipped)
        session.source = archive.unpack(zipped)
    except (ValueError, archive.ArchiveError) as error:
        raise Refused("refused", f"Could not read the input archive: {error}") from error


def _conversion(session: Session, options: Options) -> None:
    relay = _Relay(session, options)
    before_each = lambda: session.pause(options.get("pace", 0))
    session.result = Conversion(relay.take, before_each).run(session.tool, session.source)
    relay.flush()


class _Relay:
    """Forwards the tool's messages one by one, or their stream cut into equal pieces."""

    def __init__(self, session: Session, options: Options) -> None:
        self._session = session
        self._silent = options.get("silent", False)
        self._size = options.get("chunkBytes")
        self._held = b""

    def take(self, message: bytes) -> None:
        self._session.pause(0)
        if self._silent:
            return
        if self._size is None:
            self._session.forward(message)
            return
        self._held += message
        while len(self._held) >= self._size:
            self._session.forward(self._held[: self._size])
            self._held = self._held[self._size :]

    def flush(self) -> None:
        if self._held:
            self._session.forward(self._held)


def _output_archive(session: Session, options: Options) -> None:
    if "body" in options:
        _send(session, "OutputArchive", Body(), options)
        return
    secrets = session.need_secrets()
    zipped = result_zip(session, options)
    session.recorder.write("OutputArchive.zip", zipped)
    wrong = options.get("padding") == "wrong"
    encrypt = crypto.encrypt_with_wrong_padding if wrong else crypto.encrypt
    encrypted = encrypt(zipped, secrets.symmetric_key, secrets.output_archive_iv)
    _send(session, "OutputArchive", Body((encrypted,)), options)


def _output_archive_acknowledgement(session: Session, _options: Options) -> None:
    session.receive("OutputArchiveAcknowledgement")


def _end(session: Session, _options: Options) -> None:
    session.end_of_client()


STAGE_FUNCTIONS: dict[str, Callable[[Session, Options], None]] = {
    "ServerHello": _sender("ServerHello"),
    "ClientHandshake": _client_handshake,
    "ServerHandshake": _server_handshake,
    "InputArchive": _input_archive,
    "InputArchiveAcknowledgement": _sender("InputArchiveAcknowledgement"),
    "ServerWillStartForwarding": _sender("ServerWillStartForwarding"),
    "Conversion": _conversion,
    "ServerDidStopForwarding": _sender("ServerDidStopForwarding"),
    "OutputArchive": _output_archive,
    "OutputArchiveAcknowledgement": _output_archive_acknowledgement,
    "End": _end,
}
