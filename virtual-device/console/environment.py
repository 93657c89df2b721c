"""The boot loader's environment in flash, as the boot loader itself reads and makes it: two copies,
each with a check sum and a flag, of which one counts."""

import struct
import zlib

SIZE = 0x10000
OFFSETS = (0, 0x20000)
ACTIVE, OBSOLETE = 1, 0


def _copy(image: bytes, offset: int):
    """Flag and variables of one copy, or nothing when its check sum is wrong."""
    block = image[offset:offset + SIZE]
    if len(block) < SIZE or struct.unpack("<I", block[:4])[0] != zlib.crc32(block[5:]):
        return None
    texts = block[5:].split(b"\0\0")[0].split(b"\0")
    pairs = (text.decode(errors="replace").partition("=") for text in texts if text)
    return block[4], {name: value for name, _, value in pairs}


def current(image: bytes) -> dict:
    """The variables that count: of the newest good copy; nothing when both are bad."""
    copies = [copy for copy in (_copy(image, offset) for offset in OFFSETS) if copy]
    # On NOR flash a copy is marked active, and then the other one obsolete. A cut between the two
    # leaves both active; the first one counts then, for the tools on the device, too.
    return max(copies, key=lambda copy: copy[0])[1] if copies else {}


def read(path) -> dict:
    return current(path.read_bytes())


def make(variables: dict, size: int, active: int = 0) -> bytes:
    """A whole partition with two good copies, of which the given one counts."""
    text = b"".join(f"{name}={value}".encode() + b"\0" for name, value in variables.items())
    data = (text + b"\0").ljust(SIZE - 5, b"\0")
    image = bytearray(b"\xff" * size)
    for number, offset in enumerate(OFFSETS):
        flag = ACTIVE if number == active else OBSOLETE
        image[offset:offset + SIZE] = struct.pack("<IB", zlib.crc32(data), flag) + data
    return bytes(image)
