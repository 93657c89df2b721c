# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""Reads and writes the device's flash from outside while the device is off: its partitions, their
factory contents, and the boot loader's environment."""

import hashlib
import struct
import zlib
from pathlib import Path

from failure import Failure

BANK_SIZE = 64 << 20  # bytes, of each of the two banks
SECTOR = 0x40000  # bytes of an erase block
# Bank, offset and size in bytes, as in board/nor.c and boot/boot.env.
PARTITIONS = {
    "loader": (0, 0x0, 0x100000),
    "data": (0, 0x100000, 0x1000000),
    "env": (1, 0x0, 0x80000),
    "starts": (1, 0x80000, 0x40000),
    "FIT_0": (1, 0x100000, 0x800000),
    "rootfs_0": (1, 0x900000, 0x1780000),
    "FIT_1": (1, 0x2080000, 0x800000),
    "rootfs_1": (1, 0x2880000, 0x1780000),
}
IMAGES = {"fit": "FIT", "rootfs": "rootfs"}  # file name and partition name without the slot
FIT_MAGIC = b"\xd0\x0d\xfe\xed"

COPY = 0x10000  # bytes of a copy of the environment
COPIES = (0, SECTOR)
ACTIVE, OBSOLETE = 1, 0


def _copy(image: bytes, offset: int):
    """Flag and variables of one copy; nothing if its checksum is wrong."""
    block = image[offset:offset + COPY]
    if len(block) < COPY or struct.unpack("<I", block[:4])[0] != zlib.crc32(block[5:]):
        return None
    texts = block[5:].split(b"\0\0")[0].split(b"\0")
    pairs = (text.decode(errors="replace").partition("=") for text in texts if text)
    return block[4], {name: value for name, _, value in pairs}


def variables_of(image: bytes) -> dict:
    """The variables in effect: the newest good copy's; nothing if both are bad."""
    copies = [copy for copy in (_copy(image, offset) for offset in COPIES) if copy]
    # On NOR flash a copy is marked active, and then the other one obsolete. A power cut in between
    # leaves both active. The first one is used then, as the device's tools do.
    return max(copies, key=lambda copy: copy[0])[1] if copies else {}


def make_environment(variables: dict, active: int = 0) -> bytes:
    """Returns the content of the partition: two good copies, of which `active` is in effect."""
    text = b"".join(f"{name}={value}".encode() + b"\0" for name, value in variables.items())
    data = (text + b"\0").ljust(COPY - 5, b"\0")
    image = bytearray(b"\xff" * PARTITIONS["env"][2])
    for number, offset in enumerate(COPIES):
        flag = ACTIVE if number == active else OBSOLETE
        image[offset:offset + COPY] = struct.pack("<IB", zlib.crc32(data), flag) + data
    return bytes(image)


def _empty_data() -> bytes:
    """Returns an empty file system for the data partition, in which each sector has JFFS2's mark
    of an erased one. Without the marks the device would erase the partition at its first start."""
    head = struct.pack("<HHI", 0x1985, 0x2003, 12)
    mark = head + struct.pack("<I", zlib.crc32(head, 0xFFFFFFFF) ^ 0xFFFFFFFF)
    return mark.ljust(SECTOR, b"\xff") * (PARTITIONS["data"][2] // SECTOR)


class Flash:
    """Two files in `folder`, one per bank."""

    def __init__(self, folder: Path):
        self.banks = [folder / f"bank{number}.raw" for number in (0, 1)]
        self._written = folder / "written"  # digest of the firmware that was written last

    def read(self, name: str) -> bytes:
        bank, offset, size = PARTITIONS[name]
        with open(self.banks[bank], "rb") as file:
            file.seek(offset)
            return file.read(size)

    def write(self, name: str, content: bytes):
        bank, offset, size = PARTITIONS[name]
        if len(content) > size:
            raise Failure(f"{len(content)} bytes do not fit {name}, which has {size}")
        with open(self.banks[bank], "r+b") as file:
            file.seek(offset)
            file.write(content)

    def variables(self) -> dict:
        return variables_of(self.read("env"))

    @property
    def slot(self) -> int:
        """The slot that the environment selects."""
        return int(self.variables().get("image_select") == "1")

    def prepare(self, loader: bytes) -> bool:
        """Creates missing banks and writes the boot loader; returns whether the flash is new."""
        blank = any(not bank.exists() for bank in self.banks)
        if blank:
            for bank in self.banks:
                bank.parent.mkdir(parents=True, exist_ok=True)
                with open(bank, "wb") as file:
                    file.truncate(BANK_SIZE)
            self._written.unlink(missing_ok=True)
            self.write("data", _empty_data())
            self.choose(0)
        if not self.read("loader").startswith(loader):
            self.write("loader", loader)
        return blank

    def choose(self, slot: int, active: int = 0):
        """Selects the slot in the environment as confirmed."""
        self.write("env", make_environment({"image_select": slot, "image_confirmed": slot}, active))
        self.write("starts", b"\xff" * SECTOR)

    def install(self, slot: int, firmware: Path):
        for file, partition in IMAGES.items():
            self.write(f"{partition}_{slot}", (firmware / file).read_bytes())

    def holds(self, slot: int, firmware: Path) -> bool:
        return all(self.read(f"{partition}_{slot}").startswith((firmware / file).read_bytes())
                   for file, partition in IMAGES.items())

    def write_build(self, firmware: Path) -> str:
        """Writes the firmware into the running slot unless it is the one that was written last; an
        update installed since then stays. Returns a message with the result."""
        check(firmware)
        digest = hashlib.sha256((firmware / "fit").read_bytes()).hexdigest()
        if self._written.exists() and self._written.read_text() == digest:
            what = "has the firmware of this build" if self.holds(self.slot, firmware) else \
                "keeps the firmware of an update; the build has not changed since"
            return f"Slot {self.slot} {what}."
        slot = self.slot
        self.install(slot, firmware)
        self.choose(slot)
        self._written.write_text(digest)
        return f"Slot {slot} now has the firmware of this build."


def check(firmware: Path):
    """Raises Failure unless the two files fit a slot."""
    for file, partition in IMAGES.items():
        path = firmware / file
        if not path.is_file():
            raise Failure(f"no {file} in {firmware}")
        if not 0 < path.stat().st_size <= PARTITIONS[f"{partition}_0"][2]:
            raise Failure(f"{path} has {path.stat().st_size} bytes; its partition has "
                          f"{PARTITIONS[f'{partition}_0'][2]}")
    with open(firmware / "fit", "rb") as fit:
        head = fit.read(8)
    size = (firmware / "fit").stat().st_size
    if head[:4] != FIT_MAGIC or int.from_bytes(head[4:], "big") != size:
        raise Failure(f"{firmware / 'fit'} is not a complete FIT image")
