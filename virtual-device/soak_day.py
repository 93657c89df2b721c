# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The lives of the application in the day that `soak` simulates."""

from dataclasses import dataclass

ROUND = 120  # minutes in which all lives of LONG take their turn


@dataclass(frozen=True)
class Life:
    host: bool  # at a USB host, without a battery; else on battery
    # "pull" the charger, "hold" the power button, lose the "camera", which ends the application so
    # that it is restarted, "stop" the application, "cut" the power, "update" to another version, or
    # "cut_update", which cuts the power in an update
    end: str
    minutes: float  # without its start and end


LONG = ((False, "pull", 0.05), (True, "camera", 0.05), (True, "update", 0.08),
        (False, "hold", 0.28), (True, "cut_update", 0.05), (False, "cut", 0.08),
        (True, "stop", 0.28), (True, "cut", 0.05), (True, "update", 0.08))
SHORT = ((False, "hold", 0.5), (True, "stop", 0.5))


def lives(minutes: float) -> list:
    if minutes < 30:
        return [Life(host, end, share * minutes) for host, end, share in SHORT]
    rounds = max(1, round(minutes / ROUND))
    return [Life(host, end, share * minutes / rounds) for host, end, share in LONG] * rounds
