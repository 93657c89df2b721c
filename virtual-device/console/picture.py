# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""A picture of the display: single pixels, and conversion to PNG."""

import struct
import zlib
from dataclasses import dataclass
from pathlib import Path

from failure import Failure


@dataclass(frozen=True)
class Picture:
    """Rows of 32-bit pixels: blue, green, red and an unused byte."""
    width: int
    height: int
    pitch: int
    pixels: bytes

    def colour(self, x: int, y: int) -> str:
        """Returns rrggbb; empty outside the picture."""
        at = y * self.pitch + 4 * x
        return self.pixels[at:at + 3][::-1].hex() if x < self.width and y < self.height else ""


def _row(picture: Picture, y: int) -> bytes:
    source = picture.pixels[y * picture.pitch:y * picture.pitch + 4 * picture.width]
    row = bytearray(3 * picture.width)
    for channel in range(3):
        row[channel::3] = source[2 - channel::4]
    return b"\0" + row  # stored without a filter


def png(picture: Picture) -> bytes:
    def chunk(name: bytes, data: bytes) -> bytes:
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I",
                                                                        zlib.crc32(name + data))

    rows = b"".join(_row(picture, y) for y in range(picture.height))
    size = struct.pack(">IIBBBBB", picture.width, picture.height, 8, 2, 0, 0, 0)
    return b"\x89PNG\r\n\x1a\n" + chunk(b"IHDR", size) + \
        chunk(b"IDAT", zlib.compress(rows, 6)) + chunk(b"IEND", b"")


def reading(path: Path) -> Picture:
    """The picture in a PNG file."""
    from PIL import Image  # at its use, since only one command needs it
    try:
        with Image.open(path) as image:
            pixels = image.convert("RGB").tobytes("raw", "BGRX")
            return Picture(*image.size, 4 * image.width, pixels)
    except OSError as error:
        raise Failure(f"{path}: {error.strerror or 'no picture'}") from None


def difference(one: Picture, other: Picture) -> float:
    """The share of pixels that have another colour; all of them if the sizes differ."""
    if (one.width, one.height) != (other.width, other.height):
        return 1.0
    rows = ((_row(one, y), _row(other, y)) for y in range(one.height))
    count = sum(a[x:x + 3] != b[x:x + 3] for a, b in rows if a != b
                for x in range(1, len(a), 3))
    return count / (one.width * one.height)
