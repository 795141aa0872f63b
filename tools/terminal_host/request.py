"""What one conversion is asked to do: the values that the program's environment carries."""

from __future__ import annotations

from collections.abc import Sequence
from dataclasses import dataclass, fields
from os import PathLike
from typing import Union

Value = Union[str, int, "PathLike[str]", Sequence[str], None]

_VARIABLES = {
    "file_path": "EXPORT_FILE_PATH",
    "dest_path": "EXPORT_DEST_PATH",
    "logs_dir_path": "EXPORT_LOGS_DIR_PATH",
    "input_fifo_path": "EXPORT_INPUT_FIFO_PATH",
    "output_fifo_path": "EXPORT_OUTPUT_FIFO_PATH",
    "tool": "EXPORT_TOOL",
    "tool_version": "EXPORT_TOOL_VERSION",
    "server_command_path": "EXPORT_SERVER_COMMAND_PATH",
    "server_identity": "EXPORT_SERVER_IDENTITY",
    "host_path": "EXPORT_HOST_PATH",
    "host_pid": "EXPORT_HOST_PID",
    "client_id": "EXPORT_CLIENT_ID",
    "mac_address": "EXPORT_MAC_ADDRESS",
    "user_id": "EXPORT_USER_ID",
    "user_name": "EXPORT_USER_NAME",
    "public_key": "EXPORT_PUBLIC_KEY",
    "retry_delay": "EXPORT_RETRY_DELAY",
    "server_destinations": "EXPORT_SERVER_DESTINATIONS",
}


@dataclass(frozen=True)
class Request:
    """The values for the program, each of them optional: `None` leaves its variable unset."""

    file_path: str | PathLike[str] | None = None  # the file to convert
    dest_path: str | PathLike[str] | None = None  # where the converted file goes
    logs_dir_path: str | PathLike[str] | None = None  # where the tool's logs go
    input_fifo_path: str | PathLike[str] | None = None  # bytes from the host
    output_fifo_path: str | PathLike[str] | None = None  # messages for the host
    tool: str | None = None
    tool_version: str | None = None
    server_command_path: str | PathLike[str] | None = None  # on the server
    server_identity: str | None = None  # private key: the text, not a path
    host_path: str | PathLike[str] | None = None  # application bundle
    host_pid: int | str | None = None
    client_id: str | None = None
    mac_address: str | None = None
    user_id: str | None = None
    user_name: str | None = None
    public_key: str | None = None  # the server's RSA key: the text, not a path
    retry_delay: int | str | None = None  # seconds
    server_destinations: str | Sequence[str] | None = None  # URLs with user, host and port

    def environment(self) -> dict[str, str]:
        """The variables of all values given, in the order in which the program reads them."""
        given = ((field.name, getattr(self, field.name)) for field in fields(self))
        return {_VARIABLES[name]: _text(value) for name, value in given if value is not None}


def _text(value: Value) -> str:
    """A value as it stands in the environment: a list is joined with commas."""
    if isinstance(value, Sequence) and not isinstance(value, str):
        return ",".join(value)
    return str(value)
