# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""Snapshots of a booted machine: a new device of the same firmware starts from one in a second.

A snapshot contains the memory, devices and flash of a machine after its first boot, before
anything was started on it. It does not contain the folder /host, which is mounted again, or the
time, which is set again.
"""

import fcntl
import hashlib
import json
import os
import shlex
import shutil
import subprocess
import time
from pathlib import Path

from failure import Failure

FORMAT = 1  # of the files in a snapshot's folder


def _digest(machine) -> str:
    """Returns a digest of everything that a machine's first boot depends on."""
    version = subprocess.run(["qemu-system-arm", "--version"], check=True, capture_output=True,
                             text=True).stdout
    digest = hashlib.sha256(f"{FORMAT} {version} {machine.command('')}".encode())
    for file in (machine.firmware / "fit", machine.firmware / "rootfs"):
        digest.update(file.read_bytes())
    digest.update(machine.flash.read("loader"))
    return digest.hexdigest()[:16]


def _make(machine, folder: Path):
    """Boots a separate machine and saves it."""
    work = folder.with_suffix(".new")
    shutil.rmtree(work, ignore_errors=True)
    other = type(machine)(machine.image, machine.artifacts, work)
    other.roots, other.key, other.certificate = machine.roots, machine.key, machine.certificate
    try:
        other.prepare()
        other.start()
        other.wait_until_ready()
        other.check("sync; /usr/libexec/vantorel/share leave")
        other.save(work / "state")
        (work / "running").write_text(json.dumps(other.running))
    finally:
        other.close()
    work.rename(folder)


def of(machine) -> Path:
    """Returns the folder of the snapshot for a new device, and makes the snapshot if it is
    missing. Removes old ones except the last two, from which other devices may be starting."""
    name = _digest(machine)
    snapshots = machine.image.parent / "snapshots"
    snapshots.mkdir(parents=True, exist_ok=True)
    lock = os.open(snapshots, os.O_RDONLY | os.O_DIRECTORY)
    try:
        fcntl.flock(lock, fcntl.LOCK_EX)
        if not (snapshots / name).exists():
            others = sorted(snapshots.iterdir(), key=lambda folder: folder.stat().st_mtime)
            for old in others[:-2]:
                shutil.rmtree(old)
            _make(machine, snapshots / name)
    finally:
        os.close(lock)
    return snapshots / name


def start(machine):
    """Starts a device whose flash prepare() has just created, as if it had booted."""
    folder = of(machine)
    machine.start(f"exec:cat {shlex.quote(str(folder / 'state'))}")
    machine.set_ready(json.loads((folder / "running").read_text()))
    try:
        machine.check(f"date -s @{time.time():.0f} && /usr/libexec/vantorel/share")
    except Failure:
        shutil.rmtree(folder, ignore_errors=True)  # the next start makes a new one
        raise
