# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The firmware of the current build, rebuilt when one of its inputs changes."""

import fcntl
import hashlib
import os
import subprocess
from pathlib import Path

from failure import Failure

TOOLS = Path(__file__).resolve().parents[1]


def _state(path: Path) -> str:
    found = path.stat()
    return f"{path} {found.st_size} {found.st_mtime_ns}"


def _inputs(image: Path, artifacts: Path, options: list) -> str:
    """Returns a text that changes with any input of the images."""
    files = [TOOLS / "make-firmware", TOOLS / "make-fit", TOOLS / "library_cache.py",
             image / "loader/mkimage", image / "initramfs.gz", image / "loader/machine.dtb",
             artifacts / "app/vantorel-app"]
    for folder in ("vantorel", "simulators"):
        files += sorted(artifacts.glob(f"{folder}/**/lib*.so*"))
    for value in map(Path, options[1::2]):
        files += sorted(path for path in (value, *value.rglob("*")) if path.is_file())
    stamps = [(image / f".{name}.stamp").read_text() for name in ("layers", "unpacking")]
    text = "\n".join([*stamps, *options, *map(_state, files)])
    return hashlib.sha256(text.encode()).hexdigest()


def build(image: Path, artifacts: Path, roots=(), key=None) -> Path:
    """Returns the folder with the images; `roots` overlay the root file system, `key` signs."""
    if not (image / "initramfs.gz").exists():
        raise Failure(f"no machine in {image}; virtual-device/build makes it")
    if not (artifacts / "app/vantorel-app").exists():
        raise Failure(f"no armhf build in {artifacts}; ./run makes one")
    options = [word for root in roots for word in ("--root", str(Path(root).resolve()))]
    if key:
        options += ["--key", str(Path(key).resolve())]
    name = hashlib.sha256("\0".join(options).encode()).hexdigest()[:12] if options else "build"
    folder = artifacts / "firmware" / name
    folder.mkdir(parents=True, exist_ok=True)
    # Lock it, because two devices may start at the same time.
    lock = os.open(folder, os.O_RDONLY | os.O_DIRECTORY)
    try:
        fcntl.flock(lock, fcntl.LOCK_EX)
        try:
            inputs = _inputs(image, artifacts, options)
        except OSError as error:
            raise Failure(f"{error.filename}: {error.strerror}; virtual-device/build makes the "
                          "machine") from None
        stamp = folder / "inputs"
        if not stamp.exists() or stamp.read_text() != inputs:
            stamp.unlink(missing_ok=True)
            make(folder, *options, "--build", artifacts)
            stamp.write_text(inputs)
    finally:
        os.close(lock)
    return folder


def run_tool(name: str, *arguments):
    done = subprocess.run([TOOLS / name, *arguments], capture_output=True, text=True)
    if done.returncode != 0:
        raise Failure(done.stderr.strip() or f"{name} ended with {done.returncode}")


def shown_version(version: str) -> str:
    """Returns what a device with the firmware "32.27.MAJOR.MINOR" reports as its version."""
    return f"{version.split('.', 2)[2]}.0"


def make(folder: Path, *options):
    run_tool("make-firmware", *options, folder)


def make_update(folder: Path, *options):
    """Makes the images and, beside them, the update that installs them."""
    make(folder, *options)
    run_tool("make-update", folder / "fit", folder / "rootfs", folder / "THERMAL.STR")
