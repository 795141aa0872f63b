"""Servers that send the client elsewhere: where it goes, with which secrets, and with which key."""

from __future__ import annotations

import stat
from pathlib import Path
from typing import Any

import pytest
from assertions import assert_clean, assert_lost
from host_harness import PATIENCE, HostHarness
from host_view import CONNECTING, log_lines
from observed_process import working_directory
from session_states import SENDING, WAITING_FOR_HANDSHAKE, WAITING_FOR_HELLO, handshake, in_state
from standin import LoopbackSshd, crypto
from standin.record import wait_until

GIVES_UP = in_state(WAITING_FOR_HELLO, {"exit": 1})
SECRETS = ["symmetricKey", "forwardingIV", "inputArchiveIV", "salt"]
ZEROS = crypto.encoded(bytes(16))


def redirect(body: Any) -> dict[str, Any]:
    """A script that answers with this redirect."""
    return in_state(WAITING_FOR_HANDSHAKE, {"stage": "ServerHandshake", "redirect": body})


def port_of(harness: HostHarness, number: int) -> str:
    """The port of the sshd through which the n-th connection came."""
    return harness.server.begun(number).environment["SSH_CONNECTION"].split()[-1]


def test_a_redirect_starts_the_conversation_anew_with_new_secrets(harness: HostHarness) -> None:
    outcome = harness.convert([redirect(harness.sshd.destination()), {}])
    assert outcome.status == 0, outcome.report()
    assert harness.result.exists() and outcome.titles[:2] == (CONNECTING.title,) * 2
    first, second = harness.connection(1), harness.connection(2)
    assert first.end["how"] == "client closed" and first.error is None
    for name in SECRETS:
        assert first.client_handshake[name] != second.client_handshake[name]
        assert first.secrets[name] != second.secrets[name]
    others = first.client_handshake.keys() - set(SECRETS)
    assert {key: second.client_handshake[key] for key in others} == {
        key: first.client_handshake[key] for key in others
    }


def test_two_destinations_are_tried_in_their_order_before_those_left(harness: HostHarness) -> None:
    here = harness.sshd.destination()
    with LoopbackSshd() as other:
        (other.directory / "authorized_keys").write_text(harness.sshd.identity.public_text, "ascii")
        scripts = [redirect(f"{other.destination()},{here}"), GIVES_UP, GIVES_UP, handshake()]
        outcome = harness.convert(scripts, server_destinations=[here, here])
        ports = [port_of(harness, number) for number in (1, 2, 3, 4)]
        assert ports == [
            str(sshd.port) for sshd in (harness.sshd, other, harness.sshd, harness.sshd)
        ]
    assert_lost(outcome, SENDING)


@pytest.mark.parametrize("body", ["", " , ,"], ids=repr)
def test_a_redirect_to_nowhere_leads_to_the_retry(harness: HostHarness, body: str) -> None:
    """An empty text still counts as a redirect: it splits into one empty destination."""
    outcome = harness.convert([redirect(body), handshake()])
    assert_lost(outcome, SENDING)
    assert harness.connection(1).end["how"] == "client closed"
    assert outcome.sections[:2] == (CONNECTING, CONNECTING)


def test_blanks_and_empty_items_around_a_destination_do_not_count(harness: HostHarness) -> None:
    outcome = harness.convert([redirect(f" ,\t{harness.sshd.destination()}\n,"), handshake()])
    assert_lost(outcome, SENDING)
    assert len(harness.server.connections) == 2


def test_a_redirect_to_what_is_no_destination_aborts(harness: HostHarness) -> None:
    outcome = harness.convert(redirect("elsewhere"))
    assert outcome.status == 1, outcome.report()
    assert log_lines(outcome) == ["Invalid server destination"]
    # The connection to the server that said so is gone already.
    assert harness.connection().end["how"] == "client closed" and harness.connection().error is None
    assert_clean(outcome)


@pytest.mark.parametrize(
    "options",
    [
        {"redirect": {"hex": "ff"}},
        {"redirect": "ssh://me@elsewhere:22", "omit": ["redirectDestinationsIV"]},
        {"redirect": "ssh://me@elsewhere:22", "omit": ["redirectDestinations"]},
        {"redirect": "ssh://me@elsewhere:22", "set": {"redirectDestinationsIV": ""}},
        {"redirect": "ssh://me@elsewhere:22", "set": {"redirectDestinationsIV": "!"}},
        {"redirect": "ssh://me@elsewhere:22", "set": {"redirectDestinationsIV": "AAAA"}},
        {"set": {"redirectDestinationsIV": ZEROS, "redirectDestinations": "AAAA"}},
        {"set": {"redirectDestinationsIV": ZEROS, "redirectDestinations": ""}},
    ],
    ids=[
        "no UTF-8",
        "no IV",
        "no list",
        "an empty IV",
        "an IV that is not base64",
        "a short IV",
        "a list that is not encrypted",
        "an empty list text",
    ],
)
def test_a_redirect_that_cannot_be_read_is_ignored(
    harness: HostHarness, options: dict[str, Any]
) -> None:
    outcome = harness.convert(handshake(**options))
    assert outcome.status == 0, outcome.report()
    assert harness.connection().types_received == ["ClientHandshake", "InputArchive"]
    assert len(harness.server.connections) == 1


def test_what_follows_a_redirect_on_the_old_connection_is_dropped(harness: HostHarness) -> None:
    answer = {"stage": "ServerHandshake", "redirect": harness.sshd.destination()}
    behind = {"together": [answer, {"error": "too late"}, {"raw": "h12\n{"}]}
    outcome = harness.convert([in_state(WAITING_FOR_HANDSHAKE, behind), handshake()])
    assert_lost(outcome, SENDING)


def test_the_end_before_the_hello_of_the_new_server_leads_on_to_the_retry(
    harness: HostHarness,
) -> None:
    outcome = harness.convert([redirect(harness.sshd.destination()), GIVES_UP, handshake()])
    assert_lost(outcome, SENDING)
    assert outcome.sections[:3] == (CONNECTING,) * 3


def test_the_identity_is_on_disk_only_until_the_hello_of_each_connection(
    harness: HostHarness,
) -> None:
    def halting(number: int, *then: Any) -> dict[str, Any]:
        before = [{"create": f"connected{number}"}, {"await": f"greet{number}"}]
        greeted = ["ServerHello", "ClientHandshake", {"create": f"greeted{number}"}]
        return {"steps": [*before, *greeted, {"await": f"go{number}"}, *then, "End"]}

    answer = {"stage": "ServerHandshake", "redirect": harness.sshd.destination()}
    conversion = harness.begin([halting(1, answer), halting(2, {"exit": 0})])

    def await_file(name: str) -> None:
        wait_until(harness.server.file(name).exists, PATIENCE, name)

    for number in (1, 2):
        await_file(f"connected{number}")
        identity: Path = working_directory(conversion) / "identity"
        assert stat.S_IMODE(identity.stat().st_mode) == 0o600
        assert identity.read_text("utf-8") == harness.sshd.identity_text
        harness.server.file(f"greet{number}").touch()
        await_file(f"greeted{number}")
        assert not identity.exists()
        harness.server.file(f"go{number}").touch()
    assert_lost(conversion.wait(PATIENCE), WAITING_FOR_HANDSHAKE)
