#!/usr/bin/env python3
"""A fleet on other machines: two sshd of our own on 127.0.0.1, under two host names, one of which goes away. MIGR=COMMAND hosts.py"""
import getpass
import os
import pathlib
import shutil
import signal
import socket
import subprocess
import sys
import time

from support import DOMAIN, MIGR, TEXTS, FleetTest, files, lines_of, main, packed, tree_of, write_folder, write_tar

PATIENCE = 30  # seconds


class Machine:
    """An sshd with a folder of its own as HOME, where `migr` is what that folder has of it."""

    def __init__(self, folder, name, key):
        self.folder = folder / name
        self.bin = self.folder / "bin"
        self.bin.mkdir(parents=True)
        self.set_command(f'exec {MIGR} "$@"')
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            self.port = probe.getsockname()[1]
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", self.folder / "host_key"], check=True)
        settings = self.folder / "sshd_config"
        # The key exchange that ssh likes best would be half of what these tests cost, with their many connections.
        settings.write_text(f"""ListenAddress 127.0.0.1:{self.port}
HostKey {self.folder}/host_key
AuthorizedKeysFile {key}.pub
StrictModes no
UsePAM no
PidFile none
PermitRootLogin yes
KexAlgorithms curve25519-sha256
SetEnv PATH={self.bin}:/usr/bin:/bin HOME={self.folder}
""")
        os.makedirs("/run/sshd", exist_ok=True) if os.geteuid() == 0 else None
        self.sshd = subprocess.Popen([shutil.which("sshd", path="/usr/sbin:/usr/bin"), "-D", "-e", "-f", settings], stderr=subprocess.DEVNULL,
                                     start_new_session=True)
        end = time.monotonic() + PATIENCE
        while True:
            try:
                socket.create_connection(("127.0.0.1", self.port)).close()
                return
            except OSError:
                assert time.monotonic() < end, "sshd does not start"
                time.sleep(0.05)

    def set_command(self, line):
        command = self.bin / "migr"
        command.write_text(f"#!/bin/sh\n{line}\n")
        command.chmod(0o755)

    def goes_away(self):
        """With all that runs there."""
        children = subprocess.run(["pgrep", "-f", f"^sshd: .*{getpass.getuser()}"], capture_output=True, text=True).stdout.split()
        self.sshd.kill()
        self.sshd.wait()
        for child in children:
            if int(child) in self.connections():
                os.kill(int(child), signal.SIGKILL)

    def connections(self):
        """Processes that serve a connection to this machine's port."""
        found = set()
        mark = f":{self.port:04X}"
        inodes = {line.split()[9] for table in ("/proc/net/tcp",) for line in pathlib.Path(table).read_text().splitlines()[1:]
                  if line.split()[1].endswith(mark)}
        for entry in pathlib.Path("/proc").glob("[0-9]*/fd/*"):
            try:
                link = os.readlink(entry)
            except OSError:
                continue
            if link.startswith("socket:[") and link[8:-1] in inodes:
                found.add(int(entry.parts[2]))
        return found


class Hosts(FleetTest):
    def setUp(self):
        super().setUp()
        key = self.folder / "key"
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", key], check=True)
        self.machines = [Machine(self.folder, name, key) for name in ("north", "south")]
        for machine in self.machines:
            self.addCleanup(machine.sshd.wait)
            self.addCleanup(machine.sshd.kill)
        settings = self.folder / "ssh_config"
        settings.write_text("".join(f"""Host {machine.folder.name}
    HostName 127.0.0.1
    Port {machine.port}
    User {getpass.getuser()}
    IdentityFile {key}
    IdentitiesOnly yes
    UserKnownHostsFile /dev/null
    StrictHostKeyChecking no
    LogLevel ERROR
    ConnectTimeout 5
""" for machine in self.machines))
        self.hosts = self.folder / "hosts"
        self.hosts.write_text("# two machines\n" + "".join(f"1/ssh -F {settings} {machine.folder.name}\n" for machine in self.machines))
        write_folder(self.saved / "a folder", files())
        (self.saved / "a folder/etc/link").symlink_to("/nowhere")
        write_tar(self.saved / "b.tar.gz", files(), mode="w:gz")
        (self.saved / "c.conf.gz").write_bytes(packed(TEXTS[DOMAIN]))
        (self.saved / "d.conf").write_text("nothing that can be upgraded")

    def content(self, out):
        """What there is, without the lines' times and without archives, which tell when they were made."""
        return {path: found for path, found in tree_of(out / "appliances").items() if not path.endswith(".tar.gz")}

    def test_machines_do_what_this_one_does(self):
        run = self.upgrade("--hosts", self.hosts, "--html", status=1)
        self.assertIn("3 upgraded, 0 current, 1 refused, 0 failed.", run.stdout)
        there = {line["entry"]: line for line in lines_of(self.out)}
        self.assertTrue((self.out / "reports/a folder.html").exists())
        self.assertEqual(os.readlink(self.out / "appliances/a folder/etc/link"), "/nowhere")
        self.assertEqual(sorted(path.name for path in (self.out / ".fleet").iterdir()), ["hosts", "jobs", "log"])
        here = self.folder / "here"
        local = subprocess.run([MIGR, "fleet", "upgrade", self.saved, here, "--html"], capture_output=True)
        self.assertEqual(local.returncode, 1)
        self.assertEqual(self.content(self.out), self.content(here))
        for line in lines_of(here):
            other = there[line["entry"]]
            for line_of_one in (line, other):
                for name in ("seconds", "host"):
                    del line_of_one[name]
                for finding in line_of_one["findings"]:
                    del finding["text"]  # paths differ
            self.assertEqual(line, other)
        for machine in self.machines:
            left = [path for path in machine.folder.rglob("*") if path.suffix in (".sent", ".returned")]
            self.assertEqual(left, [], "nothing stays there")
        run = self.upgrade("--resume", "--html", status=1)
        self.assertIn("Done before, and left as they are: 4.", run.stdout, "done is done wherever")

    def test_one_machine_goes_away_in_the_middle(self):
        for number in range(5):
            write_tar(self.saved / f"e{number:02}.tar", files(and_also={"etc/number": str(number).encode()}))
        run = subprocess.Popen([MIGR, "fleet", "upgrade", self.saved, self.out, "--hosts", self.hosts], stdout=subprocess.PIPE,
                               stderr=subprocess.PIPE, text=True)
        end = time.monotonic() + PATIENCE
        while not (self.out / "fleet.jsonl").exists() or len(lines_of(self.out)) < 2:
            self.assertLess(time.monotonic(), end)
            time.sleep(0.02)
        self.machines[1].goes_away()
        out, err = run.communicate(timeout=4 * PATIENCE)
        self.assertEqual(run.returncode, 1, err)
        self.assertIn("8 upgraded, 0 current, 1 refused, 0 failed.", out)
        entries = [line["entry"] for line in lines_of(self.out)]
        self.assertEqual(sorted(entries), sorted(path.name for path in self.saved.iterdir()))

    def test_what_comes_back_to_nobody_is_not_lost(self):
        for number in range(4):
            write_tar(self.saved / f"e{number}.tar", files(and_also={"etc/number": str(number).encode()}))
        run = subprocess.Popen([MIGR, "fleet", "upgrade", self.saved, self.out, "--hosts", self.hosts], stdout=subprocess.DEVNULL,
                               stderr=subprocess.DEVNULL)
        end = time.monotonic() + PATIENCE
        while not (self.out / "fleet.jsonl").exists():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.02)
        run.kill()
        run.wait()
        end = time.monotonic() + PATIENCE
        while subprocess.run([MIGR, "fleet", "upgrade", self.saved, self.out, "--resume"], capture_output=True).returncode == 2:
            self.assertLess(time.monotonic(), end)
            time.sleep(0.1)
        entries = [line["entry"] for line in lines_of(self.out)]
        self.assertEqual(sorted(entries), sorted(path.name for path in self.saved.iterdir()), "none is lost and none is doubled")
        self.assertEqual(sorted(path.name for path in (self.out / ".fleet").iterdir() if path.name != "hosts"), ["jobs", "log"])

    def test_machines_that_are_not_there_are_told(self):
        self.machines[1].goes_away()
        run = self.upgrade("--hosts", self.hosts, status=1)
        self.assertIn("south: gives no answer, and is left out.", run.stderr)
        self.assertIn("3 upgraded", run.stdout)
        self.machines[0].goes_away()
        (self.saved / "e.conf").write_text(TEXTS[DOMAIN])
        run = self.upgrade("--hosts", self.hosts, "--resume", status=1)
        self.assertIn("1 failed.", run.stdout)
        self.assertIn("No machine gave an answer for it", run.stdout)

    def test_another_image_or_version_is_refused(self):
        self.machines[1].set_command("echo migr 0.9 for 6.20, image 0000")
        run = self.upgrade("--hosts", self.hosts, status=2)
        self.assertIn("south has migr 0.9 for 6.20, image 0000", run.stderr)
        self.assertFalse((self.out / "fleet.jsonl").exists())


if __name__ == "__main__":
    if not shutil.which("sshd", path="/usr/sbin:/usr/bin") or not shutil.which("rsync"):
        print("There is no sshd or no rsync here: skipped.")
        sys.exit(77)
    main()
