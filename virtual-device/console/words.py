# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The device's state in words, from its status lines, its display's picture and its board."""

import re

CONNECTION = ["undetermined", "battery", "battery and charger", "no host", "host", "no battery"]
UPDATE = ["none", "found", "valid", "beginning", "in progress", "complete", "failed"]
LINES = [  # state by status line; the latest one counts
    (re.compile(r"CONNECTION TRANSITION TO STATE: ([0-5])"), "connection", CONNECTION),
    (re.compile(r"FW UPDATE TRANSITION TO STATE: ([0-6])"), "update", UPDATE),
    (re.compile(r"USB CONNECTION STATE: (.*)"), "usb", None),
    (re.compile(r"\[device\] the application has (ended) with status \d+"), "application", None),
]
# A pixel that has this colour on this screen only; the first match counts.
SCREENS = [
    ("thermal image", 4, 4, {"141b23"}),
    ("charging", 163, 276, {"2a3541"}),
    ("no battery", 147, 248, {"2a3541"}),
    ("waiting for an update", 172, 216, {"8d9baa"}),
    ("updating", 172, 216, {"ff8a1e"}),
    ("update complete", 172, 216, {"35d07f"}),
    ("update failed", 172, 216, {"ff4b4b"}),
    ("start", 4, 4, {"0b0f14"}),
]


def screen(picture) -> str:
    if picture is None:
        return "dark"
    return next((name for name, x, y, colours in SCREENS if picture.colour(x, y) in colours),
                "unknown")


class Words:
    """Reads the status lines; each read continues where the last one stopped."""

    def __init__(self):
        self._boot = 0
        self._position = 0
        self._found = {}

    def read(self, machine) -> dict[str, str]:
        with machine.changed:
            if self._boot != machine.boots:
                self._boot, self._position = machine.boots, machine.first_line
                self._found = {"application": "stopped", "connection": CONNECTION[0],
                               "update": UPDATE[0], "usb": "not attached"}
            lines = machine.lines[self._position:]
            self._position += len(lines)
        for line in lines:
            self._take(line)
        return dict(self._found)

    def _take(self, line: str):
        self._found["application"] = "running"
        if "USB UNBIND GADGETS" in line:
            self._found["usb"] = "not attached"
        for pattern, name, values in LINES:
            if found := pattern.search(line):
                self._found[name] = values[int(found[1])] if values else found[1]


def power(machine) -> str:
    if machine.ready:
        return "on"
    if not machine.ended.is_set():
        return "starting"
    return {"guest-shutdown": "off", "cut": "cut"}.get(machine.end_reason, "failed")


def of_board(board: dict[str, str]) -> dict[str, str]:
    """The board's state, in the units of the console's commands."""
    if not board:
        return {}
    found = {name: board[name] for name in ("battery", "level", "current", "voltage", "charger")}
    found["battery-temperature"] = f"{int(board['gauge-temperature']) / 10 - 273.15:.1f}"
    for sensor in ("board", "cpu"):
        found[f"{sensor}-temperature"] = f"{int(board[f'temperature {sensor}']) / 1000:.1f}"
    for line in "012":
        found[f"fixture-{line}"] = board[f"fixture {line}"]
    found["led"] = board["led"]
    found["gauge-nack"] = board["nack"]
    return found
