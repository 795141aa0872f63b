"""The ciphers of a conversation: AES-256-CBC with PKCS #7 padding, RSA with PKCS #1 v1.5 padding.

Standards: FIPS 197, SP 800-38A, RFC 5652 section 6.3, RFC 8017 section 7.2.
"""

from __future__ import annotations

from base64 import b64decode, b64encode
from dataclasses import dataclass

from cryptography.hazmat.primitives import padding
from cryptography.hazmat.primitives.asymmetric import padding as rsa_padding
from cryptography.hazmat.primitives.asymmetric import rsa
from cryptography.hazmat.primitives.ciphers import Cipher, CipherContext, algorithms, modes

BLOCK_BYTES = 16
KEY_BYTES = 32
SALT_BYTES = 32
NO_IV = bytes(BLOCK_BYTES)
_BLOCK_BITS = 8 * BLOCK_BYTES


@dataclass
class Secrets:
    """What both sides know once the ClientHandshake has been read."""

    symmetric_key: bytes
    salt: bytes
    forwarding_iv: bytes
    input_archive_iv: bytes
    output_archive_iv: bytes = NO_IV

    def as_text(self) -> dict[str, str]:
        """The values under their names on the wire, in base64."""
        return {
            "symmetricKey": encoded(self.symmetric_key),
            "salt": encoded(self.salt),
            "forwardingIV": encoded(self.forwarding_iv),
            "inputArchiveIV": encoded(self.input_archive_iv),
            "outputArchiveIV": encoded(self.output_archive_iv),
        }


def encoded(data: bytes) -> str:
    """Base64 on one line, as dictionaries carry bytes."""
    return b64encode(data).decode("ascii")


def decoded(text: object, length: int, name: str) -> bytes:
    """The bytes behind a dictionary value; ValueError where it is not base64 of that length."""
    if not isinstance(text, str):
        raise ValueError(f'"{name}" is missing')
    data = b64decode(text, validate=True)
    if len(data) != length:
        raise ValueError(f'"{name}" has {len(data)} bytes instead of {length}')
    return data


def encrypt(data: bytes, key: bytes, iv: bytes) -> bytes:
    """AES-256-CBC of the padded data."""
    padder = padding.PKCS7(_BLOCK_BITS).padder()
    return _encrypt_blocks(padder.update(data) + padder.finalize(), key, iv)


def encrypt_with_wrong_padding(data: bytes, key: bytes, iv: bytes) -> bytes:
    """The same, but ending in a zero byte, which no padding ends in."""
    zeros = bytes(BLOCK_BYTES - len(data) % BLOCK_BYTES)
    return _encrypt_blocks(data + zeros, key, iv)


def decrypt(data: bytes, key: bytes, iv: bytes) -> bytes:
    """The plaintext; ValueError where length or padding are wrong."""
    decryptor = Cipher(algorithms.AES(key), modes.CBC(iv)).decryptor()
    unpadder = padding.PKCS7(_BLOCK_BITS).unpadder()
    padded = decryptor.update(data) + decryptor.finalize()
    return unpadder.update(padded) + unpadder.finalize()


def rsa_decrypt(text: object, key: rsa.RSAPrivateKey, length: int, name: str) -> bytes:
    """The secret under a base64 RSA ciphertext; ValueError where there is none of that length."""
    ciphertext = decoded(text, key.key_size // 8, name)
    secret = key.decrypt(ciphertext, rsa_padding.PKCS1v15())
    if len(secret) != length:
        raise ValueError(f'"{name}" decrypts to {len(secret)} bytes instead of {length}')
    return secret


def encryptor(key: bytes, iv: bytes) -> CipherContext:
    """AES-256-CBC for whole blocks, as many at a time as wanted; the caller pads the last one."""
    return Cipher(algorithms.AES(key), modes.CBC(iv)).encryptor()


def _encrypt_blocks(data: bytes, key: bytes, iv: bytes) -> bytes:
    blocks = encryptor(key, iv)
    return blocks.update(data) + blocks.finalize()
