# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The events of a day that `soak` simulates on the virtual device."""

import random

from commands import BETWEEN_CLICKS, BOARD, CLICK, Console, KEYS


def press(key: int, *pauses: float) -> str:
    """Returns a single command, because a busy development machine would delay a second one."""
    moves = [f"echo key {key} {1 - number % 2} >{BOARD}; sleep {pause:.2f}"
             for number, pause in enumerate(pauses)]
    return "; ".join(moves + [f"echo key {key} 0 >{BOARD}"])


class Events:
    """The possible events: (weight, name); each draws its values and runs."""

    COMMON = ((10, "click"), (4, "double_click"), (3, "hold"), (6, "temperature"), (6, "battery"),
              (2, "sensor_error"), (3, "i2c_error"), (2, "camera_error"), (3, "camera_rate"),
              (2, "camera_hangs"))
    HOST = ((6, "identity"), (4, "raw"), (3, "fuzz"), (2, "log"), (2, "factory"), (3, "session"),
            (3, "cable"), (3, "terminal"), (2, "network"), (2, "drive"),
            # On battery, all later readings would use the address of the gauge's other mode.
            (2, "nack"))

    def __init__(self, console: Console, draw: random.Random, host: bool):
        self.console = console
        self.draw = draw
        table = self.COMMON + (self.HOST if host else ())
        self.weights = [weight for weight, _ in table]
        self.names = [name for _, name in table]

    def choose(self) -> str:
        return self.draw.choices(self.names, self.weights)[0]

    def do(self, *lines: str):
        for line in lines:
            self.console.execute(line)

    def pause(self, low: float, high: float):
        self.console.machine.ended.wait(self.draw.uniform(low, high))

    # --- the device's environment -----------------------------------------------------------------

    def _press(self, *pauses: float):
        key = KEYS[self.draw.choice(("power", "torch", "torch", "reset"))]
        self.console.machine.check(press(key, *pauses))

    def click(self):
        self._press(CLICK)

    def double_click(self):
        self._press(CLICK, BETWEEN_CLICKS, CLICK)

    def hold(self):  # far below the time that turns the device off
        self._press(self.draw.uniform(0.2, 0.6))

    def temperature(self):
        place = self.draw.choice(("board", "cpu"))
        self.do(f"temperature {place} {self.draw.uniform(-20, 95):.1f}")

    def battery(self):
        what, low, high = self.draw.choice((("level", 5, 100), ("current", -2000, 500),
                                            ("voltage", 3400, 4200), ("temperature", -10, 70)))
        self.do(f"battery {what} {self.draw.randint(low, high)}")

    def sensor_error(self):
        which = self.draw.choice(("board", "cpu"))
        self.console.board(f"temperature-error {which} {self.draw.choice((5, 6, 11, 110))}")
        self.pause(1, 5)
        self.console.board(f"temperature-error {which} 0")

    def nack(self):
        self.console.board("nack 1")
        self.pause(0.5, 4)
        self.console.board("nack 0")

    def i2c_error(self):
        self.console.board(f"i2c-error {self.draw.choice((5, 11, 110, 121))} "
                           f"{self.draw.randint(1, 6)} {self.draw.randint(0, 4)}")

    def camera_hangs(self):
        self.do("camera rate 0")
        self.pause(0.5, 8)
        self.do("camera rate 30")

    def camera_error(self):
        self.do(f"camera error {self.draw.choice((-1, -3, -7, 5, -2147483648))}")

    def camera_rate(self):
        self.do(f"camera rate {self.draw.choice((1, 9, 30, 30, 60))}")

    # --- the USB host -----------------------------------------------------------------------------

    def host(self, command: str):
        self.do(f"host {command}")

    def identity(self):
        what = self.draw.choice(("identity", "status", "temperature", "list"))
        self.host(f"/host/bin/vantorel-host {what} || test $? = 1")  # 1: refused

    def raw(self):
        request, length = self.draw.randint(62, 255), self.draw.choice((0, 2, 4, 64, 4096))
        if request != 84:  # the request to stop the session waits for a frame
            self.host(f"/host/bin/vantorel-host raw {request} {length} || test $? = 1")

    def fuzz(self):
        self.host(f"/host/bin/vantorel-host fuzz --seed {self.draw.randrange(1 << 31)} "
                  f"--count {self.draw.randint(20, 300)}")

    def log(self):
        # On a busy machine the display's messages alone fill the log faster than it is read.
        self.host("echo a line >/dev/kmsg"
                  "; timeout 60 /host/bin/vantorel-host klog >/dev/null; true")

    def factory(self):
        self.host("/host/bin/vantorel-host factory read --out /tmp/factory || test $? = 1")

    def session(self):
        self.do("camera rate 30")
        self.host("/host/bin/vantorel-host session start && sleep 3 && "
                  "/host/bin/vantorel-host session stop && sleep 1 && "
                  "/host/bin/vantorel-host session start")

    def cable(self):
        self.do("cable unplug")
        self.pause(0.5, 6)
        self.do("cable plug")
        self.host("for i in $(seq 150); do [ -c /dev/ttyACM0 ] && ip link show usb1 >/dev/null && "
                  "exit; sleep 0.2; done; exit 1")
        self.pause(2, 3)

    def terminal(self):
        self.host("terminal open && sleep 1; terminal '\\003' '/ # '; "
                  "terminal 'echo $((6*7)) $(uname -m)' '42 armv7l'; terminal close")

    def network(self):
        self.host("udhcpc -n -q -t 10 -i usb1 >/dev/null 2>&1; ping -c 3 -W 10 192.168.7.1 "
                  ">/dev/null; HOME=/tmp timeout 20 /host/bin/dbclient -y -i /tmp/key "
                  "root@192.168.7.1 true </dev/null 2>/dev/null; true")

    def drive(self):
        self.host("for i in $(seq 50); do [ -b /dev/sda ] && break; sleep 0.2; done; "
                  "mkdir -p /tmp/host; mount -t vfat /dev/sda /tmp/host && "
                  "head -c 300000 /dev/urandom >/tmp/host/NOTES && rm /tmp/host/NOTES; "
                  "umount /tmp/host")
