/* What a folder of saved appliances holds, and what each of these is summed up to, by which a fleet knows that it has
 * done it. */
#include "fleet/entries.h"

#include "fleet/archive.h"
#include "support/appliance_root.h"
#include "system/digest.h"
#include "system/failure.h"
#include "unit/cli/command_support.h"

#include <cerrno>
#include <functional>
#include <gtest/gtest.h>
#include <set>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace support;
using command::EntryForm;

namespace {

std::string sum_of(const ApplianceRoot &box)
{
    return command::digest_of_entry(box.path(), EntryForm::folder);
}

/* What is said when those calls fail. */
std::string said_without(const ApplianceRoot &box, const std::vector<int> &calls, int error)
{
    auto say_sum = [&] {
        try {
            puts(sum_of(box).c_str());
        } catch (const command::PathError &failure) {
            printf("%s %d", failure.path.c_str(), failure.error);
        }
        return 0;
    };
    return run_process(say_sum, [&] { refuse_calls(calls, error); }).out;
}

class FleetEntries : public testing::Test {
  protected:
    std::string path(const std::string &name) const
    {
        return folder.path().string() + "/" + name;
    }
    std::string digest(const std::string &name) const
    {
        return command::digest_of_entry(path(name), command::form_of(path(name)));
    }

    support::ApplianceRoot folder;
};

} // namespace

TEST(EntrySums, TellEverythingThatIsThere)
{
    ApplianceRoot         box;
    std::set<std::string> sums;
    auto                  is_new = [&] { return sums.insert(sum_of(box)).second; };
    EXPECT_TRUE(is_new());
    EXPECT_FALSE(is_new());
    const std::function<void()> changes[] = {
        [&] { box.write("/data/x", "one"); },
        [&] { box.write("/data/x", "two"); },
        [&] { rename((box.path() / "data/x").c_str(), (box.path() / "data/y").c_str()); },
        [&] { rename((box.path() / "data/y").c_str(), (box.path() / "etc/y").c_str()); },
        [&] { chmod((box.path() / "etc/y").c_str(), 0640); },
        [&] { box.folder("/etc/z"); },
        [&] { box.link("/link", "/etc"); },
        [&] { unlink((box.path() / "link").c_str()), box.link("/link", "/data"); },
    };
    for (const auto &change : changes) {
        change();
        EXPECT_TRUE(is_new()) << sums.size();
    }
}

/* Links below it stay what they are; the folder itself may be one. */
TEST(EntrySums, AreThoseOfTheFolderThatALinkLeadsTo)
{
    ApplianceRoot box, other;
    other.link("/link", box.path());
    box.write("/x", "one");
    EXPECT_EQ(command::digest_of_entry(other.path() / "link", EntryForm::folder), sum_of(box));
    std::string before = sum_of(other);
    box.write("/x", "two");
    EXPECT_EQ(sum_of(other), before);
}

/* A sum of less would be taken for another appliance's. */
TEST(EntrySums, AreNotOfAPart)
{
    ApplianceRoot box;
    box.link("/link", "/etc");
    std::string here = box.path();
    EXPECT_EQ(said_without(box, {SYS_getdents64}, EIO), here + " " + std::to_string(EIO));
    EXPECT_EQ(said_without(box, {SYS_getdents64}, ENOMEM), here + " " + std::to_string(ENOMEM));
    EXPECT_EQ(said_without(box, {SYS_newfstatat}, EACCES), here + " " + std::to_string(EACCES));
    EXPECT_EQ(said_without(box, {SYS_readlink}, EIO), here + "/link " + std::to_string(EIO));
}

TEST_F(FleetEntries, HaveAForm)
{
    folder.folder("/box");
    folder.write("/box.tar.gz", "x");
    folder.write("/box.conf", "x");
    folder.link("/to-box", "box");
    folder.link("/to-archive.zip", "box.conf");
    folder.link("/nowhere", "none");
    mkfifo(path("pipe").c_str(), 0600);
    for (auto [name, form] : {std::pair("box", "folder"),
                              {"to-box", "folder"},
                              {"box.tar.gz", "archive"},
                              {"box.conf", "file"},
                              {"to-archive.zip", "archive"},
                              {"nowhere", "other"},
                              {"pipe", "other"}})
        EXPECT_STREQ(command::name_of(command::form_of(path(name))), form) << name;
}

/* What a disk does not tell is not for that reason none of them. */
TEST_F(FleetEntries, ThatCannotBeLookedForHaveNoForm)
{
    auto look = [&] {
        std::string where = path("data");
        try {
            command::form_of(where);
        } catch (const command::PathError &error) {
            printf("%s %s: %d", error.doing.c_str(), error.path == where ? "it" : error.path.c_str(), error.error);
        }
        return 0;
    };
    EXPECT_EQ(support::run_process(look,
                                   [] {
                                       support::refuse_calls({SYS_newfstatat, SYS_stat}, EIO);
                                   })
                  .out,
              "look for it: " + std::to_string(EIO));
}

TEST_F(FleetEntries, AreArchivesByTheirNames)
{
    for (const char *ending : {".tar", ".tar.gz", ".tgz", ".tar.zst", ".tzst", ".zip"}) {
        EXPECT_EQ(command::archive_ending("box" + std::string(ending)), ending);
        EXPECT_FALSE(command::is_archive_name(ending)) << "it is all ending";
        EXPECT_FALSE(command::is_archive_name("box" + std::string(ending) + "x"));
    }
    EXPECT_EQ(command::archive_ending("box.tar.zip"), ".zip");
    EXPECT_EQ(command::archive_ending("box.gz"), "");
    EXPECT_EQ(command::archive_ending("tar"), "");
}

TEST_F(FleetEntries, AreWhatIsNotHidden)
{
    for (const char *name : {"/fleet/a", "/fleet/b/c", "/fleet/.hidden", "/fleet/..b"})
        folder.write(name, "");
    std::set<std::string> names;
    EXPECT_EQ(command::for_each_entry(path("fleet"), [&](const std::string &name) { names.insert(name); }), 2u);
    EXPECT_EQ(names, (std::set<std::string>{"a", "b"}));
    EXPECT_THROW(command::for_each_entry(path("none"), [](const std::string &) {}), command::Failure);
    EXPECT_EQ(command::why_no_entry_name("box 1"), "");
    for (const char *name : {"a\nb", "a\x1b[2J", "\xff"})
        EXPECT_EQ(command::why_no_entry_name(name),
                  "Its name has characters that a terminal or a shell might act on. Give it another one.");
}

TEST_F(FleetEntries, OfFilesAreWhatTheyHold)
{
    folder.write("/one", "text");
    EXPECT_EQ(digest("one"), command::sha256("text"));
    EXPECT_EQ(digest("none"), command::sha256("other"));
    folder.link("/to-one", "one");
    EXPECT_EQ(digest("to-one"), command::sha256("text"));
}
