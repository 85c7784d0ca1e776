/* Where the stand-in's messages go. */
#include "platform/platform.h"
#include "support/appliance_root.h"

#include <gtest/gtest.h>

TEST(HostLog, PrintsToStandardError)
{
    support::ApplianceRoot root;
    support::ChildResult   result = support::run_in_root(root.path(), [] {
        message("[%s]: %d files\n", "upgrade", 3);
        message("plain\n");
        return 0;
    });
    EXPECT_EQ(result.err, "[upgrade]: 3 files\nplain\n");
    EXPECT_EQ(result.out, "");
}
