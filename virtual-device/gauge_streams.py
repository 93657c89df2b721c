# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""Flash streams for the fuel gauge as the device plays them: finds what an update cannot install,
and converts a stream that was made for another player. docs/gauge-streams.md has the rules."""

import re
from dataclasses import dataclass

NORMAL, ROM = 0x55, 0x0B
UNSEAL = (0x5C21, 0x1E47, 0xB4B4, 0xB4B4)
ENTER_ROM, SEAL, RESET = 0x0F00, 0x0020, 0x0041
EXIT = 0x0F  # command of the boot loader
CHECKSUM = 0x64  # and 0x65, which completes a command
MOST_BYTES = 8192  # of one message, by the kernel
ENTRY = [f"W: AA 00 {key & 0xFF:02X} {key >> 8:02X}" for key in UNSEAL] + [
    "X: 1000", "W: AA 00 00 0F", "X: 1000"]
LEAVE = ["W: 16 00 0F", "W: 16 64 0F 00", "X: 4000"]


class StreamError(Exception):
    """A line that the device does not play, or a stream that cannot be converted."""


@dataclass
class Line:
    """One line; kind is W, C or X, or empty when the device ignores it."""
    number: int  # in the file; 0 for a line that was added
    text: str
    kind: str = ""
    address: int = 0
    register: int = 0
    data: tuple = ()

    @property
    def is_transfer(self) -> bool:
        return self.kind in ("W", "C")

    @property
    def control(self) -> int | None:
        """The Control word that it writes in normal mode."""
        is_word = self.kind == "W" and self.address == NORMAL and self.register == 0
        return self.data[0] | self.data[1] << 8 if is_word and len(self.data) == 2 else None

    def is_write(self, register: int, *data: int) -> bool:
        return self.kind == "W" and self.register == register and self.data == data

    def ignored(self) -> "Line":
        return Line(self.number, f"; {self.text}")


def _number(text: str, base: int) -> int:
    """Parses a number as the device does: the digits at the beginning, whatever follows."""
    digits = r"(?:0[xX])?[0-9a-fA-F]+" if base == 16 else r"[0-9]+"
    match = re.match(rf"[ \t\v\f\r]*([+-]?{digits})", text)
    if not match or not -2**31 <= int(match[1], base) < 2**31:
        raise ValueError
    return int(match[1], base)


def _parse_line(number: int, text: str) -> Line:
    kind = text[:1]
    if kind not in ("W", "C", "X"):
        return Line(number, text)
    try:
        if kind == "X":
            _number(text[3:], 10)
            return Line(number, text, kind)
        address = (_number(text[3:5], 16) & 0x1FF) >> 1
        register = _number(text[6:8], 16) & 0xFF
        pieces = text[9:].removesuffix(" ").split(" ")
        data = tuple(_number(piece, 16) & 0xFF for piece in pieces)
    except ValueError:
        shown = ascii(text.strip()[:40])
        raise StreamError(f"line {number}: the device cannot read it: {shown}") from None
    if address not in (NORMAL, ROM):
        raise StreamError(f"line {number}: {text[3:5]} is not an address of the gauge (AA or 16)")
    if len(data) + (kind == "W") > MOST_BYTES:
        raise StreamError(f"line {number}: more bytes than one transfer can have")
    return Line(number, text, kind, address, register, data)


def parse(content: bytes) -> list[Line]:
    # One character per byte, since comments may be in any encoding.
    texts = content.decode("latin-1").split("\n")
    if texts[-1] == "":
        texts.pop()
    lines = [_parse_line(number, text) for number, text in enumerate(texts, 1)]
    if not any(line.is_transfer for line in lines):
        raise StreamError("no flash stream: it has no line W or C")
    return lines


def _added(texts: list[str], lines: list[Line]) -> list[Line]:
    """Returns lines that are not in the file, with the same line ends as the others."""
    end = "\r" if lines[0].text.endswith("\r") else ""
    return [_parse_line(0, text + end) for text in texts]


class _Gauge:
    """The gauge's mode after each line, and how many words of its keys it has received."""

    def __init__(self):
        self.mode, self.left, self.keys, self.command = ROM, None, 0, None

    def play(self, line: Line) -> str | None:
        """Returns what is wrong with the line, if anything."""
        if line.address != self.mode:
            if self.mode == ROM:
                return "it is for normal mode (AA), but the gauge is in ROM mode"
            return f"it is for ROM mode (16), which line {self.left} has left"
        if line.kind == "C":
            return None
        return self._play_in_rom(line) if self.mode == ROM else self._play_in_normal(line)

    def _play_in_rom(self, line):
        if line.register == 0:
            self.command = line.data[0]
        completes = line.register <= CHECKSUM + 1 < line.register + len(line.data)
        if completes and self.command == EXIT:
            self.mode, self.left, self.keys, self.command = NORMAL, line.number, 0, None

    def _play_in_normal(self, line):
        word = line.control
        if word is None:
            return "Control is not written as one word" if line.register < 2 else None
        if word == ENTER_ROM:
            if self.keys < len(UNSEAL):
                return "it enters ROM mode without having given all keys"
            self.mode = ROM
        elif word in (SEAL, RESET):
            self.keys = 0
        elif self.keys < len(UNSEAL):
            # A key is two consecutive words.
            self.keys = self.keys + 1 if word == UNSEAL[self.keys] else self.keys & ~1
        return None


def _head(lines: list[Line]) -> list[Line]:
    """Returns the lines for normal mode at the beginning, up to the first line for ROM mode."""
    first = next((at for at, line in enumerate(lines) if line.address == ROM), len(lines))
    return [line for line in lines[:first] if line.is_transfer]


def problems(lines: list[Line]) -> list[str]:
    """Returns why an update cannot install a stream; empty when its lines show no problem."""
    found = []
    head = _head(lines)
    if head:
        found.append(f"line {head[0].number}: begins in normal mode (AA), but the device has"
                     " brought the gauge into ROM mode; the update fails at this line")
    gauge = _Gauge()
    if head and not any(line.address == ROM for line in lines):
        return found
    for line in lines[lines.index(head[-1]) + 1 if head else 0:]:
        wrong = gauge.play(line) if line.is_transfer else None
        if wrong:
            return [*found, f"line {line.number}: {wrong}; the update fails at this line"]
    if gauge.mode == NORMAL:
        found.append(f"line {gauge.left}: leaves ROM mode for good, so that the device's own exit"
                     " is not acknowledged; the update fails after the last line")
    return found


def _without_head(lines: list[Line]) -> list[Line]:
    """Leaves out the keys and the entry into ROM mode, which the device sends before a stream."""
    head = _head(lines)
    if not head:
        return lines
    if not any(line.address == ROM for line in lines):
        # The whole stream is for normal mode: start the firmware first.
        return _added(LEAVE, lines) + lines
    for line in head:
        if line.control not in (*UNSEAL, ENTER_ROM):
            raise StreamError(f"line {line.number}: neither a key of the gauge nor the entry into"
                              f" ROM mode, so it cannot be left out: {line.text.strip()[:40]}")
    if head[-1].control != ENTER_ROM:
        raise StreamError(f"line {head[-1].number}: ROM mode is not entered after it, before the"
                          " first line for that mode")
    end = lines.index(head[-1]) + 1
    return [line.ignored() if line.kind else line for line in lines[:end]] + lines[end:]


def _without_last_exit(lines: list[Line]) -> list[Line]:
    """Leaves out the exit from ROM mode at the end, which the device makes itself."""
    transfers = [line for line in lines if line.is_transfer]
    if len(transfers) < 2 or {line.address for line in transfers[-2:]} != {ROM}:
        return lines
    command, checksum = transfers[-2:]
    if not command.is_write(0, EXIT) or not checksum.is_write(CHECKSUM, EXIT, 0):
        return lines
    begin = lines.index(command)
    return lines[:begin] + [line.ignored() if line.kind else line for line in lines[begin:]]


def _mode_after(lines: list[Line]) -> int:
    gauge = _Gauge()
    for line in lines:
        if line.is_transfer:
            gauge.play(line)
    return gauge.mode


def convert(lines: list[Line]) -> list[Line]:
    """
    Returns the same stream for an update. Lines that the device must not play become comments, so
    that the others keep their numbers. Raises StreamError when the result would act differently.
    """
    result = _without_last_exit(_without_head(lines))
    if _mode_after(result) == NORMAL:
        # It may end with a reset. The gauge then acknowledges nothing until its firmware has
        # started.
        result = result + _added(["X: 4000", *ENTRY], lines)
    wrong = problems(result)
    if wrong:
        raise StreamError(wrong[0])
    return result


def serialise(lines: list[Line]) -> bytes:
    return "".join(line.text + "\n" for line in lines).encode("latin-1")
