/* Why a folder cannot be copied. */
#include "unit/cli/command_support.h"

#include "fleet/folder_copy.h"
#include "system/failure.h"

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <unistd.h>

using namespace support;

namespace {

/* What is said when so many descriptors are left. */
std::string said_with_descriptors(const std::string &from, const std::string &to, rlim_t left)
{
    return run_process([&] {
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

/* With one more the library of archives lacks it for a moment only, and nobody learns why. */
TEST(FolderCopy, NamesWhatTheSystemSaid)
{
    TinyAppliance box, room;
    for (rlim_t left : {0, 1, 2}) {
        std::string said = said_with_descriptors(box.root(), room.root() + "/copy", left);
        EXPECT_NE(said.find("cannot copy it: "), std::string::npos) << left << ": " << said;
        EXPECT_NE(said.find("(Too many open files)"), std::string::npos) << left << ": " << said;
    }
    EXPECT_EQ(said_with_descriptors(box.root(), room.root() + "/copy", 20), "copied\n");
}
