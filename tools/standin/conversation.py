"""One conversation with one client: the stages in their order, as a script changes them."""

from __future__ import annotations

from typing import Any

from standin.actions import ACTION_FUNCTIONS
from standin.script import STAGES, as_list
from standin.session import Session
from standin.stages import STAGE_FUNCTIONS, pacing


class Conversation:
    """Plays a checked script; ends by raising ConversationOver or Refused, or at the last step."""

    def __init__(self, session: Session, script: dict[str, Any]) -> None:
        self._session = session
        self._script = script
        self._within: list[str] = []

    def run(self) -> None:
        """From the first step to the last."""
        self._play_all(self._script.get("steps", list(STAGES)))

    def _play_all(self, actions: Any) -> None:
        for action in as_list(actions):
            self._play(action)

    def _play(self, action: Any) -> None:
        if isinstance(action, str):
            self._play_stage(action, {})
        elif "stage" in action:
            self._play_stage(action["stage"], action)
        elif "together" in action:
            with self._session.connection.together(pacing(action)):
                self._play_all(action["together"])
        elif "actions" in action:
            for _ in range(action.get("repeat", 1)):
                self._play_all(action["actions"])
        else:
            verb = next(word for word in action if word in ACTION_FUNCTIONS)
            ACTION_FUNCTIONS[verb](self._session, action)

    def _play_stage(self, name: str, options: dict[str, Any]) -> None:
        """Options in the action itself outweigh the script's for the stage.

        A stage within its own "before", "after" or "instead" is the plain stage.
        """
        changes = self._script.get(name, {})
        around = {} if name in self._within else changes
        self._within.append(name)
        self._play_all(around.get("before", []))
        if "instead" in around:
            self._play_all(around["instead"])
        else:
            STAGE_FUNCTIONS[name](self._session, {**changes, **options})
        self._play_all(around.get("after", []))
        self._within.pop()
