"""Copies of sources that hold all their breakages at once, each of which a number in the environment wakes at run time.
What the compiler takes in no such form is taken out again. Knows nothing of tests."""
import os
import re
import subprocess


class Copy:
    """The text of a copy while it is written, and where in it each point lies."""

    def __init__(self, text, points, numbers):
        self.text, self.numbers = text, numbers
        self.pieces, self.length, self.places = [], 0, []
        regions = {point.region for point in points if point.region}
        # A keyword that goes is a point without a number.
        self.keywords = {region.keyword: region for region in regions}
        ordered = sorted(points, key=lambda point: (point.start, -point.end, point.depth))
        self.put_between(0, len(text), ordered)

    def put(self, piece):
        self.pieces.append(piece)
        self.length += len(piece)

    def put_plain(self, start, end):
        for keyword in sorted(place for place in self.keywords if start <= place < end):
            self.put(self.text[start:keyword])
            word = re.match(r"\w+", self.text[keyword:]).group()
            self.put(self.keywords[keyword].instead)
            start = keyword + len(word)
        self.put(self.text[start:end])

    def put_between(self, start, end, points):
        while points:
            first = points[0]
            inside = [point for point in points[1:] if point.start < first.end]
            points = points[1 + len(inside):]
            self.put_plain(start, first.start)
            self.put_point(first, inside)
            start = first.end
        self.put_plain(start, end)

    def put_point(self, point, inside):
        # One that only begins inside would tear this one apart.
        inside = [other for other in inside if other.end <= point.end]
        numbers = [self.numbers[point] + i for i in range(len(point.told))]
        begin = self.length
        self.put(point.before.format(*numbers))
        self.put_between(point.start, point.end, inside)
        self.put(point.after.format(*numbers))
        self.places.append((begin, self.length, point))

    def result(self):
        return "".join(self.pieces)


def line_starts(text):
    starts = [0]
    for match in re.finditer("\n", text):
        starts.append(match.end())
    return starts


COMPLAINT = re.compile(r"^(?P<file>[^\s:][^:]*):(?P<line>\d+):(?P<column>\d+): (?P<kind>fatal error|error|note): (?P<text>.*)$", re.M)
NOT_CONSTANT = re.compile(r"constexpr|constant expression|not usable in a constant|non-constant|is not constant")


class Schema:
    """A source with its points, of which those are dropped that do not compile."""

    def __init__(self, source_text, points, copy_path, folder):
        """folder: where the compiler runs, to which the names in its complaints are relative."""
        self.text, self.points, self.path, self.folder = source_text, points, copy_path, folder
        self.dropped = []

    def write(self, numbers):
        copy = Copy(self.text, self.points, numbers)
        text = copy.result().encode("latin-1")
        os.makedirs(os.path.dirname(self.path), exist_ok=True)
        try:
            with open(self.path, "rb") as stream:
                if stream.read() == text:
                    return copy
        except FileNotFoundError:
            pass
        with open(self.path, "wb") as stream:
            stream.write(text)
        return copy

    def drop(self, points):
        points = set(points)
        self.dropped += [point for point in self.points if point in points]
        self.points = [point for point in self.points if point not in points]

    def settle(self, numbers, compile_copy, most_tries=40):
        """Compiles until nothing is complained of. compile_copy gives what the compiler said, or None when it was content."""
        for attempt in range(most_tries):
            copy = self.write(numbers)
            said = compile_copy()
            if said is None:
                return True
            doomed = self.blamed(copy, said, attempt)
            if not doomed:
                doomed = set(self.points) if attempt > most_tries - 3 else self.of_functions(copy, said)
            if not doomed:
                doomed = set(self.points)
            if not self.points:
                return False
            self.drop(doomed)
        return False

    def complaints(self, copy, said):
        starts = line_starts(copy.result())
        for match in COMPLAINT.finditer(said):
            if os.path.normpath(os.path.join(self.folder, match["file"])) == self.path and int(match["line"]) <= len(starts):
                yield match["kind"], match["text"], starts[int(match["line"]) - 1] + int(match["column"]) - 1

    def blamed(self, copy, said, attempt):
        """The innermost points around each complaint, and declarations that have to stay constexpr."""
        doomed = set()
        for kind, text, place in self.complaints(copy, said):
            if NOT_CONSTANT.search(text):
                doomed |= self.of_region(copy, place)
            if kind == "note":
                continue
            around = [(last - first, point) for first, last, point in copy.places if first <= place < last]
            around.sort(key=lambda item: item[0])
            doomed |= {point for _, point in around[:1 + attempt // 4]}
        return doomed

    def of_region(self, copy, place):
        """All points of the declaration in which, or on whose line, a place of the copy lies."""
        line = copy.result().count("\n", 0, place)
        return {point for point in self.points if point.region and
                self.text.count("\n", 0, point.region.start) <= line <= self.text.count("\n", 0, point.region.end)}

    def of_functions(self, copy, said):
        """What stands on the lines that are complained of, or a few ahead: better too much than nothing."""
        lines = {copy.result().count("\n", 0, place) for _, _, place in self.complaints(copy, said)}
        return {point for point in self.points
                if any(line - 3 <= self.text.count("\n", 0, point.start) <= line for line in lines)}


def compiler_of(command, folder, launcher):
    """A function that compiles a source's copy as the build will, so that the build finds it in the cache."""
    def run():
        done = subprocess.run(launcher + command, cwd=folder, capture_output=True, text=True, errors="replace", check=False)
        return None if done.returncode == 0 else done.stderr
    return run
