"""Which system calls are made to fail, and with which errors: those that the calls can give."""

from __future__ import annotations

from dataclasses import dataclass

_STATUS = ("EACCES", "EIO", "ENOMEM")
_REMOVAL = ("EACCES", "EIO", "EBUSY")
_NO_DESCRIPTOR = ("EMFILE", "ENFILE")
_OPENING = ("EACCES", "EINTR", "EIO", "EMFILE", "ENFILE", "ENOMEM", "ENOSPC")
_COPYING = ("EINTR", "EIO", "ENOMEM", "ENOSPC")
_WRITING = ("EAGAIN", "EINTR", "EIO", "ENOSPC", "EPIPE")
_NO_PROCESS = ("EAGAIN", "ENOMEM")

ERRORS: dict[str, tuple[str, ...]] = {
    "access": ("EACCES", "EIO"),
    "brk": ("ENOMEM",),
    "chmod": ("EIO", "EPERM"),
    "clock_nanosleep": ("EINTR",),
    "clone": _NO_PROCESS,
    "clone3": _NO_PROCESS,
    "copy_file_range": _COPYING,
    "epoll_create1": (*_NO_DESCRIPTOR, "ENOMEM"),
    "epoll_ctl": ("ENOMEM", "ENOSPC"),
    "epoll_pwait": ("EINTR",),
    "epoll_wait": ("EINTR",),
    "eventfd2": (*_NO_DESCRIPTOR, "ENOMEM"),
    "fadvise64": ("EINVAL", "EIO"),
    "fallocate": ("EINTR", "EIO", "ENOSPC"),
    "fchmod": ("EIO", "EPERM"),
    "fchmodat": ("EIO", "EPERM"),
    "fchmodat2": ("EIO", "EPERM"),
    "fcntl": ("EAGAIN", "EINTR", "ENOMEM", "EPERM"),
    "fgetxattr": ("EACCES", "EIO", "ENOMEM"),
    "flock": ("EAGAIN", "EINTR", "ENOLCK"),
    "fork": _NO_PROCESS,
    "fstat": _STATUS,
    "fstatfs": _STATUS,
    "fsync": ("EINTR", "EIO", "ENOSPC"),
    "ftruncate": ("EINTR", "EIO", "ENOSPC"),
    "getdents64": ("EIO", "ENOMEM"),
    "getrandom": ("EAGAIN", "EINTR"),
    "getxattr": ("EACCES", "EIO", "ENOMEM"),
    "ioctl": ("EAGAIN", "EIO"),
    "kill": ("EPERM", "ESRCH"),
    "linkat": ("EACCES", "EIO", "EMLINK", "ENOSPC", "EXDEV"),
    "lseek": ("EIO",),
    "lstat": _STATUS,
    "madvise": ("EAGAIN", "ENOMEM"),
    "mkdir": ("EACCES", "EIO", "ENOMEM", "ENOSPC"),
    "mkdirat": ("EACCES", "EIO", "ENOMEM", "ENOSPC"),
    "mmap": ("ENOMEM",),
    "mprotect": ("ENOMEM",),
    "mremap": ("ENOMEM",),
    "munmap": ("ENOMEM",),
    "newfstatat": _STATUS,
    "open": _OPENING,
    "openat": _OPENING,
    "openat2": _OPENING,
    "pipe": _NO_DESCRIPTOR,
    "pipe2": _NO_DESCRIPTOR,
    "poll": ("EINTR", "ENOMEM"),
    "ppoll": ("EINTR", "ENOMEM"),
    "prctl": ("EINVAL", "EPERM"),
    "pread64": ("EINTR", "EIO"),
    "prlimit64": ("EPERM",),
    "pwrite64": ("EINTR", "EIO", "ENOSPC"),
    "read": ("EAGAIN", "EINTR", "EIO"),
    "readlink": ("EACCES", "EIO", "ENOMEM"),
    "readlinkat": ("EACCES", "EIO", "ENOMEM"),
    "readv": ("EINTR", "EIO"),
    "rename": ("EACCES", "EIO", "ENOSPC"),
    "renameat": ("EACCES", "EIO", "ENOSPC"),
    "renameat2": ("EACCES", "EIO", "ENOSPC"),
    "rmdir": _REMOVAL,
    "rt_sigaction": ("EINVAL",),
    "rt_sigprocmask": ("EINVAL",),
    "sched_getaffinity": ("EPERM",),
    "select": ("EINTR", "ENOMEM"),
    "sendfile": _COPYING,
    "stat": _STATUS,
    "statfs": _STATUS,
    "statx": _STATUS,
    "symlink": ("EIO", "ENOSPC"),
    "symlinkat": ("EIO", "ENOSPC"),
    "timerfd_create": (*_NO_DESCRIPTOR, "ENOMEM"),
    "uname": ("EFAULT",),
    "unlink": _REMOVAL,
    "unlinkat": _REMOVAL,
    "utimensat": ("EACCES", "EIO"),
    "vfork": _NO_PROCESS,
    "wait4": ("ECHILD", "EINTR"),
    "waitid": ("ECHILD", "EINTR"),
    "write": _WRITING,
    "writev": _WRITING,
}

# Why the others are left alone; a call that stands in neither table ends the run as a mistake here.
LEFT_ALONE = {
    "arch_prctl": "cannot fail for these arguments, and nothing could run without it",
    "clock_gettime": "cannot fail for these arguments",
    "close": "an injected failure leaves the descriptor open, which no real one does",
    "execve": "of the program itself: the host's affair",
    "exit": "does not return",
    "exit_group": "does not return",
    "futex": "cannot fail for what the threads library asks, which takes interruptions up itself",
    "getegid": "cannot fail",
    "geteuid": "cannot fail",
    "getgid": "cannot fail",
    "getpid": "cannot fail",
    "getppid": "cannot fail",
    "gettid": "cannot fail",
    "getuid": "cannot fail",
    "restart_syscall": "the kernel's own way to go on with an interrupted call",
    "rseq": "the loader's alone",
    "rt_sigreturn": "does not return",
    "set_robust_list": "the loader's alone",
    "set_tid_address": "cannot fail",
    "umask": "cannot fail",
}


@dataclass(frozen=True, order=True)
class Kind:
    """A call of a process (see targets.py) and the error that it fails with."""

    target: str
    call: str
    error: str

    @property
    def effect(self) -> str:
        """What strace is told to do. brk alone fails without an error: it gives the old end."""
        return "retval=0" if self.call == "brk" else f"error={self.error}"

    def __str__(self) -> str:
        return f"{self.target}:{self.call}-{self.error}"


def kinds_of(target: str, calls: set[str]) -> list[Kind]:
    """All kinds for the calls that a process makes; KeyError for a call that nobody thought of."""
    return [
        Kind(target, call, error)
        for call in sorted(calls - LEFT_ALONE.keys())
        for error in ERRORS[call]
    ]
