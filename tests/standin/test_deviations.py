"""Every word of a script, seen from the client: what it changes, and that nothing else changes."""

from __future__ import annotations

import json
import os
import plistlib
import signal
import time
import zipfile
from base64 import b64decode
from io import BytesIO
from typing import Any, Callable

import pytest
from reference_client import (
    END,
    ReferenceClient,
    aes,
    host_messages,
    padded_plaintext,
    plaintext,
    result_plist,
)
from standin.record import wait_until
from standin_under_test import Standin

Make = Callable[..., Standin]
HELLO = ("ServerHello", b"")


def received(standin: Make, *steps: Any) -> list[tuple[str, bytes]]:
    """What a client reads that says nothing, from a server that plays these steps alone."""
    with standin({"steps": list(steps)}).client() as client:
        return client.receive_all()


def bytes_received(standin: Make, *steps: Any) -> bytes:
    with standin({"steps": list(steps)}).client() as client:
        return bytes(client.source.read())


def handshake(standin: Make, **options: Any) -> tuple[ReferenceClient, dict[str, Any]]:
    with standin({"ServerHandshake": options}).client() as client:
        return client, client.shake_hands()


def output(standin: Make, statement: bytes, **options: Any) -> zipfile.ZipFile:
    with standin({"OutputArchive": options}).client() as client:
        return client.convert(statement)


# Handshake


@pytest.mark.parametrize(
    "salt, expected",
    [
        ("one bit off", lambda salt: salt[:31] + bytes([salt[31] ^ 1])),
        ("empty", lambda salt: b""),
        ("short", lambda salt: salt[:31]),
    ],
)
def test_the_salt_can_be_wrong(standin: Make, salt: str, expected: Any) -> None:
    client, _ = handshake(standin, salt=salt)
    assert client.returned_salt() == expected(client.salt)


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


def test_a_handshake_can_come_before_the_client_said_anything(standin: Make) -> None:
    assert received(standin, "ServerHandshake") == [("ServerHandshake", b"")]


def test_a_handshake_can_have_any_body(standin: Make) -> None:
    with standin({"ServerHandshake": {"body": "[1,2]"}}).client() as client:
        client.expect("ServerHello")
        client.send_handshake()
        assert client.expect("ServerHandshake") == b"[1,2]"


# Output archive


def test_the_exit_code_and_name_can_be_anything(standin: Make, statement: bytes) -> None:
    archive = output(standin, statement, exitCode=3, destFileName="../up", resultFormat="binary")
    assert archive.read("OutputArchive/Result.plist").startswith(b"bplist00")
    assert result_plist(archive) == {"toolExitCode": 3, "destFileName": "../up"}
    assert "OutputArchive/../up" in archive.namelist()


def test_exit_code_and_name_can_be_left_out(standin: Make, statement: bytes) -> None:
    archive = output(standin, statement, exitCode=None, destFileName=None)
    assert result_plist(archive) == {}
    assert archive.namelist()[2:] == ["OutputArchive/Logs/", "OutputArchive/Logs/conversion.log"]


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


# Forwarding


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


# Frames


def test_a_frame_can_have_any_type_and_length(standin: Make) -> None:
    steps = [
        {"send": "ServerHello", "body": "abc", "length": 2},
        {"send": "x"},
        {"send": "Forward", "body": {"hex": "00"}, "length": "1x"},
        {"send": "OutputArchive", "length": 9999999999},
        {"raw": "h"},
    ]
    assert bytes_received(standin, *steps) == b"h2\nabcx0\nf1x\n\x00o9999999999\nh"


def test_a_stages_frame_can_be_changed_and_repeated(standin: Make) -> None:
    stage = {"stage": "ServerHello", "type": "Forward", "body": "a", "length": "01", "repeat": 2}
    assert bytes_received(standin, stage) == b"f01\naf01\na"


def test_stages_can_be_skipped_and_reordered(standin: Make) -> None:
    steps = ("ServerDidStopForwarding", "ServerHello", "InputArchiveAcknowledgement")
    assert [name for name, _ in received(standin, *steps)] == list(steps)


@pytest.mark.parametrize(
    "error, body",
    [
        ("No more", b'{"reason":"No more"}'),
        (None, b""),
        ({}, b"{}"),
        ({"reason": 7}, b'{"reason":7}'),
    ],
)
def test_an_error_can_have_a_reason_none_or_any(standin: Make, error: Any, body: bytes) -> None:
    assert received(standin, {"error": error}) == [("Error", body)]


def test_actions_surround_a_stage_or_stand_for_it(standin: Make) -> None:
    script = {
        "ServerHello": {"before": {"raw": "<"}, "after": [{"raw": ">"}, {"exit": 0}]},
        "steps": ["ServerHello", {"raw": "never"}],
    }
    with standin(script).client() as client:
        assert client.source.read() == b"<h0\n>"


def test_a_stage_within_its_own_instead_is_the_plain_stage(standin: Make) -> None:
    script = {"ServerHello": {"instead": ["ServerHello", "ServerHello"]}, "steps": ["ServerHello"]}
    with standin(script).client() as client:
        assert client.receive_all() == [HELLO, HELLO]


def test_actions_repeat(standin: Make) -> None:
    steps = {"actions": ["ServerHello", {"raw": "f0\n"}], "repeat": 3}
    assert bytes_received(standin, steps) == b"h0\nf0\n" * 3


def test_a_giant_body_is_generated(standin: Make) -> None:
    giant = {"send": "OutputArchive", "body": {"fill": 300_000_000, "byte": 1}}
    server = standin({"steps": [giant]})
    total = 0
    with server.client() as client:
        while block := client.source.read(1 << 20):
            total += len(block)
        assert server.server.connection(1).sent[0].length == 300_000_000
    assert total == len(b"o300000000\n") + 300_000_000


# Timing


def reads(client: ReferenceClient) -> list[bytes]:
    """What each read of the client's pipe gives."""
    return list(iter(lambda: client.raw_source.read(1 << 16), b""))


def test_several_messages_leave_in_one_write(standin: Make) -> None:
    steps = {"together": ["ServerHello", {"together": [{"raw": "a"}]}, {"raw": "b"}]}
    with standin({"steps": [steps]}).client() as client:
        assert reads(client) == [b"h0\nab"]


@pytest.mark.parametrize(
    "chunks, pieces",
    [
        (2, [b"f4", b"\nw", b"xy", b"z"]),
        ([1, 3], [b"f", b"4\nw", b"xyz"]),
        ([7], [b"f4\nwxyz"]),
    ],
)
def test_a_frame_leaves_in_pieces_that_arrive_as_such(
    standin: Make, chunks: Any, pieces: list[bytes]
) -> None:
    step = {"send": "Forward", "body": "wxyz", "chunks": chunks}
    with standin({"steps": [step]}).client() as client:
        assert reads(client) == pieces


def test_a_body_can_drip(standin: Make) -> None:
    step = {"send": "Forward", "body": {"fill": 30}, "rate": 200}
    with standin({"steps": [step]}).client() as client:
        client.source.read(1)
        started = time.monotonic()
        assert len(client.source.read()) == 33
        assert time.monotonic() - started > 24 / 200 / 2


def test_files_hold_a_conversation_up_and_tell_how_far_it_is(standin: Make) -> None:
    server = standin({"steps": [{"create": "here"}, {"await": "go"}, "ServerHello", "End"]})
    with server.client() as client:
        server.server.begun(1)
        wait_until(server.server.file("here").exists, 30, "the file")
        server.server.file("go").touch()
        client.expect("ServerHello")
        client.hang_up()
        assert server.server.connection(1).end["how"] == "client closed"


@pytest.mark.parametrize("step", [{"await": "never"}, {"forwarded": 1}, {"receive": "any"}])
def test_waiting_ends_with_the_client(standin: Make, step: Any) -> None:
    server = standin({"steps": [step]})
    with server.client() as client:
        client.hang_up()
        assert server.server.connection(1).end["how"] == "client closed"


# Ends


@pytest.mark.parametrize("status", [0, 1, 255])
def test_it_can_exit_at_any_stage(standin: Make, status: int) -> None:
    server = standin({"ClientHandshake": {"instead": {"exit": status}}})
    with server.client() as client:
        assert client.receive_all() == [HELLO]
        assert client.process.wait() == status
        assert server.server.connection(1).end == {"how": "exit", "detail": "", "status": status}


@pytest.mark.parametrize("name", ["SIGKILL", "SIGTERM", "SIGSEGV"])
def test_it_can_die_of_a_signal(standin: Make, name: str) -> None:
    server = standin({"ServerHello": {"instead": {"kill": name}}})
    with server.client() as client:
        assert client.receive() == END
        assert client.process.wait() == -signal.Signals[name]
        assert server.server.connection(1).end["detail"] == name


def test_its_output_can_end_before_it_does(standin: Make) -> None:
    server = standin(
        {"ServerHello": {"after": {"close": "stdout"}}, "ServerHandshake": {"instead": []}}
    )
    with server.client() as client:
        assert client.receive_all() == [HELLO]
        client.send_handshake()
        client.send("Error")
        client.sink.close()
        record = server.server.connection(1)
    assert record.types_received == ["ClientHandshake", "Error"]


def test_its_input_can_end_before_it_does(standin: Make) -> None:
    with standin(
        {"steps": [{"close": "stdin"}, "ServerHello", {"stall": True}]}
    ).client() as client:
        client.expect("ServerHello")
        with pytest.raises(BrokenPipeError):
            client.send("Error")


def test_a_stall_ends_when_the_client_is_gone(standin: Make) -> None:
    server = standin({"ServerHello": {"after": {"stall": True}}})
    with server.client() as client:
        client.expect("ServerHello")
        client.send("Error")
        client.hang_up()
        assert server.server.connection(1).end["how"] == "client gone"


def fill_the_pipe(client: ReferenceClient) -> int:
    """How many bytes the server's input takes while nobody reads them."""
    os.set_blocking(client.sink.fileno(), False)
    taken = 0
    while count := client.sink.write(b"i999999999\n" if not taken else bytes(4096)):
        taken += count
    os.set_blocking(client.sink.fileno(), True)
    return taken


def test_it_can_stop_reading_after_a_message_and_read_on(standin: Make) -> None:
    stop, go = {"stop reading after": "ClientHandshake"}, [{"await": "go"}, {"read on": True}]
    script = {"ServerHello": {"before": stop}, "InputArchive": {"instead": [*go, "End"]}}
    server = standin(script)
    with server.client() as client:
        client.shake_hands()
        assert fill_the_pipe(client) >= 65536 - 4096
        record = server.server.connections[0]
        assert record.types_received == ["ClientHandshake"]
        server.server.file("go").touch()
        client.sink.write(bytes(200_000))
        client.hang_up()
        assert "of 999999999 body bytes" in server.server.connection(1).end["detail"]


def test_it_can_read_nothing_at_all(standin: Make) -> None:
    server = standin({"steps": [{"stop reading after": "now"}, "ServerHello", {"stall": True}]})
    with server.client() as client:
        client.expect("ServerHello")
        assert fill_the_pipe(client) >= 65536 - 4096
        client.hang_up()
        assert server.server.connection(1).types_received == []


def test_it_can_drain_and_go_on(standin: Make) -> None:
    server = standin({"steps": [{"error": "No"}, {"drain": True}, "ServerHello"]})
    with server.client() as client:
        client.expect("Error")
        client.send("Error", b'{"reason":"No"}')
        client.sink.close()
        client.expect("ServerHello")
        record = server.server.connection(1)
    assert (record.error, record.end["how"]) == ({"reason": "No"}, "finished")


def test_the_nth_connection_plays_the_nth_script_and_the_last_stays(standin: Make) -> None:
    server = standin(
        [{"steps": [{"exit": 1}]}, {"steps": [{"raw": "2"}]}, {"steps": [{"raw": "3"}]}]
    )
    seen = []
    for _ in range(4):
        with server.client() as client:
            seen.append(client.source.read())
    assert seen == [b"", b"2", b"3", b"3"]
    assert [record.end["how"] for record in server.server.connections] == ["exit"] + 3 * [
        "finished"
    ]


def test_scripts_can_change_between_connections(standin: Make) -> None:
    server = standin({"steps": [{"raw": "1"}]})
    for script in ("1", "2"):
        server.server.play({"steps": [{"raw": script}]})
        with server.client() as client:
            assert client.source.read() == script.encode()


def test_a_script_that_cannot_be_played_says_so_in_the_record(standin: Make) -> None:
    server = standin({"steps": [{"forward": "x"}]})
    with server.client() as client:
        assert client.receive() == END
        end = server.server.connection(1).end
    assert (end["how"], end["status"]) == ("failed", 1)
    assert "needs the keys" in end["detail"]


def test_bodies_can_be_encrypted_with_either_iv(standin: Make, statement: bytes) -> None:
    script = {
        "InputArchive": {
            "instead": [
                {"send": "None", "body": {"encrypted": "a"}},
                {"send": "None", "body": {"encrypted": "a", "iv": "outputArchiveIV"}},
                {"exit": 0},
            ]
        }
    }
    with standin(script).client() as client:
        client.shake_hands()
        forwarding = aes(b"a", client.key, client.forwarding_iv)
        output_archive = aes(b"a", client.key, b64decode(client.handshake["outputArchiveIV"]))
        assert client.source.read() == b".16\n" + forwarding + b".16\n" + output_archive


def test_a_prepared_archive_can_be_sent(standin: Make, statement: bytes) -> None:
    server = standin({"OutputArchive": {"zip": {"file": "prepared.zip"}}})
    prepared = BytesIO()
    with zipfile.ZipFile(prepared, "w") as archive:
        archive.writestr("OutputArchive/Result.plist", plistlib.dumps({"toolExitCode": 9}))
    server.server.file("prepared.zip").write_bytes(prepared.getvalue())
    with server.client() as client:
        assert result_plist(client.convert(statement)) == {"toolExitCode": 9}
