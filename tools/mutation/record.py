"""What was tried of each source, kept with the sources, for machines come and go: the file `tried`. It counts for as long as
a source's text and the breakages that the tool finds in it are those that it was written for.

For each source a line with counts, and below it the breakages by the first letters of their digests, in which order they are
tried: what is not listed was noticed, and nothing is known behind the one up to which a source was tried."""
import hashlib
import os
import re
from collections import Counter

ID = 8  # letters of a breakage's digest
IDS_IN_LINE = 14
LISTED = ("hung", "survived", "unreached", "not compiled")
HEADER = re.compile(r"(?P<file>\S+) (?P<stamp>[0-9a-f]{10}), (?:all|up to (?P<bound>[0-9a-f]+)) of \d+: ")
HEAD = """# What ./dev mutate tried, and what came of it; record.py reads and writes it, `./dev mutate --keep` adds to it.
# `--report` shows the counts by room and the breakages that are listed here in words.
"""


def stamp_of(path, mutants):
    """Of a source and all its breakages."""
    with open(path, "rb") as stream:
        sums = hashlib.file_digest(stream, "sha1")
    for mutant in mutants:
        sums.update(mutant.digest().encode())
    return sums.hexdigest()[:10]


class Entry:
    def __init__(self, header):
        self.stamp, self.bound = header["stamp"], header["bound"]
        self.lines = []
        self.statuses = {}

    def take(self, line):
        status, ids = line.strip().split(": ")
        self.statuses.update(dict.fromkeys(ids.split(), status))

    def status(self, mutant):
        name = mutant.digest()[:ID]
        if self.bound and name >= self.bound:
            return None
        return self.statuses.get(name, "killed")


class Record:
    def __init__(self, path):
        self.path = path
        self.entries = {}
        self.current = set()  # files whose text is known to be as it was
        if os.path.exists(path):
            with open(path, encoding="utf-8") as stream:
                self.read(stream)

    def read(self, lines):
        entry = None
        for line in lines:
            if line.startswith("#"):
                continue
            header = HEADER.match(line)
            if header:
                entry = self.entries[header["file"]] = Entry(header)
            else:
                entry.take(line)
            entry.lines.append(line)

    def compare(self, file, stamp):
        if file in self.entries and self.entries[file].stamp == stamp:
            self.current.add(file)

    def status(self, mutant):
        """None where nothing is known of it."""
        return self.entries[mutant.file].status(mutant) if mutant.file in self.current else None

    def replace(self, file, stamp, mutants, status_of, has_reason):
        lines = lines_of(file, stamp, mutants, status_of, has_reason)
        self.entries.pop(file, None)
        self.current.discard(file)
        if lines:
            self.read(lines)
            self.current.add(file)

    def write(self):
        with open(self.path + ".new", "w", encoding="utf-8") as stream:
            stream.write(HEAD)
            for file in sorted(self.entries):
                stream.writelines(self.entries[file].lines)
        os.replace(self.path + ".new", self.path)


def lines_of(file, stamp, mutants, status_of, has_reason):
    listed, counts, bound = {status: [] for status in LISTED}, Counter(), None
    for mutant in sorted(mutants, key=lambda mutant: mutant.digest()):
        status, name = status_of(mutant), mutant.digest()[:ID]
        if status is None:
            bound = name
            break
        if status in listed:
            listed[status].append(name)
        counts["with reason" if status in ("survived", "unreached") and has_reason(mutant) else status] += 1
    if not counts:
        return []
    told = ", ".join(f"{counts[status]} {status}" for status in ("killed", "hung", "with reason", "survived", "unreached", "not compiled"))
    lines = [f"{file} {stamp}, {'up to ' + bound if bound else 'all'} of {len(mutants)}: {told}\n"]
    for status, names in listed.items():
        lines += [f"  {status}: {' '.join(names[i:i + IDS_IN_LINE])}\n" for i in range(0, len(names), IDS_IN_LINE)]
    return lines
