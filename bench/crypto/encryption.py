"""Encrypting and decrypting a file beside the openssl command, and beside the least that it takes."""

from __future__ import annotations

import os
import shutil
import statistics
import subprocess
import sys
from dataclasses import dataclass, field
from pathlib import Path

MEASURE = str(Path(__file__).resolve().parents[1] / "archiver" / "measure.py")
KEY, VECTOR = "0f" * 32, "1e" * 16  # those of file_encryption_bench
ENC = ["openssl", "enc", "-aes-256-cbc", "-K", KEY, "-iv", VECTOR]


@dataclass
class Runs:
    """Wall seconds of each run, in turns; the most resident bytes of ours."""

    encrypt: list[float] = field(default_factory=list)
    decrypt: list[float] = field(default_factory=list)
    openssl_encrypt: list[float] = field(default_factory=list)
    openssl_decrypt: list[float] = field(default_factory=list)
    carry: list[float] = field(default_factory=list)  # reading and writing the file, only
    raw_encrypt: list[float] = field(default_factory=list)  # EVP in memory, only
    raw_decrypt: list[float] = field(default_factory=list)
    peak: int = 0

    def median(self, name: str) -> float:
        return statistics.median(getattr(self, name))


def measure_encryption(program: Path, size: int, runs: int, directory: Path) -> Runs:
    """A file of `size` random bytes, in that directory."""
    source = directory / "plain.source"
    source.write_bytes(os.urandom(size))
    result = Runs()
    for _ in range(runs):
        _measure_once(program, source, directory, result)
    source.unlink()
    return result


def _measure_once(program: Path, source: Path, directory: Path, result: Runs) -> None:
    names = ("plain", "cipher", "cipher.peer", "back", "back.peer", "carried")
    plain, cipher, cipher_peer, back, back_peer, carried = (directory / name for name in names)
    size = source.stat().st_size
    shutil.copyfile(source, plain)  # goes when it is encrypted
    result.encrypt.append(_ours(result, [program, "encrypt", plain, cipher]))
    shutil.copyfile(source, plain)
    result.openssl_encrypt.append(_wall([*ENC, "-in", plain, "-out", cipher_peer])[0])
    plain.unlink()
    subprocess.run(["cmp", cipher, cipher_peer], check=True)
    cipher_peer.unlink()
    result.decrypt.append(_ours(result, [program, "decrypt", cipher, back]))
    subprocess.run(["cmp", source, back], check=True)
    back.unlink()
    result.openssl_decrypt.append(_wall([*ENC, "-d", "-in", cipher, "-out", back_peer])[0])
    back_peer.unlink()
    result.carry.append(_printed([program, "carry", cipher, carried]))
    for path in (cipher, carried):
        path.unlink()
    result.raw_encrypt.append(_printed([program, "raw-encrypt", str(size)]))
    result.raw_decrypt.append(_printed([program, "raw-decrypt", str(size)]))


def _ours(result: Runs, command: list) -> float:
    wall, peak = _wall(command)
    result.peak = max(result.peak, peak)
    return wall


def _wall(command: list) -> tuple[float, int]:
    line = [sys.executable, "-I", "-S", MEASURE, *map(str, command)]
    done = subprocess.run(line, stdout=subprocess.PIPE, text=True, check=True)
    wall, _, peak = done.stdout.split()
    return float(wall), int(peak) * 1024


def _printed(command: list) -> float:
    return float(subprocess.run(command, stdout=subprocess.PIPE, check=True).stdout)
