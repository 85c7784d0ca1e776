/* The jobs after the last file, on a folder of certificates with links and obstacles of all sorts. */
#include "filejobs/file_jobs.h"

#include "driver/upgrade_run.h"
#include "platform/platform.h"
#include "support/appliance_root.h"
#include "support/patterns.h"

#include <gtest/gtest.h>

#include <dirent.h>
#include <functional>
#include <string>
#include <vector>

using support::ApplianceRoot;
using support::ChildResult;
using support::Entry;
using support::Listing;

/* What a test refuses, by the first argument of the call, and what it then gives. */
static std::string              refused;
static int                      refusal;
static std::vector<std::string> copied_folders;

extern "C" {

int __real_crwinit_cert_dir(const char *domain);
int __wrap_crwinit_cert_dir(const char *domain)
{
    return refused == domain ? refusal : __real_crwinit_cert_dir(domain);
}

int __real_copy_file(const char *source, const char *target);
int __wrap_copy_file(const char *source, const char *target)
{
    return refused == source ? refusal : __real_copy_file(source, target);
}

int __real_copy_dir(const char *source, const char *target);
int __wrap_copy_dir(const char *source, const char *target)
{
    copied_folders.push_back(std::string(source) + " to " + target);
    return refused == target ? refusal : __real_copy_dir(source, target);
}

DIR *__real_opendir(const char *path);
DIR *__wrap_opendir(const char *path)
{
    return refused == path ? nullptr : __real_opendir(path);
}
}

namespace {

const std::vector<std::string> kinds = {"local", "signca", "ca",         "intmed",    "remote",
                                        "crl",   "tslca",  "xml_server", "xml_client"};

constexpr int32_t release_5_9 = 0x50009;
constexpr int32_t release_5_10 = 0x5000a;
constexpr int32_t release_5_19 = 0x50013;
constexpr int32_t release_5_20 = 0x50014;

class DomainCertificates : public testing::Test {
  protected:
    ApplianceRoot root;
    Listing       before;

    static std::string on_disk(const std::string &path)
    {
        return "data/etc/cert/" + path;
    }

    void certificate(const std::string &path, const std::string &content)
    {
        root.write("/data/etc/cert/" + path, content);
    }

    /* One file of each kind, and a root domain that has been there before. */
    void SetUp() override
    {
        for (const std::string &kind : kinds) {
            certificate(kind + "/one", "one of " + kind);
            certificate(kind + "/root/old", "old of " + kind);
        }
    }

    /* Runs `work`, which gives `expected`, and gives what was printed, with each line number as LINE. */
    std::string run(int32_t expected, const std::function<int32_t()> &work)
    {
        before = root.listing();
        ChildResult child = support::run_in_root(root.path(), [&] {
            EXPECT_EQ(expected, work());
            return 0;
        });
        EXPECT_EQ(0, child.exit_code) << child.out << child.err;
        EXPECT_EQ("", child.err);
        return support::replaced(child.out, "(migr_\\w+) [0-9]+ ", "$1 LINE ");
    }

    static void moves(Listing *listing, const std::string &kind, const std::string &name)
    {
        (*listing)[on_disk(kind + "/root/" + name)] = listing->at(on_disk(kind + "/" + name));
        listing->erase(on_disk(kind + "/" + name));
    }

    /* The folder as it was, but for the files of the first `count` kinds, which are in the root domain. */
    Listing with_root(size_t count = kinds.size()) const
    {
        Listing listing = before;
        for (size_t i = 0; i < count; i++)
            moves(&listing, kinds[i], "one");
        return listing;
    }

    static void copies(Listing *listing, const std::string &domain, size_t count = kinds.size())
    {
        for (size_t i = 0; i < count; i++) {
            listing->emplace(on_disk(kinds[i] + "/" + domain), Entry{'d', 0700, ""});
            for (const char *name : {"one", "old"})
                (*listing)[on_disk(kinds[i] + "/" + domain + "/" + name)] =
                    listing->at(on_disk(kinds[i] + "/root/" + name));
        }
    }
};

} // namespace

TEST(FileJobs, AreListed)
{
    EXPECT_EQ(migr_fix_adom_cert_dirs, fix_func_array[0]);
    EXPECT_EQ(nullptr, fix_func_array[1]);
    for (size_t i = 0; i < kinds.size(); i++)
        EXPECT_EQ("/data/etc/cert/" + kinds[i], cert_dirs2fix[i]);
    EXPECT_EQ(nullptr, cert_dirs2fix[kinds.size()]);
}

TEST_F(DomainCertificates, MoveIntoTheRootDomain)
{
    EXPECT_EQ("", run(0, migr_fix_root_adom_cert));
    EXPECT_EQ(with_root(), root.listing());
}

TEST_F(DomainCertificates, GetTheirFoldersFirst)
{
    for (const std::string &kind : kinds)
        std::filesystem::remove_all(root.path() / "data/etc/cert" / kind);
    EXPECT_EQ("", run(0, migr_fix_root_adom_cert));
    Listing after = before;
    for (const std::string &kind : kinds)
        for (const std::string &folder : {kind, kind + "/root"})
            after[on_disk(folder)] = {'d', 0700, ""};
    EXPECT_EQ(after, root.listing());
}

TEST_F(DomainCertificates, StayWhenTheFoldersCannotBeHad)
{
    EXPECT_EQ("init certdir of root  error \n", run(-7, [] {
                  refused = "root";
                  refusal = -7;
                  return migr_fix_root_adom_cert();
              }));
    EXPECT_EQ(before, root.listing());
}

TEST_F(DomainCertificates, ReplaceWhatTheRootDomainHadUnderThatName)
{
    certificate("ca/old", "newer");
    certificate("ca/.hidden", "hidden");
    certificate("ca/root.pem", "near");
    EXPECT_EQ("", run(0, migr_fix_root_adom_cert));
    Listing after = with_root();
    for (const char *name : {"old", ".hidden", "root.pem"})
        moves(&after, "ca", name);
    EXPECT_EQ(after, root.listing());
}

TEST_F(DomainCertificates, LeaveFoldersAndLinksToFolders)
{
    certificate("local/shop/one", "of another domain");
    root.link("/data/etc/cert/local/linked", "shop");
    EXPECT_EQ("", run(0, migr_fix_root_adom_cert));
    EXPECT_EQ(with_root(), root.listing());
}

TEST_F(DomainCertificates, LeaveWhatTheRootDomainHasAsALink)
{
    certificate("local/two", "two");
    root.write("/elsewhere", "elsewhere");
    root.link("/data/etc/cert/local/root/two", "/elsewhere");
    EXPECT_EQ("", run(0, migr_fix_root_adom_cert));
    EXPECT_EQ(with_root(), root.listing());
}

/* A link at the old place is a file like its target. */
TEST_F(DomainCertificates, MoveThroughALink)
{
    root.write("/elsewhere", "elsewhere");
    root.link("/data/etc/cert/crl/two", "/elsewhere");
    EXPECT_EQ("", run(0, migr_fix_root_adom_cert));
    Listing after = with_root();
    after.erase(on_disk("crl/two"));
    after[on_disk("crl/root/two")] = {'f', 0600, "elsewhere"};
    EXPECT_EQ(after, root.listing());
}

/* A dangling link in the root domain is none: it does not keep the file at its old place. */
TEST_F(DomainCertificates, MoveOverADanglingLink)
{
    certificate("local/two", "two");
    root.link("/data/etc/cert/local/root/two", "/nowhere");
    EXPECT_EQ("", run(0, migr_fix_root_adom_cert));
    EXPECT_FALSE(root.exists("/data/etc/cert/local/two"));
    EXPECT_EQ("two", root.read("/data/etc/cert/local/root/two"));
}

TEST_F(DomainCertificates, StopAtAFolderThatCannotBeOpened)
{
    EXPECT_EQ("migr_fix_root_adom_cert LINE opendir /data/etc/cert/ca error\n", run(1, [] {
                  refused = "/data/etc/cert/ca";
                  return migr_fix_root_adom_cert();
              }));
    EXPECT_EQ(with_root(2), root.listing());
}

TEST_F(DomainCertificates, StopAtAFileThatCannotBeCopiedAndGoOnNextTime)
{
    std::string printed = run(-5, [] {
        refused = "/data/etc/cert/intmed/one";
        refusal = -5;
        return migr_fix_adom_cert_dirs(release_5_10);
    });
    EXPECT_EQ("migr_fix_root_adom_cert LINE copy_file(/data/etc/cert/intmed/one ,/data/etc/cert/intmed/root/one) error"
              "migr_fix_adom_cert_dirs LINE fix root cert_dir error\n",
              printed);
    EXPECT_EQ(with_root(3), root.listing());
    Listing after = with_root();
    EXPECT_EQ("", run(0, migr_fix_root_adom_cert));
    EXPECT_EQ(after, root.listing());
}

TEST_F(DomainCertificates, AreNotCopiedAfterAFailure)
{
    root.write("/data/config/sys_domain.shop.conf.gz", "");
    run(1, [] {
        refused = "/data/etc/cert/xml_client";
        return migr_fix_adom_cert_dirs(release_5_10);
    });
    EXPECT_FALSE(root.exists("/data/etc/cert/local/shop"));
}

TEST_F(DomainCertificates, AreCopiedForEachOtherDomain)
{
    for (const char *file : {"sys_global.conf.gz", "sys_domain.root.conf.gz", "sys_domain.shop.conf.gz",
                             "sys_domain.mail.conf.gz", "backup.shop2.conf.gz", "xsys_domain.shop3.conf.gz",
                             "sys_domai.shop4.conf.gz", "SYS_domain.shop5.conf.gz", ".hidden", "..."})
        root.write(std::string("/data/config/") + file, "");
    certificate("local/mail/own", "own");
    EXPECT_EQ("", run(0, [] { return migr_fix_adom_cert_dirs(release_5_10); }));
    Listing after = with_root();
    copies(&after, "shop");
    copies(&after, "mail");
    EXPECT_EQ(after, root.listing());
    EXPECT_EQ("own", root.read("/data/etc/cert/local/mail/own"));
}

TEST_F(DomainCertificates, TakeTheDomainFromTheSecondPieceOfAName)
{
    for (const char *file : {"sys_domain.a.b.conf.gz", "sys_domain..c", "sys_domain_old.d", "..sys_domain.e.gz",
                             "sys_domains.f", "sys_domain.root.conf.gz.old"})
        root.write(std::string("/data/config/") + file, "");
    EXPECT_EQ("", run(0, [] { return migr_fix_adom_cert_dirs(release_5_19); }));
    Listing after = with_root();
    for (const char *domain : {"a", "c", "d", "e", "f"})
        copies(&after, domain);
    EXPECT_EQ(after, root.listing());
}

TEST_F(DomainCertificates, NameFilesWithoutADomain)
{
    root.write("/data/config/sys_domain", "");
    root.write("/data/config/sys_domain%s%n...", "");
    root.write("/data/config/sys_domain.shop.conf.gz", "");
    std::string printed = run(0, [] { return migr_fix_adom_cert_dirs(release_5_10); });
    std::string one = "migr_fix_adom_cert_dirs LINE get adom_name from file sys_domain error\n";
    std::string other = "migr_fix_adom_cert_dirs LINE get adom_name from file sys_domain%s%n... error\n";
    EXPECT_TRUE(printed == one + other || printed == other + one) << printed;
    Listing after = with_root();
    copies(&after, "shop");
    EXPECT_EQ(after, root.listing());
}

TEST_F(DomainCertificates, StopForADomainThatFailsAndGoOnWithTheNext)
{
    root.write("/data/config/sys_domain.mail.conf.gz", "");
    root.write("/data/config/sys_domain.shop.conf.gz", "");
    std::string printed = run(0, [] {
        refused = "/data/etc/cert/ca/shop";
        refusal = -1;
        return migr_fix_adom_cert_dirs(release_5_10);
    });
    EXPECT_EQ("migr_fix_other_adom_cert LINE copy_dir(/data/etc/cert/ca/root ,/data/etc/cert/ca/shop) error", printed);
    Listing after = with_root();
    copies(&after, "mail");
    copies(&after, "shop", 2);
    EXPECT_EQ(after, root.listing());
}

TEST_F(DomainCertificates, GiveTheResultOfTheFailedCopy)
{
    run(-9, [] {
        refused = "/data/etc/cert/local/shop";
        refusal = -9;
        return migr_fix_other_adom_cert("shop");
    });
    EXPECT_EQ(before, root.listing());
}

TEST_F(DomainCertificates, FailWithoutTheConfigurationFolder)
{
    std::filesystem::remove_all(root.path() / "data/config");
    EXPECT_EQ("migr_fix_adom_cert_dirs LINE opendir /data/config/ error\n",
              run(1, [] { return migr_fix_adom_cert_dirs(release_5_10); }));
    EXPECT_EQ(with_root(), root.listing());
}

TEST_F(DomainCertificates, AreCopiedFrom510To520Only)
{
    root.write("/data/config/sys_domain.shop.conf.gz", "");
    for (int32_t from : {-1, 0, 0x40000, release_5_9, release_5_20, 0x60015}) {
        EXPECT_EQ("", run(0, [from] { return migr_fix_adom_cert_dirs(from); })) << from;
        EXPECT_FALSE(root.exists("/data/etc/cert/local/shop")) << from;
        EXPECT_FALSE(root.exists("/data/etc/cert/local/one")) << from;
    }
    EXPECT_EQ("", run(0, [] { return migr_fix_adom_cert_dirs(release_5_19); }));
    EXPECT_TRUE(root.exists("/data/etc/cert/xml_client/shop/one"));
}

TEST_F(DomainCertificates, CopyInTheOrderOfTheFolders)
{
    run(0, [] {
        EXPECT_EQ(0, migr_fix_other_adom_cert("shop"));
        std::vector<std::string> expected;
        for (const std::string &kind : kinds)
            expected.push_back("/data/etc/cert/" + kind + "/root to /data/etc/cert/" + kind + "/shop");
        EXPECT_EQ(expected, copied_folders);
        return 0;
    });
}

/* The gate of the file jobs looks at the release that the run started from, and at the image's. */
TEST_F(DomainCertificates, MoveWhenTheRunCrosses520)
{
    for (auto [from, to] :
         {std::pair{release_5_20, 0x60015}, {0x60000, 0x60015}, {release_5_9, release_5_19}, {0, 0}}) {
        EXPECT_EQ("", run(0, [from, to] { return do_other_migr_jobs(from, to); }));
        EXPECT_EQ(before, root.listing());
    }
    EXPECT_EQ("", run(0, [] { return do_other_migr_jobs(release_5_19, release_5_20); }));
    EXPECT_EQ(with_root(), root.listing());
}

TEST_F(DomainCertificates, ReportTheJobsResult)
{
    run(4, [] {
        refused = "root";
        refusal = 4;
        EXPECT_EQ(4, migr_fix_all_files(release_5_10));
        return do_other_migr_jobs(release_5_10, 0x60015);
    });
    EXPECT_EQ(before, root.listing());
}

TEST_F(DomainCertificates, KnowALinkThatLeadsSomewhere)
{
    root.write("/file", "");
    root.folder("/folder");
    root.link("/to_file", "file");
    root.link("/to_folder", "/folder");
    root.link("/to_link", "/to_file");
    root.link("/dangling", "/nowhere");
    root.link("/circle", "/circle");
    run(0, [] {
        for (const char *link : {"/to_file", "/to_folder", "/to_link"})
            EXPECT_TRUE(is_lnk(link)) << link;
        for (const char *other : {"/file", "/folder", "/dangling", "/circle", "/absent", "/file/below", ""})
            EXPECT_FALSE(is_lnk(other)) << other;
        return 0;
    });
}
