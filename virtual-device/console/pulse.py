# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""Wakes an emulated machine that stands still.

On an otherwise idle development machine, QEMU once stopped for ten minutes while the guest waited
only for timers; it continued when the console sent a request. A booted machine without an
application uses 18 ms of processor time in five seconds, so one that uses next to none is not idle.
It gets an interrupt that no program on it uses. A running machine is not interrupted.
"""

import ctypes
import os
import time
from pathlib import Path

from failure import Failure

INTERVAL = 5  # seconds
STILL = 0.002  # seconds of processor time in an interval


def processor_time(pid: int) -> float:
    """Returns the seconds that all threads of a process have used; raises OSError without one."""
    clock = ctypes.c_int()
    error = ctypes.CDLL(None).clock_getcpuclockid(pid, ctypes.byref(clock))
    if error:
        raise OSError(error, os.strerror(error))
    return time.clock_gettime(clock.value)


def threads(pid: int) -> str:
    """Returns where each thread of a process waits, for a fault that does not repeat: the place
    in the kernel, the system call's number and its first three arguments."""
    try:
        return ", ".join(
            " ".join(((task / "wchan").read_text(), *(task / "syscall").read_text().split()[:4]))
            for task in sorted(Path(f"/proc/{pid}/task").iterdir()))
    except OSError as error:
        return str(error)


class Pulse:
    def __init__(self, pid: int, wake):
        """wake() makes the machine handle an interrupt."""
        self._pid = pid
        self._wake = wake
        self._used = processor_time(pid)

    def check(self) -> str:
        """Compares with the last call; returns a message if the machine had to be woken."""
        before, self._used = self._used, processor_time(self._pid)
        if self._used - before >= STILL:
            return ""
        where = threads(self._pid)
        self._wake()
        return f"the emulated machine stood still and was woken: {where}"


def watch(pid: int, ended, wake, say):
    """Runs until the machine has ended; `ended` is the event."""
    try:
        pulse = Pulse(pid, wake)
        while not ended.wait(INTERVAL):
            message = pulse.check()
            if message:
                say(message)
    except (OSError, Failure):
        pass  # the machine has ended
