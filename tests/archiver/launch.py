"""Starts a program from a small process and prints its exit status and peak memory.

The peak that the system reports for a child counts the process that it was forked from: a test
runner is larger than what is measured here.
"""

import os
import sys

child = os.posix_spawn(sys.argv[1], sys.argv[1:], os.environ)
_, status, usage = os.wait4(child, 0)
print(os.waitstatus_to_exitcode(status), usage.ru_maxrss)
