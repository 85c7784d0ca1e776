#!/usr/bin/env python3
"""goals.py BUILD [--huge] [--quick] [TEXT]: measures what the project wants to reach, prints each goal with what was measured,
and exits with 1 when one is missed; of those alone with TEXT in their name, if there is one. GOALS, below, is the one place where goals stand. What is compared is measured by
turns, in fresh processes, and the best of several rounds counts. Times are processor time, of the system as well.
"""
import functools
import json
import os
import subprocess
import sys
import tempfile
import time

MEGABYTE = 1_000_000
SAMPLES = os.path.join(os.path.dirname(os.path.dirname(os.path.abspath(__file__))), "samples")
SMALL_FILE = os.path.join(SAMPLES, "branch-office-5.50/data/config/sys_domain.shop.conf")


class Usage:
    """What a process has used: processor time, memory, and time on the clock."""

    def __init__(self, seconds, memory, wall):
        self.seconds = seconds
        self.memory = memory
        self.wall = wall

    def __add__(self, other):
        return Usage(self.seconds + other.seconds, max(self.memory, other.memory), self.wall + other.wall)


def best(usages):
    return Usage(*(min(getattr(usage, field) for usage in usages) for field in ("seconds", "memory", "wall")))


def run(*command, stdout=subprocess.DEVNULL, stderr=None):
    began = time.monotonic()
    process = subprocess.Popen(command, stdout=stdout, stderr=stderr)
    _, status, used = os.wait4(process.pid, 0)
    wall = time.monotonic() - began
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        sys.exit(f"{' '.join(command)}: exit status {process.returncode}")
    return Usage(used.ru_utime + used.ru_stime, used.ru_maxrss * 1024, wall)


class Bench:
    """Measures are functions of this; what several goals ask for is measured once."""

    def __init__(self, build, folder, rounds):
        self.build = build
        self.folder = folder
        self.rounds = rounds

    def program(self, name):
        return os.path.join(self.build, name)

    @functools.cache
    def packed(self, megabytes):
        """A stored configuration of that size."""
        text = os.path.join(self.folder, f"{megabytes}.conf")
        with open(text, "wb") as stream:
            run(self.program("write_text"), str(megabytes), stdout=stream)
        run("libdeflate-gzip", "-6", "-f", text)
        return text + ".gz"

    def touch_memory(self, megabytes):
        """More than the command has at a time for a text of that size, so that none of it comes from a host only now."""
        run(self.program("touch_memory"), str(10 * megabytes))

    def unpack_and_pack(self, megabytes):
        packed = self.packed(megabytes)
        self.touch_memory(megabytes)
        copy = os.path.join(self.folder, "copy.gz")
        with open(copy, "wb") as stream:
            run("cat", packed, stdout=stream)
        unpacking = run("libdeflate-gzip", "-d", "-f", copy)
        return unpacking + run("libdeflate-gzip", "-6", "-f", copy[:-3])

    def library(self, megabytes, *options):
        packed = self.packed(megabytes)
        self.touch_memory(megabytes)
        return run(self.program("library_run"), self.program("image"), packed, *options)

    def migr(self, command, *arguments):
        return run(self.program("migr"), command, "--image", self.program("image"), *arguments, stderr=subprocess.DEVNULL)

    def conversion(self, megabytes):
        packed, result = self.packed(megabytes), os.path.join(self.folder, "converted.gz")
        self.touch_memory(megabytes)
        return self.migr("convert", packed, "-o", result, "--force")

    @functools.cache
    def conversions(self, megabytes):
        """`migr convert` of a file; unpacking and packing."""
        turns = [(self.conversion(megabytes), self.unpack_and_pack(megabytes))
                 for _ in range(self.rounds)]
        return [best(kind) for kind in zip(*turns)]

    @functools.cache
    def small_conversion(self):
        result = os.path.join(self.folder, "small.conf")
        def convert():
            self.touch_memory(1)
            return self.migr("convert", SMALL_FILE, "-o", result, "--force")
        return best([convert() for _ in range(8 * self.rounds)])

    @functools.cache
    def small_upgrade(self):
        """Of an appliance with one small file of each kind, each time anew."""
        def upgrade(number):
            root = os.path.join(self.folder, f"appliance{number}")
            run(os.path.join(SAMPLES, "lay_out"), "ferry-cloud-6.02", root)
            self.touch_memory(1)
            return self.migr("upgrade", root)
        return best([upgrade(number) for number in range(4 * self.rounds)])

    def saved(self, name, count):
        """A folder with an archive of a small appliance, under so many names."""
        root, folder = (os.path.join(self.folder, f"{name}-{part}") for part in ("root", "saved"))
        run(os.path.join(SAMPLES, "lay_out"), "ferry-cloud-6.02", root)
        os.mkdir(folder)
        first = os.path.join(folder, "00000.tar.gz")
        run("tar", "-C", root, "-czf", first, ".")
        for number in range(1, count):
            os.link(first, os.path.join(folder, f"{number:05}.tar.gz"))
        return folder

    def fleet(self, saved, results, *options):
        return run(self.program("migr"), "fleet", "upgrade", saved, results, "--image", self.program("image"), *options,
                   stderr=subprocess.DEVNULL)

    @functools.cache
    def fleet_upgrade(self, count):
        return self.fleet(self.saved("fleet", count), os.path.join(self.folder, "fleet-results"))

    @functools.cache
    def fleet_resume(self, count):
        """Of a fleet whose appliances are all done; what is done of one is written down for all, which are the same."""
        saved, results = self.saved(f"resume{count}", count), os.path.join(self.folder, f"resume{count}-results")
        one = os.path.join(self.folder, f"one{count}")
        os.mkdir(one)  # with the same archive: one that is packed a second later is another
        os.link(os.path.join(saved, "00000.tar.gz"), os.path.join(one, "00000.tar.gz"))
        self.fleet(one, results)
        lines = os.path.join(results, "fleet.jsonl")
        with open(lines) as stream:
            line = stream.read()
        with open(lines, "a") as stream:
            stream.writelines(line.replace("00000.tar.gz", f"{number:05}.tar.gz") for number in range(1, count))
        before = os.path.getsize(lines)  # and no more of it: what this process takes, a child has for a moment, too
        used = best([self.fleet(saved, results, "--resume") for _ in range(2)])
        if os.path.getsize(lines) != before:
            sys.exit("what is done is done again")
        return used

    @functools.cache
    def whole_runs(self, megabytes):
        """The library alone; the same with an observer; unpacking and packing."""
        turns = [(self.library(megabytes), self.library(megabytes, "watched"), self.unpack_and_pack(megabytes))
                 for _ in range(max(2, self.rounds // (1 + megabytes // 20)))]
        return [best(kind) for kind in zip(*turns)]

    @functools.cache
    def phases(self, program, megabytes, rounds):
        lines = subprocess.run([self.program(program), str(megabytes), str(rounds)], check=True, text=True,
                               capture_output=True).stdout.split()
        return {name: float(seconds) for name, seconds in zip(lines[::2], lines[1::2])}

    @functools.cache
    def shapes(self):
        """How much longer each shape takes at four times its size."""
        output = subprocess.run([self.program("bench_shapes"), "--benchmark_format=json", "--benchmark_min_time=0.05",
                                 f"--benchmark_repetitions={self.rounds}"],
                                check=True, text=True, capture_output=True).stdout
        times = {}
        for result in json.loads(output)["benchmarks"]:
            if result["run_type"] == "iteration":
                shape, count = result["run_name"].split("/")
                times.setdefault(shape, {}).setdefault(int(count), []).append(result["cpu_time"])
        return {shape: min(of[max(of)]) / min(of[min(of)]) for shape, of in times.items()}


# ---- Measures ----

def library_to_packing(bench, megabytes):
    plain, _, packing = bench.whole_runs(megabytes)
    return plain.seconds / packing.seconds


def library_to_smaller(bench, megabytes, smaller):
    return bench.whole_runs(megabytes)[0].seconds / bench.whole_runs(smaller)[0].seconds / (megabytes / smaller)


def gigabyte_to_smaller(bench, smaller):
    return bench.library(1000).seconds / bench.whole_runs(smaller)[0].seconds / (1000 / smaller)


def memory_to_text(bench, megabytes):
    return bench.whole_runs(megabytes)[0].memory / (megabytes * MEGABYTE)


def walk_to_parse_and_write(bench, megabytes):
    phases = bench.phases("phases_64", megabytes, bench.rounds)
    return phases["walk"] / (phases["parse"] + phases["write"])


def watched_time(bench, megabytes):
    plain, watched, _ = bench.whole_runs(megabytes)
    return watched.seconds / plain.seconds


def watched_memory(bench, megabytes):
    plain, watched, _ = bench.whole_runs(megabytes)
    return watched.memory / plain.memory


SHIFTS = (16, 32, 48, 64)  # bench/CMakeLists.txt


def to_be_watchable(bench, phase):
    """The least of either program, which run by turns, wherever its code lies: what else the machine does, and how code
    falls into the processor's lines, only ever adds to a time."""
    turns = [[bench.phases(f"{program}_{shift}", 1, 20 + turn) for program in ("phases", "phases_unwatched")]
             for turn in range(1, bench.rounds + 1) for shift in SHIFTS]
    there, without = (min(turn[which][phase] for turn in turns) for which in (0, 1))
    return there / without


def worst_shape(bench):
    return max(bench.shapes().values())


def conversion_to_packing(bench, megabytes):
    conversion, packing = bench.conversions(megabytes)
    return conversion.seconds / packing.seconds


def conversion_to_smaller(bench, megabytes, smaller):
    return bench.conversions(megabytes)[0].seconds / bench.conversions(smaller)[0].seconds / (megabytes / smaller)


def explanation_to_conversion(bench, megabytes):
    explanation = best([bench.migr("explain", bench.packed(megabytes)) for _ in range(2)])
    return explanation.seconds / bench.conversions(megabytes)[0].seconds


def resume_memory(bench, count, fewer):
    return bench.fleet_resume(count).memory / bench.fleet_resume(fewer).memory


# What is measured, how, and what it may be at most, from small
# to large: behind 50 MB the machine's caches are cold for a while.
GOALS = [
    ("migr convert of a small file, ms on the clock", lambda bench: 1000 * bench.small_conversion().wall, 25),
    ("migr convert of a small file, ms of processor time", lambda bench: 1000 * bench.small_conversion().seconds, 15),
    ("migr convert, 1 MB, to unpacking + packing", lambda bench: conversion_to_packing(bench, 1), 12),
    ("migr convert, 10 MB, to unpacking + packing", lambda bench: conversion_to_packing(bench, 10), 6),
    ("migr convert, 50 MB, to unpacking + packing", lambda bench: conversion_to_packing(bench, 50), 6),
    ("migr convert, 50 MB, to five times 10 MB", lambda bench: conversion_to_smaller(bench, 50, 10), 1.1),
    ("migr upgrade of a small appliance, ms on the clock", lambda bench: 1000 * bench.small_upgrade().wall, 100),
    ("migr fleet upgrade, 1,000 small appliances, s on the clock", lambda bench: bench.fleet_upgrade(1000).wall, 60),
    ("migr fleet upgrade --resume, 10,000 done, s on the clock", lambda bench: bench.fleet_resume(10000).wall, 5),
    ("memory for 10,000 appliances that are done, to 1,000", lambda bench: resume_memory(bench, 10000, 1000), 1.1),
    ("migr explain, 10 MB, to migr convert", lambda bench: explanation_to_conversion(bench, 10), 4),
    ("library alone, 1 MB, to unpacking + packing", lambda bench: library_to_packing(bench, 1), 4),
    ("library alone, 10 MB, to unpacking + packing", lambda bench: library_to_packing(bench, 10), 4),
    ("library alone, 50 MB, to unpacking + packing", lambda bench: library_to_packing(bench, 50), 4),
    ("library alone, 50 MB, to five times 10 MB", lambda bench: library_to_smaller(bench, 50, 10), 1.1),
    ("memory of the library alone, 10 MB, to the text", lambda bench: memory_to_text(bench, 10), 7),
    ("memory of the library alone, 50 MB, to the text", lambda bench: memory_to_text(bench, 50), 7),
    ("walk, 1 MB, to parse + write", lambda bench: walk_to_parse_and_write(bench, 1), 1.5),
    ("walk, 10 MB, to parse + write", lambda bench: walk_to_parse_and_write(bench, 10), 1.5),
    ("worst shape, four times as many", worst_shape, 6),
    ("parse that could be watched, to one that could not", lambda bench: to_be_watchable(bench, "parse"), 1.02),
    ("walk that could be watched, to one that could not", lambda bench: to_be_watchable(bench, "walk"), 1.02),
    ("write that could be watched, to one that could not", lambda bench: to_be_watchable(bench, "write"), 1.02),
    ("time with the command's observer, 10 MB, to without", lambda bench: watched_time(bench, 10), 1.3),
    ("memory with the command's observer, 10 MB, to without", lambda bench: watched_memory(bench, 10), 1.5),
]

# Takes a minute and most of seven gigabytes of memory.
HUGE_GOALS = [
    ("library alone, 1 GB, to a hundred times 10 MB", lambda bench: gigabyte_to_smaller(bench, 10), 1.2),
]


def main(arguments):
    build = arguments.pop(0)
    goals = GOALS + (HUGE_GOALS if "--huge" in arguments else [])
    rounds = 2 if "--quick" in arguments else 5
    wanted = next((argument for argument in arguments if not argument.startswith("--")), "")
    missed = 0
    print(f"{'':<60} {'goal':>6} {'now':>6}")
    with tempfile.TemporaryDirectory(prefix="migr-goals-") as folder:
        bench = Bench(os.path.abspath(build), folder, rounds)
        for what, measure, goal in goals:
            if wanted not in what:
                continue
            now = measure(bench)
            missed += now > goal
            print(f"{what:<60} {goal:>6.2f} {now:>6.2f}{'  MISSED' if now > goal else ''}", flush=True)
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
