"""How the words of a script are checked: what is misspelt must fail loudly, not be passed over."""

from __future__ import annotations

from typing import Any, Mapping


class ScriptError(Exception):
    """A script that says something that the server does not understand, and where it does."""


def check_keys(value: Any, forms: Mapping[str, set[str]], where: str) -> str:
    """The one word of value that forms knows; ScriptError unless the others may stand beside it."""
    check_value(value, dict, where)
    words = [word for word in value if word in forms]
    if len(words) != 1:
        raise ScriptError(f"{where}: {_shown(value)} has none or several of {', '.join(forms)}")
    check_words(set(value) - {words[0]}, forms[words[0]], where)
    return str(words[0])


def check_words(words: set[str], allowed: set[str], where: str) -> None:
    """ScriptError where words hold one that is not allowed."""
    if unknown := sorted(words - allowed):
        known = ", ".join(sorted(allowed)) or "nothing"
        raise ScriptError(f"{where}: unknown {', '.join(unknown)}; known: {known}")


def check_value(value: Any, kind: type, where: str) -> Any:
    """value, if it is of that kind; a truth value does not count as a number."""
    if not isinstance(value, kind) or (kind is int and isinstance(value, bool)):
        raise ScriptError(f"{where}: {_shown(value)} is not of type {kind.__name__}")
    return value


def check_choice(value: Any, choices: tuple[Any, ...], where: str) -> None:
    """ScriptError unless value is one of the choices."""
    if value not in choices:
        raise ScriptError(f"{where}: {_shown(value)} is not one of {choices}")


def _shown(value: Any) -> str:
    text = repr(value)
    return text if len(text) <= 80 else text[:77] + "..."
