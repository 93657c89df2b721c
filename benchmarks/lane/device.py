# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The benchmarks in the virtual device: armhf programs and the running application."""

import re
import shutil
import statistics
import subprocess
import sys
import time
from pathlib import Path

from commands import Console
from machine import Failure, Machine
from table import Row

PROJECT = Path(__file__).resolve().parents[2]
PROGRAMS = ["button_to_led", "control_round_trip", "install_update", "frame_path", "bare_flips"]
TRACING = "/sys/kernel/debug/tracing"
EVENT = f"{TRACING}/events/drm/drm_vblank_event_delivered/enable"
# The completion of a flip. The completion of a mode change belongs to no open file.
FLIP = r" (\d+\.\d+): drm_vblank_event_delivered: file=(?!0+,).*seq=(\d+)"
STARTS = 5  # number of starts of each program
REST = 6  # seconds; the kernel stops a display's timer 5 s after its last use (drm.vblankoffdelay)
IDLE = 10  # seconds for which wake-ups are counted
PICTURE = 480 * 640 * 4 // 1024  # KiB
SIMULATORS = ("libkirocamera", "libVantorelUI")


# Why a thread of the application wakes up on battery: the kernel function in which it sleeps, its
# expected wake-ups per second, and the cause. app/Board.h sets the intervals.
CAUSES = (("poll", 60, "the display's flips"), ("futex", 30, "the simulated camera's frames"),
          ("nanosleep", 2, "connection manager"), ("nanosleep", 1, "thermometer or gauge"),
          ("nanosleep", 0.2, "log"))


def cause(rate: float, where: str) -> str:
    """Returns the closest cause, or the kernel function in which the thread sleeps."""
    near = [(abs(rate - expected) / expected, name) for place, expected, name in CAUSES
            if place in where]
    return min(near)[1] if near else where


class TiedMachine(Machine):
    """A machine whose time advances with its instructions alone, 4 ns each, whatever else the host
    does."""

    def command(self, memory: str) -> list:
        return [*super().command(memory), "-icount", "shift=2,sleep=off"]


class Device:
    """One boot of the device for all figures except the installation and those with the clock tied,
    which boot separately."""

    def __init__(self, build: Path, seconds: int):
        self.artifacts = build / "armhf"
        self.image = build / "virtual-device"
        self.work = build / "armhf-bench"
        self.seconds = seconds
        self.kind = Machine
        self.machine = None
        self._console = None

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.switch_off()

    # --- the machine ------------------------------------------------------------------------------

    def switch_off(self):
        if self.machine:
            self.machine.stop()
        self.machine = self._console = None

    def console(self) -> Console:
        """Boots the device at the first call, without state from the last run."""
        if self._console is None:
            self.switch_off()  # a device that failed to boot for the previous figure
            shutil.rmtree(self.work, ignore_errors=True)
            self.machine = self.kind(self.image, self.artifacts, self.work)
            self.machine.prepare()
            self.machine.start()
            self.machine.wait_until_ready()
            self.shell("cp /host/lib/*.so* /usr/lib/")
            self._console = Console(self.machine, lambda text: None)
        return self._console

    def shell(self, command: str, seconds: int = 60) -> str:
        return self.machine.check(command, seconds)

    def program(self, name: str, arguments: str = "", seconds: int = 600) -> str:
        self.console()
        self.machine.install_test(self.artifacts / "benchmarks" / name)
        return self.shell(f"/host/tests/{name} {arguments} 2>&1", seconds)

    def start(self):
        """Starts the application on battery, with frames at 30 Hz and every service running."""
        console = self.console()
        for line in ("battery level 80", "start", "expect 'FPS: ' 60"):
            console.execute(line)
        time.sleep(10)

    def stop(self):
        self.console().execute("stop")
        self.console().execute("expect 'the application has ended' 60")

    # --- figures ----------------------------------------------------------------------------------

    def frames(self):
        most = 0
        for line in self.program("frame_path").splitlines():
            name, ours, least, bare, allocations = line.split()
            half, size = name.split("/")
            label = {"Keep": "camera callback to kept copy",
                     "Draw": "kept copy to back buffer"}[half]
            if half == "Keep":
                yield Row(f"armhf: {label}, {size}", float(ours) / 1000, "us",
                          float(least) / 1000, "memcpy, mutex, 2 counts", 1.05)
            yield Row(f"armhf: {label}, {size}", float(ours) / 1000, "us", float(bare) / 1000,
                      "memcpy", None if half == "Keep" else 1.05)
            most = max(most, int(allocations) / 100)
        yield Row("armhf: frame path, allocations", most, "a frame", limit=0)

    def _count_flips(self, wait) -> tuple:
        """Flips per second, and refreshes without a flip, from the kernel's trace."""
        self.shell(f"cd {TRACING} && echo 16384 > buffer_size_kb && echo > trace && "
                   f"echo 1 > {EVENT}")
        wait()
        self.shell(f"echo 0 > {EVENT}")
        trace = self.shell(f"grep vblank_event_delivered {TRACING}/trace; true")
        found = re.findall(FLIP, trace)
        if len(found) < 2:
            raise Failure("the kernel has traced no flips")
        times, numbers = zip(*((float(at), int(number)) for at, number in found))
        dropped = numbers[-1] - numbers[0] + 1 - len(numbers)
        return (len(numbers) - 1) / (times[-1] - times[0]), dropped

    def flips(self):
        """Runs the application between two halves of the bare loop, under about the same load."""
        def bare():
            return self._count_flips(lambda: self.program("bare_flips", str(self.seconds // 2)))

        self.console()
        first = bare()
        self.start()
        ours, missed = self._count_flips(lambda: time.sleep(self.seconds))
        self.stop()
        second = bare()
        yield Row("flips of the display a second, every service running", ours, "/s",
                  (first[0] + second[0]) / 2, "bare flip loop", 0.999, at_least=True,
                  note=f"refreshes missed: {missed}, bare loop {first[1] + second[1]}")

    def _first_flip(self, name: str, begin) -> float:
        """Milliseconds from a program's exec to its first flip, from the kernel's trace. Starts it
        as when the device is switched on, with a display whose timer is stopped: then the first
        refresh comes one period after the change of mode. Otherwise it may come at any time within
        that period, which differs from start to start and from program to program."""
        time.sleep(REST)
        execs = f"{TRACING}/events/sched/sched_process_exec/enable"
        self.shell(f"cd {TRACING} && echo > trace && echo 1 | tee {EVENT} > {execs}")
        begin()
        self.shell(f"echo 0 | tee {EVENT} > {execs}")
        trace = self.shell(f"grep -E 'vblank_event_delivered|exec: filename=' {TRACING}/trace")
        started = re.search(rf" (\d+\.\d+): sched_process_exec: filename=\S*{name} ", trace)
        flip = started and re.search(FLIP, trace[started.end():])
        if not flip:
            raise Failure(f"the kernel has traced no flip of {name}")
        return (float(flip[1]) - float(started[1])) * 1000

    def startup(self):
        return self._first_flips("every service started")

    def startup_tied(self):
        self.switch_off()
        self.kind = TiedMachine
        try:
            return list(self._first_flips("clock tied"))
        finally:
            self.switch_off()
            self.kind = Machine

    def _first_flips(self, how: str):
        """Starts both alternately. The first start of each loads its files."""
        def begin():
            self.console().execute("start")
            self.console().execute("expect 'FPS: ' 60")

        console = self.console()
        console.execute("battery level 80")
        ours, bare = [], []
        for _ in range(STARTS + 1):
            bare.append(self._first_flip("bare_flips", lambda: self.program("bare_flips", "1")))
            ours.append(self._first_flip("vantorel-app", begin))
            self.stop()
        ratios = [own / least for own, least in zip(ours[1:], bare[1:])]
        yield Row(f"exec to first flip, {how}", statistics.median(ours[1:]), "ms",
                  statistics.median(bare[1:]), "bare flip program", 1.3,
                  note=f"ratio: median of {STARTS} starts, in turns",
                  paired=statistics.median(ratios))

    def idle(self):
        """Memory, threads and wake-ups of the idle application on battery."""
        self.start()
        pid = self.shell("cat /run/application.pid").strip()
        rows = list(self._memory(pid)) + list(self._threads(pid))
        self.stop()
        return rows

    def _memory(self, pid: str):
        status = dict(re.findall(r"^(\w+):\s+(\d+)", self.shell(f"cat /proc/{pid}/status"), re.M))
        sizes, anonymous, name = {}, [], ""
        for line in self.shell(f"cat /proc/{pid}/smaps").splitlines():
            if match := re.match(r"[0-9a-f]+-[0-9a-f]+ \S+ \S+ \S+ \S+\s*(.*)", line):
                name = match[1]
            elif match := re.match(r"Rss:\s+(\d+)", line):
                sizes[name] = sizes.get(name, 0) + int(match[1])
                if name in ("", "[heap]"):
                    anonymous.append(int(match[1]))
        simulators = sum(size for key, size in sizes.items() if any(s in key for s in SIMULATORS))
        # The UI library's image, for which the allocator creates a separate mapping.
        picture = sum(size for size in anonymous if size >= PICTURE)
        whole = int(status["VmRSS"])
        yield Row("resident memory, every service on", whole / 1024, "MiB", limit=6,
                  note=f"of which KiB: heaps and stacks {sum(anonymous)} (the UI library's picture "
                       f"{picture}), simulators' libraries {simulators}")
        yield Row("the same without the simulators", (whole - simulators - picture) / 1024, "MiB",
                  limit=6)
        yield Row("heaps and stacks of all threads, without that picture",
                  (sum(anonymous) - picture) / 1024, "MiB", limit=1)

    def _switches(self, pid: str) -> dict:
        text = self.shell(f"cd /proc/{pid}/task; for t in *; do "
                          "echo $t $(grep '^voluntary' $t/status) $(cat $t/wchan); done")
        found = {}
        for line in text.splitlines():
            task, _, count, *where = line.split()
            found[task] = (int(count), " ".join(where))
        return found

    def _threads(self, pid: str):
        before, began = self._switches(pid), time.monotonic()
        time.sleep(IDLE)
        after, passed = self._switches(pid), time.monotonic() - began
        rates = sorted((((after[task][0] - before[task][0]) / passed, after[task][1])
                        for task in after if task in before), reverse=True)
        yield Row("threads", len(after), "", note="of which asleep for the whole time: "
                  f"{sum(rate == 0 for rate, _ in rates)}")
        yield Row("wake-ups on battery", sum(rate for rate, _ in rates), "/s",
                  note=", ".join(f"{rate:.1f} {cause(rate, where)}"
                                 for rate, where in rates if rate))

    def button(self):
        found = dict(re.findall(r"^(\w+) +\d+ rounds: median (\d+) us",
                                self.program("button_to_led"), re.M))
        yield Row("key event to LED, median", float(found["library"]), "us", float(found["bare"]),
                  "read() and write()")

    def control(self):
        """Runs last in its boot: it replaces the USB controller."""
        output = self.program("control_round_trip")
        found = dict(re.findall(r"^(\w+) +median of a round (\d+) us", output, re.M))
        ratios = dict(re.findall(r"^library / (\w+): ([\d.]+)", output, re.M))
        # The shortest responder blocks in its read, so every unbind of its port hangs. It shows the
        # cost of waiting outside the read and is not a target.
        for name, against, limit in (
                ("bare", "shortest responder, which hangs every unbind", None),
                ("polling", "shortest responder that can be unbound", 1.02)):
            yield Row("vendor request, round trip", float(found["library"]), "us",
                      float(found[name]), against, limit,
                      note="ratio: median of those of the rounds", paired=float(ratios[name]))

    def install(self):
        self.switch_off()
        command = [sys.executable, PROJECT / "benchmarks/device/install",
                   "--work", f"{self.work}-install"]
        ended = subprocess.run(command, capture_output=True, text=True)
        if ended.returncode != 0:
            raise Failure(ended.stderr.strip())
        found = dict(re.findall(r"^median of ([\w ]+): (\d+) ms", ended.stdout, re.M))
        pauses = re.search(r"without its (\d+) ms of pauses", ended.stdout)
        ratio = re.search(r"rounds' ratios: ([\d.]+)", ended.stdout)
        yield Row("installation of an update, without the pauses",
                  float(found["library"]) - float(pauses[1]), "ms", float(found["by hand"]),
                  "the tools by hand", 1.05, note="ratio: median of those of the rounds",
                  paired=float(ratio[1]))

    def size(self):
        """The size of the shipped library."""
        (library,) = (path for path in self.artifacts.glob("vantorel/libVantorelSystem.so.*")
                      if not path.is_symlink())
        stripped = self.artifacts / "stripped.so"
        subprocess.run(["arm-linux-gnueabihf-strip", "-o", stripped, library], check=True)
        sections = subprocess.run(["arm-linux-gnueabihf-size", stripped], check=True,
                                  capture_output=True, text=True).stdout.splitlines()[1].split()
        relocations = subprocess.run(["arm-linux-gnueabihf-readelf", "-rW", stripped], check=True,
                                     capture_output=True, text=True).stdout.count("R_ARM_")
        symbols = subprocess.run(["arm-linux-gnueabihf-nm", "-D", "--defined-only", stripped],
                                 check=True, capture_output=True, text=True).stdout.splitlines()
        yield Row("library, stripped", stripped.stat().st_size / 1024, "KiB", limit=200)
        yield Row("library, text and constants", int(sections[0]) / 1024, "KiB", limit=200)
        yield Row("library, data", (int(sections[1]) + int(sections[2])) / 1024, "KiB")
        yield Row("library, relocations", relocations, "")
        yield Row("library, exported symbols", len(symbols), "")

    figures = (size, frames, flips, startup, idle, button, control, install, startup_tied)
