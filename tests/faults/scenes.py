"""What is run: a command over an appliance that is laid out anew for each run, and the command that comes behind it."""
import contextlib
import dataclasses
import gzip
import os
import pathlib
import shutil
import subprocess

HELD_TIME = os.environ.get("HELD_TIME", "")
# AddressSanitizer's runtime, where it is in the command, wants to be ahead of what is preloaded, unless it is told not to.
BESIDE_OTHERS = "verify_asan_link_order=0"
PROJECT = pathlib.Path(__file__).resolve().parent.parent.parent

HEADERS = "#config-version=QA-A1X-5.50-FW-build0100-200101:opmode=0:vdom=0:user=admin\n#conf_file_ver=1\n"
SMALLEST = {
    "data/config/sys_global.conf.gz": HEADERS + 'config system global\n  set hostname "box"\nend\n',
    "data/config/sys_domain.root.conf.gz": HEADERS + 'config server-policy server-pool\n  edit "p"\n    config pserver-list\n      edit 1\n'
                                           "        set ip 192.0.2.1\n        set ssl enable\n        set ssl-v3 disable\n      next\n    end\n  next\nend\n",
}
APPLIANCES = ("smallest", "parts-dealer-3.30", "branch-office-5.50")
COMMANDS = ("upgrade", "rollback", "convert", "fleet one", "fleet upgrade")


def lay_out(appliance, target):
    """Without a passphrase: what it encrypts comes out otherwise each time."""
    if appliance == "smallest":
        for name, text in SMALLEST.items():
            path = target / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(gzip.compress(text.encode(), mtime=0))
    else:
        subprocess.run([PROJECT / "samples/lay_out", appliance, target], check=True)
        (target / "data/etc/key.secret").unlink(missing_ok=True)
    for path in (target / "data/config").iterdir():
        give_attribute(path)


def give_attribute(path):
    """Where the disk and this user can: one that has to come along."""
    with contextlib.suppress(OSError):
        os.setxattr(path, "trusted.migr", b"kept")


def global_file(appliance, target):
    """The one in which all is, of an appliance from before domains."""
    return min((target / "data/config").iterdir(), key=lambda path: (not path.name.startswith("sys_global"), path.name))


@dataclasses.dataclass(frozen=True)
class Scene:
    """A folder with `in`, `out` and `tmp`; commands are run in it, so that paths are the same wherever it lies."""
    command: str
    appliance: str
    migr: str

    def name(self):
        return f"{self.command}, {self.appliance}"

    def lay_out(self, folder):
        folder = pathlib.Path(folder)
        for part in ("in", "out", "tmp"):
            (folder / part).mkdir(parents=True)
        place = folder / ("in/box" if self.command != "convert" else "box")
        lay_out(self.appliance, place)
        if self.command == "rollback":
            subprocess.run([self.migr, "upgrade", place], check=True, capture_output=True, env=self.environment(folder))
        if self.command == "convert":
            shutil.move(global_file(self.appliance, place), folder / "in/sys_global.conf.gz")
            shutil.rmtree(place)

    def environment(self, folder):
        return {"PATH": "/usr/local/bin:/usr/bin:/bin", "HOME": os.environ.get("HOME", "/"), "TMPDIR": os.path.join(folder, "tmp"), "LC_ALL": "C",
                "LD_PRELOAD": HELD_TIME, "ASAN_OPTIONS": BESIDE_OTHERS}

    def arguments(self):
        return {
            "upgrade": ["upgrade", "in/box"],
            "rollback": ["rollback", "in/box", "--yes"],
            "convert": ["convert", "in/sys_global.conf.gz", "-o", "out/made"],
            "fleet one": ["fleet", "one", "in/box", "out/fleet"],
            "fleet upgrade": ["fleet", "upgrade", "in", "out/fleet", "--jobs", "1"],
        }[self.command]

    def next_arguments(self):
        """What an operator does next, whatever came of it."""
        if self.command == "fleet upgrade":
            return self.arguments() + ["--resume"]
        return self.arguments()

    def good_next_statuses(self):
        """That all upgrades are taken back already is an error of usage."""
        return (0, 2) if self.command == "rollback" else (0,)

    def changing(self):
        """The part of the folder that may change."""
        return {"upgrade": "in", "rollback": "in", "convert": "out", "fleet one": "out", "fleet upgrade": "out"}[self.command]

    def is_refused(self, state, before, after):
        """What a fleet's folder of results has no line of was not done; only what has all that it needs is told as done."""
        if not self.command.startswith("fleet"):
            return False
        elsewhere = {path: what for path, what in state.items() if not path.startswith("out/fleet")}
        is_told_done = '"upgraded"' in state.get("out/fleet/fleet.jsonl", ("", ""))[1]
        has_all = all(state.get(path) == what for path, what in after.items() if path.startswith("out/fleet/appliances/"))
        return elsewhere == before and (has_all or not is_told_done)

    def also_said(self, folder):
        """What went wrong with an appliance of a fleet stands in the answer that is kept."""
        return "".join(path.read_text(errors="replace") for path in pathlib.Path(folder, "out").glob("fleet/answers/*.json"))

    def runs(self, arguments):
        return [self.migr, *arguments]
