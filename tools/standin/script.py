"""A script: where one conversation differs from the normal one. README.md describes its words."""

from __future__ import annotations

import signal
from typing import Any

from standin.body import check_body
from standin.framing import RAW_TYPES
from standin.script_validation import (
    ScriptError,
    check_choice,
    check_keys,
    check_value,
    check_words,
)

STAGES = (
    "ServerHello",
    "ClientHandshake",
    "ServerHandshake",
    "InputArchive",
    "InputArchiveAcknowledgement",
    "ServerWillStartForwarding",
    "Conversion",
    "ServerDidStopForwarding",
    "OutputArchive",
    "OutputArchiveAcknowledgement",
    "End",
)
WRITING = {"chunks", "rate"}
_AROUND = {"before", "after", "instead"}
_SENDING = WRITING | {"body", "type", "length", "repeat"}
_OWN_OPTIONS: dict[str, set[str]] = {
    "ServerHello": _SENDING,
    "ClientHandshake": set(),
    "ServerHandshake": _SENDING | {"salt", "redirect", "set", "omit", "append"},
    "InputArchive": set(),
    "InputArchiveAcknowledgement": _SENDING,
    "ServerWillStartForwarding": _SENDING,
    "Conversion": {"pace", "chunkBytes", "silent"},
    "ServerDidStopForwarding": _SENDING,
    "OutputArchive": _SENDING
    | {"exitCode", "destFileName", "result", "resultFormat", "converted", "logs", "entries"}
    | {"top", "zip", "padding"},
    "OutputArchiveAcknowledgement": set(),
    "End": set(),
}
ACTIONS: dict[str, set[str]] = {
    "send": WRITING | {"body", "length"},
    "raw": WRITING,
    "forward": WRITING,
    "error": WRITING,
    "stage": set().union(*_OWN_OPTIONS.values()),
    "together": WRITING,
    "actions": {"repeat"},
    "receive": set(),
    "forwarded": set(),
    "echo": set(),
    "await": set(),
    "create": set(),
    "stop reading after": set(),
    "read on": set(),
    "close": set(),
    "drain": set(),
    "stall": set(),
    "exit": set(),
    "kill": set(),
}
_BODY_OPTIONS = {"body", "redirect", "result", "converted", "zip"}
_BODY_TABLES = {"logs", "entries"}
_CHOICES: dict[str, tuple[Any, ...]] = {
    "salt": ("one bit off", "empty", "short", "absent"),
    "padding": ("right", "wrong"),
    "resultFormat": ("xml", "binary"),
    "silent": (True, False),
}
_TYPES: dict[str, type] = {
    "repeat": int,
    "rate": int,
    "chunkBytes": int,
    "set": dict,
    "omit": list,
    "append": list,
    "top": str,
}


def as_list(actions: Any) -> list[Any]:
    """One action or a list of them as a list."""
    return actions if isinstance(actions, list) else [actions]


def check_script(script: Any) -> None:
    """ScriptError where a script says something that the server does not understand."""
    check_value(script, dict, "script")
    check_words(set(script), set(STAGES) | {"steps"}, "script")
    for name, options in script.items():
        if name == "steps":
            _check_actions(options, "steps")
        else:
            _check_stage(name, options)


def _check_stage(name: str, options: Any) -> None:
    check_value(options, dict, name)
    check_words(set(options), _OWN_OPTIONS[name] | _AROUND, name)
    for key in _AROUND & set(options):
        _check_actions(options[key], f"{name}.{key}")
    _check_options(options, name)


def _check_actions(actions: Any, where: str) -> None:
    for number, action in enumerate(as_list(actions)):
        _check_action(action, f"{where}[{number}]")


def _check_action(action: Any, where: str) -> None:
    if isinstance(action, str):
        check_choice(action, STAGES, where)
        return
    verb = check_keys(action, ACTIONS, where)
    value = action[verb]
    if verb == "stage":
        check_choice(value, STAGES, where)
        options = {key: option for key, option in action.items() if key != "stage"}
        check_words(set(options), _OWN_OPTIONS[value], where)
    elif verb in ("together", "actions"):
        _check_actions(value, f"{where}.{verb}")
    elif verb in ("raw", "forward"):
        check_body(value, where)
    _check_verb_value(verb, value, where)
    _check_options({key: item for key, item in action.items() if key != verb}, where)


def _check_verb_value(verb: str, value: Any, where: str) -> None:
    if verb in ("forwarded", "echo", "exit"):
        check_value(value, int, where)
    elif verb in ("await", "create"):
        check_value(value, str, where)
    elif verb == "send":
        _check_type(value, where)
    elif verb == "receive":
        check_choice(value, (*RAW_TYPES, "any"), where)
    elif verb == "stop reading after":
        check_choice(value, (*RAW_TYPES, "now"), where)
    elif verb == "close":
        check_choice(value, ("stdin", "stdout"), where)
    elif verb in ("drain", "stall", "read on"):
        check_choice(value, (True,), where)
    elif verb == "kill":
        check_choice(value, tuple(signal.Signals.__members__), where)


def _check_options(options: dict[str, Any], where: str) -> None:
    for key, value in options.items():
        if key in _BODY_OPTIONS and value is not None:
            check_body(value, f"{where}.{key}")
        elif key in _BODY_TABLES and value is not None:
            for name, body in check_value(value, dict, f"{where}.{key}").items():
                check_body(body, f"{where}.{key}.{name}")
        elif key in _CHOICES:
            check_choice(value, _CHOICES[key], f"{where}.{key}")
        elif key in _TYPES:
            check_value(value, _TYPES[key], f"{where}.{key}")
        elif key == "type":
            _check_type(value, f"{where}.type")


def _check_type(value: Any, where: str) -> None:
    if value not in RAW_TYPES and len(check_value(value, str, where)) != 1:
        raise ScriptError(f"{where}: {value!r} is neither a message type nor one character")
