# SPDX-FileCopyrightText: 2026 the owner of libVantorelSystem
# SPDX-License-Identifier: LicenseRef-Vantorel
"""Checks the samples of a life for growing resources; used by `soak`."""

NAMES = ("rss", "anonymous", "data", "descriptors", "threads", "mounts", "processes", "ticks",
         "slab")
COUNTS = ("descriptors", "threads", "mounts", "processes")
FLUCTUATING = ("mounts",)  # each check for an archive unmounts the drive for a moment
GROWTH_LIMIT = 128  # KiB of anonymous memory, from the first to the last quarter of a life
SLOPE_LIMIT = 100  # KiB per hour, in a life that is long enough for a slope
SLOPE_NEEDS = 1200  # seconds
WARM_UP = 0.2  # of a life


def slope(samples: list, name: str) -> float:
    """The slope by least squares, per hour."""
    times = [sample["seconds"] / 3600 for sample in samples]
    values = [sample[name] for sample in samples]
    middle, mean = sum(times) / len(times), sum(values) / len(values)
    spread = sum((at - middle) ** 2 for at in times)
    return sum((at - middle) * (value - mean) for at, value in zip(times, values)) / (spread or 1)


def judge(title: str, samples: list) -> list:
    """Prints the table of a life in one mode; returns a complaint for each growth."""
    begin, end = samples[0]["seconds"], samples[-1]["seconds"]
    warm = [sample for sample in samples if sample["seconds"] >= begin + WARM_UP * (end - begin)]
    rests = [sample for sample in samples if sample["rest"]]
    quarter = max(1, len(warm) // 4)
    print(f"\n{title}: {end - begin:.0f} s, {len(samples)} samples, {len(rests)} of them at rest")
    print(f"{'':13}{'first':>9}{'last':>9}{'least':>9}{'most':>9}{'per hour':>10}  at rest")
    complaints = []
    for name in NAMES:
        if name == "ticks":
            continue
        first, last = (sum(sample[name] for sample in part) / len(part)
                       for part in (warm[:quarter], warm[-quarter:]))
        values = [sample[name] for sample in warm]
        quiet = sorted({sample[name] for sample in rests})
        shown = " ".join(map(str, quiet)) if name in COUNTS else ""
        print(f"{name:13}{first:9.1f}{last:9.1f}{min(values):9}{max(values):9}"
              f"{slope(warm, name):10.1f}  {shown}")
        course = [sample[name] for sample in rests]
        early, late = course[:(len(course) + 1) // 2], course[len(course) // 2:]
        grows = [min(late) > min(early), max(late) > max(early)]
        if name in COUNTS and (all(grows) if name in FLUCTUATING else any(grows)):
            complaints.append(f"{title}: {name} at rest: {' '.join(map(str, course))}")
        if name == "anonymous":
            if last - first > GROWTH_LIMIT:
                complaints.append(f"{title}: anonymous memory grew by {last - first:.0f} KiB")
            if end - begin > SLOPE_NEEDS and slope(warm, name) > SLOPE_LIMIT:
                complaints.append(f"{title}: anonymous memory grows by "
                                  f"{slope(warm, name):.0f} KiB an hour")
    if end > begin:
        ticks = samples[-1]["ticks"] - samples[0]["ticks"]
        print(f"processor: {ticks / (end - begin):.1f} %")
    return complaints
