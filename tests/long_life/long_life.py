#!/usr/bin/env python3
"""long_life.py [--long]: what wears out or grows. Upgrades and rollbacks of one appliance in turn, which must give the same
bytes each time; files with very many entries, very deep or very long, for which time and memory may grow no faster than the
file. `./dev endure` takes the long forms, the tests short ones. MIGR names the command."""
import gzip
import os
import pathlib
import re
import resource
import shutil
import subprocess
import sys
import tempfile
import unittest

PROJECT = pathlib.Path(__file__).resolve().parent.parent.parent
MIGR = os.environ["MIGR"]
IMAGE = pathlib.Path(MIGR).parent / "image"
HEADERS = "#config-version=QA-A1X-5.50-FW-build0100-200101:opmode=0:vdom=0:user=admin\n#conf_file_ver=1\n"
LONG = "--long" in sys.argv


def migr(*arguments):
    return subprocess.run([MIGR, *map(str, arguments)], capture_output=True, text=True, errors="replace")


def tree_of(root):
    """All files but migr's own, by path."""
    own = root / "var/lib/migr"
    return {path: (path.lstat().st_mode, path.read_bytes() if path.is_file() else b"")
            for path in sorted(root.rglob("*")) if own not in [path, *path.parents] and path != own.parent}


def upgraded_tree_of(root):
    """The same with texts unpacked, in which entries are called after the clock."""
    def text(path, content):
        content = gzip.decompress(content) if path.suffix == ".gz" and content else content
        return re.sub(rb"gen_edt_[0-9]+", b"gen_edt", content)
    return {path: (mode, text(path, content)) for path, (mode, content) in tree_of(root).items()}


def used_for(*command):
    """Processor time and memory of a command and its children, with its exit status and what it said."""
    with tempfile.TemporaryFile() as said:
        process = subprocess.Popen([str(part) for part in command], stdout=subprocess.DEVNULL, stderr=said)
        _, status, used = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        said.seek(0)
        # The library's process is a child of its own, whose memory is the greater.
        memory = max(used.ru_maxrss, resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)
        return process.returncode, said.read().decode(errors="replace"), used.ru_utime + used.ru_stime, memory / 1024


class LongLife(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="long-life-"))
        self.addCleanup(shutil.rmtree, self.folder)

    def write(self, name, parts):
        path = self.folder / name
        with gzip.open(path, "wt", compresslevel=1) as stream:
            stream.write(HEADERS)
            stream.writelines(parts)
        return path

    def convert(self, path):
        """In a process of its own, so that the most memory of one conversion is not that of the one before."""
        code = ("import sys; sys.argv = ['', '--long']; sys.path.insert(0, %r); import long_life; "
                "print(repr(long_life.used_for(*%r)))")
        command = [MIGR, "convert", "--image", str(IMAGE), str(path), "-o", str(self.folder / "out.gz"), "--force"]
        done = subprocess.run([sys.executable, "-c", code % (str(pathlib.Path(__file__).parent), command)], check=True,
                              capture_output=True, text=True)
        return eval(done.stdout)

    def entries(self, count):
        yield "config server-policy server-pool\n"
        for number in range(count):
            yield f'    edit "pool {number}"\n        set comment "one of very many"\n    next\n'
        yield "end\n"

    def test_upgrades_and_rollbacks_in_turn(self):
        root = self.folder / "root"
        subprocess.run([PROJECT / "samples/lay_out", "branch-office-5.50", root], check=True)
        (root / "data/etc/key.secret").unlink(missing_ok=True)  # keys would get another salt each time
        before, upgraded = tree_of(root), None
        for turn in range(100 if LONG else 4):
            run = migr("upgrade", "--image", IMAGE, root)
            self.assertEqual(run.returncode, 0, run.stderr)
            self.assertNotEqual(tree_of(root), before)
            upgraded = upgraded or upgraded_tree_of(root)
            self.assertTrue(upgraded_tree_of(root) == upgraded, f"upgrade {turn}")
            run = migr("rollback", root)
            self.assertEqual(run.returncode, 0, run.stderr)
            self.assertTrue(tree_of(root) == before, f"rollback {turn}")

    def test_very_many_entries(self):
        most = 1_000_000 if LONG else 60_000
        results = [self.convert(self.write(f"{count}.conf.gz", self.entries(count))) for count in (most // 4, most)]
        (status, said, time, memory), (status_of_most, _, time_of_most, memory_of_most) = results
        self.assertEqual((status, status_of_most), (0, 0), said)
        print(f"{most:,} entries: {time_of_most:.1f} s, {memory_of_most:.0f} MB; "
              f"to a quarter of them: {time_of_most / time:.1f}, {memory_of_most / memory:.1f}")
        self.assertLess(memory_of_most / memory, 5)
        self.assertLess(time_of_most / time, 8)  # the machine's own memory gets slower, too: docs/performance.md

    def test_very_deep(self):
        """Each level is indented further, so that the text is as long as the square of its depth."""
        depth = 100_000
        inner = "config a\nedit 1\n" * (depth // 2)
        status, said, time, memory = self.convert(self.write("deep.conf.gz", [inner, "next\nend\n" * (depth // 2)]))
        print(f"{depth:,} levels: {time:.1f} s, {memory:.0f} MB, exit {status}")
        self.assertNotEqual(status, 0)
        self.assertIn("deep.conf.gz", said)
        self.assertIn("not upgraded", said)

    @unittest.skipUnless(LONG, "takes eight gigabytes of memory and some minutes")
    def test_very_long(self):
        status, said, time, memory = self.convert(self.write("long.conf.gz", self.entries(11_500_000)))
        print(f"1 GB: {time:.0f} s, {memory:.0f} MB, exit {status}")
        self.assertEqual(status, 0, said[-1000:])


if __name__ == "__main__":
    unittest.main(argv=[argument for argument in sys.argv if argument != "--long"])
