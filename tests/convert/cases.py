"""One case of a table of endings: what is asked for, and how it must end."""

from __future__ import annotations

import json
from collections.abc import Callable
from dataclasses import dataclass, field

from desk import Desk


@dataclass(frozen=True)
class Case:
    """What is asked for, and how it must end."""

    code: str
    status: int
    words: str  # somewhere in reason or advice
    plan: list | None = None
    arguments: tuple[str, ...] = ("in.ofx",)
    changes: dict = field(default_factory=dict)
    prepare: Callable[[Desk], object] = lambda desk: None


def options(*arguments: str) -> tuple[str, ...]:
    return (*arguments, "in.ofx")


def check(desk: Desk, case: Case) -> None:
    case.prepare(desk)
    desk.configure(**case.changes)
    done = desk.convert("--json", *case.arguments, plan=case.plan)
    check_ending(done.stdout, done.returncode, case)


def check_ending(events: str, status: int, case: Case) -> None:
    ending = json.loads(events.splitlines()[-1])
    told = ending["reason"] + "\n" + ending["advice"]
    assert (ending["event"], ending["code"], status) == ("end", case.code, case.status), told
    assert ending["status"] == status
    assert case.words in told
    assert ending["advice"] or case.status == 0 or case.code in ("timeout", "canceled")
    assert (ending["result"] is None) == (ending["bytes"] is None)
