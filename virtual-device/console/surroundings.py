"""What is around the device and stays as it is while the device is off: battery, charger, cable,
camera."""

import re

REMEMBERED = re.compile(r"(battery|level|current|voltage|gauge-temperature|charger|fixture \d|"
                        r"temperature (?:board|cpu)) -?\d+")


class Surroundings:
    def __init__(self):
        self.camera = {}  # the simulator's settings, by environment variable
        self.cable = False
        self._board = {}  # the latest command to the board for each thing that it changes

    @property
    def camera_connected(self) -> bool:
        return self.camera.get("KIROCAMERA_SIM_CONNECTED", "1") == "1"

    def remember(self, command: str) -> bool:
        """Whether it is one that changes them."""
        known = REMEMBERED.fullmatch(command)
        if known:
            self._board[known[1]] = command
        return known is not None

    def board_commands(self) -> list[str]:
        """What makes a board that has just booted the one that was left."""
        return list(self._board.values())
