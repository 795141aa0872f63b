"""One stand-in server and its clients, over plain pipes."""

from __future__ import annotations

from reference_client import ReferenceClient
from standin import StandinServer


class Standin:
    """What the fixture of that name makes."""

    def __init__(self, server: StandinServer) -> None:
        self.server = server

    def client(self) -> ReferenceClient:
        """A new client, to be entered with `with`."""
        command = [str(self.server.directory / "conversion-server"), "server"]
        return ReferenceClient(command, self.server.keys.public_key_text)
