"""A real OpenSSH server on the loopback interface, run as the current user for one with-block.

It has its own port, host key, authorized key, configuration and log in a temporary directory, and
leaves none of them behind: not after an exception, Ctrl-C or SIGTERM either. Should the program that
started it be killed outright, the kernel ends the sshd, and only the directory remains.
"""

from __future__ import annotations

import atexit
import ctypes

import os
import pwd
import shutil
import signal
import socket
import subprocess
import tempfile
import threading
import time
from pathlib import Path
from types import FrameType, TracebackType

from standin.keys import SshKeyPair
from standin.known_hosts import forget_host_key
from standin.processes import Process, descendants, freeze, wait_for_ends

_SSHD = "/usr/sbin/sshd"
_PRIVILEGE_SEPARATION_DIRECTORY = Path("/run/sshd")
_PORT_ATTEMPTS = 20
_START_SECONDS = 300.0
_STOP_SECONDS = 60.0
_POLL_SECONDS = 0.01
_PR_SET_PDEATHSIG = 1

_CONFIGURATION = """\
Port {port}
{listen}
HostKey {directory}/host_key
AuthorizedKeysFile {directory}/authorized_keys
PidFile {directory}/sshd.pid
AuthenticationMethods publickey
PasswordAuthentication no
KbdInteractiveAuthentication no
PermitRootLogin prohibit-password
StrictModes no
UsePAM {use_pam}
UseDNS no
PermitUserRC no
PermitUserEnvironment no
X11Forwarding no
AllowTcpForwarding no
AllowAgentForwarding no
PrintMotd no
LogLevel VERBOSE
MaxStartups 500
MaxSessions 500
{extra}
"""


class LoopbackSshd:
    """`with LoopbackSshd() as sshd:` runs one sshd that lets in `sshd.user` with `identity_text`.

    Start it from the main thread: the kernel ties its life to the thread that started it.
    RuntimeError with sshd's own words where it cannot be started.
    """

    def __init__(self, *, ipv6: str = "no", extra_configuration: str = "") -> None:
        """ipv6: "also" listens on ::1 too, "only" on ::1 alone; extra lines end sshd's config."""
        if ipv6 not in ("no", "also", "only"):
            raise ValueError('ipv6 is "no", "also" or "only"')
        self.user = pwd.getpwuid(os.getuid()).pw_name
        self.identity = SshKeyPair.generate()
        self.host_key = SshKeyPair.generate()
        self.port = 0
        self._addresses = {"no": ["127.0.0.1"], "also": ["127.0.0.1", "::1"], "only": ["::1"]}[ipv6]
        self._extra = extra_configuration
        self._directory: Path | None = None
        self._process: subprocess.Popen[bytes] | None = None
        self._sigterm = _TerminationAsExit()

    @property
    def identity_text(self) -> str:
        """EXPORT_SERVER_IDENTITY: the private key that opens this sshd, OpenSSH text form."""
        return self.identity.private_text

    @property
    def directory(self) -> Path:
        """Its temporary directory; RuntimeError while it is not running."""
        if self._directory is None:
            raise RuntimeError("the sshd is not running")
        return self._directory

    @property
    def log(self) -> str:
        """What it has logged so far (level VERBOSE)."""
        return (self.directory / "sshd.log").read_text("utf-8", errors="replace")

    def destination(self, host: str | None = None) -> str:
        """One EXPORT_SERVER_DESTINATIONS entry, as ssh://user@127.0.0.1:port."""
        address = host or self._addresses[0]
        bracketed = f"[{address}]" if ":" in address else address
        return f"ssh://{self.user}@{bracketed}:{self.port}"

    def start(self) -> LoopbackSshd:
        """Returns once it accepts connections."""
        _make_privilege_separation_directory()
        self._directory = Path(tempfile.mkdtemp(prefix="loopback-sshd."))
        atexit.register(self.stop)
        self._sigterm.install()
        try:
            self._write_keys()
            self._start_on_a_free_port()
        except BaseException:
            self.stop()
            raise
        return self

    def stop(self) -> None:
        """Ends it with all its connections and removes its directory; may be called again."""
        atexit.unregister(self.stop)
        self._end_process()
        if self._directory is not None:
            shutil.rmtree(self._directory, ignore_errors=True)
            self._directory = None
            forget_host_key(self.host_key.public_text)
        self._sigterm.uninstall()

    def __enter__(self) -> LoopbackSshd:
        return self.start()

    def __exit__(
        self,
        kind: type[BaseException] | None,
        value: BaseException | None,
        trace: TracebackType | None,
    ) -> None:
        self.stop()

    def _write_keys(self) -> None:
        host_key = self.directory / "host_key"
        host_key.touch(mode=0o600)
        host_key.write_text(self.host_key.private_text, "ascii")
        authorized_keys = self.directory / "authorized_keys"
        authorized_keys.write_text(self.identity.public_text, "ascii")

    def _start_on_a_free_port(self) -> None:
        for _ in range(_PORT_ATTEMPTS):
            self.port = _free_port(self._addresses)
            self._write_configuration()
            self._launch()
            if self._is_listening():
                return
            self._end_process()
            if "Address already in use" not in self.log:
                raise RuntimeError(f"sshd did not start:\n{self.log}")
        raise RuntimeError(f"sshd found no free port in {_PORT_ATTEMPTS} attempts")

    def _write_configuration(self) -> None:
        text = _CONFIGURATION.format(
            port=self.port,
            listen="\n".join(f"ListenAddress {address}" for address in self._addresses),
            directory=self.directory,
            use_pam="yes" if _root_password_is_locked() else "no",
            extra=self._extra,
        )
        (self.directory / "sshd_config").write_text(text, "utf-8")

    def _launch(self) -> None:
        with open(self.directory / "sshd.log", "wb") as log:
            self._process = subprocess.Popen(
                [_SSHD, "-D", "-e", "-f", str(self.directory / "sshd_config")],
                stdin=subprocess.DEVNULL,
                stdout=log,
                stderr=log,
                # The terminal's Ctrl-C is not for it.
                start_new_session=True,
                preexec_fn=_die_with_parent,
            )

    def _is_listening(self) -> bool:
        """Waits for sshd's own word that it listens on every address; False if it ended instead."""
        assert self._process is not None
        deadline = time.monotonic() + _START_SECONDS
        while time.monotonic() < deadline:
            if self.log.count("Server listening on") == len(self._addresses):
                return True
            if self._process.poll() is not None:
                return False
            time.sleep(_POLL_SECONDS)
        return False

    def _end_process(self) -> None:
        process, self._process = self._process, None
        if process is None:
            return
        if process.poll() is None:
            freeze(process.pid)
            connections = descendants(process.pid)
            process.kill()
            process.wait()
            _end_connections(connections)


class _TerminationAsExit:
    """While installed, SIGTERM raises SystemExit(143), so that with-blocks and atexit clean up.

    Leaves alone a program that handles SIGTERM itself, and threads other than the main one.
    """

    def __init__(self) -> None:
        self._installed = False

    def install(self) -> None:
        if threading.current_thread() is not threading.main_thread():
            return
        if signal.getsignal(signal.SIGTERM) is signal.SIG_DFL:
            signal.signal(signal.SIGTERM, self._exit)
            self._installed = True

    def uninstall(self) -> None:
        if self._installed and signal.getsignal(signal.SIGTERM) == self._exit:
            signal.signal(signal.SIGTERM, signal.SIG_DFL)
        self._installed = False

    def _exit(self, number: int, _frame: FrameType | None) -> None:
        raise SystemExit(128 + number)


def _die_with_parent() -> None:
    ctypes.CDLL(None, use_errno=True).prctl(_PR_SET_PDEATHSIG, signal.SIGTERM)


def _end_connections(processes: list[Process]) -> None:
    """Hangs up; the programs that run behind the connections get time to notice."""
    for process in processes:
        if process.name.startswith("sshd"):
            process.signal(signal.SIGTERM)
    for process in wait_for_ends(processes, _STOP_SECONDS):
        process.signal(signal.SIGKILL)


def _make_privilege_separation_directory() -> None:
    """sshd insists on it when root runs it; it stays, as an sshd beside this one may need it too."""
    if os.getuid() == 0:
        _PRIVILEGE_SEPARATION_DIRECTORY.mkdir(mode=0o755, exist_ok=True)


def _root_password_is_locked() -> bool:
    """Without PAM, sshd refuses even the keys of an account whose shadow entry begins with "!"."""
    if os.getuid() != 0:
        return False
    try:
        entries = Path("/etc/shadow").read_text("utf-8", errors="replace").splitlines()
    except OSError:
        return False
    return any(entry.startswith("root:!") for entry in entries)


def _free_port(addresses: list[str]) -> int:
    family = socket.AF_INET6 if ":" in addresses[0] else socket.AF_INET
    with socket.socket(family) as probe:
        probe.bind((addresses[0], 0))
        return int(probe.getsockname()[1])
