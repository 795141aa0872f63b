"""What must be found nowhere once the program has ended: the identity, session keys, plaintext."""

from __future__ import annotations

from base64 import b64encode
from collections.abc import Iterable
from pathlib import Path

from host_harness import HostHarness

PLAINTEXT = b"Canary 5e1f0c77a9d24b13 in the mine"
_SESSION_SECRETS = ("symmetricKey", "salt")


def hide_in_source(harness: HostHarness) -> None:
    """Puts the plaintext canary into the source file, as the memo of one transaction."""
    text = harness.source.read_bytes()
    assert text.count(b"Rent March") == 1
    harness.source.write_bytes(text.replace(b"Rent March", PLAINTEXT))


def canaries_of(harness: HostHarness) -> dict[str, bytes]:
    """All byte strings that give a secret of these conversations away, by what they are."""
    found = {"source": PLAINTEXT}
    lines = [line for line in harness.sshd.identity_text.splitlines() if not line.startswith("-")]
    # The first lines of every such key are the same: format, cipher, public half.
    for number, line in enumerate(lines[2:]):
        if len(line) > 20:
            found[f"line {number} of the identity"] = line.encode()
    for number, record in enumerate(harness.server.connections):
        found |= _session_secrets(number + 1, record.directory / "secrets.json", record)
    return found


def _session_secrets(number: int, file: Path, record: object) -> dict[str, bytes]:
    if not file.exists():
        return {}
    forms: dict[str, bytes] = {}
    for name, value in record.secrets.items():  # type: ignore[attr-defined]
        if name in _SESSION_SECRETS:
            label = f"{name} of connection {number}"
            forms[label] = value
            forms[label + " in base64"] = b64encode(value)
            forms[label + " in hexadecimal"] = value.hex().encode()
    return forms


def found_in(canaries: dict[str, bytes], places: Iterable[tuple[str, bytes]]) -> list[str]:
    """Which canary stands where, in words."""
    return [
        f"{name} in {place}"
        for place, content in places
        for name, canary in canaries.items()
        if canary in content
    ]
