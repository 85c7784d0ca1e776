"""The system calls of an undisturbed run, process by process, as strace tells them."""
import collections
import dataclasses
import os
import re
import subprocess

LINE = re.compile(r"^(?P<time>\d+\.\d+) \[ *(?P<number>\d+)\] (?P<name>\w+)\((?P<rest>.*)$")
RESULT = re.compile(r"= (?P<result>-?\d+|0x[0-9a-f]+|\?)(?:<.*>)?(?: \(.*\)| E[A-Z]+ \(.*\))?(?: \(.*\))?$")
FOLDER = re.compile(r"^(?:AT_FDCWD|\d+)<(?P<folder>[^>]*)>(?:\(deleted\))?")
TEXT = re.compile(r'"(?P<text>(?:[^"\\]|\\.)*)"')

# Their quoted texts are what is moved, not where.
MOVING = {"read", "write", "pread64", "pwrite64", "readlink", "sendfile", "recvmsg", "sendmsg", "memfd_create"}


@dataclasses.dataclass(frozen=True)
class Call:
    process: str  # by descent: "0" is the command, "0.3" its fourth child
    name: str
    number: int  # the kernel's
    nth: int  # of that number in this process
    paths: tuple  # what it names, as strace knows it
    streams: bool  # it is about standard output or error
    pipe: bool
    result: int  # None where it gave none
    arguments: str
    behind_start: bool  # the program's own code is at work: its dynamic linker has ended

    def site(self):
        """What is the same for calls that one place in the program makes, of things of one sort."""
        return self.process, self.name, tuple(generalized(path) for path in self.paths), self.streams


def generalized(path):
    path = re.sub(r"staging-\w{6}", "staging-*", path)
    path = re.sub(r"\.migr-private-\w{6}", ".migr-private-*", path)
    path = re.sub(r"(migr-new-)[0-9a-f]+", r"\1*", path)
    path = re.sub(r"pipe:\[\d+\]", "pipe", path)
    return re.sub(r"\d+", "#", path)


def root_of(lines):
    """The root folder of a process that takes another one: it is its working folder, too."""
    behind_chroot = False
    for line in lines:
        behind_chroot = behind_chroot or line["name"] == "chroot"
        found = behind_chroot and re.match("AT_FDCWD<([^>]*)>", line["rest"])
        if found:
            return found[1]
    return ""


def paths_of(name, arguments, root):
    """The files that a call's arguments name, as the machine knows them."""
    found = []
    folder = FOLDER.match(arguments)
    if folder:
        found.append(folder["folder"])
    if name not in MOVING:
        texts = [match["text"] for match in TEXT.finditer(arguments)]
        texts = texts[:2] if name in ("rename", "renameat", "renameat2", "link", "linkat", "symlink", "symlinkat", "mount") else texts[:1]
        found += [root + text if text.startswith("/") else os.path.join(found[0] if found else "", text) for text in texts if text]
        if folder and len(found) > 1:
            found = found[1:]
    return tuple(path for path in found if not path.startswith(("pipe:", "anon_inode:", "socket:")))


class Process:
    """One process's file of strace."""

    def __init__(self, path):
        self.pid = int(path.rsplit(".", 1)[1])
        with open(path, errors="surrogateescape") as lines:
            self.lines = [match for match in map(LINE.match, lines) if match]

    def children(self):
        for line in self.lines:
            if line["name"] in ("clone", "clone3", "fork", "vfork"):
                result = RESULT.search(line["rest"].rstrip())
                if result and result["result"].isdigit():
                    yield int(result["result"])

    def beginnings(self, program):
        """When it began to run that program, and at which line."""
        for at, line in enumerate(self.lines):
            if line["name"] in ("execve", "execveat") and line["rest"].rstrip().endswith("= 0"):
                yield float(line["time"]), at, line["rest"].startswith(f'"{program}"')


def number_of(result):
    """An umask is told in octal, with a zero ahead; nobody asks for it."""
    if not result or result == "?" or re.match("0[0-7]", result):
        return None
    return int(result, 0)


def calls_of_lines(name, lines, from_start):
    """`from_start`: the program is a new one, so its dynamic linker is at work first."""
    counts = collections.Counter()
    behind_start = not from_start
    root = root_of(lines)
    for line in lines:
        behind_start = behind_start or (line["name"] == "prlimit64" and "RLIMIT_CORE" in line["rest"])
        counts[line["number"]] += 1
        rest = line["rest"].rstrip()
        found = RESULT.search(rest)
        arguments = rest[:found.start()] if found else rest
        result = found and found["result"]
        yield Call(name, line["name"], int(line["number"]), counts[line["number"]], paths_of(line["name"], arguments, root),
                   bool(re.match(r"[12]<", arguments)), bool(re.match(r"\d+<(pipe|anon_inode|socket):", arguments)),
                   number_of(result), arguments[:160], behind_start)


def recorded(command, prefix, **options):
    """Runs a command under strace. Gives its end and all calls of its program's processes, named as strike names them."""
    done = subprocess.run(["strace", "-ff", "-ttt", "-n", "-y", "-qq", "-s", "200", "-o", prefix, *command], capture_output=True, **options)
    folder, stem = os.path.split(prefix)
    traces = [os.path.join(folder, name) for name in os.listdir(folder) if name.startswith(stem + ".")]
    processes = {process.pid: process for process in map(Process, traces)}
    for trace in traces:
        os.unlink(trace)
    return done, list(calls_of(processes, command[0]))


def calls_of(processes, program):
    begun = sorted((time, pid, at) for pid, process in processes.items() for time, at, ours in process.beginnings(program) if ours)
    waiting = []
    for number, (_, pid, at) in enumerate(begun):
        waiting.append((str(number), pid, at + 1, True))
    while waiting:
        name, pid, at, from_start = waiting.pop(0)
        process = processes[pid]
        lines = process.lines[at:]
        later = [line for line in lines if line["name"] == "execve" and line["rest"].rstrip().endswith("= 0")]
        if later:
            lines = lines[:lines.index(later[0])]
        yield from calls_of_lines(name, lines, from_start)
        number = 0
        for line in lines:
            if line["name"] in ("clone", "clone3", "fork", "vfork"):
                result = RESULT.search(line["rest"].rstrip())
                if result and result["result"].isdigit() and int(result["result"]) in processes:
                    waiting.append((f"{name}.{number}", int(result["result"]), 0, False))
                    number += 1
