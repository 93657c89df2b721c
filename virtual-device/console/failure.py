# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The console's errors."""

import subprocess
import sys


class Failure(Exception):
    """An error that the console reports as "error REASON"."""


class DeviceOff(Failure):
    """The device is off, or turned off before it answered."""


# What a run depends on besides this code: the device, files and folders, other programs.
ERRORS = (Failure, OSError, subprocess.CalledProcessError)


def reported(name: str, run, status: int = 1) -> int:
    """Calls run() and returns its exit status. One of the errors above is one line and `status`;
    Ctrl-C is 130."""
    try:
        return run()
    except ERRORS as error:
        print(f"{name}: {error}", file=sys.stderr)
        return status
    except KeyboardInterrupt:
        print(flush=True)
        return 130
