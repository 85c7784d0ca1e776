"""What the fleet's tests share: the command, saved appliances in all forms, and looks at what came of them."""
import gzip
import hashlib
import io
import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tarfile
import tempfile
import unittest
import zipfile

PROJECT = pathlib.Path(__file__).resolve().parent.parent.parent
IMAGE_RELEASE = re.search(r"^release (\S+)$", (PROJECT / "image/release").read_text(), re.MULTILINE)[1]
MIGR = os.environ["MIGR"]
GLOBAL = "data/config/sys_global.conf.gz"
DOMAIN = "data/config/sys_domain.root.conf.gz"
HEADERS = "#config-version=QA-A1X-5.50-FW-build0100-200101:opmode=0:vdom=0:user=admin\n#conf_file_ver=1\n"

# Small files, of which an upgrade changes something.
TEXTS = {
    GLOBAL: HEADERS + 'config system global\n  set hostname "box"\nend\n',
    DOMAIN: HEADERS + 'config server-policy server-pool\n  edit "p"\n    config pserver-list\n      edit 1\n'
            '        set ip 192.0.2.1\n        set ssl enable\n        set ssl-v3 disable\n      next\n    end\n  next\nend\n',
}


def migr(*arguments, **options):
    return subprocess.run([MIGR, *map(str, arguments)], capture_output=True, text=True, **options)


def packed(text):
    return gzip.compress(text.encode(), mtime=0)


def files(**changed):
    """The files of a small appliance, by path; None takes one away."""
    all_files = {path: packed(text) for path, text in TEXTS.items()}
    all_files["etc/kept"] = b"nobody's business\n"
    all_files.update(changed.pop("and_also", {}))
    return {path: content for path, content in all_files.items() if content is not None}


def write_folder(path, content):
    for name, text in content.items():
        place = pathlib.Path(path) / name
        place.parent.mkdir(parents=True, exist_ok=True)
        place.write_bytes(text)


def write_tar(path, content, prefix="", mode="w", further=()):
    """`further` are members of any sort, as TarInfo and bytes."""
    with tarfile.open(path, mode, format=tarfile.PAX_FORMAT) as tar:
        for name, text in content.items():
            member = tarfile.TarInfo(prefix + name)
            member.size, member.mtime, member.mode, member.uid, member.gid = len(text), 1577836800, 0o640, 1234, 4321
            tar.addfile(member, io.BytesIO(text))
        for member, text in further:
            tar.addfile(member, io.BytesIO(text))


def write_zip(path, content):
    with zipfile.ZipFile(path, "w", zipfile.ZIP_DEFLATED) as archive:
        for name, text in content.items():
            archive.writestr(name, text)


def compress_zstd(path):
    subprocess.run(["zstd", "-q", "--rm", str(path)], check=True)


def tree_of(folder):
    """Everything in a folder, for comparing: path to type, mode and content."""
    found = {}
    for path in sorted(pathlib.Path(folder).rglob("*")):
        status = path.lstat()
        content = path.read_bytes() if path.is_file() and not path.is_symlink() else b""
        found[str(path.relative_to(folder))] = (oct(status.st_mode), status.st_size if content else 0,
                                                hashlib.sha256(content).hexdigest())
    return found


def lines_of(out):
    return [json.loads(line) for line in (pathlib.Path(out) / "fleet.jsonl").read_text().splitlines()]


def release_of(packed_text):
    return re.match(rb"#config-version=[^-]*-[^-]*-(\d+\.\d+)-", gzip.decompress(packed_text))[1].decode()


class FleetTest(unittest.TestCase):
    """A temporary folder with room for saved appliances and for results."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="fleet-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.saved = self.folder / "saved"
        self.saved.mkdir()
        self.out = self.folder / "out"

    def one(self, path, *options):
        """The line that comes of one appliance."""
        run = migr("fleet", "one", path, self.out, *options)
        self.assertIn(run.returncode, (0, 1, 3), run.stderr)
        return lines_of(self.out)[-1]

    def upgrade(self, *options, status=0):
        run = migr("fleet", "upgrade", self.saved, self.out, *options)
        self.assertEqual(run.returncode, status, run.stdout + run.stderr)
        return run


def main():
    sys.exit(not unittest.main(exit=False, verbosity=1).result.wasSuccessful())
