#!/usr/bin/env python3
"""Appliances in archives: what goes over as it was, what is new, and what no archive may hold. MIGR=COMMAND archives.py"""
import gzip
import os
import subprocess
import tarfile
import unittest
import zipfile

from support import (DOMAIN, GLOBAL, HEADERS, IMAGE_RELEASE, TEXTS, FleetTest, compress_zstd, files, main, packed, release_of, tree_of,
                     write_folder, write_tar, write_zip)


class Forms(FleetTest):
    def members(self, path, mode="r"):
        with tarfile.open(path, mode) as tar:
            return {member.name: (member, tar.extractfile(member).read() if member.isfile() else None) for member in tar}

    def expect_upgraded(self, members, prefix=""):
        for name in (GLOBAL, DOMAIN):
            self.assertEqual(release_of(members[prefix + name][1]), IMAGE_RELEASE)

    def test_a_tar_keeps_what_was_not_touched(self):
        write_tar(self.saved / "box.tar", files())
        self.assertEqual(self.one(self.saved / "box.tar")["result"], "upgraded")
        members = self.members(self.out / "appliances/box.tar")
        self.expect_upgraded(members)
        kept, text = members["etc/kept"]
        self.assertEqual((text, kept.mode, kept.uid, kept.gid, kept.mtime), (files()["etc/kept"], 0o640, 1234, 4321, 1577836800))

    def test_what_is_new_belongs_to_its_neighbours_owner(self):
        write_tar(self.saved / "box.tar", files())
        self.one(self.saved / "box.tar")
        before = self.members(self.saved / "box.tar")
        after = self.members(self.out / "appliances/box.tar")
        new = [name for name in after if name not in before]
        self.assertTrue(new, "an upgrade leaves plain copies in var/log")
        self.assertEqual(list(after)[:len(before)], list(before))
        for name in new:
            self.assertFalse(name.startswith("var/lib/migr"), name)
            self.assertEqual((after[name][0].uid, after[name][0].gid), (1234, 4321), name)

    def test_a_changed_member_keeps_its_owner(self):
        write_tar(self.saved / "box.tar", files())
        self.one(self.saved / "box.tar")
        member, _ = self.members(self.out / "appliances/box.tar")[DOMAIN]
        self.assertEqual((member.uid, member.gid), (1234, 4321))

    def test_paths_stay_as_they_were_written(self):
        write_tar(self.saved / "dotted.tgz", files(), prefix="./", mode="w:gz")
        self.one(self.saved / "dotted.tgz")
        with open(self.out / "appliances/dotted.tgz", "rb") as packed_tar:
            self.assertEqual(packed_tar.read(2), b"\x1f\x8b")
        with tarfile.open(self.out / "appliances/dotted.tgz") as tar:
            names = tar.getnames()
        self.assertTrue(all(name.startswith("./") for name in names), names)

    def test_an_appliance_may_lie_in_a_folder_of_the_archive(self):
        write_tar(self.saved / "box.tar.gz", files(), prefix="store-1/", mode="w:gz")
        self.assertEqual(self.one(self.saved / "box.tar.gz")["result"], "upgraded")
        self.expect_upgraded(self.members(self.out / "appliances/box.tar.gz"), "store-1/")

    def test_zip_and_zstd(self):
        write_zip(self.saved / "box.zip", files())
        write_tar(self.saved / "box.tar", files())
        compress_zstd(self.saved / "box.tar")
        self.assertEqual(self.one(self.saved / "box.zip")["result"], "upgraded")
        self.assertEqual(self.one(self.saved / "box.tar.zst")["result"], "upgraded")
        with zipfile.ZipFile(self.out / "appliances/box.zip") as archive:
            self.assertIsNone(archive.testzip())
            self.assertEqual(release_of(archive.read(DOMAIN)), IMAGE_RELEASE)
            self.assertEqual(archive.read("etc/kept"), files()["etc/kept"])
        subprocess.run(["zstd", "-q", "-d", self.out / "appliances/box.tar.zst", "-o", self.folder / "plain.tar"], check=True)
        self.expect_upgraded(self.members(self.folder / "plain.tar"))

    def test_all_forms_come_out_alike(self):
        write_folder(self.saved / "box", files())
        write_tar(self.saved / "box.tar", files())
        self.one(self.saved / "box")
        self.one(self.saved / "box.tar")
        members = self.members(self.out / "appliances/box.tar")
        for path in (self.out / "appliances/box").rglob("*"):
            if path.is_file():
                name = str(path.relative_to(self.out / "appliances/box"))
                content = path.read_bytes()
                again = members[name][1]
                if name.endswith(".gz"):
                    content, again = gzip.decompress(content), gzip.decompress(again)
                self.assertEqual(content, again, name)

    def test_names_of_all_sorts(self):
        odd = {"etc/Gr\u00f6\u00dfe \u65e5\u672c": b"1", "etc/" + "l" * 200 + "/" + "m" * 200: b"2", "etc/$(touch x);'\"": b"3"}
        write_tar(self.saved / "box.tar", files(and_also=odd))
        self.assertEqual(self.one(self.saved / "box.tar")["result"], "upgraded")
        members = self.members(self.out / "appliances/box.tar")
        for name, text in odd.items():
            self.assertEqual(members[name][1], text)

    def test_a_current_one_goes_over_as_it_is(self):
        current = {GLOBAL: packed(TEXTS[GLOBAL].replace("-5.50-", f"-{IMAGE_RELEASE}-"))}
        write_tar(self.saved / "box.tar", current)
        self.assertEqual(self.one(self.saved / "box.tar")["result"], "current")
        self.assertEqual({name: text for name, (_, text) in self.members(self.out / "appliances/box.tar").items()}, current)


class Files(FleetTest):
    def test_a_file_stays_packed_or_plain(self):
        (self.saved / "sys_domain.a.conf").write_text(TEXTS[DOMAIN])
        (self.saved / "sys_domain.b.conf.gz").write_bytes(packed(TEXTS[DOMAIN]))
        for name in ("sys_domain.a.conf", "sys_domain.b.conf.gz"):
            self.assertEqual(self.one(self.saved / name)["result"], "upgraded")
        plain = (self.out / "appliances/sys_domain.a.conf").read_bytes()
        self.assertEqual(gzip.decompress((self.out / "appliances/sys_domain.b.conf.gz").read_bytes()), plain)
        self.assertTrue(plain.startswith(b"#config-version="))

    def test_one_from_before_the_split_becomes_a_folder(self):
        old = HEADERS.replace("5.50", "4.40") + 'config system global\nend\nconfig waf signature\nend\n'
        (self.saved / "old.conf").write_text(old)
        self.assertEqual(self.one(self.saved / "old.conf", "--accept-damage")["result"], "upgraded")
        self.assertEqual(sorted(path.name for path in (self.out / "appliances/old.conf").iterdir()),
                         ["sys_domain.root.conf", "sys_global.conf"])


class Folders(FleetTest):
    def test_a_folder_is_copied_whole(self):
        box = self.saved / "box"
        write_folder(box, files())
        (box / "etc/link").symlink_to("/nowhere/else")
        os.chmod(box / "etc/kept", 0o604)
        os.utime(box / "etc/kept", (1577836800, 1577836800))
        before = tree_of(self.saved)
        self.assertEqual(self.one(box)["result"], "upgraded")
        self.assertEqual(tree_of(self.saved), before, "what is saved is never written to")
        made = self.out / "appliances/box"
        self.assertEqual(os.readlink(made / "etc/link"), "/nowhere/else")
        status = (made / "etc/kept").stat()
        self.assertEqual((status.st_mode & 0o777, status.st_mtime), (0o604, 1577836800))
        self.assertFalse((made / "var/lib").exists(), "the input is what there is to go back to")

    def test_snapshots_of_its_own_are_kept(self):
        box = self.saved / "box"
        write_folder(box, files())
        (box / "var/lib/migr/snapshots/older").mkdir(parents=True)
        (box / "var/lib/migr/snapshots/older/x").write_text("x")
        self.assertEqual(self.one(box)["result"], "upgraded")
        self.assertEqual([path.name for path in (self.out / "appliances/box/var/lib/migr/snapshots").iterdir()], ["older"])

    def test_a_link_to_a_folder_is_one(self):
        write_folder(self.folder / "elsewhere", files())
        (self.saved / "box").symlink_to(self.folder / "elsewhere")
        self.assertEqual(self.one(self.saved / "box")["result"], "upgraded")
        self.assertFalse((self.out / "appliances/box").is_symlink())


def member(name, kind, link=""):
    info = tarfile.TarInfo(name)
    info.type, info.linkname = kind, link
    return info


class Hostile(FleetTest):
    """Each is refused with the member's name, and leaves nothing anywhere."""

    def expect_refused(self, path, *said):
        beside = tree_of(self.folder / "saved")
        line = self.one(path)
        self.assertEqual(line["result"], "refused", line)
        text = line["findings"][0]["text"]
        for part in said:
            self.assertIn(part, text)
        self.assertIsNone(line["output"])
        self.assertEqual(tree_of(self.folder / "saved"), beside)
        self.assertEqual(list((self.out / "appliances").iterdir()), [])
        self.assertEqual([path.name for path in (self.out / ".fleet").iterdir()], [])
        self.assertEqual(sorted(path.name for path in self.folder.iterdir()), ["out", "saved"])

    def tar(self, *further):
        path = self.saved / "box.tar"
        write_tar(path, files(), further=further)
        return path

    def test_members_that_lead_out(self):
        for name in ("../outside", "data/../../outside", "/absolute", "data/.."):
            with self.subTest(name):
                self.expect_refused(self.tar((member(name, tarfile.REGTYPE), b"")), f'"{name}"', "leads out")

    def test_links(self):
        self.expect_refused(self.tar((member("data/link", tarfile.SYMTYPE, "/etc"), b"")), '"data/link"', "is a link")
        self.expect_refused(self.tar((member("data/hard", tarfile.LNKTYPE, "etc/kept"), b"")), '"data/hard"', "is a link")

    def test_a_file_behind_a_link(self):
        self.expect_refused(self.tar((member("data/away", tarfile.SYMTYPE, ".."), b""), (member("data/away/x", tarfile.REGTYPE), b"")),
                            '"data/away"', "is a link")

    def test_devices(self):
        for kind in (tarfile.CHRTYPE, tarfile.BLKTYPE, tarfile.FIFOTYPE):
            self.expect_refused(self.tar((member("data/odd", kind), b"")), '"data/odd"', "device, a pipe or a socket")

    def test_a_member_twice(self):
        self.expect_refused(self.tar((member("etc/kept", tarfile.REGTYPE), b"")), '"etc/kept"', "twice")
        self.expect_refused(self.tar((member("etc//./kept", tarfile.REGTYPE), b"")), '"etc/kept"', "twice")
        self.expect_refused(self.tar((member("etc", tarfile.REGTYPE), b"")), '"etc"', "twice")

    def test_a_bomb(self):
        path = self.saved / "bomb.tar.gz"
        huge = tarfile.TarInfo("data/huge")
        huge.size = 5 << 30
        with gzip.open(path, "wb", compresslevel=1) as out:
            out.write(huge.tobuf())
            out.write(bytes(1 << 20))
        self.expect_refused(path, '"data/huge"', "4.3 GB")

    def test_an_encrypted_member(self):
        write_zip(self.saved / "box.zip", files())
        bytes_of = bytearray((self.saved / "box.zip").read_bytes())
        for mark, flags in ((b"PK\x03\x04", 6), (b"PK\x01\x02", 8)):
            at = bytes_of.find(mark)
            bytes_of[at + flags] |= 1
        (self.saved / "box.zip").write_bytes(bytes_of)
        self.expect_refused(self.saved / "box.zip", f'"{GLOBAL}"', "encrypted")

    def test_packed_twice(self):
        write_tar(self.saved / "box.tar", files())
        twice = gzip.compress(gzip.compress((self.saved / "box.tar").read_bytes()))
        (self.saved / "box.tar.gz").write_bytes(twice)
        self.expect_refused(self.saved / "box.tar.gz", "packed more than once")

    def test_no_archive_at_all(self):
        (self.saved / "box.tar").write_bytes(b"no archive at all" * 100)
        self.expect_refused(self.saved / "box.tar", "damaged, or none")

    def test_an_archive_that_breaks_off(self):
        write_tar(self.saved / "box.tar.gz", files(), mode="w:gz")
        whole = (self.saved / "box.tar.gz").read_bytes()
        (self.saved / "box.tar.gz").write_bytes(whole[:len(whole) // 2])
        self.expect_refused(self.saved / "box.tar.gz", "damaged")

    def test_an_empty_archive(self):
        write_tar(self.saved / "box.tar", {})
        self.expect_refused(self.saved / "box.tar", "empty")

    def test_an_archive_of_something_else(self):
        write_tar(self.saved / "box.tar", {"a": b"", "b": b""})
        self.expect_refused(self.saved / "box.tar", "sys_global.conf.gz is not there")


if __name__ == "__main__":
    main()
