"""The countdown when no destination is left: what the host reads, and how long it takes at least."""

from __future__ import annotations

import pytest
from host_harness import PATIENCE, HostHarness
from host_view import A_DAY, CONNECTING, log_lines, sections, will_retry
from observed_process import children_of
from standin.record import wait_until
from terminal_host import Section
from unreachable_servers import beyond, tried

ENDS_BEFORE_THE_HELLO = {"ServerHello": {"instead": {"exit": 1}}}
HELLO_WAITS = {"ServerHello": {"instead": {"await": "never"}}}
CLOCK_STEP = 0.02  # seconds by which the time of a file may lag behind


@pytest.mark.parametrize(
    ("delay", "titles", "pause"),
    [
        pytest.param(-7, [], 1.0, id="-7: one second, no title"),
        pytest.param(-1, [], 1.0, id="-1: one second, no title"),
        pytest.param(0, [], 1.0, id="0: one second, no title"),
        pytest.param(None, [], 1.0, id="unset: one second, no title"),
        pytest.param(1, [will_retry(1, "second")], 2.0, id="1: two seconds, one title"),
        pytest.param(
            2, [will_retry(2), will_retry(1, "second")], 3.0, id="2: three seconds, two titles"
        ),
    ],
)
def test_the_pause_is_one_second_longer_than_the_delay(
    harness: HostHarness, delay: int | None, titles: list[Section], pause: float
) -> None:
    conversion = harness.begin([ENDS_BEFORE_THE_HELLO, HELLO_WAITS], retry_delay=delay)
    failed = harness.connection(1).directory / "end.json"
    tried_again = harness.server.begun(2).directory / "start.json"
    taken = tried_again.stat().st_mtime - failed.stat().st_mtime
    assert taken >= pause - CLOCK_STEP
    shown = [CONNECTING, *titles, CONNECTING]
    conversion.wait_until(lambda now: len(sections(now)) >= len(shown), PATIENCE)
    assert sections(conversion) == shown


def test_the_titles_come_a_second_apart(harness: HostHarness) -> None:
    conversion = harness.begin(server_destinations="", retry_delay=4)
    conversion.wait_for(will_retry(1, "second"))
    shown = sections(conversion)[:4]
    assert shown == [will_retry(4), will_retry(3), will_retry(2), will_retry(1, "second")]
    # The first comes a second after the start; how soon each is read is not in our hands.
    assert shown[-1].at >= 3.9


def test_there_is_no_last_cycle_and_each_tries_all_destinations(harness: HostHarness) -> None:
    destinations = [beyond(number) for number in range(3)]
    conversion = harness.begin(server_destinations=destinations, retry_delay=0)
    conversion.wait_until(lambda now: len(tried(now.stderr_text)) >= 12, PATIENCE)
    numbers = tried(conversion.stderr_text)
    cycles = [sorted(numbers[start : start + 3]) for start in range(0, 12, 3)]
    assert cycles == [[0, 1, 2]] * 4


def test_a_conversion_succeeds_when_the_server_comes_back(harness: HostHarness) -> None:
    outcome = harness.convert([ENDS_BEFORE_THE_HELLO, ENDS_BEFORE_THE_HELLO, {}], retry_delay=1)
    assert (outcome.status, log_lines(outcome)) == (0, []), outcome.report()
    one_cycle = (CONNECTING, will_retry(1, "second"))
    assert outcome.sections[:5] == (*one_cycle, *one_cycle, CONNECTING)
    assert harness.result.exists() and outcome.leftovers == ()


def test_the_cycle_after_a_redirect_tries_the_configured_destinations(harness: HostHarness) -> None:
    scripts = [{"ServerHandshake": {"redirect": beyond(7)}}, HELLO_WAITS]
    conversion = harness.begin(scripts, retry_delay=1)
    harness.server.begun(2)
    shown = [CONNECTING, CONNECTING, will_retry(1, "second"), CONNECTING]
    conversion.wait_until(lambda now: len(sections(now)) >= len(shown), PATIENCE)
    assert sections(conversion) == shown
    assert tried(conversion.stderr_text) == [7]


def test_nothing_runs_and_no_key_lies_there_during_the_countdown(harness: HostHarness) -> None:
    conversion = harness.begin(server_destinations=beyond(1), retry_delay=60)
    conversion.wait_for(will_retry(60))
    wait_until(lambda: children_of(conversion.pid) == [], PATIENCE, "no child")
    directory = next(conversion.temporary_directory.iterdir())
    assert [path.name for path in directory.iterdir()] == ["config"]


def test_a_cancel_ends_the_countdown(harness: HostHarness) -> None:
    conversion = harness.begin(server_destinations=beyond(1), retry_delay=A_DAY)
    conversion.wait_for(will_retry(A_DAY))
    conversion.cancel()
    outcome = conversion.wait(PATIENCE)
    assert (outcome.status, log_lines(outcome)) == (1, ["User canceled"])
    assert outcome.titles[-1] == "Canceling..." and outcome.leftovers == ()
