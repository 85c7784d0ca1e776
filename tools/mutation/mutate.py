#!/usr/bin/python3
"""./dev mutate: breaks the sources in thousands of small ways and says which of these no test notices. One build holds
all breakages (schemata.py), each test is asked once which it reaches, and for each breakage run those that do.
docs/mutation.md says what it is good for. Results lie in the build folder, a line for each breakage, as they come; what is
to outlive it is kept beside this file (record.py)."""
import argparse
import hashlib
import json
import os
import queue
import re
import shlex
import shutil
import subprocess
import sys
import threading
from collections import Counter, defaultdict
from dataclasses import dataclass

import known_survivors
from record import Record, stamp_of

TOOL = os.path.dirname(os.path.abspath(__file__))
FLAGS = "-Og -g1"
FIRST_CHUNK = 0.5  # seconds of tests that run ahead of a first look at the outcome; each next chunk takes twice as long
LEAST_TIME = 0.001  # seconds that any test takes
FEW = 4  # cases that are asked first, for they noticed what was broken nearby
SLACK = 5  # seconds that a run may take beyond ten times its own


def say(*words):
    print(*words, file=sys.stderr, flush=True)


def digest(*pieces):
    return hashlib.sha1("\0".join(str(piece) for piece in pieces).encode()).hexdigest()


def digest_of_file(path):
    with open(path, "rb") as stream:
        return hashlib.file_digest(stream, "sha1").hexdigest()


def read_json(path, otherwise):
    try:
        with open(path, encoding="utf-8") as stream:
            return json.load(stream)
    except FileNotFoundError:
        return otherwise


def write_json(path, value):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path + ".new", "w", encoding="utf-8") as stream:
        json.dump(value, stream)
    os.replace(path + ".new", path)


@dataclass
class Place:
    """Where everything is."""
    source: str
    build: str
    jobs: int

    def relative(self, path):
        return os.path.relpath(path, self.source)

    def copy_of(self, file):
        return os.path.join(self.build, "mutated", file)

    def launcher(self):
        return [os.path.join(TOOL, "compile"), os.path.join(self.build, "mutated"), self.source]


@dataclass
class Mutant:
    number: int
    file: str
    line: int
    text: str
    told: str
    ordinal: int

    def key(self):
        return (self.file, self.text, self.told, self.ordinal)

    def digest(self):
        return digest(*self.key())

    def room(self):
        folders = self.file.split("/")[:-1]
        return "/".join(folders[:2]) + "/"


# The build


def configure(place):
    launcher = ";".join(place.launcher())
    done = subprocess.run(["cmake", "-S", place.source, "-B", place.build, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Debug",
                           f"-DCMAKE_CXX_FLAGS_DEBUG={FLAGS}", f"-DCMAKE_C_FLAGS_DEBUG={FLAGS}", "-DMIGR_TESTS=ON",
                           "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", f"-DCMAKE_CXX_COMPILER_LAUNCHER={launcher}",
                           f"-DCCACHE={launcher}"], capture_output=True, text=True, check=False)
    if done.returncode != 0:
        sys.exit(done.stdout + done.stderr)


def compile_commands(place):
    """How each source below the root is compiled: {file: (command, folder, object)}."""
    commands = {}
    for entry in read_json(os.path.join(place.build, "compile_commands.json"), []):
        file = place.relative(entry["file"])
        if file.startswith("..") or file.startswith(place.relative(place.build) + os.sep):
            continue
        command = shlex.split(entry["command"])
        commands[file] = (command, entry["directory"], os.path.join(entry["directory"], command[command.index("-o") + 1]))
    return commands


def build(place, targets=()):
    command = ["cmake", "--build", place.build, "-j", str(place.jobs)]
    done = subprocess.run(command + (["--target", *targets] if targets else []), capture_output=True, text=True, check=False)
    if done.returncode != 0:
        sys.exit(done.stdout[-5000:] + done.stderr)


def parser_arguments(command):
    """What the syntax tree depends on, from the compiler's command."""
    arguments = [word for word in command if word.startswith(("-I", "-D", "-std", "-fno-exceptions", "-fno-rtti"))]
    for i, word in enumerate(command):
        if word in ("-isystem", "-include"):
            arguments += command[i:i + 2]
    folders = subprocess.run(["clang-14", "-print-resource-dir"], capture_output=True, text=True, check=False).stdout.strip()
    return arguments + ["-resource-dir", folders or "/usr/lib/llvm-14/lib/clang/14.0.6"]


# The breakages of a source


class Plan:
    """The points of one source, from an earlier run if neither it nor this tool has changed since. Those that do not
    compile are known once the copy has been settled, for those that were chosen then."""

    def __init__(self, place, file, command, as_built):
        self.place, self.file, self.command = place, file, command
        self.path = os.path.join(place.build, "plans", file.replace("/", "+") + ".json")
        tool = [digest_of_file(os.path.join(TOOL, name)) for name in ("breakages.py", "schemata.py", "runtime.h")]
        self.stamp = digest(digest_of_file(os.path.join(place.source, file)), *tool)
        with open(os.path.join(place.source, file), "rb") as stream:
            self.text = stream.read().decode("latin-1")
        if not self.load(as_built):
            self.look()

    def load(self, as_built):
        from breakages import Point, Region
        kept = read_json(self.path, {})
        if kept.get("stamp") != self.stamp and not (kept and as_built):
            return False
        regions = [Region(*fields) for fields in kept["regions"]]
        self.points = [Point(*fields, regions[region] if region is not None else None, depth)
                       for *fields, region, depth in kept["points"]]
        self.left_out = kept["left_out"]
        self.dropped = {self.points[i] for i in kept["dropped"]}
        self.settled_for = kept["settled_for"]
        return True

    def save(self):
        regions = list({id(point.region): point.region for point in self.points if point.region}.values())
        index = {id(region): i for i, region in enumerate(regions)}
        write_json(self.path, {
            "stamp": self.stamp, "left_out": self.left_out, "settled_for": self.settled_for,
            "dropped": [i for i, point in enumerate(self.points) if point in self.dropped],
            "regions": [[region.start, region.end, region.keyword, region.instead] for region in regions],
            "points": [[point.start, point.end, point.before, point.after, point.told,
                        index[id(point.region)] if point.region else None, point.depth] for point in self.points]})

    def look(self):
        import breakages
        source = breakages.Source(os.path.join(self.place.source, self.file), parser_arguments(self.command[0]))
        found = breakages.find(source)
        self.points, self.left_out, self.dropped, self.settled_for = found.points, found.constants_left_out, set(), None
        self.save()
        say(f"{self.file}: {self.count()} breakages")

    def count(self):
        return sum(len(point.told) for point in self.points)

    def numbers(self, base):
        numbers = {}
        for point in self.points:
            numbers[point] = base
            base += len(point.told)
        return numbers

    def settle(self, base, chosen_numbers):
        """Writes the copy with what was chosen, without what does not compile."""
        import schemata
        numbers = self.numbers(base)
        points = [point for point, number in numbers.items() if point not in self.dropped and
                  not chosen_numbers.isdisjoint(range(number, number + len(point.told)))]
        schema = schemata.Schema(self.text, points, self.place.copy_of(self.file), self.command[1])
        if not os.path.exists(schema.path) and os.path.exists(self.command[2]):
            os.unlink(self.command[2])  # what was compiled without breakages knows nothing of this copy
        goal = digest(*(number - base for number in sorted(chosen_numbers) if 0 <= number - base < self.count()))
        if self.settled_for == goal:
            schema.write(numbers)
            return
        if not schema.settle(numbers, schemata.compiler_of(self.command[0], self.command[1], self.place.launcher())):
            sys.exit(f"{self.file} does not compile, whatever is left out")
        self.dropped |= set(schema.dropped)
        self.settled_for = goal
        self.save()

    def mutants(self, base):
        """Each breakage, and whether it compiles as far as is known."""
        found, seen = [], Counter()
        lines = self.text.split("\n")
        for point, number in self.numbers(base).items():
            line = self.text.count("\n", 0, point.start)
            text = lines[line].strip().encode("latin-1").decode("utf-8", "replace")
            for i, told in enumerate(point.told):
                seen[text, told] += 1
                found.append((Mutant(number + i, self.file, line + 1, text, told, seen[text, told]), point not in self.dropped))
        return found

    def record_stamp(self):
        return stamp_of(os.path.join(self.place.source, self.file), [mutant for mutant, _ in self.mutants(0)])


def plan_all(place, commands, wanted, as_built):
    return {file: Plan(place, file, commands[file], as_built) for file in sorted(wanted)}


def settle_all(place, plans, bases, needed):
    """Others are drawn in the place of what turns out not to compile, and these have to stand in the copies, too."""
    settled, mutants = None, needed()
    while mutants != settled:
        numbers = {mutant.number for mutant in mutants}
        in_threads(place.jobs, lambda file: plans[file].settle(bases[file], numbers), {mutant.file for mutant in mutants})
        settled, mutants = mutants, needed()


def drop_old_copies(place, commands):
    """Copies of an earlier run stay, as long as their sources have not changed: each changes the programs, and so what is
    known of the tests."""
    for file in commands:
        copy, source = place.copy_of(file), os.path.join(place.source, file)
        if os.path.exists(copy) and os.path.getmtime(copy) < os.path.getmtime(source):
            os.unlink(copy)


def bases_of(place, plans):
    """The first number of each source's breakages; it stays the same from run to run, so that copies do."""
    path = os.path.join(place.build, "plans", "bases.json")
    bases = read_json(path, {})
    for file, plan in plans.items():
        if file not in bases or bases[file][1] < plan.count():
            first = max((base + room for base, room in bases.values()), default=0)
            bases[file] = [first, plan.count() + plan.count() // 4 + 20]
    write_json(path, bases)
    return {file: bases[file][0] for file in plans}, max(base + room for base, room in bases.values())


def in_threads(jobs, work, items):
    waiting = queue.Queue()
    for item in items:
        waiting.put(item)
    failed = []

    def go_on():
        while not failed:
            try:
                item = waiting.get_nowait()
            except queue.Empty:
                return
            try:
                work(item)
            except BaseException as fault:  # told by whoever waits
                failed.append(fault)
    threads = [threading.Thread(target=go_on, daemon=True) for _ in range(jobs)]
    for thread in threads:
        thread.start()
    for thread in threads:
        thread.join()
    if failed:
        raise failed[0]


# Tests


class Runner:
    """A process that runs one test at a time, shut in: runner.py."""

    def __init__(self, place):
        self.place = place
        command = ["unshare", "--mount", "--pid", "--fork", "--kill-child", "--mount-proc"]
        if os.geteuid() != 0:
            command.insert(1, "--map-root-user")
        self.process = subprocess.Popen(command + ["/usr/bin/python3", os.path.join(TOOL, "runner.py"), place.source],
                                        stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)

    def run(self, arguments, environment, limit, **more):
        task = {"arguments": arguments, "environment": environment, "folder": self.place.build, "limit": limit, **more}
        print(json.dumps(task), file=self.process.stdin, flush=True)
        answer = self.process.stdout.readline()
        if not answer:
            raise RuntimeError("the runner of tests has ended")
        return json.loads(answer)

    def end(self):
        self.process.stdin.close()
        self.process.wait()


@dataclass
class Program:
    """A program of tests with cases that can be named, or a whole test (no cases)."""
    name: str
    arguments: list
    environment: dict
    stamp: str
    has_cases: bool


def programs_of(place):
    shown = subprocess.run(["ctest", "--test-dir", place.build, "--show-only=json-v1"], capture_output=True, text=True, check=True)
    found = {}
    sums = {}
    for test in json.loads(shown.stdout)["tests"]:
        if "command" not in test:
            continue
        arguments = test["command"]
        has_cases = os.path.dirname(arguments[0]) == os.path.join(place.build, "tests")
        properties = {item["name"]: item["value"] for item in test.get("properties", [])}
        environment = dict(line.split("=", 1) for line in properties.get("ENVIRONMENT", []) if not line.startswith("GTEST_"))
        pieces = [arguments, sorted(environment.items())]
        for path in [os.path.join(place.build, "migr"), *arguments]:
            if os.path.isfile(path):
                sums[path] = sums.get(path) or digest_of_file(path)
                pieces.append(sums[path])
            elif os.path.isdir(path) and "case" in path:
                pieces += sorted((file, os.stat(os.path.join(folder, file)).st_mtime)
                                 for folder, _, files in os.walk(path) for file in files)
        # The shards of a program are one program.
        name = test["name"].rsplit("_part", 1)[0]
        found[tuple(arguments)] = Program(name, arguments, environment, digest(*pieces), has_cases)
    return list(found.values())


@dataclass
class Case:
    program: Program
    name: str  # none: the whole program
    file: str
    time: float


class Tests:
    """Every test, how long it takes, and which breakages it reaches."""

    def __init__(self):
        self.reaching = defaultdict(list)
        self.failing = []

    def take(self, program, looked):
        for name, facts in looked.items():
            case = Case(program, name, facts["file"], facts["time"])
            if not facts["passed"]:
                self.failing.append(f"{program.name} {name}")
                continue
            for number in facts["reached"]:
                self.reaching[number].append(case)


def cases_of(runner, program):
    """The cases with their files, and how long the program takes to start."""
    if not program.has_cases:
        return {"": ""}, 0.0
    listed = runner.run(program.arguments + ["--gtest_list_tests", "--gtest_output=json:/tmp/cases.json"], {}, 60)
    if listed["status"] != 0:
        return {}, 0.0
    shown = runner.run(["sh", "-c", '"$@" --gtest_list_tests --gtest_output=json:/tmp/cases.json >/dev/null; cat /tmp/cases.json',
                        "sh", *program.arguments], {}, 60, output=True)
    cases = {}
    for suite in json.loads(shown["output"])["testsuites"]:
        for test in suite["testsuite"]:
            cases[f"{suite['name']}.{test['name']}"] = test.get("file", "")
    return cases, listed["time"]


def look_at(runner, place, program, count, known):
    """Runs each case by itself. known: what an earlier, ended look has found. Later several run in one process, so its
    start counts for none of them."""
    looked = known
    cases, start = cases_of(runner, program)
    for name, file in cases.items():
        if name in looked:
            continue
        arguments = program.arguments + ([f"--gtest_filter={name}"] if name else [])
        answer = runner.run(arguments, program.environment, 900, count=count)
        if answer["status"] != 0 and name:  # some tests need a second chance where other work goes on
            answer = runner.run(arguments, program.environment, 900, count=count)
        time = max(answer["time"] - start, LEAST_TIME)
        looked[name] = {"file": file, "time": time, "passed": answer["status"] == 0, "reached": answer["reached"]}
    return looked


def is_broken(program):
    """Whether any source with breakages went into it."""
    with open(program.arguments[0], "rb") as stream:
        return b"migr_mutation" in stream.read()


def look_at_all(place, count, arguments):
    tests = Tests()
    lock = threading.Lock()
    wanted = [program for program in programs_of(place) if arguments.tests in program.name and
              (is_broken(program) if program.has_cases else arguments.scripts)]

    def look(program):
        path = os.path.join(place.build, "reached", program.stamp + ".json")
        kept = read_json(path, None)
        if kept is None or kept["count"] != count:
            say(f"{program.name}: which breakages does it reach?")
            runner = Runner(place)
            kept = {"count": count, "looked": look_at(runner, place, program, count, {})}
            runner.end()
            write_json(path, kept)
        with lock:
            tests.take(program, kept["looked"])

    in_threads(place.jobs, look, wanted)
    for name in tests.failing:
        say(f"{name} fails or is skipped with nothing broken, and is left out")
    return tests


# A breakage and the tests that reach it


def distance(mutant, case):
    """Cases in the mirror place of a source are asked first, then those beside them, then all others."""
    folder, name = os.path.split(mutant.file)
    mirrored = os.path.basename(case.file) == os.path.splitext(name)[0] + "_test.cpp"
    beside = os.path.dirname(case.file).endswith("/unit/" + folder.removeprefix("src/"))
    return 0 if mirrored else 1 if beside else 2


class Noticed:
    """The cases that have noticed breakages of a source, and in which lines: what is broken beside these they notice, too,
    for the most part."""

    def __init__(self):
        self.lines = defaultdict(lambda: defaultdict(list))

    def take(self, file, line, name):
        if name:
            self.lines[file][name].append(line)

    def nearest(self, mutant, cases):
        lines = self.lines[mutant.file]
        known = [case for case in cases if case.name in lines and case.time < FIRST_CHUNK]
        return sorted(known, key=lambda case: min(abs(line - mutant.line) for line in lines[case.name]))[:FEW]


def chunks_of(mutant, cases, seconds, first):
    """Those that come first, then near cases, each group from the quickest on, until they have taken those seconds
    together; whole programs last, one by one."""
    if first:
        yield first
    named = sorted((case for case in cases if case.name and case not in first), key=lambda case: (distance(mutant, case), case.time))
    budget, chunk, in_chunk, total = FIRST_CHUNK, [], 0.0, sum(case.time for case in first)
    for case in named:
        if total > 0 and total + case.time > seconds:
            continue  # others may be quicker
        chunk.append(case)
        in_chunk += case.time
        total += case.time
        if in_chunk >= budget:
            yield chunk
            chunk, in_chunk, budget = [], 0.0, budget * 2
    if chunk:
        yield chunk
    for case in sorted((case for case in cases if not case.name), key=lambda case: case.time):
        yield [case]


def filters_of(cases, most=60000):
    """The names of cases for one run each, as long as an argument may be."""
    part, length = [], 0
    for case in cases:
        if part and length + len(case.name) > most:
            yield part
            part, length = [], 0
        part.append(case)
        length += len(case.name) + 1
    yield part


FAILED = re.compile(r"^\[  FAILED  \] ([^\s,]+)", re.M)


def run_chunk(runner, mutant, chunk):
    """None when nothing was noticed, otherwise how, by which program, and by which of its cases if it says so."""
    by_program = defaultdict(list)
    for case in chunk:
        by_program[tuple(case.program.arguments)].append(case)
    for cases in by_program.values():
        program = cases[0].program
        for part in filters_of(cases):
            arguments = list(program.arguments)
            if part[0].name:
                arguments += ["--gtest_filter=" + ":".join(case.name for case in part), "--gtest_fail_fast", "--gtest_brief=1"]
            limit = 10 * sum(case.time for case in part) + SLACK
            answer = runner.run(arguments, {**program.environment, "MIGR_MUTANT": str(mutant.number)}, limit, output=True)
            if answer["status"] == "timeout" or answer["status"] == 99:
                return "hung", program.name, None
            if answer["status"] != 0:
                failed = FAILED.search(answer["output"])
                return "killed", program.name, failed and failed.group(1)
    return None


def try_mutant(runner, mutant, cases, seconds, first):
    tried = 0
    for chunk in chunks_of(mutant, cases, seconds, first):
        tried += len(chunk)
        noticed = run_chunk(runner, mutant, chunk)
        if noticed:
            return {"status": noticed[0], "by": noticed[1], "case": noticed[2], "tests": tried}
    return {"status": "survived", "tests": tried}


# Results


class Results:
    """A line for each breakage, written as they come; the last one of a breakage holds. Where there is none, the record
    may know."""

    def __init__(self, path, record):
        self.path, self.record = path, record
        self.lines = {}
        self.lock = threading.Lock()
        if os.path.exists(path):
            with open(path, "r+", encoding="utf-8") as stream:
                for line in stream:
                    self.take(line)
                if self.lines and not line.endswith("\n"):  # the run was ended while it wrote
                    stream.write("\n")

    def take(self, line):
        try:
            result = json.loads(line)
        except ValueError:
            return
        self.lines[tuple(result["mutant"])] = result

    def add(self, mutant, result):
        result = {"mutant": list(mutant.key()), "line": mutant.line, **result}
        with self.lock:
            self.lines[mutant.key()] = result
            with open(self.path, "a", encoding="utf-8") as stream:
                stream.write(json.dumps(result, ensure_ascii=False) + "\n")

    def of(self, mutant):
        status = self.record.status(mutant)
        return self.lines.get(mutant.key()) or (status and {"status": status})

    def compiles(self, mutant):
        return mutant.key() in self.lines or self.record.status(mutant) != "not compiled"

    def is_settled(self, mutant, again):
        """Whether the record knows all that is asked, so that no copy needs this breakage."""
        status = None if mutant.key() in self.lines else self.record.status(mutant)
        return status is not None and not (again and status in ("survived", "unreached"))


def chosen(mutants, samples):
    """All, or so many of each room, by a draw that is the same each time. samples: {file: how many of its room}."""
    rooms = defaultdict(list)
    for mutant in mutants:
        rooms[mutant.room()].append(mutant)
    picked = set()
    for room in rooms.values():
        room.sort(key=lambda mutant: mutant.digest())
        picked |= {mutant.number for i, mutant in enumerate(room) if samples[mutant.file] is None or i < samples[mutant.file]}
    return [mutant for mutant in mutants if mutant.number in picked]


def is_due(result, cases, has_reason, arguments):
    if result is None:
        return True
    if result["status"] == "unreached":
        return bool(cases)
    if result["status"] != "survived" or has_reason:
        return False
    return arguments.again or (arguments.scripts and not result.get("scripts"))


def run_all(place, mutants, tests, results, survivors, arguments):
    due = []
    for mutant in mutants:
        cases = tests.reaching.get(mutant.number, [])
        if not is_due(results.of(mutant), cases, survivors.knows(mutant), arguments):
            continue
        if cases:
            due.append((mutant, cases))
        elif results.of(mutant) is None and not arguments.tests:
            results.add(mutant, {"status": "unreached"})
    say(f"{len(mutants)} breakages, {len(due)} of them to be tried")
    # Those of which something is known first, and so that a run that is ended early has tried some of everything.
    due.sort(key=lambda item: (results.of(item[0]) is None, item[0].digest()))
    idle = queue.Queue()
    for _ in range(place.jobs):
        idle.put(Runner(place))
    done = Counter()
    noticed = Noticed()
    for result in results.lines.values():
        noticed.take(result["mutant"][0], result["line"], result.get("case"))

    def work(item):
        mutant, cases = item
        runner = idle.get()
        result = try_mutant(runner, mutant, cases, arguments.seconds, noticed.nearest(mutant, cases))
        idle.put(runner)
        noticed.take(mutant.file, mutant.line, result.get("case"))
        if result["status"] != "survived" or not arguments.tests:
            results.add(mutant, {**result, "of": len(cases), "scripts": arguments.scripts})
        done[result["status"]] += 1
        if sum(done.values()) % 100 == 0:
            say(f"{sum(done.values())} of {len(due)}: {dict(done)}")

    in_threads(place.jobs, work, due)
    while not idle.empty():
        idle.get().end()


def report(plans, mutants, results, survivors):
    """A table of rooms, then what is new. Gives the number of new survivors."""
    rooms = defaultdict(Counter)
    new = []
    for mutant in mutants:
        result = results.of(mutant)
        status = result["status"] if result else "not tried"
        if status in ("survived", "unreached"):
            reason = survivors.reason(mutant.file, mutant.text, mutant.told)
            if reason is None:
                new.append((mutant, status))
            else:
                status = "with reason"
        rooms[mutant.room()][status] += 1
    for file, plan in plans.items():
        room = "/".join(file.split("/")[:-1][:2]) + "/"
        rooms[room]["left out"] += plan.left_out + sum(not compiles or not results.compiles(mutant) for mutant, compiles in plan.mutants(0))
    columns = ["killed", "hung", "with reason", "survived", "unreached", "not tried", "left out"]
    print("| Room | breakages | " + " | ".join(columns) + " |")
    print("|---|" + "--:|" * (len(columns) + 1))
    for room, counts in sorted(rooms.items()):
        total = sum(counts.values()) - counts["left out"]
        print(f"| `{room}` | {total} | " + " | ".join(str(counts[column]) for column in columns) + " |")
    for wanted, words in (("survived", "survives all tests"), ("unreached", "is reached by no test")):
        for mutant, status in new:
            if status == wanted:
                print(f"{mutant.file}:{mutant.line}: {mutant.told}; {words}\n    {mutant.text}")
    for entry in survivors.unused(mutants):
        print(f"tools/mutation/survivors: no breakage is as in: {entry}")
    return len(new)


def keep(record, plans, results, survivors):
    """Writes what is known of these sources where it outlives the build folder."""
    for file, plan in plans.items():
        mutants = plan.mutants(0)
        dropped = {mutant.number for mutant, compiles in mutants if not compiles}

        def status(mutant):
            result = results.of(mutant)
            return "not compiled" if mutant.number in dropped else result and result["status"]
        record.replace(file, plan.record_stamp(), [mutant for mutant, _ in mutants], status, survivors.knows)
    record.write()


def wanted_files(place, commands, paths, sample):
    """The sources below the paths, and how many breakages of their rooms are wanted: {file: None for all}."""
    wanted = {}
    for path in paths or [os.path.join(place.source, folder) for folder in ("src", "appliance", "cli")]:
        name, _, number = path.partition(":")
        below = place.relative(os.path.abspath(name))
        for file in commands:
            if (file == below or below == "." or file.startswith(below + "/")) and \
                    not file.startswith(("tests/", "bench/", "fuzz/", "tools/")):
                wanted[file] = int(number) if number else sample
    if not wanted:
        sys.exit("no source is below " + ", ".join(paths))
    return wanted


def parse_arguments():
    parser = argparse.ArgumentParser(prog="./dev mutate", description="break the sources and see which tests notice")
    parser.add_argument("paths", nargs="*", metavar="PATH", help="sources, or folders of them, with :N behind it for a sample; src, appliance and cli without any")
    parser.add_argument("--sample", type=int, metavar="N", help="no more than N breakages of each room, drawn alike each time")
    parser.add_argument("--list", action="store_true", help="list the breakages, build nothing")
    parser.add_argument("--report", action="store_true", help="show the results that there are, run nothing")
    parser.add_argument("--keep", action="store_true", help="write the results into the record, tools/mutation/tried")
    parser.add_argument("--again", action="store_true", help="try survivors without a reason once more, with the tests as they are now")
    parser.add_argument("--no-scripts", dest="scripts", action="store_false",
                        help="leave out the tests that are scripts, which take long")
    parser.add_argument("--seconds", type=float, default=60, metavar="N",
                        help="run the nearest and quickest tests that take no longer than this together (60)")
    parser.add_argument("--tests", default="", metavar="TEXT",
                        help="ask only programs with this in their name, and write down no more than what they notice")
    parser.add_argument("--no-build", dest="as_built", action="store_true", help="go on with the programs as they were built")
    parser.add_argument("--source", default=os.path.dirname(os.path.dirname(TOOL)), help=argparse.SUPPRESS)
    parser.add_argument("--build", help=argparse.SUPPRESS)
    parser.add_argument("--survivors", default=os.path.join(TOOL, "survivors"), help=argparse.SUPPRESS)
    parser.add_argument("--record", default=os.path.join(TOOL, "tried"), help=argparse.SUPPRESS)
    return parser.parse_args()


def main():
    arguments = parse_arguments()
    source = os.path.abspath(arguments.source)
    place = Place(source, os.path.abspath(arguments.build or os.path.join(source, "build-mutation")),
                  int(os.environ.get("MIGR_JOBS", os.cpu_count())))
    os.makedirs(place.build, exist_ok=True)
    survivors = known_survivors.read(arguments.survivors)
    configure(place)
    commands = compile_commands(place)
    if arguments.report or arguments.list:
        arguments.as_built = arguments.report
    elif not arguments.as_built:
        drop_old_copies(place, commands)
        build(place)  # what sources include may be made by the build
    wanted = wanted_files(place, commands, arguments.paths, arguments.sample)
    plans = plan_all(place, commands, wanted, arguments.as_built)
    bases, count = bases_of(place, plans)
    record = Record(arguments.record)
    for file, plan in plans.items():
        record.compare(file, plan.record_stamp())
    results = Results(os.path.join(place.build, "results.jsonl"), record)

    def drawn():
        return chosen([mutant for file in plans for mutant, compiles in plans[file].mutants(bases[file])
                       if compiles and results.compiles(mutant)], wanted)

    def needed():
        return [mutant for mutant in drawn() if not results.is_settled(mutant, arguments.again)]

    if not arguments.list and not arguments.as_built:
        settle_all(place, plans, bases, needed)
        build(place)
    mutants = drawn()
    if arguments.list:
        for mutant in mutants:
            print(f"{mutant.file}:{mutant.line}: {mutant.told}")
        return 0
    if not arguments.report and needed():
        run_all(place, mutants, look_at_all(place, count, arguments), results, survivors, arguments)
    if arguments.keep:
        keep(record, plans, results, survivors)
    return 1 if report(plans, mutants, results, survivors) else 0


if __name__ == "__main__":
    sys.path.insert(0, TOOL)
    sys.exit(main())
