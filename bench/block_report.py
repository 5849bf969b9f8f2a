"""The tables of compressed blocks: kind by kind and file by file, qor beside the public implementation of its format.

All quotients are above 1 where qor is better: how much smaller its payloads are, how many times faster it stores and
restores. A time is the best of its repetitions; "noise" is how far the middle one lies above that, for qor or for what
it is measured against, whichever is more.
"""
import math
import statistics

# By kind: quotients in ratio, storing and restoring, as the geometric mean over the files. Below "accept" something is
# wrong; "goal" is what plain code of this kind can reach.
AIMS = {
    "Lz4": {"accept": (1.00, 1.00, 1.30), "goal": (1.05, 1.00, 1.45)},
    "Zlib": {"accept": (0.99, 0.75, 0.90), "goal": (1.00, 1.00, 1.00)},
    "Zstd": {"accept": (0.98, 0.80, 0.82), "goal": (1.00, 1.00, 0.95)},
}

# What no file falls below, if it is large enough to be measured well.
FLOORS = {"Lz4": (0.93, 0.6, 0.8), "Zlib": (0.98, 0.6, 0.8), "Zstd": (0.93, 0.6, 0.8)}
FLOOR_SIZE = 64 * 1024

SMALL_BLOCKS = "small blocks"
SMALL_BLOCK_AIM = 1.5  # the time of one, as a multiple
BASE64 = "Base64"
BASE64_AIM = 0.9


def best(runs, clock):
    return min(run[clock] for run in runs)


def noise(ways, direction, clock):
    def above(way):
        return statistics.median(run[clock] for run in way[direction]) / best(way[direction], clock) - 1
    return max(above(way) for way in ways[:2])


def quotients(way, anchor, clock):
    """Of one job: payload, storing, restoring."""
    return (anchor["payload"] / way["payload"],
            best(anchor["store"], clock) / best(way["store"], clock),
            best(anchor["restore"], clock) / best(way["restore"], clock))


def geometric_means(rows):
    return tuple(math.exp(statistics.fmean(map(math.log, column))) for column in zip(*rows))


def print_table(head, rows):
    table = [head, *rows]
    widths = [max(len(row[column]) for row in table) for column in range(len(head))]
    for row in table:
        first, *rest = (cell.ljust(width) if column in (0, len(head) - 1) else cell.rjust(width)
                        for column, (cell, width) in enumerate(zip(row, widths)))
        print("  ".join((first, *rest)).rstrip())
    print()


def texts(values):
    return tuple(f"{value:.3f}" for value in values)


def short(values, limits):
    """Which of ratio, storing and restoring are below their limits, in words."""
    names = ("ratio", "store", "restore")
    return ", ".join(name for name, value, limit in zip(names, values, limits) if value < limit)


def print_kind(kind, jobs, clock):
    anchor_name = jobs[0]["ways"][1]["name"]
    head = (f"{kind} against {anchor_name}", "bytes", "ratio", "theirs", "store MB/s", "theirs", "restore MB/s",
            "theirs", "q.ratio", "q.store", "q.restore", "noise", "below the floor")
    rows, means = [], []
    for job in jobs:
        ways = job["ways"]
        ours, anchor = ways[:2]
        figures = quotients(ours, anchor, clock)
        means.append(figures)
        speeds = [f"{job['size'] * 1e3 / best(way[direction], clock):.0f}"
                  for direction in ("store", "restore") for way in (ours, anchor)]
        disturbed = max(noise(ways, "store", clock), noise(ways, "restore", clock))
        rows.append((job["name"], str(job["size"]), f"{job['size'] / ours['payload']:.3f}",
                     f"{job['size'] / anchor['payload']:.3f}", *speeds, *texts(figures), f"{disturbed:.0%}",
                     short(figures, FLOORS[kind]) if job["size"] >= FLOOR_SIZE else ""))
    mean = geometric_means(means)
    blank = ("",) * 7
    rows.append(("geometric mean", *blank, *texts(mean), "", ""))
    for name, aim in AIMS[kind].items():
        below = short(mean, aim)
        rows.append((name, *blank, *texts(aim), "", f"short in {below}" if below else "reached"))
    print_table(head, rows)

    # What each further way would have in the same table.
    for index, way in enumerate(jobs[0]["ways"][2:], 2):
        mean = geometric_means([quotients(job["ways"][index], job["ways"][1], clock) for job in jobs])
        print(f"{way['name']}: " + " / ".join(texts(mean)))
    print()


def print_small_blocks(jobs, clock):
    rows = []
    for job in jobs:
        ours, anchor = job["ways"][:2]
        for direction in ("store", "restore"):
            times = [best(way[direction], clock) / job["blocks"] for way in (ours, anchor)]
            ratio = times[0] / times[1]
            rows.append((job["name"], direction, f"{times[0]:.0f}", anchor["name"], f"{times[1]:.0f}", f"{ratio:.2f}",
                         f"{SMALL_BLOCK_AIM:.2f}", f"{noise(job['ways'], direction, clock):.0%}",
                         "over" if ratio > SMALL_BLOCK_AIM else "", f"{anchor['payload'] / ours['payload']:.3f}"))
    print_table(("small blocks", "", "ns", "against", "ns", "times", "aim", "noise", "", "q.ratio"), rows)


def print_base64(jobs, clock):
    rows = []
    for job in jobs:
        ours, anchor = job["ways"][:2]
        for direction in ("store", "restore"):
            speeds = [job["size"] * 1e3 / best(way[direction], clock) for way in (ours, anchor)]
            quotient = speeds[0] / speeds[1]
            rows.append((direction, f"{speeds[0]:.0f}", f"{speeds[1]:.0f}", f"{quotient:.2f}", f"{BASE64_AIM:.2f}",
                         f"{noise(job['ways'], direction, clock):.0%}", "short" if quotient < BASE64_AIM else ""))
    print_table(("Base64", "MB/s", "four tables", "quotient", "aim", "noise", ""), rows)


def print_blocks(jobs, clock):
    groups = {}
    for job in jobs:
        groups.setdefault(job["group"], []).append(job)
    for group, members in groups.items():
        if group == SMALL_BLOCKS:
            print_small_blocks(members, clock)
        elif group == BASE64:
            print_base64(members, clock)
        else:
            print_kind(group, members, clock)
