# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The console protocol: one command per line, answered by "ok" or "error REASON"."""

import contextlib
import glob
import itertools
import shlex
import shutil
from pathlib import Path

import camera
import firmware
import gauge
from debugger import attach
from looking import HELP as LOOKING_HELP
from looking import LIMIT_HELP, Looking, need, number
from machine import DeviceOff, Failure, Machine

HELP = f"""\
battery on|off|level PERCENT|current MA|voltage MV|temperature C
{gauge.HELP}
charger on|off
fixture 0..2 on|off
temperature board|cpu C
button power|torch|reset down|up|click|hold SECONDS|doubleclick
button plug|unplug          the whole input device
{camera.HELP}
cable plug|unplug           whether a USB host is at the other end of the cable
start [host|debugger]       start the application; set initial conditions before. "host": start
                            again until it finds the host in time; "debugger": run a debug server
                            on the USB serial line instead of the shell
gdb TEXT COMMAND...         gdb commands on that line, attached to the application; wait for TEXT
stop                        send SIGTERM to the application
reboot                      cut the power and boot again from the same flash
restart                     cut the power if it is on, boot in the surroundings that were set
                            (battery, charger, cable, temperatures, camera), start the application
firmware [OPTION...]        make-firmware and make-update of it, for "update"
update [FILE]               copy FILE to the device's drive as a USB host does; an update installs
                            itself
{LOOKING_HELP}
expect-poweroff [SECONDS]   wait until the device has powered off
expect-cut [SECONDS]        wait until the flash has cut the power
power-on                    in a script, after either: boot the device again
put FILE PATH               copies a file of the development machine onto the device
put FILE... FOLDER/         copies several, or all that match a pattern like build/*.deb
get PATH FILE               copies a file of the device to the development machine
shell COMMAND               on the device, for up to 60 s (scripts: 600 s)
host COMMAND                on the USB host's side
wait SECONDS
help [COMMAND]              all commands, or one
quit"""

BOARD = "/sys/kernel/debug/vantorel-board/ctl"
CABLE = "/sys/bus/usb/devices/usb1/1-0:1.0/usb1-port1/disable"
KEYS = {"power": 116, "torch": 0x21E, "reset": 0x198}
CLICK = 0.08  # seconds that a click holds a button
BETWEEN_CLICKS = 0.12
START_TIME_LIMIT = 600  # seconds; the application is copied to the device first
SHELL_TIME_LIMIT = 60  # seconds; a hung command must not block a script
_transfers = itertools.count(1)  # visitors of the panel copy files at the same time


def usages() -> dict[str, str]:
    """The lines of HELP by the command that they describe."""
    found, name = {}, ""
    for line in HELP.splitlines():
        if not line.startswith(" "):
            name = line.split()[0]
        found[name] = f"{found[name]}\n{line}" if name in found else line
    return found


@contextlib.contextmanager
def _reporting():
    """Reports files of the development machine that cannot be read or written."""
    try:
        yield
    except OSError as error:
        raise Failure(str(error)) from None


class Quit(Exception):
    """Ends the console."""


def _switch(text: str) -> int:
    if text not in ("on", "off"):
        raise Failure(f"{text!r} is neither on nor off")
    return int(text == "on")


class Console(Looking, camera.Commands):
    def __init__(self, machine: Machine, say=print, watch=None):
        super().__init__(machine, say, watch)
        self.surroundings = machine.surroundings

    def execute(self, line: str):
        """Executes one line; raises Failure with the reason."""
        line = line.strip()
        if not line or line.startswith("#"):
            return
        name, _, rest = line.partition(" ")
        method = getattr(self, "do_" + name.replace("-", "_"), None)
        if method is None:
            raise Failure(f"unknown command {name!r}; help lists them")
        if name in ("shell", "host"):
            method(rest.strip())
            return
        try:
            arguments = shlex.split(rest)
        except ValueError as error:
            raise Failure(str(error)) from None
        method(arguments)

    # --- the board --------------------------------------------------------------------------------

    def board(self, command: str):
        # Store it first: the command may turn the device off.
        if self.surroundings.remember(command) and not self.machine.ready:
            return  # the next start applies it
        self.watch.command(command)

    def board_to_power_off(self, command: str):
        """Runs a command on which the application may power off, even before the console's command
        returns."""
        was_off = self.machine.ended.is_set()
        try:
            self.board(command)
        except DeviceOff:
            if was_off or not self.machine.ended.wait(self.patience):
                raise

    def do_battery(self, arguments):
        usage = "battery on|off|level PERCENT|current MA|voltage MV|temperature C"
        if arguments in (["on"], ["off"]):
            self.board(f"battery {_switch(arguments[0])}")
            return
        need(arguments, 2, usage)
        what, value = arguments
        if what == "level":
            self.board(f"level {number(value, 0, 100)}")
        elif what == "current":
            self.board(f"current {number(value, -32768, 32767)}")
        elif what == "voltage":
            self.board(f"voltage {number(value, 0, 65535)}")
        elif what == "temperature":
            kelvin = number(value, -273.15, 6280, float) + 273.15
            self.board(f"gauge-temperature {round(kelvin * 10)}")
        else:
            raise Failure(f"usage: {usage}")

    def do_gauge(self, arguments):
        gauge.execute(self, arguments)

    def do_charger(self, arguments):
        need(arguments, 1, "charger on|off")
        self.board_to_power_off(f"charger {_switch(arguments[0])}")

    def do_fixture(self, arguments):
        need(arguments, 2, "fixture 0..2 on|off")
        self.board(f"fixture {number(arguments[0], 0, 2)} {_switch(arguments[1])}")

    def do_temperature(self, arguments):
        if len(arguments) != 2 or arguments[0] not in ("board", "cpu"):
            raise Failure("usage: temperature board|cpu C")
        celsius = number(arguments[1], -273.15, 1000, float)
        self.board(f"temperature {arguments[0]} {round(celsius * 1000)}")

    def do_button(self, arguments):
        usage = "usage: button power|torch|reset down|up|click|hold SECONDS|doubleclick, " \
                "button plug|unplug"
        if arguments in (["plug"], ["unplug"]):
            self.board(f"buttons {int(arguments[0] == 'plug')}")
            return
        if len(arguments) not in (2, 3) or arguments[0] not in KEYS:
            raise Failure(usage)
        key, action = KEYS[arguments[0]], arguments[1]
        if action == "hold" and len(arguments) == 3:
            self._press(key, number(arguments[2], 0, 60, float))
        elif len(arguments) == 3:
            raise Failure(usage)
        elif action in ("down", "up"):
            self.board(f"key {key} {int(action == 'down')}")
        elif action == "click":
            self._click(key)
        elif action == "doubleclick":
            self._click(key, f"sleep {BETWEEN_CLICKS}")
        else:
            raise Failure(usage)

    def _click(self, key: int, pause: str = ""):
        """Clicks once, or twice with that pause. The device's clock times the click, because a
        click that a busy machine prolongs would be a long press."""
        click = f"echo 'key {key} 1' > {BOARD} && sleep {CLICK} && echo 'key {key} 0' > {BOARD}"
        self.machine.check(f"{click} && {pause} && {click}" if pause else click)

    def _press(self, key: int, seconds: float):
        self.board(f"key {key} 1")
        # A long press may power the device off before the release.
        self.machine.ended.wait(seconds)
        if not self.machine.ended.is_set():
            self.board_to_power_off(f"key {key} 0")

    # --- camera, cable, application ---------------------------------------------------------------

    def do_cable(self, arguments):
        if arguments not in (["plug"], ["unplug"]):
            raise Failure("usage: cable plug|unplug")
        self.surroundings.cable = arguments == ["plug"]
        if self.machine.ready:
            self.machine.check(f"echo {int(not self.surroundings.cable)} > {CABLE}")

    def application_runs(self) -> bool:
        # Check the process ID: a getty's supervisor has the same name.
        return self.machine.ready and \
            self.machine.run("kill -0 $(cat /run/application.pid)")[0] == 0

    def do_start(self, arguments):
        if arguments not in ([], ["host"], ["debugger"]):
            raise Failure("usage: start [host|debugger]")
        if self.application_runs():
            raise Failure("the application runs already")
        self.machine.own.put(self.machine)
        settings = " ".join(f"{name}={value}" for name, value in self.camera_settings().items())
        option = "--serial-debugger" if arguments == ["debugger"] else ""
        first = len(self.machine.lines)
        self.machine.check(f"/usr/libexec/vantorel/start {settings} {option}", START_TIME_LIMIT)
        if arguments == ["host"]:
            self._start_until_host(first)

    def _start_until_host(self, first: int):
        """Starts the application again if a busy machine's host misses the device's limit of two
        seconds."""
        self.seen = first
        self.do_expect(["CONNECTION TRANSITION TO STATE: "])
        if self.machine.lines[self.seen - 1].endswith("STATE: 3"):
            self.say("the host was too late; starting again")
            self.do_stop([])
            self.do_expect(["the application has ended with status 0"])
            self.do_start(["host"])
        else:
            self.seen = first

    def do_stop(self, arguments):
        need(arguments, 0, "stop")
        if not self.application_runs():
            raise Failure("the application does not run")
        self.machine.check("kill -TERM $(cat /run/application.pid)")

    def do_gdb(self, arguments):
        if len(arguments) < 2:
            raise Failure("usage: gdb TEXT COMMAND...")
        output = attach(self.machine, arguments[1:])
        self.say(output.rstrip("\n"))
        if arguments[0] not in output:
            raise Failure(f"gdb does not say {arguments[0]!r}")

    def do_reboot(self, arguments):
        need(arguments, 0, "reboot")
        self.machine.reboot()

    def do_restart(self, arguments):
        need(arguments, 0, "restart")
        self.machine.reboot()
        around = [f"echo '{command}' > {BOARD}" for command in self.surroundings.board_commands()]
        if self.surroundings.cable:
            around.append(f"echo 0 > {CABLE}")
        self.machine.check("\n".join(around), START_TIME_LIMIT)
        self.do_start([])

    def do_firmware(self, arguments):
        firmware.make_update(self.machine.share / "out", *arguments,
                             "--build", self.machine.artifacts)

    def do_update(self, arguments):
        made = self.machine.share / "out" / "THERMAL.STR"
        if len(arguments) > 1 or (not arguments and not made.exists()):
            raise Failure("usage: update FILE; without FILE after \"firmware\"")
        with self._transfer("update") as copy:
            with _reporting():
                shutil.copy(arguments[0] if arguments else made, copy)
            # The host decides when it writes: the drive's last sector is written at the unmount.
            self.do_host("for i in $(seq 20); do [ -b /dev/sda ] && break; sleep 0.5; done\n"
                         "[ -b /dev/sda ] || { echo the host sees no drive; exit 1; }\n"
                         "mkdir -p /tmp/host && mount -t vfat /dev/sda /tmp/host || exit 1\n"
                         f"cp /host/out/{copy.name} /tmp/host/THERMAL.STR; status=$?\n"
                         "umount /tmp/host && exit $status")

    # --- waiting ----------------------------------------------------------------------------------

    def _expect_end(self, arguments, usage: str, reason: str):
        if len(arguments) > 1:
            raise Failure(f"usage: {usage} [SECONDS]")
        seconds = self._limit(arguments)
        if not self.machine.ended.wait(seconds):
            raise Failure(f"the device is still on after {seconds:g} s")
        if self.machine.end_reason != reason:
            raise Failure(f"the device ended by {self.machine.end_reason}")

    def do_expect_cut(self, arguments):
        self._expect_end(arguments, "expect-cut", "cut")

    def do_expect_poweroff(self, arguments):
        self._expect_end(arguments, "expect-poweroff", "guest-shutdown")
        if self.machine.exit_status != 0:
            raise Failure(f"QEMU ended with {self.machine.exit_status}")

    def do_power_on(self, arguments):
        need(arguments, 0, "power-on")
        if not self.machine.ended.is_set():
            raise Failure("the device is on")
        self.machine.start()
        self.machine.wait_until_ready()

    @contextlib.contextmanager
    def _transfer(self, kind: str):
        """The path of a file in /host/out for one copy, which is removed afterwards."""
        file = self.machine.share / "out" / f"{kind}-{next(_transfers)}"
        try:
            yield file
        finally:
            file.unlink(missing_ok=True)

    def do_put(self, arguments):
        *patterns, target = arguments or [""]
        files = [file for pattern in patterns for file in sorted(glob.glob(pattern)) or [pattern]]
        if not files or (len(files) > 1 and not target.endswith("/")):
            raise Failure("usage: put FILE PATH, put FILE... FOLDER/")
        for file in files:
            path = target + Path(file).name if target.endswith("/") else target
            with self._transfer("put") as copy:
                with _reporting():
                    shutil.copy(file, copy)
                # -T: a folder without "/" would get a file of the copy's name.
                self.machine.check(f"mv -T /host/out/{copy.name} {shlex.quote(path)}")

    def do_get(self, arguments):
        need(arguments, 2, "get PATH FILE")
        path, target = arguments
        # Files whose content the kernel generates have no size.
        file = shlex.quote(path)
        with self._transfer("get") as copy:
            self.machine.check(f"test -f {file} && cat {file} > /host/out/{copy.name}",
                               SHELL_TIME_LIMIT)
            with _reporting():
                shutil.copyfile(copy, target)

    def do_shell(self, command):
        if not command:
            raise Failure("usage: shell COMMAND, host COMMAND")
        status, output = self.machine.run(command, max(SHELL_TIME_LIMIT, self.patience))
        if output:
            self.say(output.rstrip("\n"))
        if status != 0:
            latest = output.rstrip("\n").rpartition("\n")[2][:100]
            raise Failure(f"exit status {status}" + (f": {latest}" if latest else ""))

    def do_host(self, command):
        # The host's own programs, such as vantorel-host, are not in the device's PATH.
        self.do_shell("export PATH=$PATH:/host/bin\n"
                      "exec nsenter -t $(cat /run/host-namespace) -n sh -c "
                      + shlex.quote(command) if command else "")

    def do_wait(self, arguments):
        need(arguments, 1, "wait SECONDS")
        self.machine.ended.wait(number(arguments[0], 0, 3600, float))

    def do_help(self, arguments):
        if len(arguments) > 1:
            raise Failure("usage: help [COMMAND]")
        if arguments and arguments[0] not in usages():
            raise Failure(f"unknown command {arguments[0]!r}; help lists them")
        text = usages()[arguments[0]] if arguments else HELP
        self.say(f"{text}\n{LIMIT_HELP}" if "[SECONDS]" in text else text)

    def do_quit(self, _arguments):
        raise Quit
