"""The two handshakes: reading the client's secrets, and proving to it that we could.

The proof is the client's salt, encrypted again under the session key that came with it.
"""

from __future__ import annotations

import json
import os
from typing import Any, Callable

from standin import crypto
from standin.body import Body
from standin.ending import Refused
from standin.session import Session

Options = dict[str, Any]
LARGEST_INPUT_ARCHIVE = 999_999_999  # bytes; the longest body that a nine-digit header announces


def read_client_handshake(session: Session) -> None:
    """Receives it and keeps what it says; the client is refused where keys or IVs are missing."""
    frame = session.receive("ClientHandshake")
    session.recorder.write("ClientHandshake.json", frame.body)
    try:
        values = json.loads(frame.body)
        session.tool = str(values.get("toolName", ""))
        session.secrets = _secrets(values, session)
    except (ValueError, AttributeError) as error:
        raise Refused("refused", f"Could not read the handshake: {error}") from error
    _record_secrets(session)


def _secrets(values: dict[str, Any], session: Session) -> crypto.Secrets:
    key = session.keys.private_key

    def secret(name: str, length: int) -> bytes:
        return crypto.rsa_decrypt(values.get(name), key, length, name)

    def iv(name: str) -> bytes:
        return crypto.decoded(values.get(name), crypto.BLOCK_BYTES, name)

    return crypto.Secrets(
        symmetric_key=secret("symmetricKey", crypto.KEY_BYTES),
        salt=secret("salt", crypto.SALT_BYTES),
        forwarding_iv=iv("forwardingIV"),
        input_archive_iv=iv("inputArchiveIV"),
        output_archive_iv=os.urandom(crypto.BLOCK_BYTES),
    )


def _record_secrets(session: Session) -> None:
    text = json.dumps(session.need_secrets().as_text())
    session.recorder.write("secrets.json", text.encode("ascii"))


def server_handshake_body(session: Session, options: Options) -> Body:
    """What answers the client; nothing at all where there was no ClientHandshake to answer."""
    if session.secrets is None:
        return Body()
    values = _handshake_values(session, session.secrets, options)
    pairs = [*values.items(), *((key, value) for key, value in options.get("append", []))]
    announced = {key: value for key, value in pairs}
    _take_output_iv(session, announced.get("outputArchiveIV"))
    text = ",".join(f"{json.dumps(key)}:{json.dumps(value)}" for key, value in pairs)
    return Body((f"{{{text}}}".encode("ascii"),))


def _handshake_values(session: Session, secrets: crypto.Secrets, options: Options) -> Options:
    salt_iv = os.urandom(crypto.BLOCK_BYTES)
    values: Options = {"saltIV": crypto.encoded(salt_iv)}
    salt = _SALTS[options.get("salt", "right")](secrets.salt)
    if salt is not None:
        values["salt"] = crypto.encoded(crypto.encrypt(salt, secrets.symmetric_key, salt_iv))
    if options.get("redirect") is not None:
        iv, destinations = os.urandom(crypto.BLOCK_BYTES), session.body(options["redirect"]).data()
        values["redirectDestinationsIV"] = crypto.encoded(iv)
        encrypted = crypto.encrypt(destinations, secrets.symmetric_key, iv)
        values["redirectDestinations"] = crypto.encoded(encrypted)
    values["maxInputArchiveSize"] = LARGEST_INPUT_ARCHIVE
    values["outputArchiveIV"] = crypto.encoded(secrets.output_archive_iv)
    values.update(options.get("set", {}))
    omitted = options.get("omit", [])
    return {key: value for key, value in values.items() if key not in omitted}


_SALTS: dict[str, Callable[[bytes], bytes | None]] = {
    "right": lambda salt: salt,
    "one bit off": lambda salt: salt[:-1] + bytes([salt[-1] ^ 1]),
    "empty": lambda salt: b"",
    "short": lambda salt: salt[:-1],
    "absent": lambda salt: None,
}


def _take_output_iv(session: Session, announced: Any) -> None:
    """Encrypts the output archive as announced; without a usable IV both sides take zeros."""
    try:
        iv = crypto.decoded(announced, crypto.BLOCK_BYTES, "outputArchiveIV")
    except ValueError:
        iv = crypto.NO_IV
    session.need_secrets().output_archive_iv = iv
    _record_secrets(session)
