"""The console protocol: one command a line, answered "ok" or "error REASON"."""

import shlex
import shutil
import time
from pathlib import Path

import gauge
from debugger import attach
from machine import DeviceOff, Failure, Machine
from picture import pixel, ppm_to_png

HELP = f"""\
battery on|off|level PERCENT|current MA|voltage MV|temperature C
{gauge.HELP}
charger on|off
fixture 0..2 on|off
temperature board|cpu C
button power|torch|reset down|up|click|hold SECONDS|doubleclick
button plug|unplug          the whole input device
camera connect|disconnect|error CODE|rate HZ
cable plug|unplug           whether a USB host is at the other end of the cable
start [debugger]            start the application; set initial conditions before. With a debug
                            server on the USB serial line instead of the shell
gdb TEXT COMMAND...         gdb commands on that line, attached to the application; wait for TEXT
stop                        ask the application to end
reboot                      cut the power and boot again from the same flash
expect TEXT [SECONDS]       wait for a status line that contains TEXT (10 s)
expect-pixel X Y RRGGBB [SECONDS]  wait until the display shows that colour there (10 s)
expect-poweroff [SECONDS]   wait until the device has powered off (10 s)
expect-cut [SECONDS]        wait until the flash has cut the power (10 s)
power-on                    in a script, after either: boot the device again
screenshot FILE.png         what the display shows
put FILE PATH               copies a file of the development machine onto the device
shell COMMAND               on the device, for up to 60 s
host COMMAND                on the USB host's side
wait SECONDS
quit"""

BOARD = "/sys/kernel/debug/vantorel-board/ctl"
KEYS = {"power": 116, "torch": 0x21E, "reset": 0x198}
CLICK = 0.08  # seconds that a finger stays on a button
BETWEEN_CLICKS = 0.12
SHELL_TIME_LIMIT = 60  # seconds; a command that hangs must not hold up a script for ever


class Quit(Exception):
    """The person has had enough."""


def _number(text: str, low: float, high: float, kind=int):
    try:
        value = kind(text)
    except ValueError:
        raise Failure(f"{text!r} is not a number") from None
    if not low <= value <= high:
        raise Failure(f"{text} is not within {low} and {high}")
    return value


def _switch(text: str) -> int:
    if text not in ("on", "off"):
        raise Failure(f"{text!r} is neither on nor off")
    return int(text == "on")


def _need(arguments: list, count: int, usage: str):
    if len(arguments) != count:
        raise Failure(f"usage: {usage}")


class Console:
    def __init__(self, machine: Machine, say=print):
        self.machine = machine
        self.say = say
        self.camera = {}  # initial conditions of the camera
        self.seen = 0  # status lines that an expect has passed

    def execute(self, line: str):
        """Carries out one line; Failure says what was wrong with it."""
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
        method(*[arguments])

    # --- the board --------------------------------------------------------------------------------

    def board(self, command: str):
        self.machine.check(f"echo '{command}' > {BOARD}")

    def board_to_power_off(self, command: str):
        """A command the application may answer by powering off, even before the console hears of
        it."""
        was_off = self.machine.ended.is_set()
        try:
            self.board(command)
        except DeviceOff:
            if was_off or not self.machine.ended.wait(5):
                raise

    def do_battery(self, arguments):
        usage = "battery on|off|level PERCENT|current MA|voltage MV|temperature C"
        if arguments in (["on"], ["off"]):
            self.board(f"battery {_switch(arguments[0])}")
            return
        _need(arguments, 2, usage)
        what, value = arguments
        if what == "level":
            self.board(f"level {_number(value, 0, 100)}")
        elif what == "current":
            self.board(f"current {_number(value, -32768, 32767)}")
        elif what == "voltage":
            self.board(f"voltage {_number(value, 0, 65535)}")
        elif what == "temperature":
            kelvin = _number(value, -273.15, 6280, float) + 273.15
            self.board(f"gauge-temperature {round(kelvin * 10)}")
        else:
            raise Failure(f"usage: {usage}")

    def do_gauge(self, arguments):
        gauge.execute(self, arguments)

    def do_charger(self, arguments):
        _need(arguments, 1, "charger on|off")
        self.board_to_power_off(f"charger {_switch(arguments[0])}")

    def do_fixture(self, arguments):
        _need(arguments, 2, "fixture 0..2 on|off")
        self.board(f"fixture {_number(arguments[0], 0, 2)} {_switch(arguments[1])}")

    def do_temperature(self, arguments):
        if len(arguments) != 2 or arguments[0] not in ("board", "cpu"):
            raise Failure("usage: temperature board|cpu C")
        celsius = _number(arguments[1], -273.15, 1000, float)
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
            self._press(key, _number(arguments[2], 0, 60, float))
        elif len(arguments) == 3:
            raise Failure(usage)
        elif action in ("down", "up"):
            self.board(f"key {key} {int(action == 'down')}")
        elif action == "click":
            self._press(key, CLICK)
        elif action == "doubleclick":
            self._press(key, CLICK)
            time.sleep(BETWEEN_CLICKS)
            self._press(key, CLICK)
        else:
            raise Failure(usage)

    def _press(self, key: int, seconds: float):
        self.board(f"key {key} 1")
        # A long press may power the device off under the finger.
        self.machine.ended.wait(seconds)
        if not self.machine.ended.is_set():
            self.board_to_power_off(f"key {key} 0")

    # --- camera, cable, application ---------------------------------------------------------------

    def do_camera(self, arguments):
        usage = "usage: camera connect|disconnect|error CODE|rate HZ"
        if arguments in (["connect"], ["disconnect"]):
            self.camera["KIROCAMERA_SIM_CONNECTED"] = str(int(arguments[0] == "connect"))
        elif len(arguments) == 2 and arguments[0] == "rate":
            self.camera["KIROCAMERA_SIM_RATE"] = str(_number(arguments[1], 1, 1000))
        elif len(arguments) == 2 and arguments[0] == "error":
            _number(arguments[1], -2**31, 2**31 - 1)
            if not self.application_runs():
                raise Failure("the application does not run")
        else:
            raise Failure(usage)
        if self.application_runs():
            self.machine.check(f"echo {' '.join(arguments)} > /run/camera")

    def do_cable(self, arguments):
        if arguments not in (["plug"], ["unplug"]):
            raise Failure("usage: cable plug|unplug")
        disabled = int(arguments[0] == "unplug")
        self.machine.check(f"echo {disabled} > /sys/bus/usb/devices/usb1/1-0:1.0/usb1-port1/disable")

    def application_runs(self) -> bool:
        # By its number: a getty's supervisor bears the same name.
        return self.machine.run("kill -0 $(cat /run/application.pid)")[0] == 0

    def do_start(self, arguments):
        if arguments not in ([], ["debugger"]):
            raise Failure("usage: start [debugger]")
        if self.application_runs():
            raise Failure("the application runs already")
        settings = " ".join(f"{name}={value}" for name, value in self.camera.items())
        option = "--serial-debugger" if arguments else ""
        self.machine.check(f"/usr/libexec/vantorel/start {settings} {option}")

    def do_stop(self, arguments):
        _need(arguments, 0, "stop")
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
        _need(arguments, 0, "reboot")
        self.machine.reboot()

    # --- looking and waiting ----------------------------------------------------------------------

    def do_expect(self, arguments):
        if len(arguments) not in (1, 2):
            raise Failure("usage: expect TEXT [SECONDS]")
        text = arguments[0]
        seconds = _number(arguments[1], 0, 3600, float) if len(arguments) == 2 else 10
        deadline = time.monotonic() + seconds
        machine = self.machine
        with machine.changed:
            while True:
                for index in range(self.seen, len(machine.lines)):
                    if text in machine.lines[index]:
                        self.seen = index + 1
                        return
                remaining = deadline - time.monotonic()
                if remaining <= 0 or machine.ended.is_set():
                    raise Failure(f"no status line with {text!r} in {seconds:g} s")
                machine.changed.wait(remaining)

    def _expect_end(self, arguments, usage: str, reason: str):
        if len(arguments) > 1:
            raise Failure(f"usage: {usage} [SECONDS]")
        seconds = _number(arguments[0], 0, 3600, float) if arguments else 10
        if not self.machine.ended.wait(seconds):
            raise Failure(f"the device is still on after {seconds:g} s")
        if self.machine.end_reason != reason:
            raise Failure(f"the device ended by {self.machine.end_reason}")

    def do_expect_cut(self, arguments):
        self._expect_end(arguments, "expect-cut", "guest-reset")

    def do_expect_poweroff(self, arguments):
        self._expect_end(arguments, "expect-poweroff", "guest-shutdown")
        if self.machine.exit_status != 0:
            raise Failure(f"QEMU ended with {self.machine.exit_status}")

    def do_power_on(self, arguments):
        _need(arguments, 0, "power-on")
        if not self.machine.ended.is_set():
            raise Failure("the device is on")
        self.machine.start()
        self.machine.wait_until_ready(60)

    def do_expect_pixel(self, arguments):
        usage = "expect-pixel X Y RRGGBB [SECONDS]"
        if len(arguments) not in (3, 4):
            raise Failure(f"usage: {usage}")
        x, y = (_number(text, 0, 10000) for text in arguments[:2])
        seconds = _number(arguments[3], 0, 3600, float) if len(arguments) == 4 else 10
        deadline = time.monotonic() + seconds
        while True:
            shown = pixel(self._capture(), x, y)
            if shown == arguments[2].lower():
                return
            if time.monotonic() > deadline:
                raise Failure(f"the display shows {shown} at {x}, {y}")
            time.sleep(0.1)

    def _capture(self) -> Path:
        self.machine.check("screenshot /dev/vantorel/display /host/out/screen.ppm")
        return self.machine.share / "out" / "screen.ppm"

    def do_screenshot(self, arguments):
        _need(arguments, 1, "screenshot FILE.png")
        target = Path(arguments[0])
        if target.suffix != ".png":
            raise Failure("the file's name must end in .png")
        picture = self._capture()
        try:
            target.parent.mkdir(parents=True, exist_ok=True)
            ppm_to_png(picture, target)
        except OSError as error:
            raise Failure(str(error)) from None

    def do_shell(self, command):
        self._shell(command)

    def do_put(self, arguments):
        _need(arguments, 2, "put FILE PATH")
        try:
            shutil.copy(arguments[0], self.machine.share / "out" / "put")
        except OSError as error:
            raise Failure(str(error)) from None
        self.machine.check(f"mv /host/out/put {shlex.quote(arguments[1])}")

    def do_host(self, command):
        self._shell("exec nsenter -t $(cat /run/host-namespace) -n sh -c "
                    + shlex.quote(command) if command else "")

    def _shell(self, command):
        if not command:
            raise Failure("usage: shell COMMAND, host COMMAND")
        status, output = self.machine.run(command, SHELL_TIME_LIMIT)
        if output:
            self.say(output.rstrip("\n"))
        if status != 0:
            raise Failure(f"exit status {status}")

    def do_wait(self, arguments):
        _need(arguments, 1, "wait SECONDS")
        self.machine.ended.wait(_number(arguments[0], 0, 3600, float))

    def do_help(self, _arguments):
        self.say(HELP)

    def do_quit(self, _arguments):
        raise Quit
