#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The console's files and errors, without a device."""
import sys
import tempfile
import types
import unittest
import unittest.mock
from pathlib import Path

CONSOLE = Path(__file__).resolve().parents[2] / "virtual-device/console"
sys.path[:0] = [str(CONSOLE), str(CONSOLE.parent)]

import firmware  # noqa: E402
import share  # noqa: E402
from own import Own  # noqa: E402

class DeviceFiles(InFolder):
    def test_the_device_cannot_change_this_builds_firmware(self):
        for name in ("dbclient", "lsusb", "usbreset"):
            self.put(f"image/userland/usr/bin/{name}")
        made = {name: self.put(f"firmware/{name}") for name in ("fit", "rootfs")}
        machine = types.SimpleNamespace(artifacts=self.path / "artifacts", own=Own({}),
                                        image=self.path / "image",
                                        firmware=self.path / "firmware")
        for _ in (1, 2):
            share.fill(self.path / "share", machine)
            for name, file in made.items():
                copy = self.path / "share/firmware" / name
                self.assertEqual(copy.read_bytes(), b"content")
                copy.write_bytes(b"by the device")
                self.assertEqual(file.read_bytes(), b"content")


if __name__ == "__main__":
    unittest.main()
