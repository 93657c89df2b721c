#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""make-gauge-stream and make-update: the streams that they warn about, convert and reject, and
their messages for unusable input. tests/fuelgauge installs converted streams."""

import hashlib
import shutil
import subprocess
import tempfile
import unittest
from pathlib import Path

TOOLS = Path(__file__).resolve().parents[2] / "virtual-device"
KEYS = ["W: AA 00 21 5C", "W: AA 00 47 1E", "W: AA 00 B4 B4", "W: AA 00 B4 B4"]
ENTER = ["X: 1000", "W: AA 00 00 0F"]
ROW = ["W: 16 00 02 00 00 00 0F 0F", "W: 16 64 20 00", "X: 2", "C: 16 66 00"]
EXIT = ["W: 16 00 0F", "W: 16 64 0F 00", "X: 4000"]
DATA = ["W: AA 61 00", "W: AA 3E 02 00", "C: AA 40 01"]
FIT = b"\xd0\x0d\xfe\xed\0\0\0\x28" + bytes(40)  # 8 bytes longer than it says, as by mkimage -E
BACK = ["X: 4000", *KEYS, *ENTER, "X: 1000"]


def notes(lines):
    return [f"; {line}" for line in lines]


class StreamTools(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.TemporaryDirectory()
        self.addCleanup(self.folder.cleanup)
        self.path = Path(self.folder.name)

    def put(self, name, content=b"content"):
        (self.path / name).write_bytes(content)
        return name

    def stream(self, lines, end="\n"):
        return self.put("stream", "".join(line + end for line in lines).encode("latin-1"))

    def run_tool(self, tool, *arguments):
        """Returns the exit status and the text on standard error."""
        done = subprocess.run([TOOLS / tool, *arguments], cwd=self.path, capture_output=True,
                              text=True, check=False)
        return done.returncode, done.stderr

    def converted(self, lines, end="\n"):
        status, output = self.run_tool("make-gauge-stream", "--convert", self.stream(lines, end),
                                     "out")
        self.assertEqual((status, output), (0, ""))
        self.assertEqual(self.run_tool("make-gauge-stream", "--check", "out"), (0, ""))
        return (self.path / "out").read_bytes().decode("latin-1").split(end)[:-1]

    def test_removes_only_the_steps_that_the_device_does_itself(self):
        comment = ["; caf\xe9", "R: AA 00"]
        for number, (lines, result) in enumerate([
            ([*comment, *ROW], [*comment, *ROW]),
            ([*KEYS, *ENTER, "X: 7000", *ROW, *EXIT, *comment],
             [*notes([*KEYS, *ENTER]), "X: 7000", *ROW, *notes(EXIT), *comment]),
            (["w: aa 00 21 5c", "W: aa 00 00 0f", *ROW],
             ["w: aa 00 21 5c", "; W: aa 00 00 0f", *ROW]),
            # The stream leaves ROM mode in the middle and enters it again.
            ([*ROW, *EXIT, *KEYS, *DATA, *ENTER, *ROW, *EXIT],
             [*ROW, *EXIT, *KEYS, *DATA, *ENTER, *ROW, *notes(EXIT)]),
            # The stream leaves ROM mode and resets the gauge.
            ([*KEYS, *ENTER, *ROW, *EXIT, *KEYS, *DATA, "W: AA 00 41 00"],
             [*notes([*KEYS, *ENTER]), *ROW, *EXIT, *KEYS, *DATA, "W: AA 00 41 00", *BACK]),
            # The exit from ROM mode differs from the one that the device does.
            ([*ROW, EXIT[0], "W: 16 64 0F 00 00"], [*ROW, EXIT[0], "W: 16 64 0F 00 00", *BACK]),
            # The stream uses only normal mode, with its own checks and keys.
            (["W: AA 00 01 00", "C: AA 00 20 05", *KEYS, *DATA],
             [*EXIT, "W: AA 00 01 00", "C: AA 00 20 05", *KEYS, *DATA, *BACK]),
        ]):
            with self.subTest(lines=lines):
                self.assertEqual(self.converted(lines, ("\n", "\r\n")[number % 2]), result)

    def test_rejects_a_stream_whose_conversion_would_differ_and_names_the_line(self):
        for lines, line in [
            (["W: AA 00 01 00", "C: AA 00 20 05", *KEYS, *ENTER, *ROW], 1),  # a check would be lost
            (["W: AA 00 14 04", "W: AA 00 72 36", *ENTER, *ROW], 1),  # keys of another gauge
            ([*KEYS, "W: AA 3E 02 00", *ENTER, *ROW], 5),
            ([*KEYS, *ROW], 4),  # never enters
            ([*ROW, *KEYS, *ENTER, *ROW], 5),  # already in ROM mode
            ([*ROW, *EXIT, *ROW], 8),  # still in normal mode
            ([*ROW, *EXIT, *ENTER, *ROW], 9),  # sealed by the restart
            ([*ROW, *EXIT, *KEYS[:3], *ENTER, *ROW], 12),
            ([*ROW, *EXIT, KEYS[0], "W: AA 00 00 00", *KEYS[1:], *ENTER, *ROW], 14),  # torn key
            ([*ROW, *EXIT, *KEYS, "W: AA 00 41 00", *ENTER, *ROW], 14),
            ([*ROW, *EXIT, "W: AA 00 21", "W: AA 01 5C"], 8),
            ([*ROW, "W: 18 00 01"], 5),
            ([*ROW, "W: 16 00"], 5),
            ([*ROW, "C: 16 66 GG"], 5),
            ([*ROW, "W: 16 04  00"], 5),
            ([*ROW, "X: soon"], 5),
            ([*ROW, "X: 2147483648"], 5),
            ([*ROW, "W: 16 04" + 8192 * " 00"], 5),
        ]:
            with self.subTest(lines=lines):
                status, output = self.run_tool("make-gauge-stream", "--convert",
                                             self.stream(lines), "out")
                self.assertEqual(status, 2)
                self.assertRegex(output, rf"^make-gauge-stream: stream: line {line}: .+\n$")
                self.assertFalse((self.path / "out").exists())

    def test_an_update_warns_about_a_stream_that_it_cannot_install(self):
        images = [self.put("fit", FIT), self.put("rootfs")]
        for lines, numbers in [(ROW, []), ([*KEYS, *ENTER, *ROW], [1]), ([*ROW, *EXIT], [6]),
                               ([*KEYS, *ENTER, *ROW, *EXIT, *KEYS, *DATA], [1, 12]),
                               (["; data", *KEYS, *DATA], [2]), ([*ROW, *KEYS], [5])]:
            with self.subTest(lines=lines):
                status, output = self.run_tool("make-update", *images, self.stream(lines), "out")
                self.assertEqual(status, 0)
                self.assertEqual(len(output.splitlines()), len(numbers))
                for number, text in zip(numbers, output.splitlines()):
                    self.assertIn(f"make-update: warning: stream: line {number}: ", text)
        lines = [*KEYS, *ENTER, *ROW, *EXIT]
        done = self.run_tool("make-update", "--convert", *images, self.stream(lines), "out")
        self.assertEqual(done, (0, ""))
        subprocess.run(["tar", "-xf", "out"], cwd=self.path, check=True)
        self.assertEqual((self.path / "bqfs").read_text().split("\n")[:-1],
                         [*notes([*KEYS, *ENTER]), *ROW, *notes(EXIT)])

    def test_reports_bad_input_in_one_line(self):
        good = [self.put("fit", FIT), self.put("rootfs"), self.stream(ROW)]
        self.put("empty", b"")
        self.put("half", FIT[:39])
        self.put("magic", FIT[:4])
        self.put("short", FIT[:7] + b"\x27" + FIT[8:])
        self.put("bytes", bytes(range(256)) * 9)
        (self.path / "directory").mkdir()
        for bad in ("missing", "empty", "directory", "half", "magic", "short", "bytes"):
            for at, _ in enumerate(good):
                if at == 1 and bad not in ("missing", "empty", "directory"):
                    continue  # any content may be a root file system
                for option in ([], ["--convert"]) if at == 2 else ([],):
                    inputs = [bad if place == at else name for place, name in enumerate(good)]
                    with self.subTest(inputs=inputs, option=option):
                        status, output = self.run_tool("make-update", *option, *inputs, "out")
                        self.assertEqual(status, 2)
                        self.assertRegex(output, rf"^make-[a-z-]+: {bad}: .+\n$")
                        self.assertFalse((self.path / "out").exists())
        for arguments in ([], ["fit"], ["--bogus", *good, "out"], [*good, "stream"],
                          ["--convert", *good[:2], "out"],
                          [*good, "directory"], [*good, "missing/out"]):
            with self.subTest(arguments=arguments):
                status, output = self.run_tool("make-update", *arguments)
                self.assertEqual(status, 2)
                self.assertRegex(output, "^make-update: .+\n$")
        self.assertEqual(self.run_tool("make-gauge-stream", "directory/none/out")[0], 2)
        # Numbers that a byte, a word or the gauge cannot hold would have been written as others.
        for option, value in (("--type", "abc"), ("--type", "0x10000"), ("--type", "-1"),
                              ("--version", "256"), ("--blocks", "65"), ("--verify", "-1")):
            with self.subTest(option=option, value=value):
                status, output = self.run_tool("make-gauge-stream", option, value, "out")
                self.assertEqual(status, 2)
                self.assertIn(f"argument {option}: {value} is not a whole number from 0 to", output)
                self.assertFalse((self.path / "out").exists())

    def test_refuses_a_fit_that_names_another_root_file_system(self):
        # Without it make-update has no such check either.
        self.assertTrue(shutil.which("dtc"), "no dtc: run scripts/install-packages build")
        self.put("rootfs")
        self.put("other", b"other content")
        digest = hashlib.sha256(b"content").hexdigest()
        for property, accepted in ((f'rootfs-sha256 = "{digest}";', ("rootfs",)),
                                   ("", ("rootfs", "other"))):
            source = f"/dts-v1/; / {{ configurations {{ conf {{ {property} }}; }}; }};"
            self.put("its", source.encode())
            subprocess.run(["dtc", "-q", "-o", "fit", "its"], cwd=self.path, check=True)
            for rootfs in ("rootfs", "other"):
                with self.subTest(property=property, rootfs=rootfs):
                    done = self.run_tool("make-update", "fit", rootfs, "out")
                    self.assertEqual(done, (0, "") if rootfs in accepted else (
                        2, "make-update: fit: made for another root file system than other\n"))


if __name__ == "__main__":
    unittest.main()
