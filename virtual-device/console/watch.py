"""The display and the board as they are now, at hardly a cost for the device: the picture is read from
its memory, and `onlooker` on the device tells, once for each of the display's buffers, where it is."""

import mmap
import struct
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
        self._record = 0  # where the driver notes what the display shows
        self._darkened = 0
        self._buffers = {}  # size and places by the first page

    def board(self) -> dict[str, str]:
        """The board's state by name; empty while the device is off."""
        with self._lock:
            entries = self._ask(b"s").rstrip(", ").split(", ")
        return dict(_entry(text) for text in entries if text)

    def flips(self) -> int:
        """Pictures that the display has been given since the device was switched on."""
        with self._lock:
            return self._now()[2]

    def picture(self):
        """The picture on the display now; None when it is dark or the device is off."""
        with self._lock:
            for _ in range(3):  # the picture may change to a new buffer while its place is asked for
                first, darkened, _ = self._now()
                if first == 0:
                    return None
                if darkened != self._darkened:
                    self._buffers = {}  # the application's, which has ended
                    self._darkened = darkened
                if first in self._buffers:
                    size, places = self._buffers[first]
                    return Picture(*size, b"".join([self._memory[begin:end]
                                                    for begin, end in places]))
                self._find()
        return None

    def _now(self) -> tuple[int, int, int]:
        if not self._machine.ready:
            return 0, 0, 0
        if self._boot != self._machine.boots:
            self._find()
        return struct.unpack_from("<III", self._memory, self._record) if self._record else (0, 0, 0)

    def _find(self):
        """Has the device tell where things are."""
        record, *words = self._ask(b"p").split() or ["0"]
        self._record = max(0, int(record) - MEMORY_BEGIN)
        if words:
            runs = [tuple(map(int, word.split("+"))) for word in words[3:]]
            self._buffers[runs[0][0]] = (
                tuple(map(int, words[:3])),
                [(address - MEMORY_BEGIN, address - MEMORY_BEGIN + size) for address, size in runs])

    def _ask(self, question: bytes) -> str:
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
        self._record = 0
        self._memory = mmap.mmap(machine.memory, MEMORY, mmap.MAP_SHARED, mmap.PROT_READ)
        self._line = machine.connect("watch")
        self._line.settimeout(PATIENCE)
        self._answers = self._line.makefile("r", encoding="ascii", newline="\n")
        machine.check("killall onlooker 2>/dev/null; onlooker /dev/vantorel/watch "
                      ">/dev/null 2>&1 4>&- &")
        self._boot = boot


def _entry(text: str) -> tuple[str, str]:
    """The names of some entries have two words, as fixture 0 and temperature board."""
    name, _, value = text.rpartition(" ")
    return name, value
