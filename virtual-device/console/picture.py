# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""A picture of the display: single pixels, comparison, and conversion from and to PNG."""

import io
from dataclasses import dataclass
from pathlib import Path

from PIL import Image, ImageChops

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

    def image(self) -> Image.Image:
        return Image.frombuffer("RGB", (self.width, self.height), self.pixels, "raw", "BGRX",
                                self.pitch, 1)


def encode(picture: Picture, form: str, **options) -> bytes:
    encoded = io.BytesIO()
    picture.image().save(encoded, form, **options)
    return encoded.getvalue()


def reading(path: Path) -> Picture:
    """The picture in a PNG file."""
    try:
        with Image.open(path) as image:
            pixels = image.convert("RGB").tobytes("raw", "BGRX")
            return Picture(*image.size, 4 * image.width, pixels)
    except Exception as error:  # the library raises many kinds for bad content
        raise Failure(f"{path}: {getattr(error, 'strerror', None) or 'no picture'}") from None


def difference(one: Picture, other: Picture) -> float:
    """Returns the share of pixels whose colours differ; all of them if the sizes differ."""
    if (one.width, one.height) != (other.width, other.height):
        return 1.0
    red, green, blue = ImageChops.difference(one.image(), other.image()).split()
    largest = ImageChops.lighter(ImageChops.lighter(red, green), blue)
    count = one.width * one.height
    return (count - largest.histogram()[0]) / count
