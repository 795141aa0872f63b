"""Runs a program from a small process and prints its wall time, CPU time and peak memory.

Seconds, seconds, KiB. The peak of a child counts the process that it was forked from, so that the
benchmark itself would be too large to start what it measures.
"""

import os
import sys
import time

silence = [(os.POSIX_SPAWN_OPEN, 1, os.devnull, os.O_WRONLY, 0)]
started = time.monotonic()
child = os.posix_spawnp(sys.argv[1], sys.argv[1:], os.environ, file_actions=silence)
_, status, usage = os.wait4(child, 0)
wall = time.monotonic() - started
print(wall, usage.ru_utime + usage.ru_stime, usage.ru_maxrss)
sys.exit(os.waitstatus_to_exitcode(status))
