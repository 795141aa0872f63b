"""What a script changes in the course of a conversation: frames, order, timing, ends."""

from __future__ import annotations

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
    result_plist,
)
from standin.record import PATIENCE, wait_until
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


def test_a_handshake_can_come_before_the_client_said_anything(standin: Make) -> None:
    assert received(standin, "ServerHandshake") == [("ServerHandshake", b"")]


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
    started = time.monotonic()
    with standin({"steps": [step]}).client() as client:
        assert len(client.source.read()) == 34
    assert time.monotonic() - started >= 34 / 200


def test_files_hold_a_conversation_up_and_tell_how_far_it_is(standin: Make) -> None:
    server = standin({"steps": [{"create": "here"}, {"await": "go"}, "ServerHello", "End"]})
    with server.client() as client:
        server.server.begun(1)
        wait_until(server.server.file("here").exists, PATIENCE, "the file")
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


@pytest.mark.parametrize(
    "says_why, how", [("no", "client gone"), ("yes", "client error")], ids=["silent", "error"]
)
def test_a_stall_ends_when_the_client_is_gone(standin: Make, says_why: str, how: str) -> None:
    server = standin({"ServerHello": {"after": {"stall": True}}})
    with server.client() as client:
        client.expect("ServerHello")
        if says_why == "yes":
            client.send("Error")
        client.hang_up()
        assert server.server.connection(1).end["how"] == how


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
