# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""The figures, their targets, and the table that shows them."""

from dataclasses import asdict, dataclass


@dataclass
class Row:
    """One figure. `limit` applies to the ratio to the baseline or, without one, to the figure."""

    figure: str
    ours: float
    unit: str
    baseline: float | None = None
    against: str = ""
    limit: float | None = None
    at_least: bool = False  # the limit is a minimum instead of a maximum
    note: str = ""
    paired: float | None = None  # the ratio, if each run was compared with the adjacent run

    @property
    def ratio(self):
        if self.paired is not None:
            return self.paired
        return self.ours / self.baseline if self.baseline else None

    @property
    def verdict(self) -> str:
        if self.limit is None:
            return "-"
        value = self.ratio if self.baseline else self.ours
        met = value >= self.limit if self.at_least else value <= self.limit
        return "met" if met else "MISSED"

    def cells(self) -> list:
        target = ""
        if self.limit is not None:
            sign = ">=" if self.at_least else "<="
            target = f"{sign} {self.limit:g}" + (" x" if self.baseline else f" {self.unit}")
        baseline = f"{number(self.baseline)} {self.against}" if self.baseline else self.against
        return [self.figure, f"{number(self.ours)} {self.unit}", baseline,
                f"{self.ratio:.3f}" if self.baseline else "", target, self.verdict, self.note]

    def record(self) -> dict:
        return asdict(self) | {"ratio": self.ratio, "verdict": self.verdict}


HEADINGS = ["figure", "ours", "baseline, same run", "ratio", "target", "verdict", "note"]


def number(value: float) -> str:
    return f"{value:.0f}" if value >= 1000 or value == int(value) else f"{value:.3g}"


def show(rows: list):
    table = [HEADINGS] + [row.cells() for row in rows]
    widths = [max(len(line[column]) for line in table) for column in range(len(HEADINGS))]
    for index, line in enumerate(table):
        print(f"| {' | '.join(cell.ljust(width) for cell, width in zip(line, widths))} |")
        if index == 0:
            print("|" + "|".join("-" * (width + 2) for width in widths) + "|")
