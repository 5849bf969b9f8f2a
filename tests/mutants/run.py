"""Samples mutants of the library, builds one copy with all of them, and lets the tests look for each: scripts/mutants.

Which tests reach which mutants is noted first, in a run of the library as it is. Then each mutant meets those tests
alone, the quickest first, until one fails. A test has failed too where it crashes, or takes far more time or memory
than it should. Tests of more than a second are left out. What is left then has no effect that a test could notice where
the compiler, optimising, makes the same code of it and of the library as it is: such a mutant is none, and not counted.
Of the others, some do the same as the library by other code. Those are listed with a reason, and it is told what part
of the rest was noticed; what has to be noticed is a part of all.

A thorough run has the large checks among its tests, each in its short form, and lets what they do not notice meet the
tests of less than a second once more, under the address sanitizer.

All that is written lies in build/mutants:

    copy        the project as it is, but for qor/, which holds the mutants
    tests       the build of that
    sanitized   the same with the address sanitizer
    notes       which test reaches which mutants, a file to a program
    report      for each mutant, the test that noticed it
    last        what `--number` needs to know about the last run
"""

import argparse
import collections
import concurrent.futures
import contextlib
import fnmatch
import functools
import hashlib
import os
import pathlib
import pickle
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time

from clang import cindex

import mutate

sys.path.append(str(pathlib.Path(__file__).parents[1] / "support"))
from figures import tell

ROOT = pathlib.Path.cwd()
BUILD = ROOT / "build/mutants"
COPY = BUILD / "copy"
TESTS = BUILD / "tests"
SANITIZED = BUILD / "sanitized"
NOTES = BUILD / "notes"
TEMPORARY = BUILD / "tmp"
EQUIVALENT = ROOT / "tests/mutants/equivalent"
SURVIVORS = ROOT / "tests/mutants/survivors"

# Programs that read and write nothing but their own folder of temporary files: a mutant may well write to a file that
# it was to read.
PROGRAMS = [
    "data/data_test",
    "core/core_test",
    "core/encoded_test",
    "core/string_memory_test",
    "core/codec/codec_shared_test",
    "core/codec/lz4_test",
    "core/codec/lz4_memory_test",
    "core/codec/zlib_test",
    "core/codec/zlib_memory_test",
    "core/codec/zstd_test",
    "core/codec/zstd_memory_test",
    "core/compression_memory_test",
    "file/file_test",
    "file/hostile_test",
    "faults/faults_test",
    "memory/unmeasured_file_test",
]
LARGE_PROGRAMS = ["memory/refused_memory_test", "faults/sweep_test"]  # of a thorough run
LONGEST = 1000  # milliseconds of a test
LONGEST_OF_ALL = 60_000  # in a thorough run
QUICK = 20  # milliseconds; tests below meet a mutant before the others do
SEED = 1

# What a program of tests may take from the machine, whatever its mutant does, and the tests that need more: they are
# slow, or make files that are larger.
LIMITS = ["--fsize=1073741824", "--core=0"]
LIMITS_OF = {TESTS: ["--as=2147483648"], SANITIZED: []}
# Memory that is used before it is set holds junk, and large checks are short.
ENVIRONMENT = {
    "MALLOC_PERTURB_": "165",
    "ASAN_OPTIONS": "allocator_may_return_null=1:hard_rss_limit_mb=4096",
    "QOR_BRIEF": "1",
}
LEFT_OUT = [
    "*ArraysInTheThirdModeOnADevice",
    "*ALargeTextArray",
    "*ALargeArrayFromABinaryFile",
    "*AnArrayOfAFileThatShrinks",
    "*OffsetsHaveSixtyFourBits",
    "LargeFile.*",
    "*SparseTebibyte*",
    "*OfATebibyte*",
    "*WhosePayloadNoMemoryHolds*",
]


# ---- Finding and writing them ----------------------------------------------------------------------------------------


def parse(root, name):
    flags = ["-std=c++20", f"-I{root}", "-w", "-Wno-c++11-narrowing", "-ferror-limit=0"]
    if root == COPY:
        flags += ["-include", str(ROOT / "tests/mutants/mutant.h")]
    return cindex.Index.create().parse(str(root / name), args=flags)


def library(pattern="*"):
    """The names of the library's sources that fit a pattern, from the root on."""
    return sorted(str(path.relative_to(ROOT)) for path in ROOT.glob(f"qor/**/{pattern}") if path.is_file())


def mutants_of(name):
    """All mutants that are seen from one source: its own and those of the headers that it includes."""
    sources = {name: mutate.Source(ROOT, name) for name in library()}
    mutate.Finder(ROOT, sources).walk(parse(ROOT, name))
    return {(file, key): m for file, source in sources.items() for key, m in source.mutants.items()}


def of_each_source(function):
    """What a function gives for each source of the library, all processors at work."""
    with concurrent.futures.ProcessPoolExecutor() as pool:
        return list(pool.map(function, library("*.cpp")))


def all_mutants():
    """A list for each file, in the order of the source."""
    found = {}
    for part in of_each_source(mutants_of):
        for key, mutant in part.items():
            found.setdefault(key, mutant)
    by_file = collections.defaultdict(list)
    for mutant in found.values():
        by_file[mutant.file].append(mutant)
    for mutants in by_file.values():
        mutants.sort(key=lambda m: (m.place, m.what))
    return by_file


def in_random_order(mutants):
    """An order in which each mutant has its place by what it is, so that other lines may change around it."""
    seen = collections.Counter()
    ordered = []
    for mutant in mutants:
        seen[str(mutant)] += 1
        key = f"{SEED} {mutant} {seen[str(mutant)]}"
        ordered.append((hashlib.sha256(key.encode()).digest(), mutant))
    return [mutant for _, mutant in sorted(ordered, key=lambda item: item[0])]


class Sample:
    """As many mutants of each file as are its share, by a fixed seed. What does not compile gives way to the next."""

    def __init__(self, by_file, count):
        whole = sum(len(mutants) for mutants in by_file.values())
        self.rest = {}
        self.chosen = {}
        self.number = 0
        shares = {file: count * len(mutants) / whole for file, mutants in by_file.items()}
        extra = min(count, whole) - sum(int(share) for share in shares.values())
        largest_rests = sorted(shares, key=lambda file: (int(shares[file]) - shares[file], file))[: max(extra, 0)]
        for file, mutants in sorted(by_file.items()):
            mutants = in_random_order(mutants)
            share = min(int(shares[file]) + (file in largest_rests), len(mutants))
            self.rest[file] = mutants[share:]
            self.chosen[file] = []
            for mutant in mutants[:share]:
                self._choose(mutant)

    def _choose(self, mutant):
        self.number += 1
        mutant.number = self.number
        self.chosen[mutant.file].append(mutant)

    def replace(self, mutants):
        for mutant in mutants:
            self.chosen[mutant.file].remove(mutant)
            if self.rest[mutant.file]:
                self._choose(self.rest[mutant.file].pop(0))

    def all(self):
        return [mutant for mutants in self.chosen.values() for mutant in mutants]


def write_copy(chosen):
    """Writes the sources that differ from what is there, so that the build knows what to do. Gives all of them."""
    copies = {}
    for name in library():
        copies[name] = mutate.Copy(mutate.Source(ROOT, name), chosen.get(name, []))
        target = COPY / name
        text = copies[name].text.encode("latin-1")
        if not target.exists() or target.read_bytes() != text:
            target.parent.mkdir(parents=True, exist_ok=True)
            target.write_bytes(text)
    for path in COPY.glob("qor/**/*.*"):
        if str(path.relative_to(COPY)) not in copies:
            path.unlink()
    for path in ROOT.iterdir():
        link = COPY / path.name
        if path.name not in ("qor", "build", "out") and not path.name.startswith(".git") and not link.exists():
            link.symlink_to(path)
    return copies


def errors_of(name):
    """The errors in a source of the copy. Each is the places that it names, pairs of file and offset."""
    unit = parse(COPY, name)  # which the diagnostics are part of
    errors = [error for error in unit.diagnostics if error.severity >= cindex.Diagnostic.Error]
    return [list(filter(None, map(place_of, [error, *error.children]))) for error in errors]


def place_of(diagnostic):
    file = diagnostic.location.file and pathlib.Path(diagnostic.location.file.name)
    if file and file.is_relative_to(COPY / "qor"):
        return str(file.relative_to(COPY)), diagnostic.location.offset
    return None


def errors_of_build(log, copies):
    """The same out of what the compiler said, where templates do not compile for what the tests make of them."""
    errors = []
    for what in ("(?:fatal )?error:", "note: in inst"):
        for name, line, column in re.findall(rf"{COPY}/(qor/\S+?):(\d+):(\d+): {what}", log):
            lines = copies[name].text.splitlines(keepends=True)
            errors.append([(name, sum(map(len, lines[: int(line) - 1])) + int(column) - 1)])
        if errors:
            break
    return errors


def blamed(errors, copies):
    """The mutants that stand where the errors are: for each those at the first of its places that has any."""
    mutants = set()
    for places in errors:
        mutants |= next(filter(None, (copies[name].mutants_at(offset) for name, offset in places)), set())
    return sorted(mutants, key=lambda mutant: mutant.number)


def compile_tests(folder, programs, *options):
    """Builds the programs out of the copy. Whether that worked, and what the compiler said."""
    configure = ["cmake", "--preset", "mutants", "-S", str(COPY), "-B", str(folder), "--log-level=WARNING", *options]
    subprocess.run(configure, check=True, stdout=subprocess.DEVNULL, cwd=COPY)
    targets = [program.rsplit("/", 1)[-1] for program in programs]
    done = subprocess.run(
        ["cmake", "--build", str(folder), "--target", *targets, "--", "--quiet", "-k", "0"],
        capture_output=True,
        text=True,
    )
    return done.returncode == 0, done.stdout


def build(sample, programs):
    """Builds the programs, without the mutants that cannot be compiled."""
    while True:
        copies = write_copy(sample.chosen)
        left_out = sorted(set().union(*(copy.left_out for copy in copies.values())), key=lambda m: m.number)
        if left_out:
            sample.replace(left_out)
            continue
        errors = [error for part in of_each_source(errors_of) for error in part]
        log = ""
        if not errors:
            done, log = compile_tests(TESTS, programs)
            if done:
                return
            errors = errors_of_build(log, copies)
        guilty = blamed(errors, copies)
        if not guilty:
            raise SystemExit(f"{errors or log[-4000:]}\nThis does not compile, and no mutant is to blame.")
        sample.replace(guilty)


@functools.cache
def compiled(name, number):
    """The library's code of a source when it is that mutant, or with 0, as it is."""
    flags = ["-std=c++20", "-O2", "-DNDEBUG", f"-I{COPY}", "-w", "-Wno-c++11-narrowing"]
    mutant = ["-include", str(ROOT / "tests/mutants/mutant.h"), f"-DQOR_MUTANT={number}"]
    code = TEMPORARY / f"{os.getpid()}.o"
    subprocess.run(["clang++-14", *flags, *mutant, "-c", str(COPY / name), "-o", str(code)], check=True)
    return code.read_bytes()


def is_same_code(mutant):
    """Of a header it cannot be told, since its code is also that of the sources which include it."""
    return mutant.file.endswith(".cpp") and compiled(mutant.file, mutant.number) == compiled(mutant.file, 0)


# ---- Running the tests -----------------------------------------------------------------------------------------------


@contextlib.contextmanager
def temporary_folder():
    """A folder for the files of one run, and no longer."""
    folder = tempfile.mkdtemp(dir=TEMPORARY)
    try:
        yield folder
    finally:
        shutil.rmtree(folder, ignore_errors=True)


def run(build, program, tests, seconds, variables):
    """Runs tests of a program. Whether they pass within that much time of the processor, and what they print."""
    program = [str(build / "tests" / program), "--gtest_brief=1", "--gtest_fail_fast", f"--gtest_filter={tests}"]
    time_limit = f"--cpu={int(seconds) + 1}:{int(seconds) + 2}"
    command = ["prlimit", *LIMITS, *LIMITS_OF[build], time_limit, *program]
    with temporary_folder() as folder:
        process = subprocess.Popen(
            command,
            cwd=folder,
            env={**os.environ, **ENVIRONMENT, "TMPDIR": folder, **variables},
            start_new_session=True,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.STDOUT,
        )
        try:
            output, _ = process.communicate(timeout=60 + 20 * seconds)  # it may wait for what does not use time
        except subprocess.TimeoutExpired:
            output = b""
        finally:
            with contextlib.suppress(ProcessLookupError):
                os.killpg(process.pid, signal.SIGKILL)
            process.wait()
    return process.returncode == 0, output.decode(errors="replace")


def note_reached(programs, longest, threads):
    """Runs all tests once. For each mutant the tests that reach it: by program, pairs of milliseconds and test."""

    def note(program):
        notes = NOTES / program.replace("/", ".")
        run_all(TESTS, program, {"QOR_MUTANT": "-1", "QOR_REACHED": str(notes)})
        return program, notes

    shutil.rmtree(NOTES, ignore_errors=True)
    NOTES.mkdir(parents=True)
    reached = {}
    for program, notes in threads.map(note, reversed(programs)):
        for line in notes.read_text().splitlines():
            test, milliseconds, *numbers = line.split()
            if float(milliseconds) > longest:
                continue
            for number in map(int, numbers):
                reached.setdefault(number, {}).setdefault(program, []).append((float(milliseconds), test))
    return reached


def run_all(build, program, variables):
    passed, output = run(build, program, f"-{':'.join(LEFT_OUT)}", 300, variables)
    if not passed:
        raise SystemExit(f"{output[-3000:]}\n{program} fails without any mutant.")


def shorter(reached, longest):
    """What is reached by the tests that take no longer than that."""
    return {
        number: {program: [test for test in tests if test[0] <= longest] for program, tests in programs.items()}
        for number, programs in reached.items()
    }


def time_of(tests):
    return sum(milliseconds for milliseconds, _ in tests) / 1000


def meet(mutant, reached, build=TESTS):
    """The mutant before the tests that reach it. What noticed it, or an empty text."""
    patience = 4 if build == TESTS else 12
    groups = []
    for program, tests in reached.get(mutant.number, {}).items():
        groups.append((program, [test for test in tests if test[0] < QUICK]))
        groups.append((program, [test for test in tests if test[0] >= QUICK]))
    for program, tests in sorted(filter(lambda group: group[1], groups), key=lambda group: time_of(group[1])):
        names = ":".join(name for _, name in tests)
        seconds = 2 + patience * time_of(tests)
        passed, output = run(build, program, names, seconds, {"QOR_MUTANT": str(mutant.number)})
        if not passed:
            failed = re.search(r"\[  FAILED  \] ([^\s,]+)", output)
            return failed[1] if failed else f"{program}, which crashed or took too much"
    return ""


def meet_all(chosen, reached, threads, build=TESTS):
    """For each mutant's number, what noticed it. Those that take longest first, so that all end together."""
    order = sorted(chosen, key=lambda m: -sum(map(time_of, reached.get(m.number, {}).values())))
    noticed = {}
    with open(BUILD / "report", "a") as report:
        for m, test in zip(order, threads.map(lambda m: meet(m, reached, build), order)):
            noticed[m.number] = test
            print(f"{m.number} {m} -> {test}", file=report, flush=True)
    return noticed


# ---- Telling ---------------------------------------------------------------------------------------------------------


class Clock:
    """Tells after each part of the work how long it took: on the wall, and of all processors."""

    def __init__(self):
        self.last = self._now()

    @staticmethod
    def _now():
        times = os.times()
        return time.monotonic(), times.user + times.system + times.children_user + times.children_system

    def tell(self, what):
        now = self._now()
        wall, processor = (after - before for before, after in zip(self.last, now))
        print(f"{what}: {wall:.0f} s, of the processors {processor:.0f} s", flush=True)
        self.last = now


def listed(path):
    """The mutants that a list gives a reason for."""
    return {line for line in path.read_text().splitlines() if line and not line.startswith("#")}


def show(number):
    chosen, reached = pickle.loads((BUILD / "last").read_bytes())
    mutant = next(m for m in chosen if m.number == number)
    print(f"line {mutant.line} of {mutant}")
    for program, tests in reached.get(number, {}).items():
        print(f"  {program}: {len(tests)} tests, {time_of(tests):.2f} s")
    print("noticed by", meet(mutant, reached) or "no test")


def tell_all(chosen, reached, noticed, equivalent, explained):
    """Tells how many of each file and kind were noticed, and names the others. Gives those that no list has."""
    for group in (lambda m: m.file, lambda m: m.kind):
        for name in sorted(set(map(group, chosen))):
            found = [bool(noticed[m.number]) for m in chosen if group(m) == name]
            print(f"{name:40}{sum(found):5} of {len(found):4}")
        print()
    unknown = []
    for m in chosen:
        if noticed[m.number]:
            continue
        if str(m) in equivalent:
            state = "does the same"
        elif str(m) in explained:
            state = "explained"
        else:
            state = "reached" if m.number in reached else "not reached"
            unknown.append(m)
        print(f"{m.number:5} line {m.line:4}, {state}: {m}")
    return unknown


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--thorough", action="store_true")
    parser.add_argument("--count", type=int)
    parser.add_argument("--only", metavar="PATTERN", default="*")
    parser.add_argument("--listed", action="store_true")
    parser.add_argument("--number", type=int)
    arguments = parser.parse_args()

    shutil.rmtree(TEMPORARY, ignore_errors=True)
    for folder in (COPY, TEMPORARY):
        folder.mkdir(parents=True, exist_ok=True)
    if arguments.number is not None:
        return show(arguments.number)

    clock = Clock()
    by_file = all_mutants()
    by_file = {f: m for f, m in by_file.items() if fnmatch.fnmatch(f.rsplit("/", 1)[-1], arguments.only)}
    if arguments.listed:
        lists = listed(EQUIVALENT) | listed(SURVIVORS)
        by_file = {f: [m for m in mutants if str(m) in lists] for f, mutants in by_file.items()}
    everything = sum(map(len, by_file.values()))
    some = arguments.listed or arguments.only != "*" or arguments.count is not None
    usual = everything if some else 2500 if arguments.thorough else 320  # some are none
    sample = Sample(by_file, arguments.count or usual)
    clock.tell(f"{everything} mutants in {len(by_file)} files")
    programs = PROGRAMS + LARGE_PROGRAMS * arguments.thorough
    build(sample, programs)
    chosen = sorted(sample.all(), key=lambda m: (m.file, m.line, m.number))
    clock.tell(f"The tests with {len(chosen)} of them are built")
    (BUILD / "report").unlink(missing_ok=True)
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as threads:
        reached = note_reached(programs, LONGEST_OF_ALL if arguments.thorough else LONGEST, threads)
        (BUILD / "last").write_bytes(pickle.dumps((chosen, reached)))
        clock.tell("What each test reaches is known")
        noticed = meet_all(chosen, reached, threads)
        clock.tell("Each mutant has met its tests")
        left = [m for m in chosen if not noticed[m.number]]
        if arguments.thorough:
            done, log = compile_tests(SANITIZED, programs, "-DCMAKE_CXX_FLAGS_DEBUG=-O1 -fsanitize=address")
            if not done:
                raise SystemExit(log[-4000:])
            list(threads.map(lambda program: run_all(SANITIZED, program, {}), programs))
            noticed |= meet_all(left, shorter(reached, LONGEST), threads, SANITIZED)
            left = [m for m in chosen if not noticed[m.number]]
            clock.tell("Those that are left have met them under the address sanitizer")
    with concurrent.futures.ProcessPoolExecutor() as pool:
        same = {m for m, is_same in zip(left, pool.map(is_same_code, left)) if is_same}
    clock.tell(f"{len(same)} of those that are left are the same code as the library")
    shutil.rmtree(TEMPORARY)
    equivalent, explained = listed(EQUIVALENT), listed(SURVIVORS)
    for text in sorted({str(m) for m in chosen} & explained - {str(m) for m in left if m not in same}):
        print(f"does not survive: {text}")
    for text in sorted({str(m) for m in chosen} & equivalent - {str(m) for m in left}):
        print(f"does not do the same, or not in time: {text}")
    chosen = [m for m in chosen if m not in same]

    print()
    unknown = tell_all(chosen, reached, noticed, equivalent, explained)
    killed = sum(bool(noticed[m.number]) for m in chosen)
    alike = sum(not noticed[m.number] and str(m) in equivalent for m in chosen)
    rest = max(len(chosen) - alike, 1)
    print(f"\n{killed} of {len(chosen)} mutants noticed, {100 * killed / rest:.1f} % without {alike} that do the same")
    if some:
        return 0
    least, percent = (2000, 95) if arguments.thorough else (300, 90)
    tell("mutants", len(chosen), least)
    tell("mutants that the tests notice, in percent", f"{100 * killed / len(chosen):.1f}", percent)
    if arguments.thorough and unknown:
        print(f"{len(unknown)} survivors are in neither list")
        return 1
    return 0 if len(chosen) >= least and 100 * killed >= percent * len(chosen) else 1


if __name__ == "__main__":
    sys.exit(main())
