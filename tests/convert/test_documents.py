"""What documents and completions say is what the command does: no list of it can go stale."""

from __future__ import annotations

import json
import re
import subprocess
import sys

import jsonschema
import pytest
from command_sandbox import PROJECT

sys.path.insert(0, str(PROJECT / "tools"))

from zanbury_convert.arguments import make_parser  # noqa: E402
from zanbury_convert.codes import Code  # noqa: E402
from zanbury_convert.options import OPTIONS  # noqa: E402

COMPLETIONS = PROJECT / "tools" / "completions"
MANUAL = (PROJECT / "docs" / "zanbury-convert.1").read_text()
SCHEMA = json.loads((PROJECT / "docs" / "convert-events.schema.json").read_text())
FLAGS = {flag for action in make_parser()._actions for flag in action.option_strings}


def test_the_schema_is_one_and_lists_the_codes() -> None:
    jsonschema.Draft202012Validator.check_schema(SCHEMA)
    assert SCHEMA["$defs"]["code"]["enum"] == [code.word for code in Code]


@pytest.mark.parametrize(
    "event",
    [
        {"version": 1, "event": "status", "source": "/a", "at": 0.5},
        {"version": 1, "event": "status", "source": "/a", "at": 0.5, "value": 1, "more": 2},
        {"version": 2, "event": "status", "source": "/a", "at": 0.5, "value": 1},
        {"version": 1, "event": "nothing"},
    ],
)
def test_the_schema_refuses_what_is_not_described(event: dict) -> None:
    with pytest.raises(jsonschema.ValidationError):
        jsonschema.validate(event, SCHEMA)


def test_the_manual_lists_the_codes() -> None:
    listed = re.findall(r"^\.It (\S+) Pq (\d+)\n(.*)", MANUAL, re.M)
    assert listed == [(code.word, str(code.status), code.meaning) for code in Code]


def test_the_manual_names_every_option() -> None:
    named = MANUAL.replace("\\-", "-")
    for flag in FLAGS:
        assert re.search(rf"Fl {flag[1:]}\b", named), flag


def test_the_example_has_every_value_of_the_configuration() -> None:
    text = (PROJECT / "docs" / "convert.toml.example").read_text()
    keys = set(re.findall(r"^(?:# )?(\w+) = ", text, re.M))
    assert keys | {"public_key"} == set(OPTIONS)


def test_zsh_and_fish_complete_every_option() -> None:
    zsh = (COMPLETIONS / "_zanbury-convert").read_text()
    assert set(re.findall(r"(?<=['\"{,*)])(--?[a-z-]+)(?=[\[,}])", zsh)) == FLAGS
    fish = (COMPLETIONS / "zanbury-convert.fish").read_text()
    long = {f"--{name}" for name in re.findall(r" -l ([a-z-]+)", fish)}
    short = {f"-{name}" for name in re.findall(r" -s ([a-z])", fish)}
    assert long | short == FLAGS
    for shell, name in (("zsh", "_zanbury-convert"), ("fish", "zanbury-convert.fish")):
        subprocess.run([shell, "-n", str(COMPLETIONS / name)], check=True)


def completed_by_bash(*words: str) -> list[str]:
    """What bash offers for the last of these words."""
    script = f"""
        source {COMPLETIONS / 'zanbury-convert.bash'}
        words=("$@")
        _zanbury_convert zanbury-convert "${{words[-1]}}" "${{words[-2]}}"
        printf '%s\\n' "${{COMPREPLY[@]}}"
    """
    command = ["bash", "-c", script, "bash", "zanbury-convert", *words]
    done = subprocess.run(command, cwd=PROJECT, capture_output=True, text=True, check=True)
    assert done.stderr == ""
    return done.stdout.split()


def test_bash_completes_options_files_and_directories() -> None:
    assert set(completed_by_bash("-")) == FLAGS
    assert completed_by_bash("--no") == ["--no-clobber"]
    assert completed_by_bash("READ") == ["README.md"]
    assert completed_by_bash("-d", "tool") == ["tools"]
    assert completed_by_bash("--retries", "f") == ["forever"]
    assert completed_by_bash("--tool", "R") == []
    # Whatever takes a value does not offer options or files in its place.
    for action in make_parser()._actions:
        if action.option_strings and action.nargs is None:
            assert "--json" not in completed_by_bash(action.option_strings[-1], "-")
