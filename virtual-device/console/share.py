# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The folder of the development machine that the device mounts at /host."""

import os
import shutil
import subprocess
from pathlib import Path

PROJECT = Path(__file__).resolve().parents[2]


def fill(share: Path, machine):
    """Copies the files that the device loads from there; other files in /host stay."""
    for folder in ("lib", "bin", "tests", "out"):
        (share / folder).mkdir(parents=True, exist_ok=True)
    # Skip the copies that the package tests install below the folder: they may be older.
    for folder in ("vantorel", "simulators"):
        for library in (machine.artifacts / folder).glob("**/lib*.so*"):
            if not library.is_symlink():
                _install(library, share / "lib" / _soname(library))
    # The application, and the programs that run at the other end of the USB cable.
    for program in ("app/vantorel-app", "host/vantorel-host"):
        if (machine.artifacts / program).exists():
            _install(machine.artifacts / program, share / "bin" / Path(program).name)
    for file, place in machine.own.shared():
        _install(file, share / place)
    # The images for updates made by scripts.
    (share / "firmware").mkdir(exist_ok=True)
    for image in ("fit", "rootfs"):
        # A copy, since the device may write to it or put a link in its place.
        copy = share / "firmware" / image
        copy.unlink(missing_ok=True)
        shutil.copyfile(machine.firmware / image, copy)
    for program in ("dbclient", "lsusb", "usbreset"):
        shutil.copy(machine.image / "userland/usr/bin" / program, share / "bin")
    shutil.copytree(PROJECT / "tests/data", share / "data", dirs_exist_ok=True)


def _soname(library: Path) -> str:
    """libX.so.1.2.3 is loaded as libX.so.1."""
    stem, _, version = library.name.partition(".so")
    major = version.lstrip(".").split(".")[0]
    return f"{stem}.so.{major}" if major else library.name


def _install(source: Path, target: Path):
    """Copies without debug information, since the device loads the file over a slow file system. A
    copy gets its source's time, so that any other file there, such as a user's own, is
    replaced."""
    time_of = source.stat().st_mtime_ns
    if target.exists() and target.stat().st_mtime_ns == time_of:
        return
    subprocess.run(["arm-linux-gnueabihf-strip", "-o", target, source], check=True)
    os.utime(target, ns=(time_of, time_of))
