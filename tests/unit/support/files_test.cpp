/* Files as tests read them. */
#include "support/files.h"
#include "support/trees.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

TEST(FileText, IsAllOfAFile)
{
    std::string text("a\0\r\n\xff", 5);
    EXPECT_EQ(support::file_text(support::TextFile(text).path()), text);
    EXPECT_EQ(support::file_text(support::TextFile("").path()), "");
}

TEST(FileText, IsNoneOfWhatIsNotThere)
{
    EXPECT_THROW(support::file_text("/nonexistent/file"), std::runtime_error);
}
