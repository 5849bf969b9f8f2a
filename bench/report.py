#!/usr/bin/env python3
"""Prints what benchmarks found: for each job, the time of qor as a multiple of the limit's, the aim, and the peers.

    bench/report.py [--time cpu|real] FILE.json...

The files are those of Google Benchmark (--benchmark_out), with one run to a repetition. A time is the median of the
repetitions; "noise" is how far the ratio would move if qor and the limit each stood at the edge of the middle half of
their repetitions. Compressed blocks have files and tables of their own (block_report.py).
"""
import argparse
import json
import statistics

import block_report

LIMIT = "limit"
OURS = "qor"

# Where the times of a run of block jobs stand.
BLOCK_CLOCKS = {"cpu": 0, "real": 1}


def load(path):
    with open(path, encoding="utf-8") as file:
        return json.load(file)


def read_jobs(results, clock):
    """Of each job, in the order of the results: {way: [nanoseconds of one item, for each run]}, and its aim."""
    jobs = {}
    for result in results:
        for run in sorted(result.get("benchmarks", []), key=lambda run: run["family_index"]):
            if run["run_type"] != "iteration" or run.get("error_occurred"):
                continue
            job, way = run["name"].split("/", 1)
            scale = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}[run["time_unit"]]
            ways = jobs.setdefault(job, {"aim": run["aim"], "times": {}})["times"]
            ways.setdefault(way, []).append(run[clock + "_time"] * scale / run["items"])
    return jobs


def spread(times):
    """Half the width of the middle half of the times, as a part of their median."""
    if len(times) < 2:
        return 0
    low, median, high = statistics.quantiles(times, n=4, method="inclusive")
    return (high - low) / 2 / median


def time_text(nanoseconds):
    for unit, size in (("s", 1e9), ("ms", 1e6), ("us", 1e3)):
        if nanoseconds >= size:
            return f"{nanoseconds / size:.3g} {unit}"
    return f"{nanoseconds:.3g} ns"


def rows_of(name, job):
    """A row for each of our ways of doing the job; the first names the job and its peers."""
    times = job["times"]
    if LIMIT not in times:
        return
    limit = statistics.median(times[LIMIT])
    ratios = {way: statistics.median(runs) / limit for way, runs in times.items() if way != LIMIT}
    ours = [way for way in ratios if way.startswith(OURS)]
    peers = sorted((ratio, way) for way, ratio in ratios.items() if way not in ours)
    peers_text = ", ".join(f"{way} {ratio:.3g}" for ratio, way in peers)
    for way in ours:
        noise = spread(times[way]) + spread(times[LIMIT])
        verdict = "" if ratios[way] <= job["aim"] else "over"
        yield (name, way, time_text(ratios[way] * limit), time_text(limit), f"{ratios[way]:.2f}",
               f"{job['aim']:.2f}", verdict, f"{noise:.0%}", peers_text)
        name = peers_text = ""


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--time", choices=("cpu", "real"), default="real", help="which of the two times (real)")
    parser.add_argument("files", nargs="+", metavar="FILE.json")
    arguments = parser.parse_args()

    results = [load(path) for path in arguments.files]
    for result in results:
        block_report.print_blocks(result.get("block_jobs", []), BLOCK_CLOCKS[arguments.time])

    head = ("job (time of one)", "way", "time", "limit", "ratio", "aim", "", "noise", "peers, as ratios to the limit")
    table = [head]
    for name, job in read_jobs(results, arguments.time).items():
        table.extend(rows_of(name, job))
    if len(table) == 1:
        return
    widths = [max(len(row[column]) for row in table) for column in range(len(head))]
    for row in table:
        print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())


if __name__ == "__main__":
    main()
