/* Limits of a machine, from its database or by default. */
#include "platform/platform.h"
#include "support/appliance_root.h"

#include <gtest/gtest.h>

using support::ApplianceRoot;

static void expect_limit(const char *sql, int limit)
{
    ApplianceRoot root;
    root.database(sql);
    support::expect_in_root(root, [limit] {
        EXPECT_EQ(__vm_get_max_policy_session(), limit);
        signature_database *handle = nullptr;
        ASSERT_EQ(db_open(&handle), 0);
        EXPECT_EQ(__vm_get_max_policy_session(), limit);
        ASSERT_EQ(db_close(handle), 0);
        EXPECT_EQ(__vm_get_max_policy_session(), limit);
    });
}

TEST(PlatformLimits, TheMachinesOwn)
{
    expect_limit("create table platform_limit(name text, value integer);"
                 "insert into platform_limit values('other',1),('max_policy_session',400);",
                 400);
    expect_limit("create table platform_limit(name text, value integer);"
                 "insert into platform_limit values('max_policy_session',99999999999);",
                 2147483647);
}

TEST(PlatformLimits, DefaultWithoutTheRow)
{
    expect_limit("create table platform_limit(name text, value integer);", 10000);
    expect_limit("create table platform_limit(name text, value integer);"
                 "insert into platform_limit values('max_policy_session',null);",
                 10000);
    expect_limit("create table other(x);", 10000);
}

TEST(PlatformLimits, DefaultWithoutDatabase)
{
    ApplianceRoot root;
    support::expect_in_root(root, [] { EXPECT_EQ(__vm_get_max_policy_session(), 10000); });
}
