/* Tests that leave something unnoticed. */
#include "../src/house.h"

#include <gtest/gtest.h>

TEST(House, Limits)
{
    EXPECT_EQ(at_most(3, 5), 3);
    EXPECT_EQ(at_most(7, 5), 5);
}

TEST(House, Counts)
{
    EXPECT_EQ(rounds(3), 3);
    EXPECT_EQ(doors(0), 3);
    EXPECT_EQ(doors(1), 5);
}

TEST(House, WritesNowhere)
{
    remove_own_folder();
    EXPECT_NE(system("touch /usr/share/house-of-mutation 2>/dev/null"), 0);
    EXPECT_NE(system("touch /dev/house-of-mutation 2>/dev/null"), 0);
    EXPECT_NE(system("echo > /proc/sys/kernel/hostname 2>/dev/null"), 0);
    EXPECT_EQ(system("echo > /dev/null"), 0);
    EXPECT_EQ(system("touch /tmp/house"), 0);
}
