# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The benchmarks on the development machine: Google Benchmark programs."""

import json
import subprocess
from pathlib import Path

from machine import Failure
from table import Row

FRAMES = ("160x120", "320x240", "640x480", "480x640x4")
# Both sides of a comparison run many times in random order, so that both have the same load. The
# fastest run of each counts, because other load can only slow a run.
OPTIONS = ["--benchmark_enable_random_interleaving=true"]
NAMESPACES = ["unshare", "--user", "--map-root-user", "--mount", "--pid", "--fork", "--mount-proc"]
TARGETS = ["benchmark_frame_path", "benchmark_notification", "benchmark_child_start",
           "benchmark_startup", "benchmark_growth", "benchmark_logger"]


class Native:
    def __init__(self, build: Path, repetitions: int):
        self.build = build
        self.repetitions = repetitions

    def run(self, name: str, clock: str = "cpu_time", prefix=(), seconds: float = 0.05) -> dict:
        """Returns the fastest repetition of each benchmark, in its registered unit."""
        output = self.build / f"{name}.json"
        with open(output, "w+") as file:
            # Pass the output file by descriptor: in its own namespaces the program may see other
            # files, and its standard output contains the library's status lines.
            command = [*prefix, self.build / "benchmarks" / name, *OPTIONS,
                       f"--benchmark_repetitions={self.repetitions}",
                       f"--benchmark_min_time={seconds}", "--benchmark_out_format=json",
                       f"--benchmark_out=/proc/self/fd/{file.fileno()}"]
            ended = subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                                   text=True, pass_fds=[file.fileno()])
            file.seek(0)
            text = file.read()
        if ended.returncode != 0:
            raise Failure(f"{name}: {ended.stderr.strip()[-300:]}")
        best = {}
        for entry in json.loads(text)["benchmarks"]:
            if entry["run_type"] == "iteration":
                key = entry["run_name"]
                if key not in best or entry[clock] < best[key][clock]:
                    best[key] = entry
        return {key: entry | {"time": entry[clock]} for key, entry in best.items()}

    def frames(self):
        found = self.run("benchmark_frame_path", prefix=NAMESPACES)
        for half, label in (("Keep", "camera callback to kept copy"),
                            ("Draw", "kept copy to back buffer")):
            for size in FRAMES:
                ours, bare = found[f"{half}/ours/{size}"], found[f"{half}/memcpy/{size}"]
                least = found.get(f"{half}/locked/{size}")
                if least:
                    yield Row(f"{label}, {size}", ours["time"], "ns", least["time"],
                              "memcpy, mutex, 2 counts", 1.05)
                yield Row(f"{label}, {size}", ours["time"], "ns", bare["time"], "memcpy",
                          None if least else 1.05)
            yield Row(f"{label}, allocations", max(found[f"{half}/ours/{size}"]["allocations"]
                                                   for size in FRAMES), "a frame", limit=0)
            yield Row(f"{label}, locks", max(found[f"{half}/ours/{size}"]["locks"]
                                             for size in FRAMES), "a frame", limit=1)

    def notification(self):
        found = self.run("benchmark_notification")
        for count in (1, 4, 16):
            ours = found[f"Ours/{count}"]["time"]
            for other, label, limit in (("Loop", "virtual calls", 1.1), ("Sigc", "libsigc++", 1),
                                        ("Boost", "Boost.Signals2", 1), ("Qt", "Qt signals", 1)):
                if f"{other}/{count}" in found:
                    yield Row(f"notification of {count}", ours, "ns",
                              found[f"{other}/{count}"]["time"], label, limit)

    def child(self):
        found = self.run("benchmark_child_start", clock="real_time", seconds=0.1)
        for megabytes in (5, 500):
            yield Row(f"child start and end, {megabytes} MB touched",
                      found[f"Ours/{megabytes}/real_time"]["time"], "us",
                      found[f"Spawn/{megabytes}/real_time"]["time"], "posix_spawn", 1.1)

    def log(self):
        found = self.run("benchmark_logger")
        yield Row("one line of the log", found["Cycle"]["time"], "us", found["BareCycle"]["time"],
                  "snprintf, fwrite, write")

    def _lines(self, name: str, *arguments) -> list:
        """Runs one of our own programs; returns its lines, split into words."""
        ended = subprocess.run([*NAMESPACES, self.build / "benchmarks" / name, *arguments],
                               capture_output=True, text=True, timeout=120)
        if ended.returncode != 0:
            raise Failure(f"{name}: {ended.stderr.strip()[-300:]}")
        return [line.split() for line in ended.stderr.splitlines()]

    def startup(self):
        phases = {}
        for _ in range(self.repetitions):
            # unshare and its fork come before the exec that is measured.
            text = subprocess.run(
                [*NAMESPACES, "python3", "-c", "import os, sys, time; os.execv(sys.argv[1], "
                 "[sys.argv[1], str(time.monotonic_ns())])",
                 str(self.build / "benchmarks/benchmark_startup")],
                capture_output=True, text=True, check=True, timeout=60).stderr
            for name, microseconds in (line.split() for line in text.splitlines()):
                phases[name] = min(phases.get(name, 1e9), float(microseconds))
        yield Row("exec to first picture, simulators", phases["picture"] / 1000, "ms",
                  note="in main() after {main:.0f} us, constructed {constructed:.0f} us, "
                       "first frame {frame:.0f} us".format(**phases))

    def growth(self):
        found = {(name, int(rate)): (int(count), float(value))
                 for name, rate, count, value in self._lines("benchmark_growth")}
        for name in ("button", "thermometer", "log", "frame"):
            # Not the usual rate: a few events in seconds find cold caches.
            slow, fast = found[name, 10], found[name, 100]
            yield Row(f"processor time of one event, {name}, at 100 times the rate",
                      fast[1] / 1000, "us", slow[1] / 1000, "at 10 times", 1.1,
                      note=f"{slow[0]} and {fast[0]} events in the same time")
        yield Row("heap in use after 100 times the events", found["heap", 100][1] / 1024, "KiB",
                  found["heap", 10][1] / 1024, "after 10 times", 1.1)

    figures = (frames, notification, child, startup, growth, log)
