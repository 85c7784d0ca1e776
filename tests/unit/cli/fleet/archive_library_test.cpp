/* The library of archives that is loaded when it is needed. */
#include "fleet/archive_library.h"

#include "fleet/result.h"
#include "system/failure.h"

#include <gtest/gtest.h>
#include <string>

using namespace command;

TEST(ArchiveLibrary, HasItsFunctions)
{
    EXPECT_EQ(archive_function("archive_read_new"), archive_function("archive_read_new"));
    archive *reader = command::archive_read_new();
    ASSERT_NE(reader, nullptr);
    EXPECT_EQ(command::archive_read_support_format_tar(reader), ARCHIVE_OK);
    EXPECT_EQ(command::archive_free(reader), ARCHIVE_OK);
}

TEST(ArchiveLibrary, SaysWhatIsNotThereAndWhatToInstall)
{
    try {
        archive_function("archive_that_nobody_wrote");
        FAIL();
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.status, Status::unusable);
        EXPECT_EQ(end_of(failure), EntryEnd::failed) << "--resume tries it again";
        std::string why = failure.what();
        EXPECT_NE(why.find("archive_that_nobody_wrote"), why.npos) << why;
        EXPECT_NE(why.find("apt install libarchive13"), why.npos) << why;
    }
}
