# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The console's commands for the fuel gauge: faults, contents, streams."""

import errno
import shutil

from failure import Failure
from firmware import run_tool

HELP = """\
gauge nack on|off           whether it acknowledges nothing
gauge new|power-cycle       replace it with a new one; remove and insert its battery
gauge fault ERRNO N         the Nth transfer from now fails, as by ENXIO or ETIMEDOUT
gauge fault corrupt N       the Nth read from now has a wrong bit
gauge fault hang MS         it holds the bus clock for that long
gauge fault rom on|off      it does not leave ROM mode
gauge reset-time MS         how long it does not acknowledge while its firmware starts
gauge type NUMBER           which gauge it is
gauge dump|log FILE         its flash, or the bus's last transfers, into a file here
gauge stream [OPTION...]    make-gauge-stream, to /host/out/bqfs; the resulting flash, to .../flash
gauge archive               make-update of fit, rootfs and bqfs in /host/out, to .../THERMAL.STR"""

DEBUG = "/sys/kernel/debug/vantorel-board"


def _board_command(arguments: list) -> str:
    """Returns the board's command for a console command; the board checks the numbers."""
    match arguments:
        case ["nack", "on" | "off" as state]:
            return f"nack {int(state == 'on')}"
        case ["new" | "power-cycle" as what]:
            return f"gauge-{what}"
        case ["fault", "rom", "on" | "off" as state]:
            return f"stay-in-rom {int(state == 'on')}"
        case ["fault", "hang", milliseconds]:
            return f"hang {milliseconds}"
        case ["fault", "corrupt", number] if number.isdecimal():
            return f"corrupt 1 {int(number) - 1}"
        case ["fault", name, number] if number.isdecimal() and hasattr(errno, name):
            return f"i2c-error {getattr(errno, name)} 1 {int(number) - 1}"
        case ["reset-time", milliseconds]:
            return f"reset-time {milliseconds}"
        case ["type", number]:
            return f"gauge-type {number}"
    raise Failure("usage: " + HELP.replace("\n", "\n       "))


def execute(console, arguments: list):
    out = console.machine.share / "out"
    match arguments:
        case ["dump" | "log" as what, file]:
            source = {"dump": "gauge-flash", "log": "transfers"}[what]
            console.machine.check(f"cat {DEBUG}/{source} > /host/out/{source}")
            try:
                shutil.copyfile(out / source, file)
            except OSError as error:
                raise Failure(str(error)) from None
        case ["stream", *options]:
            run_tool("make-gauge-stream", *options, "--content", out / "flash", out / "bqfs")
        case ["archive"]:
            run_tool("make-update", out / "fit", out / "rootfs", out / "bqfs", out / "THERMAL.STR")
        case _:
            console.board(_board_command(arguments))
            if arguments == ["new"]:  # it measures the same battery as the one before
                for command in console.surroundings.gauge_commands():
                    console.board(command)
