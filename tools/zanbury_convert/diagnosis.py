"""What the end of a program means: from its status, its last words and what it delivered."""

from __future__ import annotations

from dataclasses import dataclass
from pathlib import Path

from .codes import Code
from .ending import Ending
from .printable import printable
from .program_output import ProgramOutput

_ARCHIVER = "ZanburyArchiver"
_MOST_WORDS = 6  # lines of the program that the ending repeats
# A line of the program's own that decides, what it means, and what to do.
_REASONS: dict[str, tuple[Code, str, str]] = {
    "Invalid salt": (
        Code.INVALID_SALT,
        "The server could not prove who it is: it does not have the private half of the public "
        "key given. Nothing of the file was sent.",
        "Is it the right public key for these servers? If it is, somebody in between may have "
        "answered: contact the servers' operators.",
    ),
    "Invalid server destination": (
        Code.SERVER_URL,
        "A server's URL cannot be used.",
        "Write it as ssh://USER@HOST:PORT.",
    ),
    "Could not copy dest file to host path": (
        Code.NOT_WRITTEN,
        "The result came, but could not be written.",
        "Is there room on the disk of the output?",
    ),
}
_LOGS_REASONS = (
    "Could not copy logs to host path",
    "Could not copy log file to host logs directory",
)
_ARCHIVER_REASONS = ("Could not create InputArchive.zip", "Could not unzip OutputArchive.zip")


@dataclass(frozen=True)
class ExitState:
    """What there is when the program has ended."""

    program: Path
    status: int  # negative: ended by that signal
    has_result: bool
    source_size: int  # bytes


def ending_of(exit_state: ExitState, output: ProgramOutput) -> Ending:
    """The ending of a conversion that nobody stopped."""
    if exit_state.status < 0:
        words = f"The program was ended by signal {-exit_state.status}. Nothing was converted."
        return _ending(Code.PROGRAM_KILLED, words, "Try again; if it happens again, report it.")
    if output.tool_status is not None or exit_state.status > 1:
        return _tool_failed(exit_state, output)
    return _aborted(exit_state, output) if exit_state.status else _ended(exit_state, output)


def _ending(code: Code, reason: str, advice: str = "") -> Ending:
    return Ending(code, code.status, reason, advice)


def _tool_failed(exit_state: ExitState, output: ProgramOutput) -> Ending:
    """The status is the tool's as it is, unless that would pass for success."""
    status = exit_state.status or Code.TOOL_FAILED.status
    told = output.tool_status if output.tool_status is not None else exit_state.status
    words = f"The tool failed with status {told}"
    words += f": {output.tool_words}" if output.tool_words else "."
    if exit_state.has_result:
        words += "\nWhat it made of the file is kept."
    return Ending(Code.TOOL_FAILED, status, words, "Its logs may say more.")


def _ended(exit_state: ExitState, output: ProgramOutput) -> Ending:
    if exit_state.has_result:
        return _ending(Code.CONVERTED, "Converted.")
    if output.lost_in is not None:
        words = (
            f"The connection to the server was lost (in state {printable(output.lost_in, 60)}). "
        )
        return _ending(Code.CONNECTION_LOST, words + "No result came.", "Try again.")
    if output.says("ERROR: Could not read Result.plist"):
        words = "The server sent an archive that does not say which file is the result."
        return _ending(Code.UNREADABLE_RESULT, words, "Report it to the servers' operators.")
    words = "The program ended without an error, but no result came."
    return _ending(Code.NO_RESULT, words, "Is it the right program, and the right tool?")


def _aborted(exit_state: ExitState, output: ProgramOutput) -> Ending:
    for line, (code, words, advice) in _REASONS.items():
        if output.says(line):
            return _ending(code, words + _detail(output), advice)
    if output.says("Input archive is too big"):
        return _ending(
            Code.TOO_BIG, _sizes(exit_state, output), "Split the file, or ask for more room."
        )
    if any(output.says(reason) for reason in _LOGS_REASONS) and exit_state.has_result:
        words = "Converted, but the tool's logs could not be written." + _detail(output)
        return _ending(Code.LOGS_NOT_WRITTEN, words, "Is there room for them?")
    if any(output.says(reason) for reason in _ARCHIVER_REASONS):
        return _archiver_failed(exit_state.program)
    said = [printable(line) for line in output.lines if line.strip()][-_MOST_WORDS:]
    words = "The conversion failed: " + "\n  ".join(said) if said else "The conversion failed."
    return _ending(Code.FAILED, words, "Nothing was converted; -v shows all that was said.")


def _detail(output: ProgramOutput) -> str:
    """What the program said about the system's reason."""
    details = [line for line in output.lines if line.startswith("Error: ")]
    return f" ({printable(details[-1].removeprefix('Error: '), 200)})" if details else ""


def _sizes(exit_state: ExitState, output: ProgramOutput) -> str:
    if output.sizes is None:
        size = f"{exit_state.source_size:,} bytes before it is packed"
        return f"The file is too big for the server ({size})."
    packed, limit = output.sizes
    return (
        f"The file is too big for the server: packed it has {packed:,} bytes, "
        f"and the server accepts {limit:,}."
    )


def _archiver_failed(program: Path) -> Ending:
    folder = program.resolve().parent
    private = folder.parent / "libexec" / program.name
    if any((place / _ARCHIVER).is_file() for place in (folder, private)):
        words = "The program's archiver could not pack or unpack the file."
        return _ending(Code.NO_ARCHIVER, words, "Is there room in the temporary directory?")
    words = f"The program's archiver, {_ARCHIVER}, is missing: it is neither beside {program}"
    return _ending(Code.NO_ARCHIVER, f"{words} nor in {private}.", "Install the program again.")
