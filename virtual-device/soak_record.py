# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""What a soak has done so far, kept in its work folder so that a later run can continue it."""

import collections
import csv
import json
import os
import subprocess
from pathlib import Path

from machine import Failure
from soak_verdict import NAMES

FIELDS = ("seconds", "life", "mode", "rest", "events") + NAMES


def _commit() -> str:
    done = subprocess.run(["git", "describe", "--always", "--dirty"], capture_output=True,
                          text=True, cwd=Path(__file__).parent)
    return done.stdout.strip() or "unknown"


class Record:
    def __init__(self, folder: Path, table: Path, resume: bool, seed: int, minutes: float):
        self._path = folder / "soak.json"
        self.seed, self.minutes = seed, minutes
        self.lives = 0  # that have ended as expected
        self.seconds = 0.0  # at the end of the latest of them
        self.counted = collections.Counter()  # events
        self.failures = []
        self.slots = {}
        self._earlier = []  # pieces of earlier runs
        self.samples = []  # dictionaries
        if resume:
            self._load(table)
        self._commit = _commit()
        self._first = self.lives
        # Beside the old table, which a full disk must not cost.
        made = table.with_name(f"{table.name}.new")
        self._file = open(made, "w", newline="", encoding="utf-8")
        self._table = csv.DictWriter(self._file, FIELDS)
        self._table.writeheader()
        self._table.writerows(self.samples)
        self._file.flush()
        os.replace(made, table)

    def _load(self, table: Path):
        """Without the samples of a life that was not finished: it is repeated."""
        try:
            kept = json.loads(self._path.read_text(encoding="utf-8"))
            with open(table, newline="", encoding="utf-8") as file:
                rows = list(csv.DictReader(file))
            count = kept.pop("samples")
            if len(rows) < count:
                raise Failure(f"{table} has {len(rows)} of the {count} samples of this soak")
            self.samples = [row | {"seconds": float(row["seconds"])} |
                            {name: int(row[name]) for name in FIELDS[3:]} for row in rows[:count]]
            self.slots = {int(slot): name for slot, name in kept.pop("slots").items()}
            self.counted.update(kept.pop("counted"))
            self._earlier = kept.pop("pieces")
            for name in ("seed", "minutes", "lives", "seconds", "failures"):
                setattr(self, name, kept[name])
        except (OSError, ValueError, KeyError, TypeError) as error:
            raise Failure(f"no soak to resume in {self._path.parent}: {error!r}") from None

    @property
    def pieces(self) -> list:
        """Describes each run that has contributed lives."""
        own = self.lives - self._first
        return self._earlier + ([f"{own} lives at {self._commit}"] if own else [])

    def add(self, sample: dict):
        self.samples.append(sample)
        self._table.writerow(sample)
        self._file.flush()

    def finish_life(self, seconds: float):
        self.lives += 1
        self.seconds = seconds
        text = json.dumps({
            "seed": self.seed, "minutes": self.minutes, "lives": self.lives, "seconds": seconds,
            "counted": self.counted, "failures": self.failures, "slots": self.slots,
            "pieces": self.pieces, "samples": len(self.samples)}, indent=1)
        made = self._path.with_suffix(".new")
        made.write_text(text, encoding="utf-8")
        os.replace(made, self._path)
