/* Runs expectations with an appliance's root folder as "/". */
#pragma once

#include "platform/platform.h"
#include "support/appliance_root.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

/* The child's standard error: what went to the host's log. */
inline std::string expect_in_root(const support::ApplianceRoot &root, const std::function<void()> &work)
{
    support::ChildResult result = support::run_in_root(root.path(), [&work] {
        work();
        return 0;
    });
    EXPECT_EQ(result.exit_code, 0) << result.out << result.err;
    return result.err;
}
