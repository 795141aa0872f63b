"""Imported by a conftest: what the tests start does not inherit signals that are ignored.

A job in the background of a shell ignores SIGINT and SIGQUIT, and nohup(1) SIGHUP; the program under
test would leave them ignored, as it should, and the tests of its ends would wait for ever."""

from __future__ import annotations

import signal

for _number in (signal.SIGINT, signal.SIGQUIT, signal.SIGHUP, signal.SIGTERM):
    if signal.getsignal(_number) == signal.SIG_IGN:
        _is_interrupt = _number == signal.SIGINT
        signal.signal(_number, signal.default_int_handler if _is_interrupt else signal.SIG_DFL)
