"""A script that says something unknown is refused when the server is made, never passed over."""

from __future__ import annotations

import json
import subprocess
from pathlib import Path
from typing import Any

import pytest
from standin import ServerKeys, StandinServer
from standin.script import ACTIONS, STAGES, check_script
from standin.script_validation import ScriptError

README = Path(__file__).resolve().parents[2] / "tools" / "standin" / "README.md"


def actions(*listed: Any) -> dict[str, Any]:
    return {"steps": list(listed)}


@pytest.mark.parametrize(
    "script, words",
    [
        ([], "not of type dict"),
        ({"Hello": {}}, "unknown Hello"),
        ({"ServerHello": []}, "not of type dict"),
        ({"ServerHello": {"befor": []}}, "unknown befor"),
        ({"ServerHello": {"salt": "empty"}}, "unknown salt"),
        ({"ServerHandshake": {"salt": "wrong"}}, "not one of"),
        ({"ServerHandshake": {"set": []}}, "not of type dict"),
        ({"OutputArchive": {"logs": {"a": 1}}}, "not of type dict"),
        ({"OutputArchive": {"padding": "bad"}}, "not one of"),
        ({"ServerHello": {"type": "Hello"}}, "neither a message type nor one character"),
        ({"Conversion": {"repeat": 2}}, "unknown repeat"),
        (actions("Hello"), "not one of"),
        (actions({"stall": False}), "not one of"),
        (actions({"exit": True}), "not of type int"),
        (actions({"exit": 1, "kill": "SIGKILL"}), "none or several"),
        (actions({"kill": "SIGNONE"}), "not one of"),
        (actions({}), "none or several"),
        (actions({"send": "Forward", "bodi": ""}), "unknown bodi"),
        (actions({"send": "Forward", "body": {"hex": "0"}}), "no hex"),
        (actions({"raw": {"hex": "00", "fill": 1}}), "none or several"),
        (actions({"raw": {"join": ["a", {"text": "b"}]}}), "none or several"),
        (actions({"together": [{"xend": "Forward"}]}), "none or several"),
        (actions({"actions": ["ServerHello"], "repeat": "2"}), "not of type int"),
        (actions({"stage": "ServerHello", "exitCode": 1}), "unknown exitCode"),
        (actions({"receive": "Nothing"}), "not one of"),
        (actions({"close": "stderr"}), "not one of"),
        (actions({"await": 1}), "not of type str"),
    ],
)
def test_an_unknown_word_is_an_error_that_names_it(script: Any, words: str) -> None:
    with pytest.raises(ScriptError, match=words):
        check_script(script)


def test_a_server_with_a_bad_script_cannot_be_made(tmp_path: Path, keys: ServerKeys) -> None:
    with pytest.raises(ScriptError):
        StandinServer(tmp_path, keys, [{}, {"Hello": {}}])


@pytest.mark.parametrize("word", sorted(set(STAGES) | set(ACTIONS)))
def test_every_word_is_described_in_the_readme(word: str) -> None:
    text = README.read_text("utf-8")
    assert f'"{word}"' in text or f"`{word}`" in text


@pytest.mark.parametrize(
    "arguments, words",
    [
        (["server"], "usage:"),
        (["--config", "{config}"], "usage:"),
        (["--config", "{config}", "client"], "usage:"),
        (["--config", "/nonexistent", "server"], "No such file"),
        (["--config", "{bad}", "server"], "unknown Hello"),
    ],
)
def test_a_wrong_start_says_why(
    arguments: list[str], words: str, tmp_path: Path, keys: ServerKeys
) -> None:
    StandinServer(tmp_path, keys)
    config, bad = tmp_path / "server.json", tmp_path / "bad.json"
    bad.write_text(json.dumps({**json.loads(config.read_text()), "scripts": [{"Hello": {}}]}))
    program = README.parent / "conversion-server"
    command = [str(program), *(item.format(config=config, bad=bad) for item in arguments)]
    ended = subprocess.run(command, stdin=subprocess.DEVNULL, capture_output=True, text=True)
    assert (ended.returncode, ended.stdout) == (64, "")
    assert words in ended.stderr
