"""Memory runs out once: each allocation of the command and its processes fails, one run after another."""
import collections
import concurrent.futures
import dataclasses
import mmap
import os
import re
import shutil
import struct
import tempfile

import states
import sweep

HEAD = struct.Struct("=QQQQ")  # of no_memory.cpp: how many, which one fails, whether it came, room for places
MOST_PLACES = 4_000_000


# What does not hold and is not promised: what is found, a part of what was said, and why.
IN_LIBCRYPTO = "\n(from within libcrypto)"
NOT_PROMISED = (
    ("it ended with -11", IN_LIBCRYPTO, "libcrypto dies without memory when it sets up its tables, ahead of all work; nothing is touched"),
    ("does not name the cause", IN_LIBCRYPTO, "libcrypto dies without memory when it sets up its tables, ahead of all work; nothing is touched"),
    ("account.json.gz", "memory ran out, so causes are missing", "an account that lacks causes says so; the upgrade is done all the same"),
    ("ledgers/", "memory ran out, so causes are missing", "an account that lacks causes says so; the upgrade is done all the same"),
    ("it ended with -6", "terminate called",
     "the JSON library asks for memory where it gives some back, and a process that cannot have it ends: all is old or all is new, and the next command "
     "removes what it left"),
    ("does not name the cause", "terminate called",
     "as above, and the C++ library's way through a folder: the child says that it ends without memory, and its parent that it is gone"),
    ("does not name the cause", "was killed", "as above, in a child"),
    ("does not name the cause", "signature.db", "an image's database that cannot be looked at without memory is called none; nothing has begun"),
)


@dataclasses.dataclass
class Verdict:
    number: int
    end: str  # "refused", "done", "aborted" or "passed"
    faults: list
    said: str
    leaves: bool = False
    excuses: list = dataclasses.field(default_factory=list)


class Allocations:
    """The file by which the preloaded object is told, and tells."""

    def __init__(self, folder, room):
        handle, self.path = tempfile.mkstemp(prefix="allocations-", dir=folder)
        os.ftruncate(handle, HEAD.size + 8 * room)
        self.map = mmap.mmap(handle, 0)
        os.close(handle)
        self.room = room
        self.set_failing(0)

    def set_failing(self, number):
        HEAD.pack_into(self.map, 0, 0, number, 0, self.room)

    def found(self):
        """How many there were, and whether the one that fails was among them: 2 when libcrypto asked for it."""
        count, _, struck, _ = HEAD.unpack_from(self.map)
        return count, struck

    def places(self):
        count = min(self.found()[0], self.room)
        return struct.unpack_from(f"={count}Q", self.map, HEAD.size)


COMPLAINTS = ("Sanitizer", "runtime error:")


FRAME = re.compile(r"^ *#\d+ 0x[0-9a-f]+ .*?(?P<place>/[^ ()+]+)", re.MULTILINE)
UNDERNEATH = re.compile(r"/lib(c|asan|ubsan|no_memory)\.so")
ALONE = "a shared library dies of it beside a sanitizer; that it does so without one is told above"


def is_of_a_shared_library(said):
    """Whether what a sanitizer complains of happens in somebody else's code: the innermost place that is not the C library's."""
    places = (match["place"] for match in FRAME.finditer(said) if not UNDERNEATH.search(match["place"]))
    return ".so" in next(places, "")


def has_sanitizers(program):
    with open(program, "rb") as file:
        return b"__asan_init" in file.read()


class Memory(sweep.Rehearsal):
    """One command, and what comes of it without memory."""

    def __init__(self, scene, preload, work):
        super().__init__(scene, work, "memory-")
        self.preload = preload
        self.sanitized = has_sanitizers(scene.migr)
        self.measure()

    def place(self):
        if not hasattr(self.local, "allocations"):
            self.local.allocations = Allocations(self.work, 0)
        return super().place()

    def run(self, place, allocations):
        environment = self.scene.environment(place.folder)
        environment["LD_PRELOAD"] += f" {self.preload}"
        environment["MIGR_ALLOCATIONS"] = allocations.path
        return place.run(self.scene.runs(self.scene.arguments()), environment=environment)

    def measure(self):
        place = self.place()
        place.lay_out()
        self.before = place.state()
        allocations = Allocations(self.work, MOST_PLACES)
        done = self.run(place, allocations)
        if done.returncode != 0:
            raise sweep.Undisturbed(f"{self.scene.name()} ends with {done.returncode}: {done.stderr}")
        self.after = place.state()
        if allocations.found()[0] == 0:
            raise sweep.Undisturbed(f"{self.scene.name()} asks for no memory, so nothing counts what it asks for")
        self.count = allocations.found()[0]
        self.places = allocations.places()
        os.unlink(allocations.path)

    def numbers(self, every):
        """Of each place that asks for memory the first allocation, and one of so many of the others."""
        seen = set()
        chosen = []
        for number, where in enumerate(self.places, 1):
            if where not in seen or number % every == 0:
                seen.add(where)
                chosen.append(number)
        self.count_of_places = len(seen)
        return chosen

    def try_one(self, number):
        place = self.place()
        place.lay_out()
        self.local.allocations.set_failing(number)
        run = self.run(place, self.local.allocations)
        _, struck = self.local.allocations.found()
        verdict = Verdict(number, "passed" if not struck else "done" if run.returncode == 0 else "refused", [], run.stdout + run.stderr + self.scene.also_said(place.folder))
        if self.sanitized:
            self.judge_health(verdict, place, run.returncode)
        else:
            self.judge(verdict, place, run.returncode)
        if struck == 2 and run.returncode == -11:
            verdict.said += IN_LIBCRYPTO
        excuse(verdict)
        return verdict

    def judge(self, verdict, place, code):
        untouched = place.is_untouched()
        state = self.before if untouched else place.state()
        wanted = self.after if code == 0 else self.before
        if code not in (0, 1, 2, 3):
            verdict.faults.append(f"it ended with {code}")
            verdict.end = "aborted"
            wanted = self.after if states.without_leftovers(state) == self.after else self.before
        if state != wanted:
            verdict.leaves = states.without_own_folders(states.without_leftovers(state), "in/box") == states.without_leftovers(wanted)
            if not verdict.leaves and not (code != 0 and self.scene.is_refused(state, self.before, self.after)):
                verdict.faults.append(f"status {code}: {states.differences(wanted, state)}")
        if code != 0 and "memory" not in verdict.said.lower():
            verdict.faults.append("the message does not name the cause")
        if not untouched:
            again = place.run(self.scene.runs(self.scene.next_arguments()))
            if again.returncode not in self.scene.good_next_statuses() or place.state() != self.after:
                verdict.faults.append(f"the next command ends with {again.returncode}: {states.differences(self.after, place.state())}")

    def judge_health(self, verdict, place, code):
        """Beside a sanitizer's allocator the command does not see what is refused, so what comes of it is the library's to say: nothing that a
        sanitizer complains of, and nothing that stops the next command."""
        if code not in (0, 1, 2, 3):
            verdict.faults.append(f"it ended with {code}")
            verdict.end = "aborted"
        complains = any(complaint in verdict.said for complaint in COMPLAINTS)
        if complains and is_of_a_shared_library(verdict.said):
            verdict.excuses.append(ALONE)
        elif complains:
            verdict.faults.append("a sanitizer complains")
        again = place.run(self.scene.runs(self.scene.next_arguments()))
        if again.returncode not in self.scene.good_next_statuses():
            verdict.faults.append(f"the next command ends with {again.returncode}: {again.stderr[-300:]}")

    def sweep(self, jobs, thorough, every, first, tell):
        """Thorough is all of them; otherwise the first of each place, or one of so many places. Of these, those from `first` on."""
        numbers = [number for number in self.numbers(1 if thorough else MOST_PLACES) if number >= first]
        verdicts = []
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            for verdict in pool.map(self.try_one, numbers[::every]):
                verdicts.append(verdict)
                if verdict.faults:
                    tell(verdict)
        return verdicts

    def clean_up(self):
        shutil.rmtree(self.work, ignore_errors=True)


def excuse(verdict):
    kept = []
    for fault in verdict.faults:
        reason = next((reason for found, said, reason in NOT_PROMISED if found in fault and said in verdict.said), None)
        kept += [] if reason else [fault]
        verdict.excuses += [reason] if reason else []
    verdict.faults = kept


def summary(verdicts):
    """As it is kept."""
    excuses = collections.Counter(reason for verdict in verdicts for reason in set(verdict.excuses))
    return {"runs": len(verdicts), "ends": collections.Counter(verdict.end for verdict in verdicts), "leaves": sum(verdict.leaves for verdict in verdicts),
            "wanting": sum(bool(verdict.faults) for verdict in verdicts), "memory_excuses": excuses}
