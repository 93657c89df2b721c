# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The user's own application and libraries, which replace this build's for one run."""

import shlex
import struct
from pathlib import Path

from failure import Failure

# Below the folder that the device shares, and in the device's root file system.
PLACES = {
    "application": ("bin/vantorel-app", "/usr/bin/vantorel-app"),
    "ui_library": ("lib/libVantorelUI.so.1", "/usr/lib/libVantorelUI.so.1"),
    "camera_library": ("lib/libkirocamera.so.1", "/usr/lib/libkirocamera.so.1"),
}
EXECUTABLE, SHARED = 2, 3  # types of an ELF file; a position-independent program has the latter
ARM = 40


def check(path: Path):
    """Rejects a file that the device cannot load, such as one built for the development
    machine."""
    try:
        with open(path, "rb") as file:
            head = file.read(20)
    except OSError as error:
        raise Failure(f"{path}: {error.strerror}") from None
    if head[:4] != b"\x7fELF" or len(head) < 20:
        raise Failure(f"{path} is not an ELF program or library")
    kind, machine = struct.unpack_from("<HH", head, 16)
    if head[4:6] != b"\x01\x01" or machine != ARM or kind not in (EXECUTABLE, SHARED):
        raise Failure(f"{path} is not for the device; build it with arm-linux-gnueabihf-g++")


class Own:
    def __init__(self, files: dict[str, Path]):
        """`files` contains paths by their names in PLACES."""
        self.files = files
        self._boot = 0  # number of the boot that has them

    @property
    def shows_frames(self) -> bool:
        """Whether the reference application's lines and frames can still be expected."""
        return not {"application", "camera_library"} & self.files.keys()

    def shared(self):
        """Yields each file with its path in the shared folder."""
        return [(file, PLACES[name][0]) for name, file in self.files.items()]

    def put(self, machine):
        """Copies them over the files of the running firmware once per boot: a file that the user
        copies there later stays."""
        if self.files and self._boot != machine.boots:
            for name in self.files:
                shared, target = PLACES[name]
                machine.check(f"cp /host/{shared} {shlex.quote(target)}")
            self._boot = machine.boots
