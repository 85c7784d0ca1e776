/* Private copies that cannot be taken away again. What is copied into them is tested with upgrades. */
#include "appliance/staging.h"

#include "appliance/inside.h"
#include "appliance/snapshot_store.h"
#include "unit/cli/command_support.h"
#include "unit/cli/failing_calls.h"

#include <algorithm>
#include <cerrno>
#include <gtest/gtest.h>

TEST(StagingFolder, IsLeftToTheNextCommandWhereNoProcessIsHadToRemoveIt)
{
    support::TinyAppliance box;
    command::Root          root(box.root());
    auto                   folders = [&] {
        support::Listing all = box.listing();
        return std::count_if(all.begin(), all.end(),
                                               [](const auto &one) { return one.first.starts_with("var/lib/migr/staging-"); });
    };
    {
        command::StagingFolder staging(root);
        EXPECT_EQ(folders(), 1);
        support::fail_call("fork", EAGAIN);
    }
    EXPECT_TRUE(support::has_failed());
    EXPECT_EQ(folders(), 1);
    command::inside(root, command::sweep_staging);
    EXPECT_EQ(folders(), 0);
}
