#!/usr/bin/python3
"""A host in a process of its own, which a test can kill: host_process.py PROGRAM

Starts the program with the environment that stands on standard input as JSON and with its own
process id as EXPORT_HOST_PID, writes the program's process id, and reads its FIFO for ever. What
the program logs goes to the host's own standard error.
"""

from __future__ import annotations

import json
import os
import subprocess
import sys

[program] = sys.argv[1:]
environment = {**json.load(sys.stdin), "EXPORT_HOST_PID": str(os.getpid())}
fifos = [environment[f"EXPORT_{side}_FIFO_PATH"] for side in ("INPUT", "OUTPUT")]
given, said = (os.open(fifo, os.O_RDWR) for fifo in fifos)
process = subprocess.Popen(
    [program],
    env=environment,
    stdin=subprocess.DEVNULL,
    stdout=subprocess.PIPE,
    start_new_session=True,
)
print(process.pid, flush=True)
while True:
    os.read(said, 65536)
