# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""Command-line options of the programs that run a virtual device. argparse reports a wrong value
and exits with status 2, before anything starts."""

import argparse
import math
from pathlib import Path

from machine import Machine

BUILD = Path(__file__).resolve().parents[2] / "build"


def at_least(least: float, kind=int):
    """Returns an argparse type for numbers, whole ones or of another kind."""
    def convert(text: str):
        try:
            value = kind(text)
            if math.isfinite(value) and value >= least:
                return value
        except ValueError:
            pass
        what = "whole number" if kind is int else "number"
        raise argparse.ArgumentTypeError(f"{text} is not a {what} of at least {least}")
    return convert


def result(text: str) -> Path:
    """An argparse type for a file to write."""
    path = Path(text)
    if not path.parent.is_dir():
        raise argparse.ArgumentTypeError(f"no folder {path.parent}")
    if path.is_dir():
        raise argparse.ArgumentTypeError(f"{path} is a folder")
    return path


def work_folder(text: str) -> Path:
    """An argparse type for the folder of a device, which need not exist."""
    path = Path(text)
    if path.exists() and not path.is_dir():
        raise argparse.ArgumentTypeError(f"{path} is not a folder")
    return path


def add_machine_options(parser: argparse.ArgumentParser, work: str):
    """`work` is the name of the device's folder below build/."""
    for name, folder, what in (("work", work, "device"), ("image", "virtual-device", "machine"),
                               ("artifacts", "armhf", "armhf build")):
        parser.add_argument(f"--{name}", type=work_folder, default=BUILD / folder,
                            help=f"folder of the {what} (build/{folder})")


def machine_of(options: argparse.Namespace, kind=Machine) -> Machine:
    """Returns the machine in the folders that add_machine_options() has read."""
    return kind(options.image.resolve(), options.artifacts.resolve(), options.work.resolve())
