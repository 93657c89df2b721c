# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The display and the board, at little cost for the device: pixels are read from its memory, and
`onlooker` on the device reports the address of each of the display's buffers once."""

import mmap
import struct
import threading
import time

from machine import MEMORY, DeviceOff, Failure, Machine
from picture import Picture

MEMORY_BEGIN = 0x40000000  # the memory's address in the machine
FRESH = 0.1  # seconds for which the board's state is cached
PATIENCE = 300  # seconds for an answer, on a busy development machine


class View:
    """The memory of a booted device and the known addresses in it. Read without a lock."""

    def __init__(self, memory: int):
        self._memory = mmap.mmap(memory, MEMORY, mmap.MAP_SHARED, mmap.PROT_READ)
        self._record = 0  # address of the driver's record of the framebuffer on display
        self._darkened = 0
        self._buffers = {}  # size and addresses of the display's buffers by their first page

    @property
    def has_record(self) -> bool:
        return self._record > 0

    def learn(self, answer: str):
        """Stores the device's report about the display."""
        record, *words = answer.split() or ["0"]
        if words:
            runs = [tuple(map(int, word.split("+"))) for word in words[3:]]
            self._buffers[runs[0][0]] = (
                tuple(map(int, words[:3])),
                [(address - MEMORY_BEGIN, address - MEMORY_BEGIN + size) for address, size in runs])
        self._record = max(0, int(record) - MEMORY_BEGIN)

    def now(self) -> tuple[int, int, int]:
        """First page of the framebuffer, 0 for none; number of times it went dark; number of
        flips."""
        return struct.unpack_from("<III", self._memory, self._record) if self._record else (0, 0, 0)

    def shown(self):
        """The picture; None if the display is dark, KeyError if its address is unknown."""
        first, darkened, _ = self.now()
        if darkened != self._darkened:
            self._buffers = {}  # they belonged to an application that has ended
            self._darkened = darkened
        if first == 0:
            return None
        size, places = self._buffers[first]
        return Picture(*size, b"".join([self._memory[begin:end] for begin, end in places]))


class Watch:
    """One instance per machine: its port has one user at a time."""

    def __init__(self, machine: Machine):
        self._machine = machine
        self._lock = threading.Lock()
        self._boot = 0  # number of the boot that line and view belong to
        self._line = None
        self._answers = None
        self._view = None
        self._board = (0.0, {})  # when it was read, and the state

    def board(self) -> dict[str, str]:
        """The board's state by name; empty while the device is off."""
        read, state = self._board
        if not self._machine.ready or time.monotonic() - read > FRESH:
            entries = self._request("board").rstrip(", ").split(", ")
            state = dict(_entry(text) for text in entries if text)
            self._board = (time.monotonic(), state)
        return state

    def command(self, command: str):
        """Writes to the board's control file."""
        answer = self._request(command)
        self._board = (0.0, {})
        if not answer:
            raise DeviceOff("the device is off")
        if answer != "ok":
            raise Failure(f"the board refuses {command!r}: {answer}")

    def flips(self) -> int:
        """Number of pictures shown since the device was switched on."""
        view = self._current()
        return view.now()[2] if view else 0

    def picture(self):
        """The current picture; None if the display is dark or the device is off."""
        deadline = time.monotonic() + PATIENCE
        while time.monotonic() < deadline:
            view = self._current()
            try:
                return view.shown() if view else None
            except KeyError:  # the application has flipped since the last answer
                view.learn(self._request("picture"))
        raise Failure("the device does not answer")

    def _current(self):
        machine = self._machine
        if machine.ready and not (self._boot == machine.boots and self._view.has_record):
            answer = self._request("picture")
            if answer:
                self._view.learn(answer)
        return self._view if machine.ready and self._boot == machine.boots else None

    def _request(self, line: str) -> str:
        with self._lock:
            try:
                return self._request_locked(line)
            except TimeoutError:
                self._boot = 0
                raise Failure("the device does not answer") from None
            except (OSError, DeviceOff):
                self._boot = 0
                return ""

    def _request_locked(self, line: str) -> str:
        if not self._machine.ready:
            return ""
        if self._boot != self._machine.boots:
            self._connect()
        self._line.sendall(f"{line}\n".encode())
        answer = self._answers.readline()
        if not answer.endswith("\n"):
            self._boot = 0  # the device went off, or its program ended
            return ""
        return answer.strip()

    def _connect(self):
        machine = self._machine
        boot = machine.boots
        if self._line:
            self._answers.close()
            self._line.close()  # the port has one connection at a time
        self._line = machine.connect("watch")
        self._line.settimeout(PATIENCE)
        self._answers = self._line.makefile("r", encoding="ascii", newline="\n")
        machine.check("killall onlooker 2>/dev/null; onlooker /dev/vantorel/watch "
                      ">/dev/null 2>&1 4>&- &")
        self._view = View(machine.memory)
        self._boot = boot


def _entry(text: str) -> tuple[str, str]:
    """Splits an entry; some names have two words, such as fixture 0 and temperature board."""
    name, _, value = text.rpartition(" ")
    return name, value
