"""Prints what llvm-cov counted, a row for each source, and fails where that is less than it has to be.

    table.py <export of llvm-cov> <exceptions> [--lines] [--mcdc]

A template counts once, by the best of what it was made into, as llvm-cov has it. The exceptions are lines that no test
can run, each under the reason: `<file>: <text of the line>`. An exception that is run, or is no line of the file, is an
error, so that the list stays true.
"""

import argparse
import collections
import json
import pathlib
import sys

sys.path.append(str(pathlib.Path(__file__).parents[1] / "support"))
from figures import tell

LEAST_BRANCHES = 98.0
MOST_EXCEPTIONS = 10


def read_exceptions(path):
    """The lines of the list, as pairs of file and text."""
    exceptions = []
    for line in path.read_text().splitlines():
        if line and not line.startswith("#"):
            file, _, text = line.partition(": ")
            exceptions.append((file, text.strip()))
    return exceptions


def counted_lines(file):
    """How often each line was run, as llvm-cov shows it: by the regions that lie on it, or begin before and reach it."""
    counts = {}
    by_line = collections.defaultdict(list)
    for line, column, count, has_count, is_entry, is_gap in file["segments"]:
        by_line[line].append((count, has_count, is_entry, is_gap))
    wrapped = None
    last = max(by_line, default=0)
    for line in range(min(by_line, default=1), last + 1):
        segments = by_line.get(line, [])
        starts = [s for s in segments if s[1] and s[2] and not s[3]]
        begins_skipped = bool(segments) and not segments[0][1] and segments[0][2]
        mapped = not begins_skipped and ((wrapped is not None and wrapped[1]) or bool(starts))
        if mapped:
            count = wrapped[0] if wrapped is not None and wrapped[1] else 0
            for start in starts:
                count = max(count, start[0])
            counts[line] = count
        if segments:
            wrapped = segments[-1]
    return counts


def one_way_branches(file):
    """The branches that were never taken one of their ways, in whatever a template was made into."""
    ways = collections.defaultdict(lambda: [0, 0])
    for line, column, last_line, last_column, taken, passed, *_ in file["branches"]:
        ways[line, column, last_line, last_column][0] += taken
        ways[line, column, last_line, last_column][1] += passed
    for place, (taken, passed) in sorted(ways.items()):
        if (taken == 0) != (passed == 0):
            yield place, "false" if taken == 0 else "true"


def percent(part, whole):
    return "%.2f" % (100 * part / whole if whole else 100)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("export", type=pathlib.Path)
    parser.add_argument("exceptions", type=pathlib.Path)
    parser.add_argument("--lines", action="store_true")
    parser.add_argument("--mcdc", action="store_true")
    arguments = parser.parse_args()

    root = pathlib.Path.cwd()
    export = json.loads(arguments.export.read_text())["data"][0]
    exceptions = read_exceptions(arguments.exceptions)
    unused = list(exceptions)
    kinds = ["lines", "functions", "branches"] + (["mcdc"] if arguments.mcdc else [])
    sums = {kind: [0, 0] for kind in kinds}
    excepted = 0
    wrong = []

    print(f"{'':40}" + "".join(f"{kind:>22}" for kind in kinds))
    for file in sorted(export["files"], key=lambda file: file["filename"]):
        name = str(pathlib.Path(file["filename"]).relative_to(root))
        source = pathlib.Path(file["filename"]).read_text().splitlines()
        for line, count in counted_lines(file).items():
            if count > 0:
                continue
            text = source[line - 1].strip()
            if (name, text) in unused:
                unused.remove((name, text))
                excepted += 1
            else:
                wrong.append(f"{name}:{line} is not run: {text}")
        row = f"{name:40}"
        for kind in kinds:
            covered, count = file["summary"][kind]["covered"], file["summary"][kind]["count"]
            sums[kind][0] += covered
            sums[kind][1] += count
            row += f"{covered:>7} of {count:>4}{percent(covered, count):>8}"
        print(row)
        if arguments.lines:
            for (line, column, last_line, last_column), way in one_way_branches(file):
                text = source[line - 1][column - 1 : last_column - 1 if last_line == line else None]
                print(f"    {name}:{line} is always {way}: {text}")

    print(f"{'all':40}" + "".join(f"{c:>7} of {n:>4}{percent(c, n):>8}" for c, n in sums.values()))
    print()
    for kind in kinds[3:]:
        print(f"conditions shown to decide: {percent(*sums[kind])} %")

    covered, count = sums["lines"]
    tell(f"lines of qor/ that are run, in percent, {excepted} exceptions apart", percent(covered + excepted, count), 100)
    tell("functions of qor/ that are run, in percent", percent(*sums["functions"]), 100)
    tell("branches of qor/ that are taken both ways, in percent", percent(*sums["branches"]), LEAST_BRANCHES)
    if covered + excepted < count and not wrong:
        wrong.append(f"{count - covered - excepted} lines are not run in any one instance of their template")
    if sums["functions"][0] < sums["functions"][1]:
        wrong.append("Not all functions are run")
    if 100 * sums["branches"][0] < LEAST_BRANCHES * sums["branches"][1]:
        wrong.append("Too few branches are taken both ways: scripts/coverage --lines names them")
    wrong += [f"{arguments.exceptions}: no such line, or it is run: {file}: {text}" for file, text in unused]
    if len(exceptions) > MOST_EXCEPTIONS:
        wrong.append(f"{arguments.exceptions}: more than {MOST_EXCEPTIONS} lines")
    print("\n".join(wrong), file=sys.stderr, end="\n" if wrong else "")
    return 1 if wrong else 0


if __name__ == "__main__":
    sys.exit(main())
