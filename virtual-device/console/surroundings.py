# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The device's environment, which stays the same while the device is off: battery, charger, cable,
camera."""

import itertools
import re

MEASURED = ("battery", "level", "current", "voltage", "gauge-temperature")  # by the fuel gauge
REMEMBERED = re.compile(rf"({'|'.join(MEASURED)}|charger|fixture \d|temperature (?:board|cpu)) "
                        r"-?\d+")


class Surroundings:
    def __init__(self):
        self.camera = {}  # the simulator's settings, by environment variable
        self.recording = None  # played by the camera; a file of the development machine
        self.recordings = itertools.count(1)  # numbers of those on the device, by any console
        self.cable = False
        self._board = {}  # the latest board command for each state

    @property
    def camera_connected(self) -> bool:
        return self.camera.get("KIROCAMERA_SIM_CONNECTED", "1") == "1"

    def remember(self, command: str) -> bool:
        """Records a command that changes the environment; returns whether it does."""
        known = REMEMBERED.fullmatch(command)
        if known:
            self._board[known[1]] = command
        return known is not None

    def board_commands(self) -> list[str]:
        """The commands that restore the environment on a newly booted board."""
        return list(self._board.values())

    def gauge_commands(self) -> list[str]:
        """Those of them that tell a new fuel gauge what it measures."""
        return [command for name, command in self._board.items() if name in MEASURED]
