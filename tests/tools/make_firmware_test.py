#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""make-firmware and make-fit: bad arguments get one line and status 2, before anything is built or
written; they and make-update print their descriptions."""

import subprocess
import tempfile
import unittest
from pathlib import Path

TOOLS = Path(__file__).resolve().parents[2] / "virtual-device"


class MakeFirmware(unittest.TestCase):
    def setUp(self):
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = Path(temporary.name)
        (self.folder / "file").write_text("no key\n")
        for name, parameter in (("rsa", "rsa_keygen_bits:1024"),
                                ("ec", "ec_paramgen_curve:P-256")):
            subprocess.run(["openssl", "genpkey", "-algorithm", name, "-pkeyopt", parameter,
                            "-out", name], cwd=self.folder, check=True, capture_output=True)
        self.before = sorted(self.folder.iterdir())

    def run_tool(self, name: str, *arguments):
        return subprocess.run([TOOLS / name, *arguments], cwd=self.folder, capture_output=True,
                              text=True)

    def rejects(self, name: str, *arguments):
        with self.subTest(arguments=arguments):
            done = self.run_tool(name, *arguments)
            self.assertEqual(done.returncode, 2)
            self.assertRegex(done.stderr, f"^{name}: .+\n$")
            self.assertEqual(sorted(self.folder.iterdir()), self.before)

    def test_rejects_bad_arguments(self):
        for option, values in {
            "--version": ("", "32.27.1", "32.27.1.5.6", "32.27.1.x", "32.27.-1.5",
                          "32.27.256.1", "31.27.1.5", "32.28.1.5", " 32.27.1.5"),
            "--key": ("", "missing", "file", ".", "rsa", "ec"),
            "--root": ("", "missing", "file"),
            "--trial-seconds": ("", "0", "-1", "1 0", "2047", "10000"),
            "--none": ("1",),
        }.items():
            for value in values:
                self.rejects("make-firmware", option, value, "out")
        parts = ("file", "0x8000", "file", "file", "file", "out")
        for key in ("missing", "file", ".", "rsa", "ec"):
            self.rejects("make-fit", *parts, key)
        for seconds in ("", "0", "2047", "0x10"):
            self.rejects("make-fit", "--trial-seconds", seconds, *parts)
        self.rejects("make-fit", *parts[1:])
        for missing in (0, 2, 3, 4):
            inputs = list(parts)
            inputs[missing] = "missing"
            self.rejects("make-fit", *inputs)
        self.rejects("make-firmware", "")

    def test_describes_itself(self):
        for tool in ("make-firmware", "make-fit", "make-update"):
            for option in ("-h", "--help"):
                done = self.run_tool(tool, option)
                self.assertEqual((done.returncode, done.stderr), (0, ""))
                self.assertRegex(done.stdout, r"\A(Builds|Writes) ")
                self.assertIn(f"\nUsage: virtual-device/{tool} ", done.stdout)


if __name__ == "__main__":
    unittest.main()
