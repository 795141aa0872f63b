"""Takes the host key of a loopback sshd out of the user's known_hosts again.

The proxy's ssh notes every new host key there. A loopback sshd has a new key and port each time, so
its line would be of no use to anybody, and would warn when the port is used again.
"""

from __future__ import annotations

import fcntl
import os
import pwd
from pathlib import Path


def forget_host_key(public_text: str, path: Path | None = None) -> None:
    """Removes the lines that hold exactly this key; leaves the file as it is where there are none.

    ssh finds the file through the account's home directory, whatever HOME says, and so do we.
    """
    known_hosts = path or Path(pwd.getpwuid(os.getuid()).pw_dir) / ".ssh" / "known_hosts"
    key = public_text.split()[1].encode("ascii")
    try:
        with open(known_hosts, "r+b") as file:
            # Several loopback servers may stop at once; ssh itself appends without a lock.
            fcntl.flock(file, fcntl.LOCK_EX)
            lines = file.readlines()
            kept = [line for line in lines if key not in line.split()]
            if len(kept) != len(lines):
                file.seek(0)
                file.writelines(kept)
                file.truncate()
    except OSError:
        return
