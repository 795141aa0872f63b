"""The two keys, checked before anything is started, and given as the texts that the program takes.

A private key is judged by ssh-keygen, which belongs to the ssh that will use it.
"""

from __future__ import annotations

import base64
import binascii
import os
import re
import subprocess
from pathlib import Path

from cryptography.exceptions import UnsupportedAlgorithm
from cryptography.hazmat.primitives.asymmetric.rsa import RSAPublicKey
from cryptography.hazmat.primitives.serialization import load_der_public_key

from .codes import Code
from .ending import Problem
from .printable import printable

_LARGEST = 100_000  # bytes; an environment variable holds little more
_KEYGEN = "/usr/bin/ssh-keygen"


def private_key_text(file: Path) -> str:
    """The text of a key that ssh can use without asking; Problem says what is wrong with it."""
    text = _text(file, Code.PRIVATE_KEY, "private key")
    _check_owner_only(file)
    if re.match(r"(ssh|ecdsa|sk-ssh|sk-ecdsa)-\S+ |---- BEGIN SSH2 PUBLIC", text):
        raise _useless(
            file, "is a public key", "Name the private half, usually the file without .pub."
        )
    if "-----BEGIN" not in text:
        raise _useless(file, "is not a private key", "Make one: ssh-keygen -t ed25519 -f FILE")
    # ssh does not read a key whose last line has no end.
    text = text if text.endswith("\n") else text + "\n"
    _check_usable(file, text)
    return text


def _useless(file: Path, what: str, advice: str) -> Problem:
    return Problem(Code.PRIVATE_KEY, f"The private key {_name(file)} {what}.", advice)


def _check_owner_only(file: Path) -> None:
    status = file.stat()
    if status.st_uid == os.getuid() and status.st_mode & 0o077 and file.is_file():
        what = f"may be used by others (its mode is {status.st_mode & 0o777:04o})"
        raise _useless(file, what, f"Protect it: chmod 600 {_name(file)}")


def _check_usable(file: Path, text: str) -> None:
    said = _words_of_keygen(text)
    if "passphrase" in said:
        raise _useless(
            file,
            "is protected by a passphrase, and nobody is there to be asked for it",
            "Use a separate key without one (ssh-keygen -t ed25519), or remove the passphrase "
            "of a copy (ssh-keygen -p).",
        )
    if said:
        raise _useless(
            file,
            f"cannot be read as one ({printable(said, 100)})",
            "It must be a complete OpenSSH or PEM private key, from its BEGIN to its END line.",
        )


def _words_of_keygen(text: str) -> str:
    """What ssh-keygen has against a private key; nothing when it takes it, or is not there."""
    copy = os.memfd_create("key")  # in memory: the key is not written to a disk once more
    try:
        os.fchmod(copy, 0o600)
        os.write(copy, text.encode())
        done = subprocess.run(
            [_KEYGEN, "-y", "-P", "", "-f", f"/proc/self/fd/{copy}"],
            stdin=subprocess.DEVNULL,
            capture_output=True,
            text=True,
            errors="replace",
            pass_fds=[copy],
        )
    except FileNotFoundError:
        return ""
    finally:
        os.close(copy)
    last = done.stderr.strip().rpartition("\n")[2].rpartition(": ")[2]
    return "" if done.returncode == 0 else last or "ssh-keygen refuses it"


def public_key_file_text(file: Path) -> str:
    """The text of a file with the servers' public key; Problem says what is wrong with it."""
    text = _text(file, Code.PUBLIC_KEY, "public key")
    check_public_key(text, f"The public key {_name(file)}")
    return text


def check_public_key(text: str, subject: str) -> None:
    """Problem, with `subject` as the first words, unless the program can read the text as a key."""
    advice = "Get the RSA public key of the servers, in PEM form, from their operators."
    if "PRIVATE KEY" in text:
        what = "is a private key, which would be sent to the servers"
        raise Problem(Code.PUBLIC_KEY, f"{subject} {what}.", advice)
    if re.match(r"(ssh|ecdsa|sk-ssh|sk-ecdsa)-\S+ ", text):
        what = "is an ssh key; the key of the conversion servers is needed"
        raise Problem(Code.PUBLIC_KEY, f"{subject} {what}.", advice)
    if "CERTIFICATE" in text:
        advice = "Take the key out of it: openssl x509 -in FILE -pubkey -noout"
        raise Problem(Code.PUBLIC_KEY, f"{subject} is a certificate, not a key.", advice)
    if not _is_rsa_key(text):
        raise Problem(Code.PUBLIC_KEY, f"{subject} is not an RSA public key.", advice)


def _is_rsa_key(text: str) -> bool:
    """Whether it is a PEM block, with or without its marker lines."""
    lines = [line.strip() for line in text.splitlines() if not line.startswith("-----")]
    try:
        key = load_der_public_key(base64.b64decode("".join(lines), validate=True))
    except (binascii.Error, ValueError, TypeError, UnsupportedAlgorithm):
        return False
    return isinstance(key, RSAPublicKey)


def _text(file: Path, code: Code, what: str) -> str:
    subject = f"The {what} {_name(file)}"
    try:
        with open(file, "rb") as opened:
            data = opened.read(_LARGEST + 1)
        text = data.decode()
    except OSError as error:
        advice = "Name a file that you may read."
        raise Problem(code, f"{subject} cannot be read: {error.strerror}.", advice) from error
    except UnicodeDecodeError as error:
        advice = "Keys are text files that begin with -----BEGIN."
        raise Problem(code, f"{subject} is not text.", advice) from error
    if not text.strip():
        raise Problem(code, f"{subject} is empty.", "Name the file that holds the key.")
    if len(data) > _LARGEST or "\0" in text:
        raise Problem(code, f"{subject} is too large, or not text.", "Name the file with the key.")
    return text


def _name(file: Path) -> str:
    return printable(str(file), 200)
