"""HOST.md quotes the examples as they are, and knows every variable that the program reads."""

from __future__ import annotations

import re
from pathlib import Path

import pytest
from conftest import PROJECT

HOST = PROJECT / "docs" / "HOST.md"
MANUAL = PROJECT / "docs" / "ZanburyToolProxy.1"
QUOTE = re.compile(r"^```\w+ (examples/\S+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
VARIABLE = re.compile(r"\bEXPORT_[A-Z_]+[A-Z]\b")


def variables_in(*paths: Path) -> set[str]:
    return {name for path in paths for name in VARIABLE.findall(path.read_text("utf-8"))}


def test_every_quotation_stands_in_the_example() -> None:
    quotations = QUOTE.findall(HOST.read_text("utf-8"))
    for path, text in quotations:
        assert text.strip() and text in (PROJECT / path).read_text("utf-8"), f"{path}:\n{text}"
    quoted = {path for path, _ in quotations}
    assert quoted == {"examples/host.py", "examples/host.c", "examples/host.mjs"}


@pytest.mark.parametrize("document", [HOST, MANUAL], ids=["HOST.md", "manual page"])
def test_every_variable_that_is_read_is_described(document: Path) -> None:
    read = variables_in(*(PROJECT / "app").glob("*.cpp"), *(PROJECT / "app").glob("*.h"))
    assert "EXPORT_FILE_PATH" in read
    assert variables_in(document) == read


def test_the_examples_set_what_is_required() -> None:
    required = set(re.findall(r"^\| `(\w+)` \| \*\*required\*\*", HOST.read_text(), re.MULTILINE))
    assert len(required) == 5
    for example in (PROJECT / "examples").glob("host.*"):
        assert required <= variables_in(example), example.name


@pytest.mark.parametrize("document", ["HOST.md", "PROTOCOL.md"])
def test_every_link_leads_somewhere(document: str) -> None:
    text = (PROJECT / "docs" / document).read_text("utf-8")
    headings = re.findall(r"^#+ (.*)$", text, re.MULTILINE)
    anchors = {re.sub(r"[^\w\- ]", "", heading).lower().replace(" ", "-") for heading in headings}
    for target in re.findall(r"\]\(([^)]+)\)", text):
        assert (
            target[1:] in anchors if target.startswith("#") else (HOST.parent / target).exists()
        ), target
