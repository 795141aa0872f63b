"""The faults that cannot be survived cleanly, each as narrow as it can be told, and why."""

from __future__ import annotations

import re
from dataclasses import dataclass


@dataclass(frozen=True)
class Accepted:
    """A call as strace shows it, the findings that it may have (all of them), and the reason."""

    case: str  # a pattern for the case's whole name
    call: str  # a pattern for the beginning of the line
    findings: str  # a pattern for every single finding
    reason: str


ACCEPTED = (
    Accepted(
        case="[a-z]+:mmap-ENOMEM-1",
        call=r"mmap\(NULL, 8192, PROT_READ\|PROT_WRITE, MAP_PRIVATE\|MAP_ANONYMOUS, -1, 0\)",
        findings="check 4|status -11 |a process crashed: killed by SIGSEGV",
        reason="the loader falls over without its very first memory; nothing of ours has begun",
    ),
)


def accepted_reason(case: str, injected: str, findings: list[str]) -> str | None:
    """Why these findings are accepted for that call; None when they are not."""
    for entry in ACCEPTED:
        fits = re.fullmatch(entry.case, case) and re.match(entry.call, injected)
        if fits and all(re.match(entry.findings, finding) for finding in findings):
            return entry.reason
    return None
