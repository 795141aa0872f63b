"""The variables that the host passes: what each is good for, and what happens without it."""

from __future__ import annotations

import signal
import subprocess
from collections import Counter
from itertools import permutations

import pytest
from host_harness import PATIENCE, HostHarness
from host_view import CONNECTING, log_lines, sections, will_retry
from terminal_host import Conversion, Section
from unreachable_servers import beyond, tried

CLIENT = {
    "host_pid": 1,
    "client_id": "  client 7\t",
    "mac_address": "00:00:5e:00:53:01",
    "user_id": "u\u00fcser",
    "user_name": "Ann, O'Nymous",
}


def test_texts_arrive_unchanged(harness: HostHarness) -> None:
    outcome = harness.convert(tool="Statement Tool ", tool_version=" 2.1\n", **CLIENT)
    assert outcome.status == 0, outcome.report()
    handshake = harness.connection().client_handshake
    told = ("toolName", "toolVersion", "clientId", "macAddress", "userId", "userName", "publicKey")
    assert [handshake[key] for key in told] == [
        "Statement Tool ",
        " 2.1\n",
        "  client 7\t",
        "00:00:5e:00:53:01",
        "u\u00fcser",
        "Ann, O'Nymous",
        harness.keys.public_key_text,
    ]


@pytest.mark.parametrize(
    ("variable", "key"),
    [
        ("EXPORT_TOOL", "toolName"),
        ("EXPORT_TOOL_VERSION", "toolVersion"),
        ("EXPORT_CLIENT_ID", "clientId"),
        ("EXPORT_MAC_ADDRESS", "macAddress"),
        ("EXPORT_USER_ID", "userId"),
        ("EXPORT_USER_NAME", "userName"),
        ("EXPORT_HOST_PID", None),
        ("EXPORT_HOST_PATH", None),
        ("EXPORT_RETRY_DELAY", None),
    ],
)
def test_a_conversion_succeeds_without_what_only_describes_the_client(
    harness: HostHarness, variable: str, key: str | None
) -> None:
    outcome = harness.convert(overrides={variable: None}, **CLIENT)
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert harness.result.exists()
    described = {"toolName", "toolVersion", "clientId", "macAddress", "userId", "userName"}
    assert described - set(harness.connection().client_handshake) == ({key} if key else set())


def test_without_a_destination_path_only_the_logs_are_delivered(harness: HostHarness) -> None:
    outcome = harness.convert(overrides={"EXPORT_DEST_PATH": None})
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert not harness.result.exists() and harness.logs.is_dir()


def test_without_a_logs_directory_only_the_file_is_delivered(harness: HostHarness) -> None:
    outcome = harness.convert(overrides={"EXPORT_LOGS_DIR_PATH": None})
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert harness.result.exists() and not harness.logs.exists()


@pytest.mark.parametrize("variable", ["EXPORT_INPUT_FIFO_PATH", "EXPORT_OUTPUT_FIFO_PATH"])
def test_a_conversion_succeeds_without_one_of_the_fifos(
    harness: HostHarness, variable: str
) -> None:
    outcome = harness.convert(overrides={variable: None})
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    assert (outcome.fifo_bytes == b"") == (variable == "EXPORT_OUTPUT_FIFO_PATH")
    assert harness.result.exists()


def test_without_a_source_file_there_is_nothing_to_upload(harness: HostHarness) -> None:
    outcome = harness.convert(overrides={"EXPORT_FILE_PATH": None})
    reason = "Could not copy the source file to the InputArchive directory"
    assert outcome.status == 1 and outcome.leftovers == ()
    assert log_lines(outcome)[0] == reason
    assert harness.connection().error["reason"] == reason


def test_without_the_servers_key_the_server_cannot_read_the_handshake(harness: HostHarness) -> None:
    outcome = harness.convert(overrides={"EXPORT_PUBLIC_KEY": None})
    assert outcome.status == 1 and outcome.leftovers == ()
    assert "publicKey" not in harness.connection().client_handshake
    assert harness.connection().end["how"] == "refused"


def test_without_an_identity_nothing_is_started(harness: HostHarness) -> None:
    outcome = harness.convert(overrides={"EXPORT_SERVER_IDENTITY": None})
    assert outcome.status == 1 and outcome.leftovers == () and outcome.sections == ()
    assert log_lines(outcome)[0] == "Could not write identity to a file"
    assert log_lines(outcome)[1].startswith("Error: ")


def test_without_a_command_path_the_argument_list_cannot_be_built(harness: HostHarness) -> None:
    outcome = harness.convert(overrides={"EXPORT_SERVER_COMMAND_PATH": None})
    assert outcome.status == 1 and outcome.leftovers == ()
    assert outcome.sections == (CONNECTING,)
    assert [line.partition(" ")[0] for line in log_lines(outcome)] == ["Exception:"]


@pytest.mark.parametrize(
    "destinations",
    [
        pytest.param(None, id="unset"),
        pytest.param("", id="empty"),
        pytest.param(",", id="one comma"),
        pytest.param(" ,\t, \n,,\u00a0\u3000", id="blanks and commas"),
    ],
)
def test_with_no_destination_the_countdown_starts_at_once(
    harness: HostHarness, destinations: str | None
) -> None:
    conversion = harness.begin(
        retry_delay=3, overrides={"EXPORT_SERVER_DESTINATIONS": destinations}
    )
    conversion.wait_for(will_retry(3))
    assert sections(conversion)[0] == will_retry(3)


@pytest.mark.parametrize(
    ("text", "title"),
    [
        pytest.param("5s", will_retry(5), id="a unit behind it is ignored"),
        pytest.param(" \t\n7 and more", will_retry(7), id="leading blanks are skipped"),
        pytest.param("+3", will_retry(3), id="a plus sign"),
        pytest.param("012", will_retry(12), id="leading zeros do not mean octal"),
        pytest.param("1.9", will_retry(1, "second"), id="only the integer counts"),
        pytest.param("86400", will_retry(86400), id="a day"),
    ],
)
def test_the_retry_delay_is_the_leading_integer(
    harness: HostHarness, text: str, title: Section
) -> None:
    conversion = harness.begin(retry_delay=text, server_destinations="")
    conversion.wait_for(lambda event: isinstance(event, Section))
    assert sections(conversion)[0] == title


@pytest.mark.parametrize("text", ["x", "", "x5", "- 5", "--5", "0x10", "-5"])
def test_a_retry_delay_without_a_positive_integer_is_a_pause_without_title(
    harness: HostHarness, text: str
) -> None:
    conversion = harness.begin(retry_delay=text, server_destinations=beyond(1))
    conversion.wait_until(lambda now: len(tried(now.stderr_text)) >= 2)
    assert {event for event in conversion.events if isinstance(event, Section)} == {CONNECTING}


def test_destinations_are_trimmed_and_blank_ones_dropped(harness: HostHarness) -> None:
    text = f" , {beyond(1)}\n,\t,\r\n\u2003{beyond(2)} ,, {beyond(3)}, "
    conversion = harness.begin(server_destinations=text, retry_delay=60)
    conversion.wait_for(will_retry(60))
    assert sorted(tried(conversion.stderr_text)) == [1, 2, 3]
    assert conversion.events.count(CONNECTING) == 3


@pytest.mark.parametrize(
    ("form", "gone"),
    [
        pytest.param("{pid}", True, id="a number"),
        pytest.param(" +{pid} or so", True, id="blanks, sign, and what follows"),
        pytest.param("x{pid}", False, id="no leading number means unknown"),
        pytest.param("", False, id="empty means unknown"),
    ],
)
def test_the_host_pid_is_the_leading_integer(harness: HostHarness, form: str, gone: bool) -> None:
    ended = subprocess.Popen(["/bin/true"])
    ended.wait()
    outcome = harness.convert(tool="ZanburyConverter", host_pid=form.format(pid=ended.pid))
    expected = (1, ["Host terminated"]) if gone else (0, [])
    assert (outcome.status, log_lines(outcome)) == expected


def test_every_order_of_three_destinations_is_equally_likely(harness: HostHarness) -> None:
    # Each program tries the whole list again every second, in a new order.
    programs, cycles = 20, 6
    destinations = [beyond(number) for number in (1, 2, 3)]
    conversions = [harness.begin(server_destinations=destinations) for _ in range(programs)]
    orders = Counter(order for one in conversions for order in _orders(one, cycles))
    assert set(orders) == set(permutations((1, 2, 3)))
    expected = programs * cycles / 6
    deviation = sum((count - expected) ** 2 / expected for count in orders.values())
    # Chi-squared with five degrees of freedom: larger once in a million runs.
    assert deviation < 37, orders


def _orders(conversion: Conversion, cycles: int) -> list[tuple[int, ...]]:
    conversion.wait_until(lambda now: len(tried(now.stderr_text)) >= 3 * cycles, PATIENCE)
    conversion.signal(signal.SIGTERM)
    numbers = tried(conversion.stderr_text)[: 3 * cycles]
    return [tuple(numbers[at : at + 3]) for at in range(0, len(numbers), 3)]


def test_a_redirect_goes_before_what_is_queued_in_its_own_order(harness: HostHarness) -> None:
    # Once in thirteen times the redirecting server comes last, and nothing is queued behind it.
    queued = range(10, 22)
    for _ in range(6):
        order = _order_with_redirect(harness, [*map(beyond, queued)])
        assert sorted(order) == [1, 2, 3, *queued]
        assert order.index(1) == order.index(2) - 1 == order.index(3) - 2
        if order[-1] in queued:
            return
    pytest.fail("what was queued always came before the redirect")


def _order_with_redirect(harness: HostHarness, queued: list[str]) -> list[int]:
    redirect = ",".join([beyond(1), " ", f" {beyond(2)}\n", beyond(3), ""])
    conversion = harness.begin(
        {"ServerHandshake": {"redirect": redirect}},
        server_destinations=[harness.sshd.destination(), *queued],
        retry_delay=60,
    )
    conversion.wait_for(will_retry(60), PATIENCE)
    conversion.wait_until(lambda now: len(tried(now.stderr_text)) >= len(queued) + 3)
    return tried(conversion.stderr_text)
