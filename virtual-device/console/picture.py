"""PPM pictures of the display: single pixels, and turned into PNG."""

import struct
import zlib
from pathlib import Path


def _read(source: Path) -> tuple[int, int, bytes]:
    magic, size, depth, pixels = source.read_bytes().split(b"\n", 3)
    if magic != b"P6" or depth != b"255":
        raise ValueError(f"{source} is no PPM picture")
    width, height = map(int, size.split())
    return width, height, pixels


def pixel(source: Path, x: int, y: int) -> str:
    """The colour as rrggbb; empty outside of the picture."""
    width, height, pixels = _read(source)
    at = 3 * (y * width + x)
    return pixels[at:at + 3].hex() if x < width and y < height else ""


def ppm_to_png(source: Path, target: Path):
    width, height, pixels = _read(source)
    rows = b"".join(b"\0" + pixels[y * width * 3:(y + 1) * width * 3] for y in range(height))

    def chunk(name: bytes, data: bytes) -> bytes:
        return struct.pack(">I", len(data)) + name + data + struct.pack(">I",
                                                                        zlib.crc32(name + data))

    target.write_bytes(b"\x89PNG\r\n\x1a\n"
                       + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 2, 0, 0, 0))
                       + chunk(b"IDAT", zlib.compress(rows, 6)) + chunk(b"IEND", b""))
