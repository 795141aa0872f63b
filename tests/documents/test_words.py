"""The titles and reasons that the documents explain are the program's own words."""

from __future__ import annotations

import re

import pytest
from conftest import PROJECT

SOURCES = "".join(
    path.read_text("utf-8")
    for folder in ("app", "platform")
    for path in sorted((PROJECT / folder).glob("*.cpp"))
)
HOST = (PROJECT / "docs" / "HOST.md").read_text("utf-8")
MANUAL = (PROJECT / "docs" / "ZanburyToolProxy.1").read_text("utf-8")
# What a document shows by an example, as it stands in the program.
FORMATS = {
    "Could not connect. Will try again in 9 seconds...": (
        "Could not connect. Will try again in {} {}..."
    ),
    "Terminated by signal SIGTERM": "Terminated by signal ",
    "ERROR: The connection to the server was lost in state ...": (
        "ERROR: The connection to the server was lost in state {}"
    ),
}


def table_of_titles() -> list[str]:
    _, _, behind = HOST.partition("| title | last value |")
    return re.findall(r"^\| `([^`]+)` \|", behind.partition("\n\n")[0], re.MULTILINE)


def reasons_of_the_manual() -> list[str]:
    diagnostics = MANUAL.partition(".Sh DIAGNOSTICS")[2].partition(".Sh ")[0]
    return re.findall(r"^\.It (.*)$", diagnostics, re.MULTILINE)


@pytest.mark.parametrize("words", [*table_of_titles(), *reasons_of_the_manual()])
def test_the_program_says_what_is_explained(words: str) -> None:
    assert FORMATS.get(words, words) in SOURCES


def test_the_documents_explain_something() -> None:
    assert "User canceled" in reasons_of_the_manual() and "Canceling..." in table_of_titles()


def test_every_title_is_explained() -> None:
    said = set(re.findall(r'sendProgressSectionWithTitle\(\s*"([^"]+)"', SOURCES))
    assert len(said) == 5
    titles = table_of_titles()
    assert said <= set(titles) and len(titles) == len(said) + 1
