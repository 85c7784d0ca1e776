/* The folders for a domain's certificates: that they are made, and that nothing which is there is touched. */
#include "platform/platform.h"
#include "support/appliance_root.h"

#include <gtest/gtest.h>

using support::ApplianceRoot;
using support::Listing;

static const char *const FOLDERS[] = {"local", "signca", "ca",         "intmed",    "remote",
                                      "crl",   "tslca",  "xml_server", "xml_client"};

TEST(CertificateFolders, EachGetsTheDomainsSubfolder)
{
    ApplianceRoot root;
    support::expect_in_root(root, [] { EXPECT_EQ(crwinit_cert_dir("shop"), 0); });
    Listing listing = root.listing();
    for (const char *folder : FOLDERS)
        EXPECT_EQ(listing["data/etc/cert/" + std::string(folder) + "/shop"], (support::Entry{'d', 0700, ""})) << folder;
}

TEST(CertificateFolders, WhatIsThereStays)
{
    ApplianceRoot root;
    root.write("/data/etc/cert/local/root/a.key", "key");
    root.write("/data/etc/cert/local/b.key", "key");
    root.folder("/data/etc/cert/ca", 0755);
    Listing before = root.listing();
    support::expect_in_root(root, [] {
        EXPECT_EQ(crwinit_cert_dir("root"), 0);
        EXPECT_EQ(crwinit_cert_dir("root"), 0);
    });
    Listing after = root.listing();
    for (const auto &[path, entry] : before)
        EXPECT_EQ(after[path], entry) << path;
    EXPECT_EQ(after.size(), before.size() + 7 + 8);
}

TEST(CertificateFolders, FileInTheWay)
{
    ApplianceRoot root;
    root.write("/data/etc/cert/remote/root", "a file");
    support::expect_in_root(root, [] { EXPECT_NE(crwinit_cert_dir("root"), 0); });
    EXPECT_EQ(root.read("/data/etc/cert/remote/root"), "a file");
}

TEST(CertificateFolders, NameThatIsNoFolder)
{
    ApplianceRoot root;
    Listing       before = root.listing();
    support::expect_in_root(root, [] {
        for (const char *name : {"", ".", "..", "../../x", "a/b", "/"})
            EXPECT_NE(crwinit_cert_dir(name), 0) << name;
        EXPECT_NE(crwinit_cert_dir(nullptr), 0);
        EXPECT_NE(crwinit_cert_dir(std::string(300, 'd').c_str()), 0);
    });
    EXPECT_EQ(root.listing(), before);
}
