"""The power goes: what had reached the disk by then is all that the next command finds.

The appliance lies on an ext4 in a file. Its journal is written out by nothing but the command's own syncs: commits by time
are put off, a run is over before dirty pages are old enough to be written back, and data is not ordered ahead of the
journal (data=writeback, noauto_da_alloc), so that what was not synced itself is not there. At each call that writes, the
file is kept as it is then, and each state of it is mounted later on.
"""
import ctypes
import mmap
import os
import pathlib
import random
import shutil
import socket
import subprocess
import tempfile

import states

MEBIBYTE = 1 << 20
DISK_SIZE = 12 * MEBIBYTE
BLOCK = 4096
OPTIONS = "loop,noatime,commit=100000,data=writeback,noauto_da_alloc"

# x86-64's numbers of the calls that change something on a disk, or write it out.
WRITING = (1, 18, 40, 74, 75, 76, 77, 82, 83, 84, 86, 87, 88, 90, 91, 92, 93, 94, 162, 190, 257, 258, 260, 263, 264, 265, 266, 268, 277, 280, 285, 316, 326)
SYNCS = (74, 75, 277)

# The block that ends a transaction in the journal: a disk writes it behind all others, since it is sent with a barrier.
COMMIT_BLOCK = bytes.fromhex("c03b399800000002")


class NoDisks(Exception):
    """This machine lets nobody mount."""


def enter_own_mounts():
    """Mounts of this process are nobody else's from here on, and go with it."""
    new_namespace = 0x00020000
    if os.geteuid() != 0 or ctypes.CDLL(None, use_errno=True).unshare(new_namespace) != 0:
        raise NoDisks("not root, or no mount namespaces")
    if subprocess.run(["mount", "--make-rprivate", "/"], capture_output=True).returncode != 0:
        raise NoDisks("the root folder is no mount, as where it was changed")


class Disk:
    """A file with an ext4, mounted while it is used."""

    def __init__(self, file, where):
        self.file = file
        self.where = where

    def __enter__(self):
        os.makedirs(self.where, exist_ok=True)
        done = subprocess.run(["mount", "-t", "ext4", "-o", OPTIONS, self.file, self.where], capture_output=True, text=True)
        if done.returncode != 0:
            raise NoDisks(done.stderr.strip())
        return self

    def __exit__(self, *_):
        subprocess.run(["umount", self.where], check=True)


def make_disk(file):
    with open(file, "wb") as disk:
        disk.truncate(DISK_SIZE)
    subprocess.run(["mkfs.ext4", "-q", "-F", "-b", str(BLOCK), "-O", "metadata_csum", "-E", "lazy_itable_init=0,lazy_journal_init=0", file], check=True,
                   capture_output=True)


class States:
    """The states that the disk's file went through, each once."""

    def __init__(self, file):
        self.file = file
        self.kept = []

    def keep(self, label):
        with open(self.file, "rb") as disk, mmap.mmap(disk.fileno(), 0, prot=mmap.PROT_READ) as now:
            if self.kept and self.kept[-1][1] == now[:]:
                return
            self.kept.append((label, now[:]))


def torn(before, after, chance):
    """`before` with some of the blocks of `after`: those that a disk had taken up when the power went in the middle."""
    blocks = [at for at in range(0, len(after), BLOCK) if before[at:at + BLOCK] != after[at:at + BLOCK]]
    state = bytearray(before)
    for at in blocks:
        if not after[at:].startswith(COMMIT_BLOCK) and chance.random() < 0.5:
            state[at:at + BLOCK] = after[at:at + BLOCK]
    return bytes(state)


class Loss:
    """One command on such a disk."""

    def __init__(self, scene, strike, work):
        self.scene = scene
        self.strike = strike
        self.work = tempfile.mkdtemp(prefix="power-", dir=work)
        self.where = os.path.join(self.work, "disk")
        self.template = os.path.join(self.work, "template")
        make_disk(self.template)
        with Disk(self.template, self.where):
            scene.lay_out(os.path.join(self.where, "scene"))
            self.before = self.state()
        self.after = self.undisturbed()

    def folder(self):
        return os.path.join(self.where, "scene")

    def state(self):
        found = states.look(self.folder())
        return states.comparable(states.without_own_folders(found, "in/box"), self.folder())

    def run(self, arguments):
        return subprocess.run(self.scene.runs(arguments), cwd=self.folder(), env=self.scene.environment(self.folder()), capture_output=True, text=True,
                              stdin=subprocess.DEVNULL)

    def undisturbed(self):
        file = self.copy_of_template()
        with Disk(file, self.where):
            done = self.run(self.scene.arguments())
            if done.returncode != 0:
                raise RuntimeError(done.stderr)
            return self.state()

    def copy_of_template(self):
        return shutil.copy(self.template, os.path.join(self.work, "used"))

    def states_of_run(self, skips=lambda path: False):
        """Each state of the disk from the first call that writes to behind the command's end. `skips` says of which
        files a sync is to do nothing."""
        file = self.copy_of_template()
        found = States(file)
        ours, theirs = socket.socketpair()
        with Disk(file, self.where):
            command = [self.strike, "--watch", str(theirs.fileno()), ",".join(map(str, WRITING)), *self.scene.runs(self.scene.arguments())]
            process = subprocess.Popen(command, cwd=self.folder(), env=self.scene.environment(self.folder()), pass_fds=[theirs.fileno()],
                                       stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
            theirs.close()
            calls = 0
            with ours.makefile("r") as lines:
                for line in lines:
                    name, pid, call, argument = line.split()
                    calls += 1
                    found.keep(f"ahead of call {calls}, number {call} of process {name}")
                    ours.send(b"s" if int(call) in SYNCS and skips(path_of(pid, argument)) else b"g")
            process.communicate()
            found.keep("behind the command's end")
            final = found.kept[-1][1]
        return calls, found.kept, final

    def faults_of(self, disk, is_done):
        """What does not hold when that is what was on the disk. `is_done`: the command had said that all is done."""
        file = os.path.join(self.work, "tried")
        pathlib.Path(file).write_bytes(disk)
        with Disk(file, self.where):
            faults = self.damaged_files()
            if is_done and states.without_leftovers(self.state()) != self.after:
                faults.append(f"done, and lost: {states.differences(self.after, self.state())}")
            done = self.run(self.scene.next_arguments())
            if done.returncode not in self.scene.good_next_statuses():
                faults.append(f"the next command ends with {done.returncode}: {done.stderr[-300:]}")
            elif self.state() != self.after:
                faults.append(f"behind the next command: {states.differences(self.after, self.state())}")
        return faults

    def damaged_files(self):
        """Stored files that are neither old nor new."""
        state = self.state()
        return [f"neither old nor new: {path}" for path, what in state.items()
                if path.startswith("in/box/data/config/") and path.endswith("conf.gz") and what not in (self.before.get(path), self.after.get(path))
                and not states.LEFTOVER.search(path)]

    def clean_up(self):
        shutil.rmtree(self.work, ignore_errors=True)


def path_of(pid, descriptor):
    try:
        return os.readlink(f"/proc/{pid}/fd/{descriptor}")
    except OSError:
        return ""


def tried_disks(kept, torn_per_step):
    """The states of the disk as they were, and between two of them some that a disk may have had."""
    chance = random.Random(1)
    for number, (label, disk) in enumerate(kept):
        yield label, disk, number == len(kept) - 1
        if number > 0:
            for _ in range(torn_per_step):
                yield f"in the middle, {label}", torn(kept[number - 1][1], disk, chance), False


def sweep(loss, torn_per_step=2, tell=print):
    """Gives how many calls there were, disks that were tried, and those that were found wanting."""
    calls, kept, _ = loss.states_of_run()
    tried = wanting = 0
    for label, disk, is_done in tried_disks(kept, torn_per_step):
        tried += 1
        faults = loss.faults_of(disk, is_done)
        wanting += bool(faults)
        if faults:
            tell(f"  {label}: {'; '.join(faults)}")
    return calls, len(kept), tried, wanting


def finds_missing_syncs(loss):
    """That it can fail: a command whose new files are not synced loses some, and that is found."""
    _, kept, _ = loss.states_of_run(skips=lambda path: ".migr-new-" in path)
    return any(loss.faults_of(disk, number == len(kept) - 1) for number, (_, disk) in enumerate(kept))
