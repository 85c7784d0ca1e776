/* The connection that the parts of the stand-in share. */
#include "image_database.h"

#include "support/appliance_root.h"

#include <gtest/gtest.h>

using appliance::BorrowedConnection;
using support::ApplianceRoot;

TEST(ImageDatabase, LendsTheConnectionThatIsHeld)
{
    ApplianceRoot root;
    root.database("create table numbers(value integer); insert into numbers values (7);");
    support::expect_in_root(root, [] {
        appliance::Connection first = appliance::open_database();
        ASSERT_NE(first, nullptr);
        appliance::hold_connection(first.get());
        EXPECT_EQ(BorrowedConnection().get(), first.get());
        EXPECT_EQ(BorrowedConnection().get(), first.get()); /* the one before did not close it */
        appliance::Statement row = appliance::prepare(first.get(), "select value from numbers");
        ASSERT_EQ(sqlite3_step(row.get()), SQLITE_ROW);
        EXPECT_EQ(appliance::number_in(row.get(), 0), 7);
        EXPECT_STREQ(appliance::text_in(row.get(), 0), "7");
        appliance::hold_connection(nullptr);
        BorrowedConnection own;
        EXPECT_NE(own.get(), nullptr);
        EXPECT_NE(own.get(), first.get());
    });
}

TEST(ImageDatabase, IsNotThere)
{
    ApplianceRoot root;
    support::expect_in_root(root, [] {
        EXPECT_EQ(BorrowedConnection().get(), nullptr);
        EXPECT_EQ(appliance::prepare(nullptr, "select 1"), nullptr);
    });
}
