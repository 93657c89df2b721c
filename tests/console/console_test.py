#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The console without a device: arguments, help, completion, terminal, results and screenshots; and
the verdict of a soak."""
import collections
import contextlib
import importlib.machinery
import importlib.util
import io
import os
import pty
import select
import socket
import subprocess
import sys
import tempfile
import threading
import time
import types
import unittest
import unittest.mock
import xml.etree.ElementTree as XML
from pathlib import Path

CONSOLE = Path(__file__).resolve().parents[2] / "virtual-device/console"
sys.path[:0] = [str(CONSOLE), str(CONSOLE.parent)]

import pulse  # noqa: E402
import words  # noqa: E402
from commands import Console, usages  # noqa: E402
from failure import Failure  # noqa: E402
from junit import Results  # noqa: E402
from looking import Looking  # noqa: E402
from machine import Machine  # noqa: E402
from picture import Picture, difference, encode, reading  # noqa: E402
from terminal import Terminal  # noqa: E402


def arm_file(folder: str, head: bytes) -> str:
    path = Path(folder) / "file"
    path.write_bytes(head)
    return str(path)


class Version(unittest.TestCase):
    def test_every_tool_prints_it(self):
        project = CONSOLE.parents[1]
        tools = [project / name for name in ("run", "test", "bench")]
        tools += [file for file in CONSOLE.parent.iterdir() if file.is_file()
                  and os.access(file, os.X_OK) and file.name not in ("busybox", "version")]
        version = subprocess.check_output([CONSOLE.parent / "version"], text=True)
        self.assertRegex(version, r"^\d+\.\d+\.\d+\n$")
        for tool in tools:
            with self.subTest(tool.name):
                self.assertEqual(subprocess.check_output([tool, "--version"], text=True),
                                 f"{tool.name} {version}")


class Arguments(unittest.TestCase):
    def refused(self, message: str, *words: str, tool: Path = CONSOLE / "arguments.py"):
        done = subprocess.run([sys.executable, tool, *words], capture_output=True, text=True)
        self.assertEqual((done.returncode, message in done.stderr), (2, True), done.stderr)

    def test_wrong_arguments_are_rejected_before_a_build(self):
        self.refused("unrecognized arguments: --hlep", "--hlep")
        self.refused("no file /nosuch", "--script", "/nosuch")
        self.refused("no file /nosuch", "--test", "/nosuch")
        self.refused("no file /nosuch", "--debug", "/nosuch")
        self.refused("no folder /nosuch", "--root", "/nosuch")
        self.refused("70000 is not a port number", "--panel", "70000")
        self.refused("--junit needs", "--junit", "/tmp/results.xml")
        self.refused("not allowed with", "--tour", "--shell")

    def test_wrong_arguments_of_long_runs_are_rejected_before_a_boot(self):
        nothing = ("--image", "/nosuch")  # nothing may start, whatever is accepted
        for words_of, message in (
                (("power-cuts", "--all", "--every", "0"), "whole number of at least 1"),
                (("power-cuts", "--cuts", "0"), "whole number of at least 1"),
                (("power-cuts", "--trial", "--kills", "-1"), "whole number of at least 0"),
                (("soak", "--csv", "/nosuch/samples"), "no folder /nosuch"),
                (("soak", "--csv", "/tmp"), "/tmp is a folder"),
                (("soak", "--minutes", "nan"), "number of at least 1"),
                (("soak", "--piece", "0"), "number of at least 1")):
            with self.subTest(words_of), tempfile.TemporaryDirectory() as folder:
                self.refused(message, *words_of[1:], *nothing, "--work", folder,
                             tool=CONSOLE.parent / words_of[0])

    def test_files_that_the_device_cannot_load_are_rejected(self):
        arm = b"\x7fELF\x01\x01" + bytes(10) + b"\x03\0\x28\0"
        with tempfile.TemporaryDirectory() as folder:
            for head in (b"", b"#!/bin/sh\n", arm[:10], arm.replace(b"\x28", b"\x3e"),
                         arm.replace(b"\x03\0\x28", b"\x01\0\x28"), b"\x7fELF\x02" + arm[5:]):
                self.refused(arm_file(folder, head), "--application", arm_file(folder, head))
            done = subprocess.run([sys.executable, CONSOLE / "arguments.py", "--panel", "0",
                                   "--ui-library", arm_file(folder, arm)], check=False)
            self.assertEqual(done.returncode, 0)

    def test_files_that_do_not_sign_or_verify_firmware_are_rejected(self):
        with tempfile.TemporaryDirectory() as folder:
            def make(name: str, *algorithm: str):
                subprocess.run(["openssl", "req", "-x509", "-newkey", *algorithm, "-nodes", "-subj",
                                "/CN=x", "-keyout", f"{name}.key", "-out", f"{name}.crt"],
                               cwd=folder, check=True, capture_output=True)
                return f"{folder}/{name}.key", f"{folder}/{name}.crt"

            key, certificate = make("good", "rsa:2048")
            text = Path(folder, "text")
            text.write_text("no key\n")
            for no_key, no_certificate in (make("short", "rsa:1024"), (certificate, key),
                                           make("ec", "ec", "-pkeyopt", "ec_paramgen_curve:P-256"),
                                           (f"{text}", f"{text}")):
                self.refused(f"bits in {no_key}", "--key", no_key)
                self.refused(f"bits in {no_certificate}", "--verified", no_certificate)
            other, _ = make("other", "rsa:2048")
            self.refused("--verified needs --key", "--verified", certificate)
            self.refused(f"{certificate} is not the certificate of {other}",
                         "--verified", certificate, "--key", other)
            done = subprocess.run([sys.executable, CONSOLE / "arguments.py", "--key", key,
                                   "--verified", certificate], check=False)
            self.assertEqual(done.returncode, 0)


class Help(unittest.TestCase):
    def test_every_command_has_its_help(self):
        commands = {name[3:].replace("_", "-") for name in dir(Console) if name.startswith("do_")}
        self.assertEqual(commands, set(usages()))

    def test_help_of_one_command_prints_all_its_lines(self):
        self.assertIn("COMMAND..", usages()["gdb"])
        self.assertEqual(len(usages()["button"].splitlines()), 2)

    def test_help_names_the_limits_of_commands_that_wait(self):
        for words_of, named in (([], True), (["expect-cut"], True), (["wait"], False)):
            said = []
            Console.do_help(types.SimpleNamespace(say=said.append), words_of)
            self.assertEqual("[SECONDS]: 10 if omitted, in scripts 600" in said[0], named, words_of)
            self.assertNotIn("(10 s)", said[0])


class AtTerminal(unittest.TestCase):
    def complete(self, *words: str) -> list:
        return Terminal.complete(self.terminal, list(words[:-1]), words[-1])

    def setUp(self):
        self.terminal = Terminal.__new__(Terminal)
        self.terminal._usages = usages()

    def test_commands_and_their_arguments_are_completed(self):
        self.assertEqual(self.complete("expect-pi"), ["expect-picture", "expect-pixel"])
        self.assertEqual(self.complete("button", "t"), ["torch"])
        self.assertEqual(self.complete("button", "torch", "c"), ["click"])
        self.assertEqual(self.complete("help", "reb"), ["reboot"])
        self.assertEqual(self.complete("nonsense", ""), [])

    def test_files_are_completed(self):
        with tempfile.TemporaryDirectory() as folder:
            (Path(folder) / "picture.png").touch()
            self.assertEqual(self.complete("screenshot", f"{folder}/pi"), [f"{folder}/picture.png"])

    def test_a_status_line_keeps_the_edited_line_and_the_end_of_the_device_ends_the_read(self):
        with tempfile.TemporaryDirectory() as folder:
            child, line = pty.fork()
            if child == 0:
                program = ("import sys; sys.path.insert(0, sys.argv[1])\n"
                           "import threading, time, readline\nfrom pathlib import Path\n"
                           "from terminal import Terminal, DeviceEnded\n"
                           "t = Terminal(Path(sys.argv[2]), {'battery': 'battery'})\n"
                           "def other():\n"
                           "    while readline.get_line_buffer() != 'battery o':\n"
                           "        time.sleep(0.01)\n"
                           "    t.say('a status line')\n"
                           "    while not (Path(sys.argv[2]).exists() and t._reading):\n"
                           "        time.sleep(0.01)\n"
                           "    t.interrupt()\n"
                           "threading.Thread(target=other).start()\n"
                           "print('got', t.read())\n"
                           "try:\n    t.read()\nexcept DeviceEnded:\n    print('device ended')\n")
                os.execv(sys.executable, [sys.executable, "-c", program, str(CONSOLE),
                                          f"{folder}/history"])
            output = self.until(line, b"", b"> ")
            os.write(line, b"batt\to")
            output = self.until(line, output, b"a status line")
            os.write(line, b"n\n")
            output = self.until(line, output, b"device ended")
            self.assertIn(b"got battery on", output)
            self.assertEqual(Path(f"{folder}/history").read_text(), "battery on\n")
            self.assertEqual(os.waitpid(child, 0)[1], 0)
            os.close(line)

    def until(self, line: int, output: bytes, wanted: bytes) -> bytes:
        deadline = time.monotonic() + 120  # only a hang reaches it
        while wanted not in output:
            self.assertLess(time.monotonic(), deadline, output)
            if select.select([line], [], [], 1)[0]:
                output += os.read(line, 1000)
        return output


class Device:
    """The part of a machine that the commands about its status lines read."""
    def __init__(self, *lines: str):
        self.changed, self.boots, self.first_line = threading.Condition(), 1, 0
        self.ended = threading.Event()
        self.lines = list(lines)


class State(unittest.TestCase):
    def test_an_update_takes_the_port_off_the_bus(self):
        device = Device("USB CONNECTION STATE: configured", "FW UPDATE TRANSITION TO STATE: 2")
        reader = words.Words()
        self.assertEqual(reader.read(device)["usb"], "configured")
        device.lines.append("USB UNBIND GADGETS")
        self.assertEqual(reader.read(device)["usb"], "not attached")


class Expecting(unittest.TestCase):
    def test_a_text_is_found_anywhere_or_at_the_begin_and_each_line_only_once(self):
        lines = "SESSION: 1 FPS: 29.9", "FPS: 17.2"
        for text, count in (("FPS: ", 2), ("^FPS: ", 1), ("^SESSION", 1), ("SION", 1), ("^S 1", 0)):
            with self.subTest(text):
                looking = Looking(Device(*lines), self.fail, self)
                for _ in range(count):
                    looking.do_expect([text, "0"])
                with self.assertRaises(Failure):
                    looking.do_expect([text, "0"])


class Connecting(unittest.TestCase):
    def test_a_connection_waits_for_a_machine_that_another_thread_starts(self):
        with tempfile.TemporaryDirectory() as folder, socket.socket(socket.AF_UNIX) as listener:
            machine = Machine(Path(folder), Path(folder), Path(folder))
            machine._folder = os.open(folder, os.O_RDONLY)
            self.addCleanup(os.close, machine._folder)

            def start():
                listener.bind(f"{folder}/watch.sock")
                listener.listen()

            starting = threading.Timer(0.2, start)
            starting.start()
            machine.connect("watch").close()
            starting.join()


class StandingStill(unittest.TestCase):
    def check(self, program: str) -> tuple[str, int]:
        """Returns the message about a process, and how often it was woken."""
        woken = []
        with subprocess.Popen([sys.executable, "-c", program], stdout=subprocess.PIPE) as process:
            self.addCleanup(process.kill)
            process.stdout.readline()
            watched = pulse.Pulse(process.pid, lambda: woken.append(1))
            used = pulse.processor_time(process.pid)
            if "while True" in program:
                while pulse.processor_time(process.pid) < used + pulse.STILL:
                    time.sleep(0.01)
            message = watched.check()
            process.kill()
        return message, len(woken)

    def test_a_machine_that_uses_no_processor_time_is_woken(self):
        message, woken = self.check("import time; print('ready', flush=True); time.sleep(600)")
        self.assertRegex(message, r"stood still and was woken: \w+ \w+")
        self.assertEqual(woken, 1)

    def test_a_machine_that_runs_is_left_alone(self):
        self.assertEqual(self.check("print('ready', flush=True)\nwhile True: pass"), ("", 0))

    def test_the_watch_ends_with_the_machine(self):
        process = subprocess.Popen(["true"])
        process.wait()
        pulse.watch(process.pid, threading.Event(), self.fail, self.fail)


def program(name: str):
    """Imports a program of the virtual device, whose file has no suffix."""
    path = CONSOLE.parent / name
    loader = importlib.machinery.SourceFileLoader(name, str(path))
    found = importlib.util.module_from_spec(importlib.util.spec_from_loader(name, loader))
    with unittest.mock.patch.object(sys, "dont_write_bytecode", True):
        loader.exec_module(found)
    return found


class Soaking(unittest.TestCase):
    def judge(self, counts: tuple, failures: list, name="descriptors") -> tuple[int, str]:
        soak = program("soak")
        samples = [dict.fromkeys(soak.NAMES, 4) | {
            "seconds": 10.0 * number, "life": "1", "mode": "host", "rest": 1,
            name: count} for number, count in enumerate(counts)]
        record = types.SimpleNamespace(counted=collections.Counter(fuzz=3), pieces=[],
                                       samples=samples, failures=failures)
        with contextlib.redirect_stdout(io.StringIO()) as output:
            status = soak.Soak.report(types.SimpleNamespace(record=record))
        return status, output.getvalue()

    def test_a_day_with_a_failed_event_or_growth_is_not_passed(self):
        status, output = self.judge((4, 4, 4, 4), [])
        self.assertEqual((status, "FAILED" in output, "NOT FLAT" in output), (0, False, False))
        status, output = self.judge((4, 4, 4, 4), ["fuzz: exit status 1"])
        self.assertEqual(status, 1)
        self.assertIn("FAILED EVENTS: 1", output)
        for name, counts in (("descriptors", (4, 4, 5, 5)), ("descriptors", (4, 5, 5, 5)),
                             ("mounts", (4, 5, 5, 6))):
            with self.subTest(name, counts=counts):
                status, output = self.judge(counts, [], name)
                self.assertEqual(status, 1)
                self.assertIn("NOT FLAT", output)

    def test_the_drive_may_be_unmounted_when_a_sample_is_taken(self):
        for counts in ((5, 4, 5, 5), (4, 4, 4, 5)):
            self.assertEqual(self.judge(counts, [], "mounts")[0], 0, counts)


class ForCI(unittest.TestCase):
    def test_results_with_any_output_are_written_as_valid_junit(self):
        results = Results("start")
        results.add("1: start")
        results.add("2: expect FPS:", "no status line <with> 'FPS:'", "a \x1b[1mline\0 &")
        with tempfile.TemporaryDirectory() as folder:
            results.write(Path(folder) / "results.xml")
            suite = XML.parse(Path(folder) / "results.xml").getroot().find("testsuite")
        self.assertEqual((suite.get("tests"), suite.get("failures")), ("2", "1"))
        failure = suite.findall("testcase")[1].find("failure")
        self.assertEqual(failure.get("message"), "no status line <with> 'FPS:'")
        self.assertEqual(failure.text, "a \ufffd[1mline\ufffd &")

    def test_the_difference_of_two_pictures_is_the_share_of_changed_pixels(self):
        # 4 x 2 pixels, with a gap between the rows.
        pixels = bytearray(range(40))
        one = Picture(4, 2, 20, bytes(pixels))
        pixels[5] ^= 1   # a pixel of the first row
        pixels[18] ^= 1  # the gap
        pixels[23] ^= 1  # the unused byte
        with tempfile.TemporaryDirectory() as folder:
            path = Path(folder) / "one.png"
            path.write_bytes(encode(one, "PNG"))
            self.assertEqual(difference(one, reading(path)), 0)
            self.assertEqual(difference(Picture(4, 2, 20, bytes(pixels)), reading(path)), 1 / 8)
            self.assertEqual(difference(Picture(2, 4, 20, bytes(80)), reading(path)), 1)
            path.write_text("no picture")
            with self.assertRaises(Failure):
                reading(path)


if __name__ == "__main__":
    unittest.main()
