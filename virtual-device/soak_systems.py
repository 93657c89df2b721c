# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The firmware versions that a soaked device installs, and the check of the one that runs."""

import random
import time

import firmware
from commands import Console
from machine import Failure, Machine

VERSIONS = {"first": "32.27.2.1", "second": "32.27.2.2"}
LEAST_OPERATIONS = 1300  # flash operations of an update; this build's images need 1316
TIME_LIMIT = 600  # seconds that an update or a confirmation may take on a busy machine


class Systems:
    def __init__(self, machine: Machine, console: Console, slots: dict):
        """`slots`: the name of the firmware in each slot, as an earlier run has left them."""
        self.machine = machine
        self.console = console
        self.slots = slots
        self.shown = {name: firmware.shown_version(version) for name, version in VERSIONS.items()}
        self.folders = {name: machine.share / "updates" / name for name in VERSIONS}
        for name, folder in self.folders.items():
            folder.mkdir(parents=True, exist_ok=True)
            firmware.make_update(folder, "--version", VERSIONS[name], "--build", machine.artifacts)
        self.folders["build"] = machine.firmware
        if machine.flash.holds(machine.flash.slot, machine.firmware):
            self.slots[machine.flash.slot] = "build"

    @property
    def slot(self) -> int:
        return int(self.machine.running["slot"])

    def check(self):
        """Raises Failure unless the running slot is selected, complete, and has the version that
        was installed in it."""
        slot, version = self.slot, self.machine.running["version"]
        name = self.slots.get(slot)
        if name is None:
            raise Failure(f"slot {slot} runs, which nothing was installed in")
        if not self.machine.flash.holds(slot, self.folders[name]):
            raise Failure(f"slot {slot} runs and is not the {name} firmware")
        if version != self.shown.setdefault(name, version):
            raise Failure(f"version {version} runs in place of {self.shown[name]}")
        selected = self.machine.check("fw_printenv -n image_select").strip()
        if selected != str(slot):
            raise Failure(f"slot {slot} runs, and {selected} is selected")

    def wait_until_confirmed(self):
        deadline = time.monotonic() + TIME_LIMIT
        while self.machine.flash.variables().get("image_confirmed") != str(self.slot):
            if time.monotonic() > deadline:
                raise Failure(f"slot {self.slot} does not confirm itself")
            time.sleep(0.5)

    def _copy_update(self) -> int:
        """Puts an update to the other version on the drive; returns the slot that it is for."""
        slot = 1 - self.slot
        self.slots[slot] = "second" if self.slots[self.slot] == "first" else "first"
        self.console.execute(f"update '{self.folders[self.slots[slot]] / 'THERMAL.STR'}'")
        return slot

    def update(self):
        slot = self._copy_update()
        self.console.execute(f"expect-state update complete {TIME_LIMIT}")
        self.machine.reboot()
        if self.slot != slot:
            raise Failure(f"slot {self.slot} runs after an update of slot {slot}")

    def cut_update(self, draw: random.Random):
        """Cuts the power in an update. Either system may run afterwards."""
        operation, seed = draw.randint(1, LEAST_OPERATIONS), draw.randrange(1 << 31)
        self.machine.check("cd /sys/module/vantorel_nor/parameters && echo end > fault && "
                           f"echo {seed} > seed && echo 0 > operations && "
                           f"echo {operation} > fault_at")
        try:
            self._copy_update()
        except Failure:
            if not self.machine.ended.wait(10):  # the log's writes are counted, too
                raise
        self.console.execute(f"expect-cut {TIME_LIMIT}")
        self.console.execute("power-on")
