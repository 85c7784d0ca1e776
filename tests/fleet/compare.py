#!/usr/bin/env python3
"""The same appliances through two images and two versions of the command. MIGR=COMMAND compare.py"""
import json
import pathlib
import re
import shutil

from support import DOMAIN, HEADERS, MIGR, TEXTS, FleetTest, files, main, migr, packed, tree_of, write_folder, write_tar

IMAGE = pathlib.Path(MIGR).parent / "image"


class Compare(FleetTest):
    def setUp(self):
        super().setUp()
        pool = TEXTS[DOMAIN]
        write_folder(self.saved / "a", files())
        write_tar(self.saved / "b.tar", files(and_also={DOMAIN: packed(pool.replace('"p"', '"other"'))}))
        (self.saved / "c.conf").write_text(HEADERS + 'config system dns\n  set primary 192.0.2.1\nend\n')
        self.old, self.new = self.image("old"), self.image("new")
        self.expect = self.folder / "expect.jsonl"

    def image(self, name):
        """An image's folder of its own, with that name."""
        folder = self.folder / name
        shutil.copytree(IMAGE, folder, ignore=shutil.ignore_patterns("CMake*", "*.cmake"))
        return folder

    def compare(self, *options, status=0):
        run = migr("fleet", "compare", self.saved, "--image", self.old, "--image", self.new, *options)
        self.assertEqual(run.returncode, status, run.stdout + run.stderr)
        return run

    def new_rule(self):
        """The new image's last section deletes the addresses of what the pools have."""
        section = re.search(r"\[DELETE\]\n(?!.*\[DELETE\])", (self.new / "update_config").read_text(), re.DOTALL)
        text = section.string[:section.end()] + "<server-policy server-pool><pserver-list><ip>\n" + section.string[section.end():]
        (self.new / "update_config").write_text(text)

    def test_the_same_image_twice(self):
        before = tree_of(self.saved)
        self.assertEqual(self.compare().stdout, "Nothing comes out otherwise.\n")
        self.assertEqual(tree_of(self.saved), before)

    def test_what_a_new_rule_does(self):
        self.new_rule()
        run = self.compare(status=1)
        self.assertIn("+ dropped server-policy server-pool / * / pserver-list / * / ip, ", run.stdout)
        self.assertIn(": 2 appliances\n    a: sys_domain.root.conf.gz: server-policy server-pool / p / pserver-list / 1 / ip: set ip 192.0.2.1\n",
                      run.stdout)
        self.assertIn("1 difference:", run.stdout)

    def test_accepted_differences(self):
        self.new_rule()
        self.assertEqual(self.compare("--expect", self.expect, "--accept").stdout, "Nothing comes out otherwise than is accepted.\n")
        lines = [json.loads(line) for line in self.expect.read_text().splitlines()]
        self.assertEqual([(line["side"], line["what"], line["appliances"], line["first"]) for line in lines], [("new", "dropped", 2, "a")])
        (self.saved / "d.conf").write_text(TEXTS[DOMAIN])
        self.compare("--expect", self.expect)
        self.new_rule_is_gone()
        run = self.compare("--expect", self.expect)
        self.assertIn("no longer found: + dropped server-policy server-pool", run.stderr)
        self.expect.write_text("no difference\n")
        self.assertIn(f"{self.expect}:1: this is no difference", self.compare("--expect", self.expect, status=2).stderr)

    def new_rule_is_gone(self):
        shutil.copy(self.old / "update_config", self.new / "update_config")

    def test_another_version_of_the_command(self):
        other = self.folder / "migr"
        other.write_text(f"""#!/bin/sh
{MIGR} "$@" --accept-damage
""")
        other.chmod(0o755)
        (self.saved / "e.conf").write_text(HEADERS + 'config waf signature\n  edit "a"\n    odd\n    set a b\n  next\nend\n')
        run = migr("fleet", "compare", self.saved, "--migr", other, "--json")
        self.assertEqual(run.returncode, 1, run.stdout + run.stderr)
        found = {(one["side"], one["what"], one["cause"] or one["path"]) for one in json.loads(run.stdout)["differences"]}
        self.assertIn(("old", "result", "upgraded"), found)
        self.assertIn(("new", "result", "refused"), found)
        self.assertIn(("new", "reason", "a line that begins with no word of the language in waf signature"), found)

    def test_results_are_kept_where_that_is_asked(self):
        out = self.folder / "both"
        self.compare("-o", out)
        again = self.compare("-o", out)
        self.assertEqual(len((out / "old/fleet.jsonl").read_text().splitlines()), 3)
        self.assertTrue((out / "new/appliances/a").is_dir())
        self.assertEqual(again.stdout, "Nothing comes out otherwise.\n")

    def test_what_failed_on_both_sides_is_not_the_same(self):
        broken = self.folder / "broken"
        broken.write_text("#!/bin/sh\nexit 7\n")
        broken.chmod(0o755)
        run = migr("fleet", "compare", self.saved, "--migr", broken)
        self.assertEqual(run.returncode, 3, run.stdout + run.stderr)
        self.assertIn("3 appliances could not be tried", run.stderr)

    def test_an_empty_corpus_says_nothing(self):
        for path in self.saved.iterdir():
            shutil.rmtree(path) if path.is_dir() else path.unlink()
        self.assertIn("holds no appliance", self.compare(status=2).stderr)

    def test_wrong_usage(self):
        for options in ([], ["--image", self.old], ["--image", self.old, "--image", self.new, "--accept"]):
            run = migr("fleet", "compare", self.saved, *options)
            self.assertEqual(run.returncode, 2, run.stdout + run.stderr)


if __name__ == "__main__":
    main()
