/* The command as another user than root, where permission bits count. */
#include "unit/cli/command_support.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;
using namespace support;

namespace {

/* A tiny appliance that belongs to an ordinary user: nobody, or whoever runs the tests. */
class User : public testing::Test {
  protected:
    void SetUp() override
    {
        if (!users_may_chroot())
            GTEST_SKIP() << "no user namespaces here";
    }

    void hand_over() const
    {
        give_to_nobody(box.root());
    }

    static Outcome migr_as_user(const std::vector<std::string> &arguments)
    {
        return migr(arguments, become_nobody);
    }

    void set_mode(const std::string &inside, unsigned mode) const
    {
        ASSERT_EQ(chmod((box.root() + inside).c_str(), mode), 0);
    }

    TinyAppliance box;
};

} // namespace

TEST_F(User, UpgradesAndRollsBack)
{
    box.link("/data/etc/cert/link", "/etc/passwd");
    hand_over();
    Listing before = box.without_snapshots();
    Outcome run = migr_as_user({"upgrade", box.root()});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_NE(run.out.find("sys_global.conf.gz       5.50    " MIGR_IMAGE_RELEASE "   upgraded"), std::string::npos)
        << run.out;
    run = migr_as_user({"rollback", box.root()});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST_F(User, DryRun)
{
    hand_over();
    Listing before = box.listing();
    Outcome run = migr_as_user({"upgrade", "--dry-run", box.root()});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_EQ(box.listing(), before);
}

TEST_F(User, UnreadableFile)
{
    box.write("/data/etc/cert/secret.key", "key");
    hand_over();
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can make a file that this user's own rights do not open";
    ASSERT_EQ(chown((box.root() + "/data/etc/cert/secret.key").c_str(), 0, 0), 0);
    Listing before = box.without_snapshots();
    Outcome run = migr_as_user({"upgrade", box.root()});
    EXPECT_EQ(run.status, 2) << run.all();
    EXPECT_NE(
        run.err.find(box.root() + "/data/etc/cert/secret.key: cannot read it: Permission denied. Run migr as root"),
        std::string::npos)
        << run.err;
    EXPECT_EQ(box.without_snapshots(), before);
    EXPECT_TRUE(box.snapshots().empty());
}

TEST_F(User, UnreadableConfiguration)
{
    hand_over();
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can make a file that this user's own rights do not open";
    ASSERT_EQ(chown((box.root() + "/data/config/sys_domain.root.conf.gz").c_str(), 0, 0), 0);
    Listing before = box.without_snapshots();
    Outcome run = migr_as_user({"upgrade", box.root()});
    EXPECT_EQ(run.status, 2) << run.all();
    EXPECT_NE(run.err.find("sys_domain.root.conf.gz: cannot read it: Permission denied. Run migr as root"),
              std::string::npos)
        << run.err;
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST_F(User, ReadOnlyFolders)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can make a folder that this user's own rights do not open";
    for (const char *folder : {"/data/config", "/var/log"}) {
        TinyAppliance closed;
        give_to_nobody(closed.root());
        std::string path = closed.root() + folder;
        ASSERT_EQ(chown(path.c_str(), 0, 0), 0);
        ASSERT_EQ(chmod(path.c_str(), 0755), 0);
        Listing before = closed.without_snapshots();
        Outcome run = migr_as_user({"upgrade", closed.root()});
        EXPECT_EQ(run.status, 2) << run.all();
        EXPECT_NE(run.err.find(path + ": cannot write into it: Permission denied. Run migr as root"), std::string::npos)
            << run.err;
        EXPECT_EQ(closed.without_snapshots(), before);
    }
}

TEST_F(User, NoPlaceForSnapshots)
{
    hand_over();
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can make a folder that this user's own rights do not open";
    ASSERT_EQ(chown((box.root() + "/var").c_str(), 0, 0), 0);
    ASSERT_EQ(chmod((box.root() + "/var").c_str(), 0755), 0);
    Listing before = box.listing();
    Outcome run = migr_as_user({"upgrade", box.root()});
    EXPECT_EQ(run.status, 2) << run.all();
    EXPECT_NE(run.err.find("/var/lib: cannot make it: Permission denied"), std::string::npos) << run.err;
    EXPECT_EQ(box.listing(), before);
}

TEST_F(User, AFolderThatItMayNotEnter)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can make a folder that this user's own rights do not open";
    set_mode("", 0700);
    Outcome run = migr_as_user({"upgrade", box.root()});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find(box.root() + ": cannot enter it: Permission denied. Run migr as root"), std::string::npos)
        << run.err;
}

TEST_F(User, ReadOnlyModesOfItsOwnFilesAreBroughtBack)
{
    box.write("/data/etc/cert/local/k.key", "key", 0400);
    box.write("/data/etc/wvs/profile/p", "p", 0400);
    set_mode("/data/etc/cert/local", 0500);
    hand_over();
    Listing before = box.without_snapshots();
    ASSERT_EQ(migr_as_user({"upgrade", box.root()}).status, 0);
    Outcome back = migr_as_user({"rollback", box.root()});
    EXPECT_EQ(back.status, 0) << back.all();
    EXPECT_EQ(box.without_snapshots(), before);
    set_mode("/data/etc/cert/local", 0700);
}

TEST(Root, GivesFilesBackToTheirOwners)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can give files away";
    TinyAppliance box;
    box.link("/data/etc/cert/link", "x");
    give_to_nobody(box.root());
    ASSERT_EQ(migr({"upgrade", box.root()}).status, 0);
    struct stat st = {};
    ASSERT_EQ(stat((box.root() + "/data/config/sys_global.conf.gz").c_str(), &st), 0);
    EXPECT_EQ(st.st_uid, nobody);
    ASSERT_EQ(migr({"rollback", box.root()}).status, 0);
    for (const char *path : {"/data/config/sys_global.conf.gz", "/data/etc/cert/link", "/data/config"}) {
        ASSERT_EQ(lstat((box.root() + path).c_str(), &st), 0);
        EXPECT_EQ(st.st_uid, nobody) << path;
        EXPECT_EQ(st.st_gid, nobody) << path;
    }
}
