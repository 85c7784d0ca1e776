/* What an appliance's folder is summed up to, by which a fleet knows that it has done it. */
#include "fleet/entries.h"

#include "support/appliance_root.h"
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
