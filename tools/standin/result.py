"""The archive that goes back to the client: result description, converted file and logs."""

from __future__ import annotations

from typing import Any

from standin import archive
from standin.body import Body
from standin.conversion import ConversionResult
from standin.session import Session

Options = dict[str, Any]


def result_zip(session: Session, options: Options) -> bytes:
    """The zip that goes back, before encryption."""
    if options.get("zip") is not None:
        return session.body(options["zip"]).data()
    top = options.get("top", "OutputArchive")
    prefix = f"{top}/" if top else ""
    entries = {prefix: Body()} if prefix else {}
    for path, body in _output_files(session, options).items():
        entries[prefix + path] = body
    for path, definition in (options.get("entries") or {}).items():
        entries[path] = session.body(definition)
    return archive.pack(entries)


def _output_files(session: Session, options: Options) -> dict[str, Body]:
    result = session.result or ConversionResult(0, None, None, {})
    files: dict[str, Body] = {}
    _put(files, "Result.plist", session, options, "result", _result_plist(result, options, session))
    name = options.get("destFileName", result.dest_file_name)
    converted = None if result.converted is None else Body((result.converted,))
    _put(files, name if isinstance(name, str) else "", session, options, "converted", converted)
    logs = {path: Body((data,)) for path, data in result.logs.items()}
    if "logs" in options:
        logs = {
            path: session.body(definition) for path, definition in (options["logs"] or {}).items()
        }
    if options.get("logs", {}) is not None:
        files["Logs/"] = Body()
    files.update({f"Logs/{path}": body for path, body in logs.items()})
    return files


def _put(
    files: dict[str, Body],
    path: str,
    session: Session,
    options: Options,
    option: str,
    normal: Body | None,
) -> None:
    """Puts the option's body, or the normal one, at the path; nothing where either is None."""
    if option in options:
        normal = None if options[option] is None else session.body(options[option])
    if path and normal is not None:
        files[path] = normal


def _result_plist(result: ConversionResult, options: Options, session: Session) -> Body:
    values = {
        "toolExitCode": options.get("exitCode", result.exit_code),
        "destFileName": options.get("destFileName", result.dest_file_name),
    }
    present = {key: value for key, value in values.items() if value is not None}
    return session.body({"plist": present, "format": options.get("resultFormat", "xml")})
