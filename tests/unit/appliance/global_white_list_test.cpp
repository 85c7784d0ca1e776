/* The names of the global white list, as the database has them. What a migration does with them is shown by its
 * cases. */
#include "platform/platform.h"
#include "support/appliance_root.h"

#include <gtest/gtest.h>

#include <cstddef>

using support::ApplianceRoot;

static_assert(offsetof(global_white_list, names) == 8);

static void expect_failure(const ApplianceRoot &root)
{
    support::expect_in_root(root, [] {
        global_white_list list;
        list.count = 5;
        EXPECT_NE(global_white_list_read_db(&list), 0);
        EXPECT_EQ(list.count, 0);
    });
}

TEST(GlobalWhiteList, NamesInOrder)
{
    ApplianceRoot root;
    root.database("create table global_white_list(name text);"
                  "insert into global_white_list values('search'),('bot'),(null),('abcdefghij'),('');");
    support::expect_in_root(root, [] {
        global_white_list list;
        ASSERT_EQ(global_white_list_read_db(&list), 0);
        ASSERT_EQ(list.count, 4);
        EXPECT_STREQ(list.names[0], "search");
        EXPECT_STREQ(list.names[1], "bot");
        EXPECT_STREQ(list.names[2], "abcdefg");
        EXPECT_STREQ(list.names[3], "");
    });
}

TEST(GlobalWhiteList, WorksBesideAnOpenHandle)
{
    ApplianceRoot root;
    root.database("create table global_white_list(name text); insert into global_white_list values('search');");
    support::expect_in_root(root, [] {
        signature_database *handle = nullptr;
        ASSERT_EQ(db_open(&handle), 0);
        global_white_list list;
        EXPECT_EQ(global_white_list_read_db(&list), 0);
        EXPECT_EQ(list.count, 1);
        ASSERT_EQ(db_close(handle), 0);
    });
}

TEST(GlobalWhiteList, HoldsThirtyTwo)
{
    ApplianceRoot root;
    root.database("create table global_white_list(name text);"
                  "with recursive n(i) as (select 1 union all select i+1 from n limit 40)"
                  " insert into global_white_list select 'n'||i from n;");
    support::expect_in_root(root, [] {
        global_white_list list;
        ASSERT_EQ(global_white_list_read_db(&list), 0);
        EXPECT_EQ(list.count, 32);
        EXPECT_STREQ(list.names[31], "n32");
    });
}

TEST(GlobalWhiteList, EmptyTable)
{
    ApplianceRoot root;
    root.database("create table global_white_list(name text);");
    support::expect_in_root(root, [] {
        global_white_list list;
        EXPECT_EQ(global_white_list_read_db(&list), 0);
        EXPECT_EQ(list.count, 0);
    });
}

TEST(GlobalWhiteList, FailsWithoutTableOrDatabase)
{
    ApplianceRoot none;
    expect_failure(none);
    ApplianceRoot empty;
    empty.database("create table other(x);");
    expect_failure(empty);
    EXPECT_NE(global_white_list_read_db(nullptr), 0);
}
