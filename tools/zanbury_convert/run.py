"""Converts one file: runs the program, watches limits and wishes, and settles how it ended."""

from __future__ import annotations

import tempfile
import time
from collections.abc import Iterator
from contextlib import contextmanager
from dataclasses import replace
from pathlib import Path

from terminal_host import Conversion, Exit, HostError, Request, Section, Status, StderrLine
from terminal_host.events import Event

from .codes import Code
from .connecting import Connecting
from .diagnosis import ExitState, ending_of
from .display import Display
from .ending import Ending, Problem
from .interruption import Interruption, StopLevel
from .jobs import Job
from .printable import printable
from .program_output import ProgramOutput
from .settings import Settings
from .shutdown import Shutdown
from .ssh_child import ssh_of
from .ssh_messages import is_chatter
from .staging import Staging
from .standard_streams import read_input

_TICK = 0.05  # seconds; how soon a signal or the end of a limit is noticed
_HOLD = 0.5  # seconds that a line waits for an ending that tells it in other words


class Run:
    """One job of a call. `convert` does it once."""

    def __init__(
        self, job: Job, settings: Settings, display: Display, interruption: Interruption
    ) -> None:
        self._job = job
        self._settings = settings
        self._limits = settings.limits
        self._display = display
        self._interruption = interruption
        self._program_output = ProgramOutput()
        self._held: list[StderrLine] = []
        self._connecting = Connecting(
            settings.servers,
            str(settings.request.server_command_path),
            printable(str(settings.identity_file), 200),
            settings.limits.rounds,
        )
        self._shutdown = Shutdown(settings.limits.cancel_grace)
        self._has_given_up = False  # on the servers
        self._is_too_slow = False
        self._found_server = False
        self._told: set[str] = set()  # hopeless servers

    def convert(self) -> Ending:
        """Converts the file and delivers what came; shows all of it, the ending last."""
        begun = time.monotonic()
        self._display.begin(self._job)
        ending = self._job.ending
        if ending is None:
            try:
                ending = self._converted()
            except Problem as problem:
                ending = problem.ending()
        if ending.code is Code.CANCELED:
            ending = replace(ending, status=self._interruption.status)
        ending = replace(ending, seconds=time.monotonic() - begun)
        self._display.end(self._job, ending)
        return ending

    def _converted(self) -> Ending:
        job = self._job
        with Staging(job.output, job.logs, may_replace=job.may_replace) as staging:
            with self._source() as source:
                if not self._is_wanted():
                    return _canceled()
                status = self._run_program(self._request(source, staging))
                size = source.stat().st_size if source.exists() else 0
            exit_state = ExitState(self._settings.program, status, staging.has_result, size)
            return self._delivered(self._settle(exit_state), staging)

    @contextmanager
    def _source(self) -> Iterator[Path]:
        """The source as a file; standard input becomes one for the time."""
        if self._job.source is not None:
            yield self._job.source
            return
        with tempfile.TemporaryDirectory(prefix="zanbury-input.") as directory:
            yield read_input(Path(directory), self._is_wanted)

    def _is_wanted(self) -> bool:
        return self._interruption.level is StopLevel.NONE

    def _request(self, source: Path, staging: Staging) -> Request:
        return replace(
            self._settings.request,
            file_path=source,
            dest_path=staging.result,
            logs_dir_path=staging.logs,
        )

    def _run_program(self, request: Request) -> int:
        """Follows the program to its end; its exit status."""
        try:
            conversion = Conversion(request, self._settings.program, keep_history=False).start()
        except HostError as error:
            words = f"The program cannot be started: {error}."
            raise Problem(Code.PROGRAM, words, "Install it again.") from error
        begun = time.monotonic()
        with _closing(conversion):
            for event in conversion.follow(_TICK):
                if isinstance(event, Exit):
                    return event.status
                if event is not None:
                    self._take(event)
                else:
                    self._judge_round()
                self._attend(conversion, time.monotonic() - begun)
        raise AssertionError("the events end with the exit")

    def _take(self, event: Event) -> None:
        if isinstance(event, StderrLine):
            self._take_line(event)
            return
        if isinstance(event, (Section, Status)):
            self._release_lines()
        if isinstance(event, Section):
            self._program_output.take_title(event.title)
            self._take_title(event)
        self._display.show(self._job, event)

    def _take_title(self, section: Section) -> None:
        self._judge_round()
        self._connecting.begin_section(section.title, section.at)
        attempt = self._connecting.attempt
        if attempt is not None and self._connecting.is_waiting:
            self._found_server = False
            name = attempt.server.name if attempt.server else None
            self._display.connect(self._job, name, self._connecting.round, self._limits.rounds)

    def _take_line(self, line: StderrLine) -> None:
        """Keeps a line for the ending; shows it at once only to whoever wants all of them."""
        self._display.show(self._job, line)
        self._program_output.take_line(line.text)
        is_told_otherwise = self._connecting.hear(line.text) or is_chatter(line.text)
        if not is_told_otherwise and not self._shutdown.has_begun:
            self._held.append(line)

    def _judge_round(self) -> None:
        """Gives up, or tells of servers that another round will not reach."""
        self._has_given_up |= self._connecting.is_over and not self._shutdown.has_begun
        for words in [] if self._has_given_up else self._connecting.hopeless:
            if words not in self._told:
                self._told.add(words)
                self._display.notice(self._job, "hopeless", words)

    def _release_lines(self) -> None:
        for line in self._held:
            self._display.line(self._job, line)
        self._held.clear()

    def _attend(self, conversion: Conversion, now: float) -> None:
        """Looks after everything that does not come as an event."""
        if self._held and now - self._held[0].at > _HOLD:
            self._release_lines()
        self._look_for_server(conversion)
        self._watch_limits(conversion, now)
        level = self._interruption.level
        if self._ends_itself:
            level = max(level, StopLevel.TERMINATE)
        if self._shutdown.advance(conversion, level) is not None and not self._ends_itself:
            self._display.notice(self._job, "cancel", self._shutdown.words())

    def _look_for_server(self, conversion: Conversion) -> None:
        """Finds out which server the program is trying just now."""
        if self._found_server or not self._connecting.is_waiting:
            return
        ssh = ssh_of(conversion.pid)
        if ssh is not None:
            self._found_server = True
            server = self._connecting.note_server(ssh.user, ssh.host, ssh.port)
            connecting = self._connecting
            self._display.connect(self._job, server.name, connecting.round, self._limits.rounds)

    @property
    def _ends_itself(self) -> bool:
        """Whether it is not the user who wants an end."""
        return self._has_given_up or self._is_too_slow

    def _watch_limits(self, conversion: Conversion, now: float) -> None:
        if self._shutdown.has_begun:
            return
        self._is_too_slow = now > self._limits.whole > 0
        attempt = self._connecting.attempt
        is_overdue = attempt is not None and now - attempt.since > self._limits.connect > 0
        if not is_overdue or not self._connecting.is_waiting or not _waits_for_hello(conversion):
            return
        self._connecting.give_up_silent(self._limits.connect)
        ssh = ssh_of(conversion.pid)
        if ssh is None:
            self._has_given_up = True
        else:
            ssh.end()

    def _settle(self, exit_state: ExitState) -> Ending:
        """How it ended, now that the program is gone and all that it said was heard."""
        if self._is_too_slow:
            words = f"Canceled: not done within {self._limits.whole:g} seconds."
            return Problem(Code.TIMEOUT, words, "--timeout waits longer.").ending()
        if self._has_given_up:
            return self._connecting.problem().ending()
        if self._shutdown.has_begun:
            return _canceled()
        ending = ending_of(exit_state, self._program_output)
        if ending.code is not Code.FAILED:
            self._release_lines()
        return ending

    def _delivered(self, ending: Ending, staging: Staging) -> Ending:
        """The same ending, with what was put into its place. A canceled result is not."""
        if ending.code in (Code.CANCELED, Code.TIMEOUT):
            return ending
        size = staging.deliver_result(self._is_wanted) if staging.has_result else None
        result = None if size is None else self._job.output
        ending = replace(ending, result=result, size=size)
        try:
            return replace(ending, logs=staging.deliver_logs())
        except Problem as problem:
            words = f"{ending.reason}\n{problem.words}"
            if ending.code is not Code.CONVERTED:
                return replace(ending, reason=words)
            return replace(problem.ending(), reason=words, result=result, size=size)


@contextmanager
def _closing(conversion: Conversion) -> Iterator[None]:
    try:
        yield
    finally:
        conversion.close()


def _canceled() -> Ending:
    return Ending(Code.CANCELED, Code.CANCELED.status, "Canceled. Nothing was converted.")


def _waits_for_hello(conversion: Conversion) -> bool:
    """The program keeps the identity in its directory until the server has said hello."""
    return any(conversion.temporary_directory.glob("ZanburyToolProxy.*/identity"))
