# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""--version of the tools."""

import argparse
import subprocess
from pathlib import Path

SCRIPT = Path(__file__).resolve().parents[1] / "version"


class ShowVersion(argparse.Action):
    """For add_argument("--version", action=ShowVersion)."""

    def __init__(self, option_strings, dest):
        super().__init__(option_strings, dest, nargs=0, help="print the version and exit")

    def __call__(self, parser, *_):
        version = subprocess.run([SCRIPT], stdout=subprocess.PIPE, text=True, check=True).stdout
        print(parser.prog, version, end="")
        parser.exit()
