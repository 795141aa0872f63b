"""A stand-in conversion server and a loopback sshd, for the demo and for conversation tests.

Independent of the proxy's own code: it frames, encrypts, zips and writes property lists by itself,
so that the same mistake on both sides is unlikely. README.md tells how to use it.
"""

from standin.deployment import StandinServer
from standin.keys import ServerKeys
from standin.record import ConnectionRecord, FrameRecord
from standin.sshd import LoopbackSshd

__all__ = ["ConnectionRecord", "FrameRecord", "LoopbackSshd", "ServerKeys", "StandinServer"]
