"""What the client tells of itself in its handshake, and the secrets that it hands over."""

from __future__ import annotations

import json
import os
import plistlib
from pathlib import Path
from typing import Any

import pytest
from assertions import assert_aborted, assert_lost
from host_bundle import COMPLETE, write_bundle
from host_harness import HostHarness
from session_states import WAITING_FOR_HANDSHAKE, in_state
from standin import crypto

INTRODUCED = in_state(WAITING_FOR_HANDSHAKE, {"exit": 0})
UNREAD = {"steps": ["ServerHello", {"receive": "ClientHandshake"}, {"exit": 0}]}
SECRETS = ["symmetricKey", "forwardingIV", "inputArchiveIV", "salt"]
BINARY = plistlib.FMT_BINARY


def introduction(harness: HostHarness, **fields: Any) -> dict[str, Any]:
    """The ClientHandshake that a client with these fields of its request sends."""
    assert_lost(harness.convert(UNREAD, **fields), WAITING_FOR_HANDSHAKE)
    return dict(harness.connection().received[0].dictionary)


def system_version() -> str:
    """The system's version number, with a second part where os-release has but one."""
    lines = Path("/etc/os-release").read_text("utf-8").splitlines()
    version = dict(line.split("=", 1) for line in lines if "=" in line)["VERSION_ID"].strip('"')
    return version if "." in version else version + ".0"


def test_the_client_introduces_itself_in_a_fixed_order(
    harness: HostHarness, tmp_path: Path
) -> None:
    fields = {
        "client_id": "client-1",
        "mac_address": "00:11:22:33:44:55",
        "user_id": "502",
        "user_name": "Zoë Ångström",
    }
    bundle = write_bundle(tmp_path, COMPLETE)
    assert_lost(harness.convert(INTRODUCED, host_path=bundle, **fields), WAITING_FOR_HANDSHAKE)
    record = harness.connection()
    sent, secrets = record.client_handshake, record.secrets
    expected = {
        "toolName": "StatementTool",
        "toolVersion": "2.1",
        "systemVersion": system_version(),
        "hostIdentifier": "com.example.ledger",
        "hostVersion": "4711",
        "hostShortVersionString": "com.example.ledger",
        "clientId": "client-1",
        "macAddress": "00:11:22:33:44:55",
        "userId": "502",
        "userName": "Zoë Ångström",
        "publicKey": harness.keys.public_key_text,
        "symmetricKey": sent["symmetricKey"],
        "forwardingIV": crypto.encoded(secrets["forwardingIV"]),
        "inputArchiveIV": crypto.encoded(secrets["inputArchiveIV"]),
        "salt": sent["salt"],
    }
    compact = json.dumps(expected, ensure_ascii=False, separators=(",", ":"))
    assert record.client_handshake_body == compact.encode("utf-8")


def test_the_server_decrypts_a_key_and_a_salt_of_32_random_bytes(harness: HostHarness) -> None:
    assert_lost(harness.convert(INTRODUCED), WAITING_FOR_HANDSHAKE)
    secrets = harness.connection().secrets
    assert [len(secrets[name]) for name in SECRETS] == [32, 16, 16, 32]
    assert len(set(secrets.values())) == len(secrets)


@pytest.mark.parametrize(
    ("field", "key"),
    [
        ("client_id", "clientId"),
        ("mac_address", "macAddress"),
        ("user_id", "userId"),
        ("user_name", "userName"),
    ],
)
@pytest.mark.parametrize("value", [None, ""], ids=["unset", "empty"])
def test_the_client_is_silent_about_what_it_does_not_know(
    harness: HostHarness, field: str, key: str, value: str | None
) -> None:
    others = {"client_id": "c", "mac_address": "m", "user_id": "i", "user_name": "n"}
    sent = introduction(harness, **{**others, field: value})
    assert {"clientId", "macAddress", "userId", "userName"} - sent.keys() == {key}


def test_an_empty_tool_is_told_but_an_unset_one_is_not(harness: HostHarness) -> None:
    sent = introduction(harness, tool="", tool_version=None)
    assert sent["toolName"] == "" and "toolVersion" not in sent


def test_an_empty_version_is_told_but_an_unset_tool_is_not(harness: HostHarness) -> None:
    sent = introduction(harness, tool=None, tool_version="")
    assert sent["toolVersion"] == "" and "toolName" not in sent


def test_without_anything_known_the_keys_of_every_handshake_remain(harness: HostHarness) -> None:
    sent = introduction(harness, tool=None, tool_version=None)
    expected = ["systemVersion", "publicKey", *SECRETS]
    assert list(sent) == expected


@pytest.mark.parametrize("form", ["public_key_text", "public_key_pem", "public_key_pkcs1_pem"])
def test_a_public_key_is_sent_back_as_it_came_and_used(harness: HostHarness, form: str) -> None:
    text = getattr(harness.keys, form)
    assert_lost(harness.convert(INTRODUCED, public_key=text), WAITING_FOR_HANDSHAKE)
    record = harness.connection()
    assert record.client_handshake["publicKey"] == text
    assert len(record.secrets["symmetricKey"]) == 32


@pytest.mark.parametrize(
    "text", [None, "", "no key at all", "TUlJQg=="], ids=["unset", "empty", "words", "base64"]
)
def test_without_a_usable_public_key_key_and_salt_are_empty(
    harness: HostHarness, text: str | None
) -> None:
    harness.convert(UNREAD, public_key=text)
    sent = harness.connection().received[0].dictionary
    assert sent.get("publicKey") == text
    assert (sent["symmetricKey"], sent["salt"]) == ("", "")
    assert len(crypto.decoded(sent["forwardingIV"], 16, "")) == 16


def test_a_user_name_that_is_no_text_cannot_be_told(harness: HostHarness) -> None:
    outcome = harness.convert(user_name=os.fsdecode(b"Zo\xeb"))
    before = ("JSON: a text is not UTF-8",)
    assert_aborted(harness, outcome, "Could not write message", before=before)


HOST_KEYS = ["hostIdentifier", "hostVersion", "hostShortVersionString"]
IDENTIFIER, VERSION, SHORT_VERSION = COMPLETE


def without(*keys: str) -> dict[str, str]:
    """The complete information list without these keys."""
    return {key: value for key, value in COMPLETE.items() if key not in keys}


@pytest.mark.parametrize(
    ("information", "place", "form", "expected"),
    [
        (COMPLETE, "Contents/Info.plist", BINARY, ["com.example.ledger", "4711", 0]),
        (COMPLETE, "Info.plist", plistlib.FMT_XML, ["com.example.ledger", "4711", 0]),
        (COMPLETE, "Info.plist", BINARY, ["com.example.ledger", "4711", 0]),
        (without(IDENTIFIER), "Info.plist", BINARY, [None, "4711", ""]),
        (without(VERSION), "Info.plist", BINARY, ["com.example.ledger", None, 0]),
        (without(SHORT_VERSION), "Info.plist", BINARY, ["com.example.ledger", "4711", None]),
        (
            {**COMPLETE, SHORT_VERSION: ""},
            "Info.plist",
            BINARY,
            ["com.example.ledger", "4711", None],
        ),
        ({**COMPLETE, IDENTIFIER: "", VERSION: ""}, "Info.plist", BINARY, [None, None, ""]),
        ({**COMPLETE, VERSION: 4711}, "Info.plist", BINARY, ["com.example.ledger", None, 0]),
        ({}, "Info.plist", BINARY, [None, None, None]),
        (COMPLETE, "Elsewhere/Info.plist", BINARY, [None, None, None]),
    ],
    ids=[
        "binary",
        "flat",
        "flat and binary",
        "no identifier",
        "no version",
        "no short version",
        "an empty short version",
        "an empty identifier and version",
        "a version that is a number",
        "nothing",
        "no information list",
    ],
)
def test_the_host_is_described_by_its_bundle(
    harness: HostHarness,
    tmp_path: Path,
    information: Any,
    place: str,
    form: Any,
    expected: list[Any],
) -> None:
    """Whether there is a short version only decides that its key is there; under it goes the
    identifier (0 above), which is how servers have always received it."""
    sent = introduction(harness, host_path=write_bundle(tmp_path, information, place, form))
    wanted = [expected[0] if value == 0 else value for value in expected]
    assert [sent.get(key) for key in HOST_KEYS] == wanted


@pytest.mark.parametrize("path", [None, "", "/no/such/bundle"])
def test_a_host_without_bundle_is_not_described(harness: HostHarness, path: str | None) -> None:
    assert not introduction(harness, host_path=path).keys() & set(HOST_KEYS)
