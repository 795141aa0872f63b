"""The normal conversation: what the client gets, and what the record says of it."""

from __future__ import annotations

import hashlib
import json
import zipfile
from base64 import b64decode
from io import BytesIO
from typing import Any, Callable

import pytest
from reference_client import END, aes, host_messages, input_zip, result_plist
from standin.handshake import LARGEST_INPUT_ARCHIVE
from standin_under_test import Standin

Make = Callable[..., Standin]


def test_a_statement_comes_back_as_csv_with_result_and_log(standin: Make, statement: bytes) -> None:
    with standin().client() as client:
        archive = client.convert(statement, "my march.ofx")
    assert archive.namelist() == [
        "OutputArchive/",
        "OutputArchive/Result.plist",
        "OutputArchive/my march.csv",
        "OutputArchive/Logs/",
        "OutputArchive/Logs/conversion.log",
    ]
    assert result_plist(archive) == {"toolExitCode": 0, "destFileName": "my march.csv"}
    assert archive.read("OutputArchive/my march.csv").startswith(b"Date,Amount,Currency,")
    assert b"StatementConverter starts" in archive.read("OutputArchive/Logs/conversion.log")


def test_the_handshake_returns_the_salt_under_the_session_key(standin: Make) -> None:
    with standin().client() as client:
        handshake = client.shake_hands()
        assert client.returned_salt() == client.salt
    assert list(handshake) == ["saltIV", "salt", "maxInputArchiveSize", "outputArchiveIV"]
    assert handshake["maxInputArchiveSize"] == LARGEST_INPUT_ARCHIVE
    assert [len(b64decode(handshake[name])) for name in ("saltIV", "outputArchiveIV")] == [16, 16]


def test_the_tools_progress_reaches_the_host_as_its_own_messages(
    standin: Make, statement: bytes
) -> None:
    with standin().client() as client:
        client.shake_hands()
        client.upload(statement)
        messages = host_messages(client.messages_to_the_end_of_forwarding())
    titles = [message.get("progressTitle") for message in messages]
    assert titles[:2] == ["Reading statement...", "Converting transactions..."]
    assert titles[-1] == "Writing converted file..."
    assert [message["progressValue"] for message in messages[2:-1]] == list(range(1, 27))


def test_the_record_tells_all_that_the_server_saw(standin: Make, statement: bytes) -> None:
    server = standin()
    with server.client() as client:
        client.shake_hands()
        client.upload(statement)
        client.forward(b"stop")
        client.forward(b"ping")
        client.messages_to_the_end_of_forwarding()
        client.receive_result()
        client.hang_up()
        record = server.server.connection(1)
        assert client.process.wait() == 0
    assert record.end == {"how": "client closed", "detail": "", "status": 0}
    assert record.argv[1:] == ["server"]
    assert "PWD" in record.environment
    assert [name for name in record.types_received if name != "Forward"] == [
        "ClientHandshake",
        "InputArchive",
        "OutputArchiveAcknowledgement",
    ]
    assert record.client_handshake["toolName"] == "StatementConverter"
    assert record.received[0].body == record.client_handshake_body
    assert record.secrets["symmetricKey"] == client.key
    assert record.secrets["salt"] == client.salt
    assert record.secrets["forwardingIV"] == client.forwarding_iv
    assert record.secrets["inputArchiveIV"] == client.input_iv
    assert record.secrets["outputArchiveIV"] == client.output_iv()
    assert record.forwarded == b"stopping"
    assert len(host_messages(record.relayed)) == 29
    with zipfile.ZipFile(BytesIO(record.input_archive)) as archive:
        assert archive.read("InputArchive/statement.ofx") == statement
    with zipfile.ZipFile(BytesIO(record.output_archive)) as archive:
        assert "OutputArchive/statement.csv" in archive.namelist()
    upload = record.received[1]
    encrypted = record.input_archive_encrypted
    assert encrypted == aes(record.input_archive, client.key, client.input_iv)
    assert (upload.length, upload.sha256) == (
        len(encrypted),
        hashlib.sha256(encrypted).hexdigest(),
    )
    assert record.sent[0].type == "ServerHello" and record.sent[-1].type == "OutputArchive"


def test_a_small_body_is_kept_and_a_large_one_only_measured(standin: Make) -> None:
    server = standin({"steps": [{"receive": "InputArchive"}, {"receive": "InputArchive"}]})
    with server.client() as client:
        client.send("InputArchive", b"x" * 65536)
        client.send("InputArchive", b"x" * 65537)
        assert client.receive() == END
        small, large = server.server.connection(1).received
    assert small.body == b"x" * 65536
    assert (large.body, large.length) == (None, 65537)
    assert large.sha256 == hashlib.sha256(b"x" * 65537).hexdigest()


def test_an_error_message_of_the_client_ends_it(standin: Make) -> None:
    server = standin()
    with server.client() as client:
        client.shake_hands()
        client.send("Error", b'{"reason":"User canceled"}')
        client.hang_up()
        record = server.server.connection(1)
    assert record.error == {"reason": "User canceled"}
    assert record.end == {"how": "client error", "detail": "", "status": 0}


def test_an_error_message_after_the_acknowledgement_is_still_seen(
    standin: Make, statement: bytes
) -> None:
    server = standin()
    with server.client() as client:
        client.convert(statement)
        client.send("Error")
        client.hang_up()
        record = server.server.connection(1)
    assert (record.error, record.end["how"]) == ({}, "client error")


def test_the_end_of_the_clients_stream_ends_it_anywhere(standin: Make) -> None:
    server = standin()
    with server.client() as client:
        client.expect("ServerHello")
        client.hang_up()
        record = server.server.connection(1)
    assert (record.error, record.end["how"], record.types_received) == (None, "client closed", [])


@pytest.mark.parametrize(
    "changes, reason",
    [
        ({"symmetricKey": ""}, '"symmetricKey" has 0 bytes'),
        ({"salt": "!"}, "Could not read the handshake"),
        ({"forwardingIV": "AAAA"}, '"forwardingIV" has 3 bytes'),
    ],
)
def test_a_handshake_of_no_use_is_refused(standin: Make, changes: Any, reason: str) -> None:
    server = standin()
    with server.client() as client:
        client.expect("ServerHello")
        client.send_handshake(**changes)
        error = json.loads(client.expect("Error"))
        client.hang_up()
        record = server.server.connection(1)
    assert reason in error["reason"]
    assert record.end["how"] == "refused"


@pytest.mark.parametrize(
    "body, reason",
    [
        (b"", "Could not read the input archive"),
        (b"x" * 32, "Could not read the input archive"),
    ],
)
def test_an_archive_that_does_not_decrypt_is_refused(
    standin: Make, body: bytes, reason: str
) -> None:
    with standin().client() as client:
        client.shake_hands()
        client.send("InputArchive", body)
        assert reason in json.loads(client.expect("Error"))["reason"]


def zipped(*names: str) -> bytes:
    buffer = BytesIO()
    with zipfile.ZipFile(buffer, "w") as archive:
        for name in names:
            archive.writestr(name, b"x")
    return buffer.getvalue()


def answer_to_archive(standin: Make, archive: bytes) -> str:
    """The reason with which the server refuses it."""
    with standin().client() as client:
        client.shake_hands()
        client.send("InputArchive", aes(archive, client.key, client.input_iv))
        return str(json.loads(client.expect("Error"))["reason"])


@pytest.mark.parametrize(
    "names, reason",
    [
        ([], "0 files instead of one"),
        (["InputArchive/a", "InputArchive/b"], "2 files instead of one"),
        (["a.ofx"], "holds 'a.ofx'"),
        (["InputArchive/../a"], "holds 'InputArchive/../a'"),
        (["InputArchive/.."], "holds 'InputArchive/..'"),
    ],
)
def test_an_archive_of_another_layout_is_refused(
    standin: Make, names: list[str], reason: str
) -> None:
    assert reason in answer_to_archive(standin, zipped(*names))


def test_an_archive_that_is_cut_short_is_refused(standin: Make) -> None:
    assert "not a zip" in answer_to_archive(standin, input_zip("a", b"data")[:-30])


@pytest.mark.parametrize(
    "stream, how",
    [
        (b"O0\n", "unexpected message"),
        (b"x0\n", "invalid stream"),
        (b"c12", "invalid stream"),
        (b"f1\nx", "invalid stream"),
    ],
)
def test_a_message_out_of_place_or_form_is_answered_with_an_error(
    standin: Make, stream: bytes, how: str
) -> None:
    server = standin()
    with server.client() as client:
        client.expect("ServerHello")
        client.sink.write(stream)
        client.sink.close()
        assert json.loads(client.expect("Error"))["reason"]
        assert client.receive() == END
        record = server.server.connection(1)
    assert (record.end["how"], record.end["status"]) == (how, 1)


def test_a_bad_statement_comes_back_as_exit_code_and_log(standin: Make) -> None:
    with standin().client() as client:
        archive = client.convert(b"junk", "junk.txt")
    assert result_plist(archive) == {"toolExitCode": 65}
    assert archive.namelist()[2:] == ["OutputArchive/Logs/", "OutputArchive/Logs/conversion.log"]
    assert b"ERROR: " in archive.read("OutputArchive/Logs/conversion.log")


def test_the_upload_of_many_megabytes_arrives_whole(standin: Make) -> None:
    server = standin({"Conversion": {"instead": []}})
    data = bytes(range(256)) * 80_000
    with server.client() as client:
        client.shake_hands()
        client.upload(data)
        client.expect("ServerDidStopForwarding")
        client.hang_up()
        record = server.server.connection(1)
    with zipfile.ZipFile(BytesIO(record.input_archive)) as archive:
        assert archive.read("InputArchive/statement.ofx") == data


def test_a_conversation_that_nobody_ends_has_a_deadline(standin: Make) -> None:
    server = standin(deadline=0.5)
    with server.client() as client:
        client.receive_all()
        record = server.server.connection(1)
    assert record.end["how"] == "deadline"
