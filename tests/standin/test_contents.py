"""What a script changes in the contents of messages, seen from the client."""

from __future__ import annotations

import json
import struct
import time
import zipfile
from datetime import datetime
from typing import Any, Callable

import pytest
from reference_client import (
    ReferenceClient,
    host_messages,
    padded_plaintext,
    plaintext,
    result_plist,
)
from standin_under_test import Standin

Make = Callable[..., Standin]


def handshake(standin: Make, **options: Any) -> tuple[ReferenceClient, dict[str, Any]]:
    with standin({"ServerHandshake": options}).client() as client:
        return client, client.shake_hands()


def output(standin: Make, statement: bytes, **options: Any) -> zipfile.ZipFile:
    with standin({"OutputArchive": options}).client() as client:
        return client.convert(statement)


def test_the_salt_can_be_one_bit_off(standin: Make) -> None:
    client, _ = handshake(standin, salt="one bit off")
    returned = client.returned_salt()
    assert returned[:31] == client.salt[:31]
    assert returned[31] ^ client.salt[31] == 1 and len(returned) == 32


@pytest.mark.parametrize("salt, length", [("empty", 0), ("short", 31)])
def test_the_salt_can_be_cut(standin: Make, salt: str, length: int) -> None:
    client, _ = handshake(standin, salt=salt)
    assert client.returned_salt() == client.salt[:length]


def test_the_salt_can_be_absent(standin: Make) -> None:
    _, values = handshake(standin, salt="absent")
    assert list(values) == ["saltIV", "maxInputArchiveSize", "outputArchiveIV"]


@pytest.mark.parametrize(
    "destinations, expected",
    [
        ("ssh://a@b:1,ssh://c@d:2", b"ssh://a@b:1,ssh://c@d:2"),
        ("", b""),
        ({"hex": "ff"}, b"\xff"),
    ],
)
def test_a_redirect_is_encrypted_for_the_client(
    standin: Make, destinations: Any, expected: bytes
) -> None:
    client, _ = handshake(standin, redirect=destinations)
    secret = client.handshake_secret("redirectDestinations", "redirectDestinationsIV")
    assert (secret, client.returned_salt()) == (expected, client.salt)


def test_handshake_values_can_be_set_left_out_and_doubled(standin: Make) -> None:
    with standin(
        {
            "ServerHandshake": {
                "redirect": "x",
                "set": {"maxInputArchiveSize": "12", "redirectDestinationsIV": "?", "more": [1]},
                "omit": ["outputArchiveIV", "saltIV"],
                "append": [["salt", None], ["more", {}]],
            }
        }
    ).client() as client:
        client.expect("ServerHello")
        client.send_handshake()
        pairs = json.loads(client.expect("ServerHandshake"), object_pairs_hook=list)
    assert [key for key, _ in pairs] == [
        "salt",
        "redirectDestinationsIV",
        "redirectDestinations",
        "maxInputArchiveSize",
        "more",
        "salt",
        "more",
    ]
    assert pairs[3][1] == "12" and pairs[5][1] is None


@pytest.mark.parametrize("change", [{"omit": ["outputArchiveIV"]}, {"set": {"outputArchiveIV": 5}}])
def test_without_a_usable_output_iv_the_archive_is_encrypted_with_zeros(
    standin: Make, statement: bytes, change: Any
) -> None:
    with standin({"ServerHandshake": change}).client() as client:
        client.shake_hands()
        client.handshake["outputArchiveIV"] = ""
        client.upload(statement)
        client.messages_to_the_end_of_forwarding()
        assert result_plist(client.receive_result())["toolExitCode"] == 0


def test_a_handshake_can_have_any_body(standin: Make) -> None:
    with standin({"ServerHandshake": {"body": "[1,2]"}}).client() as client:
        client.expect("ServerHello")
        client.send_handshake()
        assert client.expect("ServerHandshake") == b"[1,2]"


def test_the_exit_code_and_name_can_be_anything(standin: Make, statement: bytes) -> None:
    archive = output(standin, statement, exitCode=3, destFileName="../up", resultFormat="binary")
    assert archive.read("OutputArchive/Result.plist").startswith(b"bplist00")
    assert result_plist(archive) == {"toolExitCode": 3, "destFileName": "../up"}
    assert "OutputArchive/../up" in archive.namelist()


def test_exit_code_and_name_can_be_left_out(standin: Make, statement: bytes) -> None:
    archive = output(standin, statement, exitCode=None, destFileName=None)
    assert result_plist(archive) == {}
    assert archive.namelist()[2:] == ["OutputArchive/Logs/", "OutputArchive/Logs/conversion.log"]


def test_what_goes_back_was_made_now(standin: Make, statement: bytes) -> None:
    begun = int(time.time())
    with output(standin, statement) as archive:
        entries = archive.infolist()
    ended = time.time()
    assert len(entries) == 5
    for entry in entries:
        # Even seconds of the local time, and the second of the extra field behind it.
        local = datetime(*entry.date_time).timestamp()
        kind, _, _, seconds = struct.unpack("<HHBl", entry.extra[-9:])
        assert (kind, begun <= seconds <= ended) == (0x5455, True)
        assert 0 <= seconds - local < 2


def test_parts_of_the_archive_can_be_missing(standin: Make, statement: bytes) -> None:
    archive = output(standin, statement, result=None, converted=None, logs=None)
    assert archive.namelist() == ["OutputArchive/"]


def test_parts_of_the_archive_can_be_replaced(standin: Make, statement: bytes) -> None:
    archive = output(
        standin,
        statement,
        result="no plist",
        converted={"fill": 3_000_000},
        logs={"a.log": "A", "sub/b.log": ""},
        entries={"elsewhere/c": "C", "/absolute": ""},
    )
    assert {name: archive.read(name)[:9] for name in archive.namelist()} == {
        "OutputArchive/": b"",
        "OutputArchive/Result.plist": b"no plist",
        "OutputArchive/statement.csv": bytes(9),
        "OutputArchive/Logs/": b"",
        "OutputArchive/Logs/a.log": b"A",
        "OutputArchive/Logs/sub/b.log": b"",
        "elsewhere/c": b"C",
        "/absolute": b"",
    }
    assert archive.getinfo("OutputArchive/statement.csv").file_size == 3_000_000


@pytest.mark.parametrize("top, first", [("Other", "Other/"), ("", "Result.plist")])
def test_the_top_level_directory_can_differ(
    standin: Make, statement: bytes, top: str, first: str
) -> None:
    assert output(standin, statement, top=top).namelist()[0] == first


def body_of_output(standin: Make, statement: bytes, **options: Any) -> tuple[Any, bytes]:
    with standin({"OutputArchive": options}).client() as client:
        client.shake_hands()
        client.upload(statement)
        client.messages_to_the_end_of_forwarding()
        return client, client.expect("OutputArchive")


def test_the_zip_can_be_any_bytes(standin: Make, statement: bytes) -> None:
    client, body = body_of_output(standin, statement, zip="no zip")
    assert plaintext(body, client.key, client.output_iv()) == b"no zip"


def test_the_padding_can_be_wrong(standin: Make, statement: bytes) -> None:
    client, body = body_of_output(standin, statement, zip="sixteen bytes...", padding="wrong")
    padded = padded_plaintext(body, client.key, client.output_iv())
    assert padded == b"sixteen bytes..." + bytes(16)


def test_the_body_can_be_unencrypted_and_its_length_a_lie(standin: Make, statement: bytes) -> None:
    _, body = body_of_output(standin, statement, body="raw bytes", length=3)
    assert body == b"raw"


def in_forwarding(standin: Make, statement: bytes, *steps: Any, **options: Any) -> ReferenceClient:
    """A client in a conversation whose tool does these steps and nothing else."""
    script = {"Conversion": {"instead": list(steps), **options}}
    client = standin(script).client().__enter__()
    client.shake_hands()
    client.upload(statement)
    return client


def test_any_bytes_can_be_forwarded(standin: Make, statement: bytes) -> None:
    steps = ({"forward": "plain"}, {"forward": ""}, {"forward": {"progressStatus": 3}})
    client = in_forwarding(standin, statement, *steps)
    assert client.expect_forward() == b"plain"
    assert client.expect_forward() == b""
    assert host_messages(client.expect_forward())[0]["progressValue"] == 3
    client.expect("ServerDidStopForwarding")
    client.__exit__()


def test_forwarded_bodies_can_be_garbage_empty_or_wrongly_padded(
    standin: Make, statement: bytes
) -> None:
    wrong = {"encrypted": "x", "padding": "wrong"}
    steps = ({"send": "Forward", "body": "junk"}, {"send": "Forward"}, {"send": "Forward"})
    client = in_forwarding(standin, statement, *steps[:2], {**steps[2], "body": wrong})
    assert [client.expect("Forward") for _ in range(2)] == [b"junk", b""]
    padded = padded_plaintext(client.expect("Forward"), client.key, client.forwarding_iv)
    assert padded == b"x" + bytes(15)
    client.__exit__()


def test_bytes_of_the_client_can_be_echoed(standin: Make, statement: bytes) -> None:
    client = in_forwarding(standin, statement, {"echo": 5}, {"forward": "done"})
    client.forward(b"abc")
    assert client.expect_forward() == b"abc"
    client.forward(b"defg")
    assert [client.expect_forward(), client.expect_forward()] == [b"de", b"done"]
    client.__exit__()


def test_the_tool_can_wait_for_forwarded_bytes(standin: Make, statement: bytes) -> None:
    client = in_forwarding(standin, statement, {"forwarded": 4})
    client.forward(b"ab")
    client.forward(b"cd")
    client.expect("ServerDidStopForwarding")
    client.__exit__()


def test_the_tool_runs_between_other_actions(standin: Make, statement: bytes) -> None:
    script = {"Conversion": {"before": {"forward": "first"}, "after": {"forward": "last"}}}
    with standin(script).client() as client:
        client.shake_hands()
        client.upload(statement)
        relayed = client.messages_to_the_end_of_forwarding()
    assert relayed.startswith(b"first") and relayed.endswith(b"last")
    assert len(host_messages(relayed[5:-4])) == 29


def test_the_relayed_stream_can_be_cut_anywhere(standin: Make, statement: bytes) -> None:
    with standin({"Conversion": {"chunkBytes": 100}}).client() as client:
        client.shake_hands()
        client.upload(statement)
        pieces = [client.expect_forward() for _ in range(20)]
        rest = client.messages_to_the_end_of_forwarding()
    assert {len(piece) for piece in pieces} == {100}
    assert len(host_messages(b"".join(pieces) + rest)) == 29


def test_the_tool_can_be_silent(standin: Make, statement: bytes) -> None:
    with standin({"Conversion": {"silent": True}}).client() as client:
        client.shake_hands()
        client.upload(statement)
        client.expect("ServerDidStopForwarding")


def test_the_tool_can_take_its_time_and_still_hears_a_cancel(
    standin: Make, statement: bytes
) -> None:
    server = standin({"Conversion": {"pace": 1000}})
    with server.client() as client:
        client.shake_hands()
        client.upload(statement)
        client.send("Error", b'{"reason":"User canceled"}')
        client.hang_up()
        assert server.server.connection(1).end["how"] == "client error"
