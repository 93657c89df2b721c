# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The console's commands that read the device: its display, its state, its status lines."""

import time
from pathlib import Path

import words
from machine import Failure, Machine
from picture import Picture, difference, encode, reading
from watch import Watch

HELP = """\
state                       everything about the device and around it, one "NAME VALUE" per line
lines [FROM]                status lines from number FROM (0) on, the latest 500 at most, each after
                            its number
expect TEXT [SECONDS]       wait for a status line that contains TEXT; ^TEXT: that begins with it
expect-state NAME VALUE [SECONDS]  wait until `state` says so
expect-picture [SECONDS]    wait until the display shows a picture
expect-pixel X Y RRGGBB [SECONDS]  wait until the display shows that colour there
expect-motion X Y [SECONDS]  wait until the display shows another colour there than now
expect-screen FILE.png TOLERANCE [SECONDS]
                            wait until no more than TOLERANCE percent of the display's pixels differ
                            from the picture
screenshot FILE.png         what the display shows"""

MOST_LINES = 500
PATIENCE = 10  # seconds that an interactive command waits
SCRIPT_PATIENCE = 600  # seconds; a script waits for the event, so only a hang reaches this
LIMIT_HELP = f"[SECONDS]: {PATIENCE} if omitted, in scripts {SCRIPT_PATIENCE}"


def number(text: str, low: float, high: float, kind=int):
    try:
        value = kind(text)
    except ValueError:
        raise Failure(f"{text!r} is not a number") from None
    if not low <= value <= high:
        raise Failure(f"{text} is not within {low} and {high}")
    return value


def need(arguments: list, count: int, usage: str):
    if len(arguments) != count:
        raise Failure(f"usage: {usage}")


class Looking:
    def __init__(self, machine: Machine, say, watch=None):
        self.machine = machine
        self.say = say
        self.watch = watch or Watch(machine)
        self.words = words.Words()
        self.seen = 0  # status lines consumed by expect
        self.patience = PATIENCE  # seconds; the limit of a wait that sets none

    # --- state ------------------------------------------------------------------------------------

    def state(self) -> dict[str, str]:
        machine, around = self.machine, self.machine.surroundings
        found = {"power": words.power(machine)}
        found.update(machine.running if machine.ready else {})
        found["boots"] = str(machine.boots)
        found.update(self.words.read(machine))
        found["screen"] = words.screen(self.watch.picture())
        found["cable"] = "plugged" if around.cable else "unplugged"
        found["camera"] = "connected" if around.camera_connected else "disconnected"
        found["recording"] = Path(around.recording).name if around.recording else "none"
        found["camera-rate"] = around.camera.get("KIROCAMERA_SIM_RATE", "30")
        found.update(words.of_board(self.watch.board()))
        return found

    def do_state(self, arguments):
        need(arguments, 0, "state")
        self.say("\n".join(f"{name} {value}" for name, value in self.state().items()))

    def do_lines(self, arguments):
        if len(arguments) > 1:
            raise Failure("usage: lines [FROM]")
        begin = number(arguments[0], 0, 2**53) if arguments else 0
        with self.machine.changed:
            count = len(self.machine.lines)
            begin = max(begin, count - MOST_LINES)
            lines = self.machine.lines[begin:]
        if lines:
            self.say("\n".join(f"{begin + i} {line}" for i, line in enumerate(lines)))

    # --- waiting ----------------------------------------------------------------------------------

    def _limit(self, last: list) -> float:
        """Returns the limit of a wait; `last` contains it unless it was omitted."""
        return number(last[0], 0, 3600, float) if last else self.patience

    def do_expect(self, arguments):
        if len(arguments) not in (1, 2):
            raise Failure("usage: expect TEXT [SECONDS]")
        text = arguments[0]
        at_begin = text.startswith("^")  # a line of the log contains the texts of other lines
        seconds = self._limit(arguments[1:])
        deadline = time.monotonic() + seconds
        machine = self.machine
        boots = machine.boots
        with machine.changed:
            while True:
                for index in range(self.seen, len(machine.lines)):
                    line = machine.lines[index]
                    if line.startswith(text[1:]) if at_begin else text in line:
                        self.seen = index + 1
                        return
                remaining = deadline - time.monotonic()
                if remaining <= 0 or machine.ended.is_set():
                    raise Failure(f"no status line with {text!r} in {seconds:g} s"
                                  + self._instead(machine.boots - boots))
                machine.changed.wait(remaining)

    def _instead(self, boots: int) -> str:
        """Describes what happened instead of an expected line, for failures that cannot be
        repeated."""
        course = f"; the device has restarted {boots} times" if boots else ""
        if self.machine.ended.is_set():
            course += f"; it ended by {self.machine.end_reason} ({self.machine.exit_status})"
        latest = " | ".join(line[:60] for line in self.machine.lines[self.seen:][-4:])
        return course + (f"; the latest lines: {latest}" if latest else "; no line at all")

    def _poll(self, read, wanted: str, seconds: float, complaint: str, until_on=False):
        """Reads until it is as wanted, the time has passed or the device is off; `until_on`: also
        while it is off, when another visitor of the panel may switch it on."""
        deadline = time.monotonic() + seconds
        while True:
            # Before the reading: the device's end may bring what is wanted.
            over = self.machine.closed if until_on else self.machine.off
            if (found := read()) == wanted:
                return
            if over or time.monotonic() > deadline:
                end = f"; the device has ended by {self.machine.end_reason}" if over else ""
                raise Failure(complaint.format(found) + end)
            time.sleep(0.1)

    def do_expect_state(self, arguments):
        if len(arguments) not in (2, 3):
            raise Failure("usage: expect-state NAME VALUE [SECONDS]")
        name, wanted = arguments[:2]
        if name not in self.state():
            raise Failure(f"there is no state {name!r}")
        seconds = self._limit(arguments[2:])
        self._poll(lambda: self.state().get(name), wanted, seconds, f"{name} is {{}}",
                   until_on=name == "power")

    def do_expect_picture(self, arguments):
        if len(arguments) > 1:
            raise Failure("usage: expect-picture [SECONDS]")
        seconds = self._limit(arguments)
        self._poll(lambda: self.watch.picture() is not None, True, seconds, "the display is dark")

    def do_expect_pixel(self, arguments):
        if len(arguments) not in (3, 4):
            raise Failure("usage: expect-pixel X Y RRGGBB [SECONDS]")
        x, y = (number(text, 0, 10000) for text in arguments[:2])
        seconds = self._limit(arguments[3:])
        self._poll(lambda: self._colour(x, y), arguments[2].lower(), seconds,
                   f"the display shows {{}} at {x}, {y}")

    def do_expect_motion(self, arguments):
        if len(arguments) not in (2, 3):
            raise Failure("usage: expect-motion X Y [SECONDS]")
        x, y = (number(text, 0, 10000) for text in arguments[:2])
        seconds = self._limit(arguments[2:])
        before = self._picture().colour(x, y)
        self._poll(lambda: self._colour(x, y) != before, True, seconds,
                   f"the display shows {before} at {x}, {y} all the time")

    def do_expect_screen(self, arguments):
        if len(arguments) not in (2, 3):
            raise Failure("usage: expect-screen FILE.png TOLERANCE [SECONDS]")
        wanted = reading(Path(arguments[0]))
        tolerance = number(arguments[1], 0, 100, float)
        seconds = self._limit(arguments[2:])
        deadline = time.monotonic() + seconds
        while True:
            over = self.machine.off
            picture = self.watch.picture()
            share = 100 * difference(picture, wanted) if picture else 100
            if share <= tolerance:
                return
            if over:
                raise Failure(f"the device has ended by {self.machine.end_reason}")
            if time.monotonic() > deadline:
                shown = self.machine.work / f"{Path(arguments[0]).stem}-shown.png"
                self.do_screenshot([str(shown)])
                raise Failure(f"{share:.2f} % of the pixels differ; the display shows {shown}")
            time.sleep(0.2)

    # --- pictures ---------------------------------------------------------------------------------

    def _picture(self) -> Picture:
        picture = self.watch.picture()
        if picture is None:
            raise Failure("the display is dark" if self.machine.ready else "the device is off")
        return picture

    def _colour(self, x: int, y: int) -> str:
        """A pixel's colour; "nothing" while the display is dark."""
        picture = self.watch.picture()
        if picture is None and not self.machine.ready:
            raise Failure("the device is off")
        return picture.colour(x, y) if picture else "nothing"

    def do_screenshot(self, arguments):
        need(arguments, 1, "screenshot FILE.png")
        target = Path(arguments[0])
        if target.suffix != ".png":
            raise Failure("the file's name must end in .png")
        encoded = encode(self._picture(), "PNG", compress_level=1)
        try:
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(encoded)
        except OSError as error:
            raise Failure(str(error)) from None
