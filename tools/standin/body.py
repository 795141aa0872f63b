"""The bytes that a script names: text, or one of the forms in BODY_FORMS."""

from __future__ import annotations

import json
import plistlib
from base64 import b64decode
from dataclasses import dataclass
from pathlib import Path
from typing import Any, Callable, Iterator

from standin import crypto, progress
from standin.script_validation import ScriptError, check_keys, check_value

# The word that marks each form, and the words that may stand beside it.
BODY_FORMS: dict[str, set[str]] = {
    "hex": set(),
    "base64": set(),
    "json": set(),
    "file": set(),
    "fill": {"byte"},
    "plist": {"format"},
    "progressSection": {"maximum"},
    "progressStatus": set(),
    "join": set(),
    "encrypted": {"iv", "padding"},
}
_FILL_BLOCK = 1 << 20


@dataclass(frozen=True)
class Fill:
    """A run of equal bytes that is never held in memory as a whole."""

    length: int
    byte: int

    def __len__(self) -> int:
        return self.length

    def blocks(self) -> Iterator[bytes]:
        """The run in pieces of at most 1 MiB."""
        block = bytes([self.byte]) * min(_FILL_BLOCK, self.length)
        for _ in range(self.length // _FILL_BLOCK):
            yield block
        yield block[: self.length % _FILL_BLOCK]


@dataclass(frozen=True)
class Body:
    """Bytes to send, in parts."""

    parts: tuple[bytes | Fill, ...] = ()

    def __len__(self) -> int:
        return sum(len(part) for part in self.parts)

    def blocks(self) -> Iterator[bytes]:
        """The bytes in pieces."""
        for part in self.parts:
            if isinstance(part, Fill):
                yield from part.blocks()
            else:
                yield part

    def data(self) -> bytes:
        """All of it at once."""
        return b"".join(self.blocks())


def check_body(definition: Any, where: str) -> None:
    """ScriptError where the definition is not a body."""
    if isinstance(definition, str):
        return
    form = check_keys(definition, BODY_FORMS, where)
    if form in ("hex", "base64"):
        _check_decodable(definition[form], form, where)
    elif form == "join":
        for number, part in enumerate(check_value(definition[form], list, where)):
            check_body(part, f"{where}.join[{number}]")
    elif form == "encrypted":
        check_body(definition[form], f"{where}.encrypted")
    elif form in ("fill", "progressStatus"):
        check_value(definition[form], int, where)


def make_body(definition: Any, secrets: crypto.Secrets | None, directory: Path) -> Body:
    """The body that a checked definition names; ScriptError where it needs a key that nobody sent.

    directory is where the names of files begin.
    """
    if isinstance(definition, str):
        return Body((definition.encode("utf-8"),))
    form = next(word for word in definition if word in BODY_FORMS)
    if form == "fill":
        return Body((Fill(definition["fill"], definition.get("byte", 0)),))
    if form == "join":
        parts = (make_body(part, secrets, directory).parts for part in definition["join"])
        return Body(tuple(piece for part in parts for piece in part))
    if form == "encrypted":
        return Body((_encrypted(definition, secrets, directory),))
    if form == "file":
        return Body(((directory / definition["file"]).read_bytes(),))
    return Body((_SIMPLE_FORMS[form](definition),))


def _encrypted(
    definition: dict[str, Any], secrets: crypto.Secrets | None, directory: Path
) -> bytes:
    if secrets is None:
        raise ScriptError("nothing can be encrypted before the ClientHandshake")
    ivs = {"forwardingIV": secrets.forwarding_iv, "outputArchiveIV": secrets.output_archive_iv}
    iv = ivs[definition.get("iv", "forwardingIV")]
    wrong = definition.get("padding") == "wrong"
    encrypt = crypto.encrypt_with_wrong_padding if wrong else crypto.encrypt
    plaintext = make_body(definition["encrypted"], secrets, directory).data()
    return encrypt(plaintext, secrets.symmetric_key, iv)


def _plist(definition: dict[str, Any]) -> bytes:
    binary = definition.get("format") == "binary"
    return plistlib.dumps(
        definition["plist"], fmt=plistlib.FMT_BINARY if binary else plistlib.FMT_XML
    )


_SIMPLE_FORMS: dict[str, Callable[[dict[str, Any]], bytes]] = {
    "hex": lambda definition: bytes.fromhex(definition["hex"]),
    "base64": lambda definition: b64decode(definition["base64"], validate=True),
    "json": lambda definition: json.dumps(definition["json"], separators=(",", ":")).encode(
        "utf-8"
    ),
    "plist": _plist,
    "progressSection": lambda definition: progress.section(
        definition["progressSection"], definition.get("maximum", 0)
    ),
    "progressStatus": lambda definition: progress.status(definition["progressStatus"]),
}


def _check_decodable(text: Any, form: str, where: str) -> None:
    try:
        _SIMPLE_FORMS[form]({form: check_value(text, str, where)})
    except ValueError as error:
        raise ScriptError(f"{where}: no {form}: {error}") from error
