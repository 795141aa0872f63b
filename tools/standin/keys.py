"""The key pairs of the stand-in: the server's RSA pair and the ed25519 pairs that ssh wants."""

from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path

from cryptography.hazmat.primitives import serialization
from cryptography.hazmat.primitives.asymmetric import ed25519, rsa

_NO_PASSWORD = serialization.NoEncryption()


@dataclass(frozen=True)
class ServerKeys:
    """The conversion server's RSA key pair, and its public half as the host passes it."""

    private_key: rsa.RSAPrivateKey

    @classmethod
    def generate(cls, bits: int = 2048) -> ServerKeys:
        """A new pair; takes about a tenth of a second, so share one among tests."""
        return cls(rsa.generate_private_key(public_exponent=65537, key_size=bits))

    @classmethod
    def load(cls, path: Path) -> ServerKeys:
        """The pair whose private half `save` wrote; ValueError where the file holds no RSA key."""
        key = serialization.load_pem_private_key(path.read_bytes(), password=None)
        if not isinstance(key, rsa.RSAPrivateKey):
            raise ValueError(f"{path} holds no RSA private key")
        return cls(key)

    def save(self, path: Path) -> None:
        """Writes the private half as PEM (PKCS #8), readable by its owner only."""
        encoding, form = serialization.Encoding.PEM, serialization.PrivateFormat.PKCS8
        path.touch(mode=0o600)
        path.write_bytes(self.private_key.private_bytes(encoding, form, _NO_PASSWORD))

    @property
    def public_key_text(self) -> str:
        """EXPORT_PUBLIC_KEY: the base64 lines of the X.509 SubjectPublicKeyInfo, without markers."""
        lines = self.public_key_pem.splitlines(keepends=True)
        return "".join(line for line in lines if not line.startswith("-"))

    @property
    def public_key_pem(self) -> str:
        """The same key as a whole PEM block with its BEGIN and END lines."""
        return self._public_text(serialization.PublicFormat.SubjectPublicKeyInfo)

    @property
    def public_key_pkcs1_pem(self) -> str:
        """The same key in the older PKCS #1 structure (RSAPublicKey), as a whole PEM block."""
        return self._public_text(serialization.PublicFormat.PKCS1)

    def _public_text(self, form: serialization.PublicFormat) -> str:
        public_key = self.private_key.public_key()
        return public_key.public_bytes(serialization.Encoding.PEM, form).decode("ascii")


@dataclass(frozen=True)
class SshKeyPair:
    """An ed25519 pair in OpenSSH's text forms; both texts end in a line feed."""

    private_text: str
    public_text: str

    @classmethod
    def generate(cls) -> SshKeyPair:
        """A new pair without a passphrase."""
        key = ed25519.Ed25519PrivateKey.generate()
        openssh = serialization.PrivateFormat.OpenSSH
        private = key.private_bytes(serialization.Encoding.PEM, openssh, _NO_PASSWORD)
        public = key.public_key().public_bytes(
            serialization.Encoding.OpenSSH, serialization.PublicFormat.OpenSSH
        )
        return cls(private.decode("ascii"), public.decode("ascii") + "\n")
