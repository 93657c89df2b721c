#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""make-firmware and make-fit: bad arguments get one line and status 2, before anything is built or
written."""

import subprocess
import tempfile
import unittest
from pathlib import Path

TOOLS = Path(__file__).resolve().parents[2] / "virtual-device"
TOOL = TOOLS / "make-firmware"


class MakeFirmware(unittest.TestCase):
    def test_rejects_bad_arguments(self):
        with tempfile.TemporaryDirectory() as folder:
            Path(folder, "file").write_text("no key\n")
            for name, parameter in (("rsa", "rsa_keygen_bits:1024"),
                                    ("ec", "ec_paramgen_curve:P-256")):
                subprocess.run(["openssl", "genpkey", "-algorithm", name, "-pkeyopt", parameter,
                                "-out", name], cwd=folder, check=True, capture_output=True)
            before = sorted(Path(folder).iterdir())
            for option, values in {
                "--version": ("", "32.27.1", "32.27.1.5.6", "32.27.1.x", "32.27.-1.5",
                              "32.27.256.1", "31.27.1.5", "32.28.1.5", " 32.27.1.5"),
                "--key": ("", "missing", "file", ".", "rsa", "ec"),
                "--root": ("", "missing", "file"),
                "--trial-seconds": ("", "0", "-1", "1 0", "2047", "10000"),
                "--none": ("1",),
            }.items():
                for value in values:
                    with self.subTest(option=option, value=value):
                        done = subprocess.run([TOOL, option, value, "out"], cwd=folder,
                                              capture_output=True, text=True)
                        self.assertEqual(done.returncode, 2)
                        self.assertRegex(done.stderr, "^make-firmware: .+\n$")
                        self.assertEqual(sorted(Path(folder).iterdir()), before)
            done = subprocess.run([TOOL, ""], cwd=folder, capture_output=True, text=True)
            self.assertEqual((done.returncode, done.stderr), (2, "make-firmware: OUT is empty\n"))

    def test_make_fit_rejects_missing_files(self):
        with tempfile.TemporaryDirectory() as folder:
            Path(folder, "file").touch()
            for missing in (0, 2, 3, 4, 6):
                inputs = ["file", "0x8000", "file", "file", "file", "out", "file"]
                inputs[missing] = "missing"
                with self.subTest(missing=missing):
                    done = subprocess.run([TOOLS / "make-fit", *inputs], cwd=folder,
                                          capture_output=True, text=True)
                    self.assertEqual((done.returncode, done.stderr), (
                        2, "make-fit: missing: not a file that can be read\n"))


if __name__ == "__main__":
    unittest.main()
