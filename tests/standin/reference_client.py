"""A client of the conversion server for its tests: small, straight-line, with its own framing.

It plays the proxy's part over the pipes of a child process, which is the server or an ssh to it.
"""

from __future__ import annotations

import io
import json
import os
import plistlib
import subprocess
import zipfile
from base64 import b64decode, b64encode
from dataclasses import dataclass, field
from typing import Any, cast

from cryptography.hazmat.primitives import serialization
from cryptography.hazmat.primitives.asymmetric import padding as rsa_padding
from cryptography.hazmat.primitives.ciphers import Cipher, algorithms, modes

TYPES = "!hcsiI[f]oO"
NAMES = (
    "Error ServerHello ClientHandshake ServerHandshake InputArchive InputArchiveAcknowledgement "
    "ServerWillStartForwarding Forward ServerDidStopForwarding OutputArchive "
    "OutputArchiveAcknowledgement"
).split()
END = ("end", b"")


def aes(data: bytes, key: bytes, iv: bytes) -> bytes:
    """AES-256-CBC with PKCS #7 padding."""
    fill = 16 - len(data) % 16
    encryptor = Cipher(algorithms.AES(key), modes.CBC(iv)).encryptor()
    return encryptor.update(data + bytes([fill]) * fill) + encryptor.finalize()


def padded_plaintext(data: bytes, key: bytes, iv: bytes) -> bytes:
    """The decrypted blocks with whatever padding they have."""
    decryptor = Cipher(algorithms.AES(key), modes.CBC(iv)).decryptor()
    return decryptor.update(data) + decryptor.finalize()


def plaintext(data: bytes, key: bytes, iv: bytes) -> bytes:
    """The decrypted bytes; AssertionError where the padding is wrong."""
    padded = padded_plaintext(data, key, iv)
    fill = padded[-1]
    assert 1 <= fill <= 16 and padded.endswith(bytes([fill]) * fill), "wrong padding"
    return padded[:-fill]


def input_zip(name: str, data: bytes) -> bytes:
    """The archive that a client uploads."""
    buffer = io.BytesIO()
    with zipfile.ZipFile(buffer, "w") as archive:
        archive.writestr("InputArchive/", b"")
        archive.writestr(f"InputArchive/{name}", data)
    return buffer.getvalue()


@dataclass
class ReferenceClient:
    """One conversation; `receive` gives (type name, body), and END at the end of the stream."""

    command: list[str]
    public_key: str
    key: bytes = field(default_factory=lambda: os.urandom(32))
    salt: bytes = field(default_factory=lambda: os.urandom(32))
    forwarding_iv: bytes = field(default_factory=lambda: os.urandom(16))
    input_iv: bytes = field(default_factory=lambda: os.urandom(16))
    handshake: dict[str, Any] = field(default_factory=dict)

    def __enter__(self) -> ReferenceClient:
        pipe = subprocess.PIPE
        nothing: dict[str, str] = {}
        self.process = subprocess.Popen(
            self.command, stdin=pipe, stdout=pipe, env=nothing, bufsize=0
        )
        self.sink = cast(io.FileIO, self.process.stdin)
        self.raw_source = cast(io.FileIO, self.process.stdout)
        self.source = io.BufferedReader(self.raw_source)
        return self

    def __exit__(self, *_: object) -> None:
        self.hang_up()
        self.process.kill()
        self.process.wait()

    def hang_up(self) -> None:
        """Closes both streams, as a client that ends."""
        self.sink.close()
        self.source.close()

    def send(self, name: str, body: bytes = b"") -> None:
        """One frame."""
        data = b"%s%d\n%s" % (TYPES[NAMES.index(name)].encode(), len(body), body)
        while data:
            data = data[self.sink.write(data) :]

    def receive(self) -> tuple[str, bytes]:
        """The next frame."""
        raw = self.source.read(1)
        if not raw:
            return END
        length = int(self.source.readline())
        body = self.source.read(length)
        assert len(body) == length, "the stream ends within a frame"
        return NAMES[TYPES.index(raw.decode())], body

    def receive_all(self) -> list[tuple[str, bytes]]:
        """Everything to the end of the stream."""
        return list(iter(self.receive, END))

    def expect(self, name: str) -> bytes:
        """The body of the next frame, which has that type."""
        received, body = self.receive()
        assert received == name, (received, body)
        return body

    def forward(self, data: bytes) -> None:
        """What the host sends to the tool."""
        self.send("Forward", aes(data, self.key, self.forwarding_iv))

    def expect_forward(self) -> bytes:
        """What the tool sends to the host."""
        return plaintext(self.expect("Forward"), self.key, self.forwarding_iv)

    def send_handshake(self, **changes: str) -> None:
        """The ClientHandshake, with some values replaced."""
        text = "".join(line for line in self.public_key.splitlines() if line[:1] != "-")
        public_key: Any = serialization.load_der_public_key(b64decode(text))

        def protected(data: bytes) -> str:
            return b64encode(public_key.encrypt(data, rsa_padding.PKCS1v15())).decode()

        values = {
            "toolName": "StatementConverter",
            "toolVersion": "3.1",
            "publicKey": self.public_key,
            "symmetricKey": protected(self.key),
            "forwardingIV": b64encode(self.forwarding_iv).decode(),
            "inputArchiveIV": b64encode(self.input_iv).decode(),
            "salt": protected(self.salt),
        }
        self.send("ClientHandshake", json.dumps({**values, **changes}).encode())

    def shake_hands(self) -> dict[str, Any]:
        """From the hello to the ServerHandshake, which is checked and kept."""
        self.expect("ServerHello")
        self.send_handshake()
        self.handshake = json.loads(self.expect("ServerHandshake"))
        return self.handshake

    def returned_salt(self) -> bytes:
        """The salt in the ServerHandshake."""
        return self.handshake_secret("salt", "saltIV")

    def handshake_secret(self, name: str, iv_name: str) -> bytes:
        """An encrypted value of the ServerHandshake."""
        iv = b64decode(self.handshake[iv_name])
        return plaintext(b64decode(self.handshake[name]), self.key, iv)

    def upload(self, data: bytes, name: str = "statement.ofx") -> None:
        """Sends the file and takes the acknowledgement and the start of forwarding."""
        self.send("InputArchive", aes(input_zip(name, data), self.key, self.input_iv))
        assert self.expect("InputArchiveAcknowledgement") == b""
        assert self.expect("ServerWillStartForwarding") == b""

    def messages_to_the_end_of_forwarding(self) -> bytes:
        """All forwarded bytes, joined."""
        relayed = b""
        while True:
            name, body = self.receive()
            if name == "ServerDidStopForwarding":
                return relayed
            assert name == "Forward"
            relayed += plaintext(body, self.key, self.forwarding_iv)

    def output_iv(self) -> bytes:
        """The IV of the output archive; zeros where the server announced none."""
        return b64decode(self.handshake.get("outputArchiveIV") or "") or bytes(16)

    def receive_result(self) -> zipfile.ZipFile:
        """Takes and acknowledges the OutputArchive."""
        body = self.expect("OutputArchive")
        self.send("OutputArchiveAcknowledgement")
        return zipfile.ZipFile(io.BytesIO(plaintext(body, self.key, self.output_iv())))

    def convert(self, data: bytes, name: str = "statement.ofx") -> zipfile.ZipFile:
        """A whole conversation up to the result."""
        self.shake_hands()
        assert self.returned_salt() == self.salt
        self.upload(data, name)
        self.messages_to_the_end_of_forwarding()
        return self.receive_result()


def result_plist(archive: zipfile.ZipFile) -> dict[str, Any]:
    """The archive's result description."""
    return dict(plistlib.loads(archive.read("OutputArchive/Result.plist")))


def host_messages(stream: bytes) -> list[dict[str, Any]]:
    """The messages in what the host would read; AssertionError where they do not add up."""
    messages = []
    while stream:
        digits, _, rest = stream.partition(b"\n")
        body, stream = rest[: int(digits)], rest[int(digits) :]
        assert len(body) == int(digits)
        messages.append(plistlib.loads(body))
    return messages
