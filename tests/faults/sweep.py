"""One blow after another: a run each, and what is found behind it."""
import collections
import concurrent.futures
import dataclasses
import errno
import os
import re
import shutil
import subprocess
import tempfile
import threading

import calls
import errors
import states


@dataclasses.dataclass
class Verdict:
    call: calls.Call
    blow: str
    error: int  # errno, or None
    end: str  # "done", "refused", "killed", "passed": the call was not reached; "late"
    faults: list  # what does not hold
    said: str
    leaves: bool = False  # something of the command's own stayed, which the next one removes
    excuses: list = dataclasses.field(default_factory=list)  # why what does not hold is not promised

    def kind(self):
        """The column that it counts in."""
        return errno.errorcode[self.error] if self.error else self.blow.split("=")[0]

    def excuse(self):
        reasons = {fault: errors.why_not_promised(self.call, fault) for fault in self.faults}
        self.faults = [fault for fault, reason in reasons.items() if not reason]
        self.excuses = sorted({reason for reason in reasons.values() if reason})


class Undisturbed(Exception):
    """A run without any blow that goes wrong, or that comes out otherwise than the one before."""


class Place:
    """A folder of one worker's, where the scene is laid out again only if a run has changed something."""

    def __init__(self, scene, template, folder):
        self.scene = scene
        self.template = template
        self.folder = folder
        self.marks = None

    def lay_out(self):
        if self.marks is not None and marks_of(self.folder) == self.marks:
            return
        if os.path.exists(self.folder):
            shutil.rmtree(self.folder)
        subprocess.run(["cp", "-a", self.template, self.folder], check=True)
        self.marks = marks_of(self.folder)

    def is_untouched(self):
        return marks_of(self.folder) == self.marks

    def run(self, command, timeout=120, environment=None):
        return subprocess.run(command, cwd=self.folder, env=environment or self.scene.environment(self.folder), stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=timeout, errors="replace", text=True)

    def state(self):
        return states.comparable(states.without_own_folders(states.look(self.folder), "in/box"), self.folder)


def marks_of(folder):
    """What tells that nothing was touched since."""
    marks = {}
    for where, folders, files in os.walk(folder):
        for name in folders + files:
            status = os.lstat(os.path.join(where, name))
            marks[os.path.join(where, name)] = (status.st_ino, status.st_ctime_ns, status.st_mode)
    return marks


class Rehearsal:
    """A scene as it is laid out, and a place of it for each thread."""

    def __init__(self, scene, work, prefix):
        self.scene = scene
        self.work = tempfile.mkdtemp(prefix=prefix, dir=work)
        self.template = os.path.join(self.work, "template")
        scene.lay_out(self.template)
        self.local = threading.local()

    def place(self):
        if not hasattr(self.local, "place"):
            self.local.place = Place(self.scene, self.template, tempfile.mkdtemp(prefix="place-", dir=self.work) + "/scene")
        return self.local.place


class Sweep(Rehearsal):
    def __init__(self, scene, strike, work):
        super().__init__(scene, work, "sweep-")
        self.strike = strike
        self.measure()

    def measure(self):
        """The undisturbed run, twice: once to hold others against it, once under strace."""
        place = self.place()
        place.lay_out()
        self.before = place.state()
        self.names = {os.path.basename(path) for path in self.before if path.endswith(".gz")}
        first = place.run(self.scene.runs(self.scene.arguments()))
        self.after = place.state()
        if first.returncode != 0:
            raise Undisturbed(f"{self.scene.name()} ends with {first.returncode}: {first.stderr}")
        if self.before == self.after:
            raise Undisturbed(f"{self.scene.name()} changes nothing")
        place.lay_out()
        traced, self.calls = calls.recorded(self.scene.runs(self.scene.arguments()), os.path.join(self.work, "trace"), cwd=place.folder,
                                            env=self.scene.environment(place.folder), stdin=subprocess.DEVNULL)
        other = states.differences(self.after, place.state())
        if traced.returncode != 0 or other:
            raise Undisturbed(f"{self.scene.name()} under strace: {traced.returncode}, {other}, {traced.stderr}")

    def blows(self, thorough):
        """Each call that is tried with what is done to it; and the calls left out, by reason. Thorough is all of all calls;
        otherwise three calls of a site, each with one error and one end, in turn."""
        left_out = collections.Counter(filter(None, map(errors.why_not_tried, self.calls)))
        tried = [call for call in self.calls if not errors.why_not_tried(call)]
        blows = []
        for number, call in enumerate(tried if thorough else first_middle_last(tried)):
            failures = [(call, blow, error) for blow, error in errors.blows_of(call)]
            ends = [(call, errors.KILL, None)] + ([(call, errors.KILL_ONE, None)] if "." in call.process else [])
            blows += failures + ends if thorough else in_turn(failures, number) + in_turn(ends, number)
        return blows, left_out

    def try_one(self, blow_of_call):
        call, blow, error = blow_of_call
        place = self.place()
        place.lay_out()
        command = [self.strike, call.process, str(call.number), str(call.nth), blow, *self.scene.runs(self.scene.arguments())]
        run = place.run(command)
        told = run.stdout.rstrip().rsplit("\n", 1)[-1].split()
        verdict = Verdict(call, blow, error, "", [], run.stdout + run.stderr + self.scene.also_said(place.folder))
        if told[:1] not in (["struck"], ["passed"]):
            verdict.faults.append(f"strike: {run.returncode} {run.stdout[-200:]} {run.stderr[-200:]}")
            return verdict
        self.judge(verdict, place, struck=told[0] == "struck", late="late" in told, status=int(told[-1]))
        verdict.excuse()
        return verdict

    def judge(self, verdict, place, struck, late, status):
        if late:
            verdict.end = "late"
            verdict.faults.append("it did not end")
            return
        killed = verdict.blow == errors.KILL and struck
        code = os.waitstatus_to_exitcode(status)
        verdict.end = "passed" if not struck else "killed" if killed else "done" if code == 0 else "refused"
        if code < 0 and not killed:
            verdict.faults.append(f"it died of signal {-code}")
        untouched = place.is_untouched()
        state = self.before if untouched else place.state()
        if not killed:
            self.judge_end(verdict, code, state)
        if not untouched:
            self.judge_next(verdict, place)

    def judge_end(self, verdict, code, state):
        if code == 0 and state != self.after and states.without_leftovers(state) == self.after:
            verdict.leaves = True
        elif code == 0 and state != self.after:
            verdict.faults.append(f"status 0, and not all is new: {states.differences(self.after, state)}")
        elif code != 0 and state != self.before and states.without_own_folders(states.without_leftovers(state), "in/box") == self.before:
            verdict.leaves = True
        elif code != 0 and self.scene.is_refused(state, self.before, self.after):
            pass
        elif code != 0 and state != self.before:
            new = " (all is new)" if state == self.after else ""
            verdict.faults.append(f"status {code}, and not all is old{new}: {states.differences(self.before, state)}")
        if code not in (0, 1, 2, 3):
            verdict.faults.append(f"status {code}")
        if code != 0 and verdict.error:
            verdict.faults += message_faults(verdict, self.names)

    def judge_next(self, verdict, place):
        run = place.run(self.scene.runs(self.scene.next_arguments()))
        if run.returncode not in self.scene.good_next_statuses():
            verdict.faults.append(f"the next command ends with {run.returncode}: {run.stderr[-300:]}")
            return
        found = place.state()
        if found != self.after:
            verdict.faults.append(f"behind the next command: {states.differences(self.after, found)}")

    def run(self, jobs, thorough, every, tell):
        """Tries one blow of so many, and gives what came of them and the calls left out."""
        blows, left_out = self.blows(thorough)
        verdicts = []
        with concurrent.futures.ThreadPoolExecutor(jobs) as pool:
            for verdict in pool.map(self.try_one, blows[::every]):
                verdicts.append(verdict)
                if verdict.faults:
                    tell(verdict)
        return verdicts, left_out

    def clean_up(self):
        shutil.rmtree(self.work, ignore_errors=True)


def in_turn(choices, number):
    return [choices[number % len(choices)]] if choices else []


def first_middle_last(all_calls):
    """Of the calls of each site three at most."""
    sites = collections.defaultdict(list)
    for call in all_calls:
        sites[call.site()].append(call)
    chosen = set()
    for site in sites.values():
        chosen |= {site[0], site[len(site) // 2], site[-1]}
    return [call for call in all_calls if call in chosen]


# They are about the process, not about the file that strace names.
UNNAMED = {"getcwd", "dup2", "fcntl", "fchdir", "chdir", "fstatfs"}


def is_private(path, call):
    """In a private copy. A path without a slash ahead is so, too, of a child, which is in its root folder."""
    is_relative_to_root = "." in call.process and not path.startswith("/")
    return is_relative_to_root or re.search(r"/staging-|/\.migr-private-", path) is not None


def message_faults(verdict, names):
    """A refusal names what the system said, and the file that it was about: in a private copy one of the configuration
    files, whatever the work on them is called there."""
    faults = []
    if os.strerror(verdict.error) not in verdict.said:
        faults.append("the message does not name the cause")
    paths = [path for path in verdict.call.paths if not path.startswith("/proc/") and not path.startswith("/memfd:")]
    private = any(is_private(path, verdict.call) for path in paths)
    told = [part for path in paths for part in names_in(path)] + list(names | {"private copy", "throw-away appliance"} if private else ())
    told.append("cannot copy all of it")  # of an appliance that is named: the library of archives goes on, and does not say where it was
    if paths and verdict.call.name not in UNNAMED and not any(part in verdict.said for part in told):
        faults.append("the message does not name the file")
    return faults


def names_in(path):
    """A file's name, or that of the folder it lies in; of names that are made for a while, the one that they stand for."""
    parts = [re.sub(r"\.new(-\w+)*$", "", part) for part in path.split("/") if part]
    yield from (part for part in parts[-3:] if part and not states.STAMP.search(part))
