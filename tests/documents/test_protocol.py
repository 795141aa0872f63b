"""PROTOCOL.md lists the recorded conversation, and another implementation than the program's
understands every byte of it. That the program says the same is proved in one process, in C++."""

from __future__ import annotations

import base64
import io
import json
import plistlib
import zipfile
from typing import Any

from cryptography.hazmat.primitives.serialization import load_der_private_key
from listing import BLOCK, PROTOCOL, frame_bytes, listings, record
from standin import crypto
from standin.framing import RAW_TYPES

RECORD = record()
FRAMES = RECORD["frames"]
SECRETS = {name: bytes.fromhex(value) for name, value in RECORD["secrets"].items()}


def body_of(number: int) -> bytes:
    return frame_bytes(FRAMES[number - 1]).partition(b"\n")[2]


def clear_of(number: int) -> bytes:
    """The decrypted body, which must be what the record says it is."""
    frame = FRAMES[number - 1]
    clear = crypto.decrypt(body_of(number), SECRETS["symmetricKey"], SECRETS[frame["iv"]])
    assert clear == frame_bytes(frame, "clear")
    return clear


def dictionary_of(number: int) -> dict[str, Any]:
    return json.loads(body_of(number))


def files_of(number: int) -> dict[str, bytes]:
    with zipfile.ZipFile(io.BytesIO(clear_of(number))) as archive:
        assert archive.testzip() is None
        return {name: archive.read(name) for name in archive.namelist()}


def test_the_document_lists_every_frame_as_it_is_recorded() -> None:
    blocks = {
        (kind, int(number)): text for kind, number, text in BLOCK.findall(PROTOCOL.read_text())
    }
    assert blocks == listings(FRAMES), "run tests/documents/listing.py --write"


def test_the_document_tells_every_secret() -> None:
    document = PROTOCOL.read_text()
    for name, value in RECORD["secrets"].items():
        assert f"| `{name}` | `{value}` |" in document


def test_the_frames_are_a_whole_conversation() -> None:
    assert [(frame["from"], frame["type"]) for frame in FRAMES] == [
        ("server", "ServerHello"),
        ("client", "ClientHandshake"),
        ("server", "ServerHandshake"),
        ("client", "InputArchive"),
        ("server", "InputArchiveAcknowledgement"),
        ("server", "ServerWillStartForwarding"),
        ("server", "Forward"),
        ("client", "Forward"),
        ("server", "ServerDidStopForwarding"),
        ("server", "OutputArchive"),
        ("client", "OutputArchiveAcknowledgement"),
    ]
    for frame in FRAMES:
        header, _, body = frame_bytes(frame).partition(b"\n")
        assert header.decode() == f"{RAW_TYPES[frame['type']]}{len(body)}"


def test_the_private_key_opens_the_clients_secrets() -> None:
    key = load_der_private_key(base64.b64decode(RECORD["privateKey"]), password=None)
    handshake = dictionary_of(2)
    for name in ("symmetricKey", "salt"):
        assert crypto.rsa_decrypt(handshake[name], key, 32, name) == SECRETS[name]
    for name in ("forwardingIV", "inputArchiveIV"):
        assert crypto.decoded(handshake[name], 16, name) == SECRETS[name]
    assert handshake["publicKey"] == RECORD["environment"]["EXPORT_PUBLIC_KEY"]


def test_the_server_proves_itself_with_the_salt() -> None:
    handshake = dictionary_of(3)
    salt = crypto.decoded(handshake["salt"], 48, "salt")
    assert crypto.decrypt(salt, SECRETS["symmetricKey"], SECRETS["saltIV"]) == SECRETS["salt"]
    for name in ("saltIV", "outputArchiveIV"):
        assert crypto.decoded(handshake[name], 16, name) == SECRETS[name]


def test_the_archives_hold_what_the_document_says() -> None:
    assert files_of(4) == {"InputArchive/": b"", "InputArchive/march.ofx": b"<OFX/>\n"}
    result = files_of(10)
    assert plistlib.loads(result.pop("OutputArchive/Result.plist")) == {
        "destFileName": "march.csv",
        "toolExitCode": 0,
    }
    assert result == {
        "OutputArchive/march.csv": b"Date,Amount\n",
        "OutputArchive/Logs/tool.log": b"done\n",
    }


def test_the_forwarded_bytes_are_a_message_and_an_answer() -> None:
    length, _, text = clear_of(7).partition(b"\n")
    assert int(length) == len(text)
    assert plistlib.loads(text) == {
        "messageType": "progressSection",
        "progressTitle": "Converting...",
    }
    assert clear_of(8) == b"stop\n"
