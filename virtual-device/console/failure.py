# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The console's errors."""


class Failure(Exception):
    """An error that the console reports as "error REASON"."""


class DeviceOff(Failure):
    """The device is off, or turned off before it answered."""
