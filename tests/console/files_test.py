#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The console's files and errors, without a device."""
import contextlib
import io
import subprocess
import sys
import tempfile
import threading
import types
import unittest
import unittest.mock
from pathlib import Path

CONSOLE = Path(__file__).resolve().parents[2] / "virtual-device/console"
sys.path[:0] = [str(CONSOLE), str(CONSOLE.parent)]

import firmware  # noqa: E402
import machine as machines  # noqa: E402
import share  # noqa: E402
import soak_record  # noqa: E402
from commands import Console  # noqa: E402
from failure import DeviceOff, Failure, reported  # noqa: E402
from flash import FIT_MAGIC, Flash  # noqa: E402
from machine import Machine  # noqa: E402
from own import Own  # noqa: E402
from picture import Picture, encode, reading  # noqa: E402
from statuslog import StatusLog  # noqa: E402
from surroundings import Surroundings  # noqa: E402

FIT = FIT_MAGIC + (40).to_bytes(4, "big") + bytes(32)


class InFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = Path(folder.name)

    def put(self, name: str, content: bytes = b"content") -> Path:
        path = self.path / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
        return path


class FakeMachine:
    """A device that carries out commands at once; `moved` are the files that `put` copied."""

    def __init__(self, folder: Path):
        self.share = folder / "share"
        (self.share / "out").mkdir(parents=True, exist_ok=True)
        self.surroundings = Surroundings()
        self.moved = {}
        self.played = []

    ready = True

    def run(self, _command: str, _seconds=0):
        return 0, ""

    def check(self, command: str, _seconds=0) -> str:
        match command.split():
            case ["mv", "-T", source, target]:
                file = self.share / source.removeprefix("/host/")
                self.moved[target] = file.read_bytes()
                file.unlink()
            case ["echo", "play", path, *_]:
                self.played.append(path)
        return ""


class Errors(InFolder):
    def test_a_failed_run_is_one_line_and_its_status(self):
        def fail(error):
            raise error

        for error, status in ((Failure("a reason"), 1), (OSError(28, "No space left"), 1),
                              (DeviceOff("the device is off"), 1), (KeyboardInterrupt(), 130),
                              (subprocess.CalledProcessError(1, ["openssl"]), 1)):
            with self.subTest(error), contextlib.redirect_stderr(io.StringIO()) as output, \
                    contextlib.redirect_stdout(io.StringIO()):
                self.assertEqual(reported("tool", lambda: fail(error)), status)
                lines = output.getvalue().splitlines()
                self.assertEqual(len(lines), int(status == 1))
                self.assertTrue(all(line.startswith("tool: ") for line in lines), lines)

    def test_programs_report_unusable_folders_in_one_line(self):
        for words, status in ((("verified-boot", "--work", "/proc/nosuch"), 1),
                              (("soak", "--image", f"{self.path}"), 2),
                              (("power-cuts", "--trial", "--image", f"{self.path}"), 1),
                              (("console", "--script", "/bin/ls"), 2),
                              (("console", "--work", "/dev/null"), 2)):
            work = () if "--work" in words else ("--work", f"{self.path}")
            with self.subTest(words):
                done = subprocess.run([sys.executable, CONSOLE.parent / words[0], *words[1:],
                                       *work], capture_output=True, text=True, check=False)
                lines = [line for line in done.stderr.splitlines()
                         if not line.startswith(("usage:", " "))]
                self.assertEqual((done.returncode, len(lines)), (status, 1), done.stderr)

    def test_an_incomplete_machine_is_reported(self):
        for name in ("image/initramfs.gz", "artifacts/app/vantorel-app"):
            self.put(name)
        with self.assertRaisesRegex(Failure, "virtual-device/build makes"):
            firmware.build(self.path / "image", self.path / "artifacts")

    def test_a_damaged_picture_is_reported(self):
        whole = encode(Picture(64, 64, 256, bytes(range(256)) * 64), "PNG")
        at = whole.index(b"IDAT")
        for content in (whole[:at + 9], whole[:11] + b"\x0c" + whole[12:], whole[:20], b"",
                        whole[:-12] + b"\0\0\0\1iCCPx" + b"\x4d\x18\x82\x31"
                        + whole[-12:]):
            with self.subTest(content[-24:]), self.assertRaisesRegex(Failure, "no picture"):
                reading(self.put("damaged.png", content))

    def test_a_full_disk_loses_no_status_line_and_is_reported_once(self):
        notices = []
        log = StatusLog(Path("/dev/full"), notices.append)
        log.add("a line")
        log.add("another")
        self.assertEqual(notices, ["/dev/full lacks lines: No space left on device"])


class Run(InFolder):
    def test_files_are_relative_to_the_folder_of_the_call(self):
        # The second option ends it before a build.
        self.put("own.console", b"quit\n")
        done = subprocess.run([CONSOLE.parents[1] / "run", "--script", "own.console", "--tour"],
                              cwd=self.path, capture_output=True, text=True, check=False)
        self.assertIn("not allowed with argument --script", done.stderr)

    def test_a_renamed_or_changed_file_changes_the_digest_of_a_build_step(self):
        text = (CONSOLE.parent / "build").read_text()
        function = text[text.index("digest() {"):]
        function = function[:function.index("\n}\n") + 3]

        def digest(name: str) -> str:
            return subprocess.check_output(
                ["bash", "-c", f"source={self.path}\n{function}digest {self.path}/{name}"])

        file = self.put("one")
        first = digest("one")
        file.chmod(0o755)
        executable = digest("one")
        file.rename(self.path / "other")
        self.assertEqual(len({first, executable, digest("other")}), 3)

    def test_the_end_of_a_failed_step_reaches_the_reader_of_its_output(self):
        script = f'set -e; . "{CONSOLE.parents[1]}/scripts/progress"; follow step true false'
        # The reader awaits the end of the output first, and then that of the script.
        done = subprocess.run(["bash", "-c", script], stdout=subprocess.PIPE, check=False)
        self.assertEqual((done.returncode, done.stdout), (1, b"step ...\n"))


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

    def test_a_line_that_begins_with_slot_reports_what_runs(self):
        for name, content in (("fit", FIT), ("rootfs", b"content")):
            self.put(f"made/{name}", content)
        flash = Flash(self.path / "flash")
        flash.prepare(b"loader")
        said = [flash.write_build(self.path / "made") for _ in (1, 2)]
        flash.write("rootfs_0", b"by an update")
        said.append(flash.write_build(self.path / "made"))
        self.assertEqual([line.split()[:3] for line in said],
                         [["Slot", "0", word] for word in ("now", "has", "keeps")])

    def test_qemu_gets_no_folder_whose_name_could_have_a_comma(self):
        work = self.path / "a,b"
        work.mkdir()
        machine = Machine(self.path, self.path, work)
        with unittest.mock.patch.object(machines.subprocess, "Popen",
                                        side_effect=OSError) as popen, \
                self.assertRaises(Failure):
            machine.start()
        self.assertEqual([word for word in popen.call_args.args[0] if "a,b" in word], [])
        machine.close()

    def test_several_files_need_a_folder_and_none_is_lost(self):
        machine = FakeMachine(self.path)
        console = Console(machine, watch=object())
        for name in ("a.deb", "b.deb"):
            self.put(name, name.encode())
        with self.assertRaisesRegex(Failure, "usage: put"):
            console.execute(f"put {self.path}/*.deb /tmp/one")
        console.execute(f"put {self.path}/*.deb /tmp/")
        console.execute(f"put {self.path}/a.* /tmp/one")
        self.assertEqual(machine.moved, {"/tmp/a.deb": b"a.deb", "/tmp/b.deb": b"b.deb",
                                         "/tmp/one": b"a.deb"})
        self.assertEqual(list((machine.share / "out").iterdir()), [])

    def test_two_visitors_copy_at_the_same_time(self):
        machine = FakeMachine(self.path)
        both = threading.Barrier(2)
        check = machine.check
        machine.check = lambda command: (both.wait(), check(command))
        files = [self.put(name, name.encode()) for name in ("one", "two")]
        visitors = [threading.Thread(target=Console(machine, watch=object()).execute,
                                     args=(f"put {file} /tmp/{file.name}",)) for file in files]
        for visitor in visitors:
            visitor.start()
        for visitor in visitors:
            visitor.join()
        self.assertEqual(machine.moved, {"/tmp/one": b"one", "/tmp/two": b"two"})

    def test_each_recording_has_a_new_path_on_the_device_also_from_another_page(self):
        machine = FakeMachine(self.path)
        recording = self.put("scene.rec", bytes(38400))
        for _ in range(2):
            Console(machine, watch=object()).execute(f"camera play {recording}")
        self.assertEqual(len(set(machine.played)), 2)


class GaugeSurroundings(InFolder):
    def test_a_new_gauge_measures_the_same_battery(self):
        machine = FakeMachine(self.path)
        commands = []
        watch = types.SimpleNamespace(command=commands.append)
        console = Console(machine, watch=watch)
        for line in ("battery level 33", "temperature cpu 50", "gauge new"):
            console.execute(line)
        self.assertEqual(commands,
                         ["level 33", "temperature cpu 50000", "gauge-new", "level 33"])


class Waiting(InFolder):
    def test_a_wait_ends_with_the_device_unless_another_visitor_can_switch_it_on(self):
        machine = Machine(self.path, self.path, self.path)
        machine.ended.set()
        machine.boots, machine.end_reason = 1, "guest-panic"
        read = threading.Event()
        watch = types.SimpleNamespace(picture=lambda: read.set(), board=lambda: {})
        console = Console(machine, lambda text: None, watch)
        with self.assertRaisesRegex(Failure, "application is stopped; .* ended by guest-panic"):
            console.execute("expect-state application running 3600")
        with self.assertRaisesRegex(Failure, "ended by guest-panic"):
            console.execute("expect-picture 3600")
        console.execute("expect-state screen dark 3600")
        switched_on = []
        visitor = threading.Thread(target=lambda: switched_on.append(
            console.execute("expect-state power on 3600")))
        read.clear()
        visitor.start()
        read.wait()
        machine.ready = True
        visitor.join()
        machine.ready = False
        self.assertEqual(switched_on, [None])
        machine.close()
        for command in ("expect-state power on 3600", "power-on"):
            with self.assertRaisesRegex(Failure, "power is failed|the console ends"):
                console.execute(command)


class Resuming(InFolder):
    def record(self, resume: bool):
        record = soak_record.Record(self.path, self.path / "soak.csv", resume, 1, 10)
        self.addCleanup(record._file.close)
        return record

    def test_a_table_that_has_lost_samples_is_refused_and_kept(self):
        record = self.record(False)
        for number in range(2):
            record.add(dict.fromkeys(soak_record.FIELDS, number) | {"seconds": number / 1})
        record.finish_life(10)
        whole = (self.path / "soak.csv").read_bytes()
        resumed = self.record(True)
        self.assertEqual(len(resumed.samples), 2)
        self.assertEqual((self.path / "soak.csv").read_bytes(), whole)
        lost = whole.rsplit(b"\r\n", 2)[0] + b"\r\n"
        (self.path / "soak.csv").write_bytes(lost)
        with self.assertRaisesRegex(Failure, "has 1 of the 2 samples"):
            self.record(True)
        self.assertEqual((self.path / "soak.csv").read_bytes(), lost)


if __name__ == "__main__":
    unittest.main()
