#!/usr/bin/env python3
"""Whole fleets: who is done, who is not and why, and what is left of one that was cut off. MIGR=COMMAND whole.py

MIGR_FLEET_SIZE: how many appliances the made-up corpus has; a third of them are damaged.
"""
import collections
import fcntl
import gzip
import html.parser
import json
import os
import pathlib
import random
import shutil
import signal
import subprocess
import time
import urllib.parse

from support import (DOMAIN, GLOBAL, HEADERS, MIGR, PROJECT, TEXTS, FleetTest, files, lines_of, main, migr, packed, tree_of,
                     write_folder, write_tar, write_zip)

SIZE = int(os.environ.get("MIGR_FLEET_SIZE", "30"))
PATIENCE = 60  # seconds

# What came of an appliance with that damage, and what the summary says of it; None where nothing stands in the way.
OUTCOMES = {
    "no-value": ("refused", "`set` without a value in"),
    "cut-gzip": ("refused", "a gzip file that breaks off or is damaged"),
    "wrong-checksum": ("refused", "a gzip file whose sum is wrong"),
    "cut-archive": ("refused", "The archive is damaged"),
    "no-archive": ("refused", "The archive is damaged, or none"),
    "end-missing": ("refused", " in "),
    "end-extra": ("refused", "an `end` or `next` that closes nothing in"),
    "release-newer": ("current", None),
    "member-outside": ("refused", "leads out"),
    "member-link": ("refused", "is a link"),
    "member-device": ("refused", "is a device"),
    "no-version-line": ("refused", "version line"),
    "release-unknown": ("refused", "names no release"),
    "missing-global": ("refused", "/data/config/sys_global.conf.gz is not there"),
    "missing-domain": ("upgraded", None),
    "nul": ("refused", "a NUL in"),
    "open-value": ("refused", "a value whose quote does not close in"),
    "second-header": ("refused", "a second header line in"),
    "unknown-word": ("refused", "a line that begins with no word of the language in"),
    "empty-file": ("refused", None),
}


class Corpus(FleetTest):
    def test_each_appliance_comes_to_what_it_should(self):
        shutil.rmtree(self.saved)
        subprocess.run([PROJECT / "tools/make_corpus", self.saved, "--count", str(SIZE), "--damaged", str(SIZE // 3)], check=True)
        manifest = json.loads((self.saved / "MANIFEST.json").read_text())["appliances"]
        (self.saved / "MANIFEST.json").unlink()
        before = tree_of(self.saved)
        run = self.upgrade("--all", status=1)
        self.assertEqual(tree_of(self.saved), before, "what is saved is never written to")
        found = {line["entry"]: line for line in lines_of(self.out)}
        self.assertEqual(len(lines_of(self.out)), len(manifest))
        self.assertEqual(set(found), {one["name"] for one in manifest})
        for one in manifest:
            with self.subTest(one["name"], damage=one["damage"]):
                self.expect_outcome(one, found[one["name"]], run.stdout)
        counts = collections.Counter(line["result"] for line in found.values())
        self.assertIn(f'{counts["upgraded"]} upgraded, {counts["current"]} current, {counts["refused"]} refused, '
                      f'{counts["failed"]} failed.', run.stdout)
        self.assertEqual(counts["failed"], 0)

    def expect_outcome(self, one, line, summary):
        is_current = one["release"] == "6.21"
        end, said = OUTCOMES.get(one["damage"], ("upgraded", None))
        if is_current and (not said or " in" in said):  # nobody looks for damage in the text of what is not upgraded
            end, said = "current", None
        self.assertEqual(line["result"], end, line["findings"])
        if said:
            causes = [finding["cause"] for finding in line["findings"] if finding["reason"]]
            self.assertTrue(any(said in cause for cause in causes), causes)
            self.assertTrue(any(said in told for told in summary.splitlines()), summary)
        answer = json.loads((self.out / "answers" / f"{one['name']}.json").read_text())
        self.assertEqual(answer["result"], end)
        made = self.out / "appliances" / one["name"]
        self.assertEqual(made.exists(), end != "refused")
        if end == "refused":
            return
        self.assertEqual(line["output"], f"appliances/{one['name']}")
        self.assertEqual(made.is_dir(), one["form"] == "folder" or one["form"].startswith("conf") and float(one["release"]) < 5.1)
        if end == "upgraded":
            ledger = json.loads(gzip.open(self.out / "ledgers" / f"{one['name']}.json.gz").read())
            self.assertEqual(sum(file["account"]["unexplained"] for file in ledger["files"] if file["account"]), 0)
            self.assertEqual(sum(file["account"]["in"]["dropped"] for file in ledger["files"] if file["account"]), line["dropped"])


class Small(FleetTest):
    """A few small appliances, in all forms, sound and not."""

    def setUp(self):
        super().setUp()
        write_folder(self.saved / "a", files())
        write_tar(self.saved / "b.tar", files())
        write_zip(self.saved / "c.zip", files())
        (self.saved / "d.conf.gz").write_bytes(packed(TEXTS[DOMAIN]))
        (self.saved / "e.conf").write_text(HEADERS + "config waf signature\n  set x\nend\n")

    names = ["a", "b.tar", "c.zip", "d.conf.gz", "e.conf"]

    def entries(self):
        return sorted(line["entry"] for line in lines_of(self.out))


class Resumed(Small):
    def test_nothing_is_done_twice(self):
        self.upgrade(status=1)
        lines = (self.out / "fleet.jsonl").read_bytes()
        made = tree_of(self.out / "appliances")
        run = self.upgrade("--resume", status=1)
        self.assertIn("Done before, and left as they are: 5.", run.stdout)
        self.assertEqual((self.out / "fleet.jsonl").read_bytes(), lines)
        self.assertEqual(tree_of(self.out / "appliances"), made)

    def test_what_a_killed_job_left_goes(self):
        self.upgrade(status=1)
        left = self.out / ".fleet/.migr-private-abcdef"
        (left / "copy").mkdir(parents=True)
        self.upgrade("--resume", status=1)
        self.assertFalse(left.exists())

    def test_what_changed_since_is_done_again(self):
        self.upgrade(status=1)
        (self.saved / "e.conf").write_text(TEXTS[DOMAIN])
        (self.saved / "a/etc/kept").write_text("something else")
        run = self.upgrade("--resume")
        self.assertIn("Done before, and left as they are: 3.", run.stdout)
        self.assertEqual(sorted(line["entry"] for line in lines_of(self.out)[5:]), ["a", "e.conf"])
        self.assertIn("5 upgraded, 0 current, 0 refused", run.stdout)

    def test_other_options_are_another_result(self):
        self.upgrade(status=1)
        self.upgrade("--resume", "--accept-damage", status=1)
        self.assertEqual(len(lines_of(self.out)), 10)

    def test_a_result_that_is_no_longer_one_goes(self):
        self.upgrade(status=1)
        (self.saved / "d.conf.gz").write_bytes(b"no gzip file")
        self.upgrade("--resume", status=1)
        self.assertFalse((self.out / "appliances/d.conf.gz").exists())

    def test_without_it_results_are_left_alone(self):
        self.upgrade(status=1)
        run = self.upgrade(status=2)
        self.assertIn("--resume", run.stderr)

    def test_a_line_that_is_none_is_named(self):
        self.upgrade(status=1)
        with open(self.out / "fleet.jsonl", "a") as lines:
            lines.write("no result\n")
        for command in (["fleet", "summary", self.out], ["fleet", "upgrade", self.saved, self.out, "--resume"]):
            run = migr(*command)
            self.assertEqual(run.returncode, 2)
            self.assertIn(f"{self.out}/fleet.jsonl:6: This is no line of results", run.stderr)

    def test_a_part_that_is_upgraded_is_not_all(self):
        for path in self.saved.iterdir():
            shutil.rmtree(path) if path.is_dir() else path.unlink()
        write_folder(self.saved / "a", files(and_also={DOMAIN: b"no gzip file"}))
        run = self.upgrade("--partial", status=1)
        self.assertIn("1 upgraded, 0 current, 0 refused, 0 failed.", run.stdout)
        self.assertIn("It is no gzip file: 1 appliance, first a", run.stdout)
        self.assertEqual(migr("fleet", "one", self.saved / "a", self.out, "--partial").returncode, 1)

    def test_a_line_that_breaks_off_is_none(self):
        self.upgrade(status=1)
        whole = (self.out / "fleet.jsonl").read_bytes()
        (self.out / "fleet.jsonl").write_bytes(whole[:-20])
        self.upgrade("--resume", status=1)
        self.assertEqual(self.entries(), self.names)


class Stopped(Small):
    def start(self, *options):
        return subprocess.Popen([MIGR, "fleet", "upgrade", self.saved, self.out, *options], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                text=True)

    def many(self, count):
        for number in range(count):
            write_tar(self.saved / f"many-{number:02}.tar", files(and_also={"etc/number": str(number).encode()}))
        self.names = sorted(path.name for path in self.saved.iterdir())

    def wait_for_lines(self, count):
        end = time.monotonic() + PATIENCE
        while not (self.out / "fleet.jsonl").exists() or len((self.out / "fleet.jsonl").read_bytes().splitlines()) < count:
            self.assertLess(time.monotonic(), end)
            time.sleep(0.005)

    def wait_until_free(self):
        """Until no process of that fleet is left."""
        with open(self.out / "probe", "w"):
            folder = os.open(self.out, os.O_RDONLY)
        end = time.monotonic() + PATIENCE
        while True:
            try:
                fcntl.flock(folder, fcntl.LOCK_EX | fcntl.LOCK_NB)
                os.close(folder)
                (self.out / "probe").unlink()
                return
            except BlockingIOError:
                self.assertLess(time.monotonic(), end)
                time.sleep(0.02)

    def expect_whole(self):
        self.assertEqual(self.entries(), self.names, "none is lost and none is doubled")
        self.assertEqual(sorted(path.name for path in (self.out / "appliances").iterdir()),
                         [name for name in self.names if name != "e.conf"])
        left = [path.name for path in (self.out / ".fleet").iterdir()]
        self.assertEqual(sorted(left), ["jobs", "log"])

    def test_killed_at_any_time_loses_nothing(self):
        self.many(12)
        chance = random.Random(7)
        for lines in (0, 2, 5, 9):
            run = self.start("--resume")
            if lines:
                self.wait_for_lines(lines)
            else:
                time.sleep(chance.random() / 5)
            run.kill()
            run.communicate()
            if self.out.exists():
                self.wait_until_free()
        self.upgrade("--resume", status=1)
        self.expect_whole()

    def test_a_job_that_is_killed_fails_alone(self):
        slow = files(and_also={GLOBAL: packed(HEADERS + 'config system global\nend\nconfig system dns\n' + "".join(
            f'  edit "n{number}"\n    set a "{number}"\n  next\n' for number in range(30_000)) + "end\n")})
        write_folder(self.saved / "slow", slow)
        run = self.start()
        end = time.monotonic() + PATIENCE
        while subprocess.run(["pkill", "-KILL", "-f", f"fleet one.*{self.saved}/slow "]).returncode != 0:
            self.assertLess(time.monotonic(), end)
            time.sleep(0.01)
        out, err = run.communicate()
        self.assertEqual(run.returncode, 1, err)
        self.assertIn("1 failed.", out)
        self.assertIn("Its process was ended by a signal (Killed)", out)
        self.wait_until_free()
        self.upgrade("--resume", status=1)
        self.names = self.names + ["slow"]
        self.assertEqual([line["result"] for line in lines_of(self.out) if line["entry"] == "slow"], ["failed", "upgraded"])

    def test_a_signal_ends_it_cleanly(self):
        self.many(12)
        run = self.start("--jobs", "1")
        self.wait_for_lines(3)
        run.send_signal(signal.SIGINT)
        _, err = run.communicate()
        self.assertEqual(run.returncode, 3, err)
        self.assertIn(f"Go on with: migr fleet upgrade {self.saved} {self.out} --resume", err)
        done = len(lines_of(self.out))
        self.assertLess(done, len(self.names))
        self.assertEqual(sorted(path.name for path in (self.out / ".fleet").iterdir()), ["jobs", "log"])
        self.upgrade("--resume", status=1)
        self.expect_whole()

    def add_a_slow_one(self, entries):
        """The last by its name; a few hundred thousand entries take a second."""
        entry = '  edit "n"\n    set a "1"\n  next\n'
        (self.saved / "slow.conf").write_text(HEADERS + "config system dns\n" + entry * entries + "end\n")
        self.names = self.names + ["slow.conf"]

    def test_one_at_a_time(self):
        self.add_a_slow_one(30_000)
        run = self.start("--jobs", "1")
        end = time.monotonic() + PATIENCE
        while not (self.out / ".fleet/jobs").exists():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.005)
        run.send_signal(signal.SIGSTOP)  # it keeps what it holds
        second = migr("fleet", "upgrade", self.saved, self.out, "--resume")
        run.send_signal(signal.SIGCONT)
        self.assertEqual(second.returncode, 2)
        self.assertIn("still at work there", second.stderr)
        run.communicate()
        self.expect_whole()

    def test_a_time_limit_is_told(self):
        self.add_a_slow_one(3_000_000)
        run = self.upgrade("--timeout", "1", status=1)
        self.assertIn("It took longer than the 1 s", run.stdout)
        self.assertIn("1 failed.", run.stdout)

    def test_enough_failures_halt_it(self):
        self.many(5)
        (self.saved / "0.conf").write_text("nothing that can be upgraded")
        run = self.upgrade("--jobs", "1", "--halt", "now,fail=1", status=1)
        self.assertRegex(run.stdout, r"Not tried: (9|10)\. Go on with")


class Asked(Small):
    def test_names_never_reach_a_shell(self):
        for path in self.saved.iterdir():
            shutil.rmtree(path) if path.is_dir() else path.unlink()
        names = ["$(touch x)", "`touch x`", "a b", "'q'", '"q"', "-n", "--resume", "{}", "{#}", "{= die =}", "a;b", "a|b", "a&b", "~", "*", "\\",
                 "Gr\u00f6\u00dfe", "#c", "!x", "%s", "$HOME"]
        for name in names:
            (self.saved / name).write_text(TEXTS[DOMAIN])
        (self.saved / "line\nbreak").write_text(TEXTS[DOMAIN])
        here = self.folder / "here"
        here.mkdir()
        run = migr("fleet", "upgrade", self.saved, self.out, cwd=here)
        self.assertEqual(run.returncode, 1, run.stderr)
        self.assertEqual(sorted(path.name for path in (self.out / "appliances").iterdir()), sorted(names))
        self.assertEqual([path.name for path in here.iterdir()], [])
        self.assertIn("1 refused", run.stdout)
        self.assertIn("Give it another one", (self.out / "fleet.jsonl").read_text())

    def test_a_job_that_cannot_begin_says_why(self):
        self.out.mkdir()
        (self.out / "answers").write_text("no folder")
        run = migr("fleet", "one", self.saved / "a", self.out)
        self.assertEqual(run.returncode, 2, run.stderr)
        self.assertIn(f"{self.out}/answers: cannot make it: Not a directory", run.stderr)

    def test_hidden_names_are_told(self):
        (self.saved / ".hidden").write_text("x")
        self.assertIn("Left out, as their names begin with a dot: 1.", self.upgrade(status=1).stdout)

    def test_results_stay_out_of_what_is_saved(self):
        for out in (self.saved, self.saved / "out"):
            run = migr("fleet", "upgrade", self.saved, out)
            self.assertEqual(run.returncode, 2)
            self.assertIn("not written to", run.stderr)
        self.assertFalse((self.saved / "out").exists())

    def test_parallel_must_be_there(self):
        run = migr("fleet", "upgrade", self.saved, self.out, env={"PATH": "/nowhere"})
        self.assertEqual(run.returncode, 2)
        self.assertIn("GNU parallel is not there", run.stderr)
        self.assertFalse(self.out.exists())

    def test_another_program_of_that_name_is_told(self):
        other = self.folder / "parallel"
        for line, told in (("exit 1", "GNU parallel is not there"), ("exit 255", "GNU parallel did not take its options")):
            other.write_text(f"#!/bin/sh\n{line}\n")
            other.chmod(0o755)
            run = migr("fleet", "upgrade", self.saved, self.out, "--resume", env={"PATH": f"{self.folder}:/usr/bin:/bin"})
            self.assertEqual(run.returncode, 2, run.stdout + run.stderr)
            self.assertIn(told, run.stderr)
        self.assertFalse((self.out / "fleet.jsonl").exists())

    def test_a_list_does_the_same(self):
        listed = migr("fleet", "list", self.saved, self.out).stdout
        self.assertEqual(len(listed.splitlines()), 5)
        for line in listed.splitlines():
            subprocess.run(["sh", "-c", line], stdout=subprocess.DEVNULL)
        first = self.made()
        summary = migr("fleet", "summary", self.out)
        self.assertEqual(summary.returncode, 1)
        shutil.rmtree(self.out)
        self.assertTrue(self.upgrade(status=1).stdout.endswith(summary.stdout))
        self.assertEqual(self.made(), first)

    def made(self):
        """Archives tell when their changed members were made."""
        return {path: found for path, found in tree_of(self.out / "appliances").items() if path not in ("b.tar", "c.zip")}

    def test_groups_have_an_example(self):
        (self.saved / "f.conf").write_text(HEADERS + "config waf signature\n  set y\n  set z\nend\n")
        run = self.upgrade("--json", status=1)
        answer = json.loads(run.stdout)
        self.assertEqual([(group["cause"], group["appliances"], group["first"]) for group in answer["reasons"]],
                         [("`set` without a value in waf signature", 2, "e.conf")])
        self.assertIn("line 4", answer["reasons"][0]["example"])
        self.assertIn("`set` without a value in waf signature: 2 appliances, first e.conf", migr("fleet", "summary", self.out).stdout)

    def test_pages(self):
        self.upgrade("--html", status=1)
        self.assertTrue((self.out / "reports/a.html").read_text().startswith("<!DOCTYPE html>"))
        index = (self.out / "index.html").read_text()
        self.assertIn("<h1>4 upgraded, 0 current, 1 refused, 0 failed</h1>", index)
        for name in self.names:
            self.assertIn(f'<a href="reports/{name}.html">{name}</a>', index)

    def test_pages_can_be_had_later(self):
        self.upgrade(status=1)
        self.assertFalse((self.out / "reports/a.html").exists())
        self.upgrade("--html", "--resume", status=1)
        self.assertEqual(len(lines_of(self.out)), 5)
        self.assertTrue((self.out / "reports/a.html").read_text().startswith("<!DOCTYPE html>"))

    def test_names_are_escaped_on_the_page(self):
        odd = "<b>&\"'#?% \u00fc.conf"
        (self.saved / odd).write_text(TEXTS[DOMAIN])
        self.upgrade("--html", status=1)
        index = html.parser.HTMLParser()
        links, texts = [], []
        index.handle_starttag = lambda tag, attributes: links.append((tag, dict(attributes).get("href")))
        index.handle_data = texts.append
        index.feed((self.out / "index.html").read_text())
        self.assertIn(("a", "reports/" + urllib.parse.quote(odd + ".html", safe="")), links)
        self.assertIn(odd, texts)
        self.assertNotIn("b", [tag for tag, _ in links])


if __name__ == "__main__":
    main()
