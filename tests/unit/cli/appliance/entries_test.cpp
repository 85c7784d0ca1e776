/* Things on a disk as they are seen, compared and made again. */
#include "appliance/entries.h"

#include "support/appliance_root.h"
#include "system/failure.h"
#include "system/file_descriptor.h"
#include "system/files.h"
#include "unit/cli/command_support.h"
#include "unit/cli/failing_calls.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/xattr.h>
#include <unistd.h>

using namespace command;
using support::path_error_of;

namespace {

class EntriesOnDisk : public testing::Test {
  protected:
    std::string path(const std::string &name) const
    {
        return box.path().string() + "/" + name;
    }
    /* Of a file or folder in the temporary folder; false where its disk knows no such attributes. */
    bool give_attribute(const std::string &name, const std::string &attribute, const std::string &value) const
    {
        return setxattr(path(name).c_str(), attribute.c_str(), value.data(), value.size(), 0) == 0;
    }

    support::ApplianceRoot box;
};

Entry changed(Entry entry, void (*how)(Entry &))
{
    how(entry);
    return entry;
}

} // namespace

TEST_F(EntriesOnDisk, AreWhatTheyAre)
{
    box.write("/file", "text", 0640);
    box.folder("/folder", 0710);
    box.link("/link", "to/nowhere");
    ASSERT_EQ(mkfifo(path("pipe").c_str(), 0600), 0);
    ASSERT_EQ(chmod(path("file").c_str(), 06751), 0);
    timespec times[] = {{1, 2}, {3, 4}};
    ASSERT_EQ(utimensat(AT_FDCWD, path("file").c_str(), times, 0), 0);

    Entry file = entry_at(path("file"));
    EXPECT_EQ(file, (Entry{'f', 06751, geteuid(), getegid(), 3, 4, 4, "", "", {}}));
    Entry folder = entry_at(path("folder"));
    EXPECT_EQ(folder.type, 'd');
    EXPECT_EQ(folder.mode, 0710u);
    EXPECT_EQ(folder.size, 0u);
    Entry link = entry_at(path("link"));
    EXPECT_EQ(link.type, 'l');
    EXPECT_EQ(link.target, "to/nowhere");
    EXPECT_EQ(link.size, 0u);
    EXPECT_EQ(entry_at(path("pipe")).type, 'o');
}

TEST_F(EntriesOnDisk, MayBeThereOrNot)
{
    box.write("/file", "text");
    EXPECT_TRUE(entry_if_there(path("file")));
    EXPECT_FALSE(entry_if_there(path("none")));
    EXPECT_FALSE(entry_if_there(path("file/below")));
    std::string long_name = path(std::string(300, 'n'));
    EXPECT_EQ(path_error_of([&] { entry_if_there(long_name); }),
              "read " + long_name + ": " + std::to_string(ENAMETOOLONG));
    EXPECT_EQ(path_error_of([&] { entry_at(path("none")); }), "read " + path("none") + ": " + std::to_string(ENOENT));
}

TEST_F(EntriesOnDisk, HaveAttributes)
{
    box.write("/file", "text");
    box.folder("/folder");
    std::string bytes("\0\xff", 2);
    if (!give_attribute("file", "trusted.migr", bytes) || !give_attribute("file", "trusted.empty", ""))
        GTEST_SKIP() << "no attributes on this disk, or not for this user";
    give_attribute("folder", "trusted.migr", "f");
    std::map<std::string, std::string> expected = {{"trusted.migr", bytes}, {"trusted.empty", ""}};
    EXPECT_EQ(entry_at(path("file")).attributes, expected);
    EXPECT_EQ(entry_at(path("folder")).attributes.at("trusted.migr"), "f");
}

/* More names than a first look has room for. */
TEST_F(EntriesOnDisk, HaveManyAttributes)
{
    box.write("/file", "text");
    std::map<std::string, std::string> expected;
    for (int number = 0; number < 40; number++) {
        std::string name = "trusted." + std::string(200, 'n') + std::to_string(number);
        if (!give_attribute("file", name, "v"))
            GTEST_SKIP() << "no attributes on this disk, or not for this user";
        expected[name] = "v";
    }
    EXPECT_EQ(entry_at(path("file")).attributes, expected);
}

/* Or a file would come back without its access list, and nobody would know. */
TEST_F(EntriesOnDisk, HaveNoneOnlyWhereTheDiskSaysSo)
{
    box.write("/file", "text");
    auto said_without = [&](int call, int error) {
        auto look = [&] {
            dprintf(STDOUT_FILENO, "%s", path_error_of([&] { entry_at(path("file")); }).c_str());
            return 0;
        };
        return support::run_process(look, [&] { support::refuse_calls({call}, error); }).out;
    };
    for (int error : {EIO, ENOMEM, EACCES})
        EXPECT_EQ(said_without(SYS_llistxattr, error),
                  support::with_error("read the attributes of " + path("file"), error));
    for (int error : {ENOTSUP, ENOSYS})
        EXPECT_EQ(said_without(SYS_llistxattr, error), "");
    if (!give_attribute("file", "trusted.migr", "x"))
        GTEST_SKIP() << "no attributes on this disk, or not for this user";
    for (int error : {EIO, ENOMEM, EACCES})
        EXPECT_EQ(said_without(SYS_lgetxattr, error),
                  support::with_error("read the attribute trusted.migr of " + path("file"), error));
    EXPECT_EQ(said_without(SYS_lgetxattr, ENODATA), "");
    if (!give_attribute("file", "security.migr", "x") || removexattr(path("file").c_str(), "trusted.migr") != 0)
        GTEST_SKIP() << "the system keeps its own attributes from this user";
    EXPECT_EQ(said_without(SYS_lgetxattr, EACCES), "");
    EXPECT_EQ(said_without(SYS_lgetxattr, EIO),
              support::with_error("read the attribute security.migr of " + path("file"), EIO));
}

/* One that a folder hands on would open the file to others. */
TEST_F(EntriesOnDisk, KeepNoListThatIsNotTheirs)
{
    box.write("/file", "text");
    Entry wanted = entry_at(path("file"));
    Fd    fd(open(path("file").c_str(), O_RDWR | O_CLOEXEC));
    auto  said_without = [&](int error) {
        auto set = [&] {
            std::string said = path_error_of([&] { set_attributes(fd.get(), path("file"), wanted); });
            dprintf(STDOUT_FILENO, "%s", said.c_str());
            return 0;
        };
        return support::run_process(set, [&] { support::refuse_calls({SYS_fremovexattr}, error); }).out;
    };
    EXPECT_EQ(said_without(EIO),
              support::with_error("take the attribute system.posix_acl_access from " + path("file"), EIO));
    EXPECT_EQ(said_without(ENODATA), "");
    EXPECT_EQ(said_without(ENOTSUP), "");
}

TEST(EntriesCompared, AreUntouchedByWhatShows)
{
    Entry file = {'f', 0600, 1, 2, 3, 4, 5, "", "sum", {}}, folder = {'d', 0700, 1, 2, 3, 4, 5, "", "", {}};
    Entry link = {'l', 0777, 1, 2, 3, 4, 0, "there", "", {}}, pipe = {'o', 0600, 1, 2, 3, 4, 0, "", "", {}};

    for (const Entry &one : {file, folder, link, pipe})
        for (const Entry &other : {file, folder, link, pipe})
            EXPECT_EQ(is_untouched(one, other), one.type == other.type) << one.type << other.type;
    EXPECT_FALSE(is_untouched(file, changed(file, [](Entry &entry) { entry.mode = 0644; })));
    EXPECT_FALSE(is_untouched(file, changed(file, [](Entry &entry) { entry.size = 6; })));
    EXPECT_FALSE(is_untouched(file, changed(file, [](Entry &entry) { entry.seconds = 4; })));
    EXPECT_FALSE(is_untouched(file, changed(file, [](Entry &entry) { entry.nanoseconds = 5; })));
    EXPECT_TRUE(is_untouched(file, changed(file, [](Entry &entry) { entry.sha256 = "other"; })));
    EXPECT_FALSE(is_untouched(folder, changed(folder, [](Entry &entry) { entry.mode = 0755; })));
    EXPECT_TRUE(is_untouched(folder, changed(folder, [](Entry &entry) { entry.seconds = 4; })));
    EXPECT_FALSE(is_untouched(link, changed(link, [](Entry &entry) { entry.target = "here"; })));
    EXPECT_TRUE(is_untouched(link, changed(link, [](Entry &entry) { entry.seconds = 4; })));
    EXPECT_TRUE(is_untouched(pipe, changed(pipe, [](Entry &entry) { entry.mode = 0644; })));
}

TEST_F(EntriesOnDisk, AreMadeWhatIsWanted)
{
    box.write("/file", "text");
    box.folder("/folder");
    bool  root = geteuid() == 0;
    Entry wanted = {'f', 04751, root ? 1 : geteuid(), root ? 2 : getegid(), 3, 4, 4, "", "", {}};
    Fd    file = open_file(path("file"), Links::refuse);
    set_attributes(file.get(), path("file"), wanted);
    EXPECT_EQ(entry_at(path("file")), wanted);

    Fd    folder(open(path("folder").c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    Entry open_one = entry_at(path("folder"));
    open_one.mode = 01755;
    open_one.seconds = 3; /* which a folder keeps for itself */
    set_attributes(folder.get(), path("folder"), open_one);
    EXPECT_EQ(entry_at(path("folder")).mode, 01755u);
    EXPECT_NE(entry_at(path("folder")).seconds, 3);
}

TEST_F(EntriesOnDisk, KeepAttributesOrSayThatTheyCannot)
{
    box.write("/file", "text");
    Fd    file = open_file(path("file"), Links::refuse);
    Entry wanted = entry_at(path("file"));
    wanted.attributes = {{"nowhere.migr", "v"}};
    EXPECT_EQ(path_error_of([&] { set_attributes(file.get(), "x", wanted); }),
              "keep the attribute nowhere.migr of x: " + std::to_string(EOPNOTSUPP));
    wanted.attributes = {{"security.", "v"}}; /* the system's own care */
    EXPECT_NO_THROW(set_attributes(file.get(), "x", wanted));
    EXPECT_EQ(path_error_of([&] { set_attributes(-1, "x", wanted); }), "read x: " + std::to_string(EBADF));
}

TEST_F(EntriesOnDisk, SayWhatCannotBeKept)
{
    box.write("/file", "text");
    Fd    file = open_file(path("file"), Links::refuse);
    Entry same = entry_at(path("file"));
    Entry other = same;
    other.gid++;
    auto failing = [&](const char *call, const Entry &wanted) {
        support::fail_call(call, EIO);
        return path_error_of([&] { set_attributes(file.get(), "x", wanted); });
    };
    std::string error = ": " + std::to_string(EIO);
    EXPECT_EQ(failing("fchown", other), "keep the owner of x" + error);
    EXPECT_EQ(failing("fchmod", same), "keep the mode of x" + error);
    EXPECT_EQ(failing("futimens", same), "keep the time of x" + error);
    EXPECT_EQ(failing("fchown", same), ""); /* it is asked for nothing */
}
