# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""A one-minute introduction to the device: a script whose comments are printed, and a sheet of its
pictures."""

import time
from pathlib import Path

from PIL import Image, ImageDraw, ImageFont

import firmware
from commands import Console
from looking import SCRIPT_PATIENCE
from machine import Failure, Machine

TOOLS = Path(__file__).resolve().parents[1]
SCRIPT = TOOLS / "tour.console"
FONT = "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf"
COLUMNS = 4
SIZE = (240, 320)  # of a picture on the sheet
GAP = 20
LABEL = 34
BACKGROUND, FRAME, TEXT = "#0b0f14", "#2a3541", "#eef3f7"
VERSION = "32.27.1.6"  # of the update
READING = 2.5  # seconds to read a comment


def sheet(pictures: list[Path], target: Path):
    """Writes all pictures with their names; few colours keep the file small."""
    rows = -(-len(pictures) // COLUMNS)
    width, height = SIZE[0] + GAP, SIZE[1] + LABEL + GAP
    whole = Image.new("RGB", (COLUMNS * width + GAP, rows * height + GAP), BACKGROUND)
    pen = ImageDraw.Draw(whole)
    font = ImageFont.truetype(FONT, 15)
    for index, picture in enumerate(pictures):
        x, y = GAP + index % COLUMNS * width, GAP + index // COLUMNS * height
        pen.rectangle((x - 1, y - 1, x + SIZE[0], y + SIZE[1]), outline=FRAME)
        small = Image.open(picture).convert("RGB").resize(SIZE, Image.Resampling.LANCZOS)
        whole.paste(small, (x, y))
        pen.text((x + SIZE[0] / 2, y + SIZE[1] + LABEL / 2),
                 picture.stem.replace("-", " ").capitalize(), TEXT, font, anchor="mm")
    whole.quantize(192, dither=Image.Dither.NONE).save(target, optimize=True)


def tour(machine: Machine, say) -> int:
    console = Console(machine, say)
    console.patience = SCRIPT_PATIENCE
    folder = machine.work / "tour"
    folder.mkdir(exist_ok=True)
    firmware.make_update(folder, "--version", VERSION, "--build", machine.artifacts)
    pictures = []
    for number, line in enumerate(SCRIPT.read_text().splitlines(), 1):
        if line.startswith("#"):
            say(f"\n{line[1:].strip()}")
            time.sleep(READING)
        elif line:
            try:
                _perform(console, line, folder, pictures)
            except Failure as failure:
                say(f"{SCRIPT.name}:{number}: {line}: {failure}")
                return 1
    target = folder / "contact-sheet.png"
    sheet(pictures, target)
    say(f"\nThe pictures of this tour: {_here(target)}")
    return 0


def _perform(console: Console, line: str, folder: Path, pictures: list[Path]):
    """Runs a line as any script does, but puts the tour's files into the device's folder."""
    line = line.replace("TOUR/", f"{_here(folder)}/")
    console.execute(line)
    if line.startswith("screenshot "):
        pictures.append(Path(line.split()[1]))
    elif not line.startswith(("wait", "expect", "shell", "host")):
        console.say(f"    {line}")


def _here(path: Path) -> str:
    return str(path.relative_to(Path.cwd())) if path.is_relative_to(Path.cwd()) else str(path)
