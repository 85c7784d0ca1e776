/* Why a folder cannot be copied, and where nothing of it may come to lie. */
#include "unit/cli/command_support.h"

#include "fleet/archive_library.h"
#include "fleet/folder_copy.h"
#include "support/places.h"
#include "system/failure.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

using namespace support;

namespace {

/* What is said when so many descriptors are left. */
std::string said_with_descriptors(const std::string &from, const std::string &to, rlim_t left)
{
    return run_process([&] {
               command::load_archive_library();
               int next = dup(0);
               close(next);
               rlimit few = {static_cast<rlim_t>(next) + left, static_cast<rlim_t>(next) + left};
               setrlimit(RLIMIT_NOFILE, &few);
               try {
                   command::copy_folder(from, to);
                   puts("copied");
               } catch (const command::Failure &failure) {
                   puts(failure.what());
               }
               return 0;
           })
        .out;
}

} // namespace

/* From each opening on that can fail: the library of archives goes on without some, and tells of that alone. */
TEST(FolderCopy, NamesWhatTheSystemSaid)
{
    if (is_sanitized())
        GTEST_SKIP() << "nobody watches calls there";
    TinyAppliance box, room;
    rlim_t        left = 0;
    for (std::string said; said != "copied\n"; left++) {
        ASSERT_LT(left, 20U);
        said = said_with_descriptors(box.root(), room.root() + "/copy", left);
        if (said == "copied\n")
            break;
        EXPECT_NE(said.find("cannot copy it: "), std::string::npos) << left << ": " << said;
        EXPECT_NE(said.find("(Too many open files)"), std::string::npos) << left << ": " << said;
    }
    EXPECT_GE(left, 4U);
}

/* Which would open what was closed, or the other way round. */
TEST(FolderCopy, LacksNoAttributes)
{
    if (is_sanitized())
        GTEST_SKIP() << "nobody watches calls there";
    TinyAppliance box, room;
    auto          said_without = [&](int error) {
        auto copy = [&] {
            try {
                command::copy_folder(box.root(), room.root() + "/copy");
                puts("copied");
            } catch (const command::Failure &failure) {
                puts(failure.what());
            }
            return 0;
        };
        return run_process(copy, [=] { refuse_calls({SYS_listxattr, SYS_llistxattr, SYS_flistxattr}, error); }).out;
    };
    EXPECT_EQ(said_without(EIO), box.root() + ": cannot copy all of it: Input/output error. Look after the disk before "
                                              "anything else.\n");
    std::filesystem::remove_all(room.root() + "/copy");
    EXPECT_EQ(said_without(ENOTSUP), "copied\n");
}

/* The library of archives goes on in the folder in which it is by then. */
TEST(FolderCopy, WritesNowhereElse)
{
    if (is_sanitized())
        GTEST_SKIP() << "nobody watches calls there";
    TinyAppliance place;
    place.write("/from/box/data/file", "text");
    place.folder("/to");
    Listing before = place.listing();
    auto    copy = [&] {
        try {
            command::copy_folder("from/box", "to/copy");
            puts("copied");
        } catch (const command::Failure &failure) {
            puts(failure.what());
        }
        return 0;
    };
    auto in_place = [&] {
        if (chdir(place.root().c_str()) != 0)
            _exit(1);
    };
    auto unable_to_come_back = [&] {
        in_place();
        refuse_calls({SYS_fchdir}, EIO);
    };
    EXPECT_EQ(run_process(copy, unable_to_come_back).out,
              "from/box: cannot copy all of it: Input/output error. Look after the disk before anything else.\n");
    place.drop("/to/copy");
    EXPECT_EQ(place.listing(), before);
    EXPECT_EQ(run_process(copy, in_place).out, "copied\n");
    EXPECT_EQ(place.read("/to/copy/data/file"), "text");
}

TEST(FolderCopy, NamesWhatWasSaidOfTheDisk)
{
    if (is_sanitized())
        GTEST_SKIP() << "nobody watches calls there";
    TinyAppliance box, room;
    auto          copy = [&] {
        try {
            command::copy_folder(box.root(), room.root() + "/copy");
        } catch (const command::Failure &failure) {
            puts(failure.what());
        }
        return 0;
    };
    EXPECT_EQ(run_process(copy, [] { refuse_calls({SYS_fstatfs}, EIO); }).out,
              "cannot copy it: statfs failed (Input/output error). Mend that, or leave it out.\n");
}
