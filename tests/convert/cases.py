"""One case of a table of endings: what is asked for, and how it must end."""

from __future__ import annotations

import json
from collections.abc import Callable
from dataclasses import dataclass, field

from command_sandbox import CommandSandbox


@dataclass(frozen=True)
class Case:
    """What is asked for, and how it must end."""

    code: str
    status: int
    words: str  # somewhere in reason or advice
    plan: list | None = None
    arguments: tuple[str, ...] = ("in.ofx",)
    changes: dict = field(default_factory=dict)
    prepare: Callable[[CommandSandbox], object] = lambda sandbox: None


def options(*arguments: str) -> tuple[str, ...]:
    return (*arguments, "in.ofx")


def check(sandbox: CommandSandbox, case: Case) -> None:
    case.prepare(sandbox)
    sandbox.configure(**case.changes)
    done = sandbox.convert("--json", *case.arguments, plan=case.plan)
    check_ending(done.stdout, done.returncode, case)


def check_ending(events: str, status: int, case: Case) -> None:
    ending = json.loads(events.splitlines()[-1])
    told = ending["reason"] + "\n" + ending["advice"]
    assert (ending["event"], ending["code"], status) == ("end", case.code, case.status), told
    assert ending["status"] == status
    assert case.words in told
    assert ending["advice"] or case.status == 0 or case.code in ("timeout", "canceled")
    assert (ending["result"] is None) == (ending["bytes"] is None)
