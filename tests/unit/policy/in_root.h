/* Callbacks reach for folders of the machine, so tests of whole stages see an empty appliance as "/". */
#pragma once

#include "support/appliance_root.h"

#include <gtest/gtest.h>

#include <functional>

inline void in_root(const std::function<void()> &work)
{
    support::ApplianceRoot root;
    support::ChildResult   result = support::run_in_root(root.path(), [&work] {
        work();
        return 0;
    });
    EXPECT_EQ(result.exit_code, 0) << result.out << result.err;
}
