"""Breakages that nobody can notice, each with the reason: the file `survivors`. It knows a breakage by its file, the text
of its line and what is told of it, so that lines may move.

A paragraph of it is: the file, the line's text, the breakages, each behind a "- ", and the reason in the lines that
follow. What a paragraph leaves out, the one ahead of it has said: a first line that is no file continues the file."""
import re


class Survivors:
    def __init__(self):
        self.reasons = {}
        self.used = set()

    def reason(self, file, text, told):
        key = (file, text, told)
        if key in self.reasons:
            self.used.add(key)
        return self.reasons.get(key)

    def knows(self, mutant):
        return (mutant.file, mutant.text, mutant.told) in self.reasons

    def unused(self, mutants):
        """What is written of files that were looked at, and fits none of their breakages."""
        files = {mutant.file for mutant in mutants}
        there = {(mutant.file, mutant.text, mutant.told) for mutant in mutants}
        return [" | ".join(key) for key in self.reasons if key[0] in files and key not in there]


def read(path):
    survivors = Survivors()
    with open(path, encoding="utf-8") as stream:
        text = re.sub(r"^#.*\n", "", stream.read(), flags=re.M)
    file = None
    for paragraph in re.split(r"\n\s*\n", text.strip()):
        lines = [line.strip() for line in paragraph.split("\n") if line.strip()]
        if not lines:
            continue
        if not lines[1:2] or lines[1].startswith("- "):
            lines.insert(0, file)
        file, line, *rest = lines
        told = [entry[2:] for entry in rest if entry.startswith("- ")]
        reason = " ".join(entry for entry in rest if not entry.startswith("- "))
        if not file or not told or not reason:
            raise SystemExit(f"{path}: a paragraph needs a file, a line, breakages and a reason:\n{paragraph}")
        for entry in told:
            survivors.reasons[file, line, entry] = reason
    return survivors
