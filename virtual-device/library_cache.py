# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""Prints the loader's cache, the device's /etc/ld.so.cache, of the libraries in a folder, the
device's /usr/lib. Without a cache the loader tries dozens of folders for the libraries of each
program. The development machine's ldconfig refuses libraries of another architecture.

Usage: python3 library_cache.py FOLDER"""

import os
import re
import struct
import sys

HEADER = struct.Struct("<20sIIB19x")  # of version 1.1; the byte is the byte order
ENTRY = struct.Struct("<iIIIQ")
LITTLE_ENDIAN = 2
HARD_FLOAT = 0x0903  # an ELF library for glibc 2, with floating-point arguments in registers


def order(name: str) -> list:
    """The loader's: numbers by value, and after all other characters."""
    return [(1, int(part)) if part.isdigit() else (0, ord(part))
            for part in re.findall(r"\d+|\D", name)]


def cache(names: list) -> bytes:
    entries, strings = b"", b""
    begin = HEADER.size + ENTRY.size * len(names)  # of the strings
    for name in sorted(names, key=order, reverse=True):
        path = f"/usr/lib/{name}\0"
        value = begin + len(strings)
        entries += ENTRY.pack(HARD_FLOAT, value + len("/usr/lib/"), value, 0, 0)
        strings += path.encode()
    return HEADER.pack(b"glibc-ld.so.cache1.1", len(names), len(strings), LITTLE_ENDIAN) + \
        entries + strings


if __name__ == "__main__":
    if len(sys.argv) != 2 or not os.path.isdir(sys.argv[1]):
        sys.exit(f"usage: {sys.argv[0]} FOLDER")
    sys.stdout.buffer.write(cache([name for name in os.listdir(sys.argv[1]) if ".so" in name]))
