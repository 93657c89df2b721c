"""The display and the board as they are now, without work for the device: `onlooker` on the device tells
where in its memory the picture is, and the picture is read from there."""

import mmap
import threading
from dataclasses import dataclass

from machine import MEMORY, DeviceOff, Failure, Machine

MEMORY_BEGIN = 0x40000000  # address of the machine's memory, on the machine
PATIENCE = 30  # seconds for an answer, on a busy development machine


@dataclass(frozen=True)
class Picture:
    """Rows of 32-bit pixels: blue, green, red and a byte without meaning."""
    width: int
    height: int
    pitch: int
    pixels: bytes

    def colour(self, x: int, y: int) -> str:
        """As rrggbb; empty outside of the picture."""
        at = y * self.pitch + 4 * x
        return self.pixels[at:at + 3][::-1].hex() if x < self.width and y < self.height else ""


class Watch:
    def __init__(self, machine: Machine):
        self._machine = machine
        self._lock = threading.Lock()
        self._boot = 0  # number of the boot that the connection belongs to
        self._line = None
        self._answers = None
        self._memory = None
        self._buffers = {}  # lines of the device, read

    def board(self) -> dict[str, str]:
        """The board's state by name; empty while the device is off."""
        return dict(_entry(text) for text in self._ask(b"s").split(", ") if text)

    def picture(self):
        """The picture on the display now; None when it is dark or the device is off."""
        with self._lock:
            line = self._ask_locked(b"p")
            if not line:
                return None
            if line not in self._buffers:
                self._buffers[line] = _placed(line)
            (width, height, pitch), places = self._buffers[line]
            pixels = b"".join([self._memory[begin:end] for begin, end in places])
        return Picture(width, height, pitch, pixels)

    def _ask(self, question: bytes) -> str:
        with self._lock:
            return self._ask_locked(question)

    def _ask_locked(self, question: bytes) -> str:
        machine = self._machine
        if not machine.ready:
            return ""
        try:
            if self._boot != machine.boots:
                self._connect()
            self._line.sendall(question)
            answer = self._answers.readline()
        except TimeoutError:
            self._boot = 0
            raise Failure("the device does not answer") from None
        except (OSError, DeviceOff):
            answer = ""
        if not answer.endswith("\n"):
            self._boot = 0  # the device went off, or its program ended
            return ""
        return answer.strip()

    def _connect(self):
        machine = self._machine
        boot = machine.boots
        self._buffers = {}
        self._memory = mmap.mmap(machine.memory, MEMORY, mmap.MAP_SHARED, mmap.PROT_READ)
        self._line = machine.connect("watch")
        self._line.settimeout(PATIENCE)
        self._answers = self._line.makefile("r", encoding="ascii", newline="\n")
        machine.check("killall onlooker 2>/dev/null; onlooker /dev/vantorel/watch "
                      ">/dev/null 2>&1 4>&- &")
        self._boot = boot


def _placed(line: str):
    """Size and pitch of a picture, and its places in the memory."""
    words = line.split()
    runs = [tuple(map(int, word.split("+"))) for word in words[3:]]
    return tuple(map(int, words[:3])), [(address - MEMORY_BEGIN, address - MEMORY_BEGIN + size)
                                 for address, size in runs]


def _entry(text: str) -> tuple[str, str]:
    """The names of some entries have two words, as fixture 0 and temperature board."""
    name, _, value = text.rpartition(" ")
    return name, value
