/* The linked list alone. */
#include "rules/rules.h"

#include <gtest/gtest.h>

#include <type_traits>

TEST(List, HeadOfAnEmptyListPointsAtItself)
{
    migr_list head;
    migr_list_init(&head);
    EXPECT_EQ(&head, head.next);
    EXPECT_EQ(&head, head.prev);
}

TEST(List, AddsAtTheTail)
{
    migr_list head;
    migr_list first;
    migr_list second;
    migr_list_init(&head);
    migr_list_add_tail(&first, &head);
    migr_list_add_tail(&second, &head);
    EXPECT_EQ(&first, head.next);
    EXPECT_EQ(&second, first.next);
    EXPECT_EQ(&head, second.next);
    EXPECT_EQ(&second, head.prev);
    EXPECT_EQ(&first, second.prev);
    EXPECT_EQ(&head, first.prev);
}

TEST(List, UnlinkingPoisonsTheLinks)
{
    migr_list head;
    migr_list first;
    migr_list second;
    migr_list_init(&head);
    migr_list_add_tail(&first, &head);
    migr_list_add_tail(&second, &head);
    migr_list_del(&first);
    EXPECT_EQ(0x100100u, reinterpret_cast<uintptr_t>(first.next));
    EXPECT_EQ(0x200200u, reinterpret_cast<uintptr_t>(first.prev));
    EXPECT_EQ(&second, head.next);
    EXPECT_EQ(&head, second.prev);
    migr_list_del(&second);
    EXPECT_EQ(&head, head.next);
    EXPECT_EQ(&head, head.prev);
}

TEST(List, InnerStepsLinkBetweenTwo)
{
    migr_list head;
    migr_list first;
    migr_list between;
    migr_list_init(&head);
    migr_list_add_tail(&first, &head);
    __migr_list_add(&between, &head, &first);
    EXPECT_EQ(&between, head.next);
    EXPECT_EQ(&first, between.next);
    EXPECT_EQ(&between, first.prev);
    __migr_list_del(&head, &first);
    EXPECT_EQ(&first, head.next);
    EXPECT_EQ(&head, first.prev);
}

/* A debugger and the loops over lists take a link's address for its element's. */
TEST(List, LinksComeFirstInTheirElements)
{
    EXPECT_TRUE(std::is_standard_layout_v<update_section>);
    EXPECT_EQ(0u, offsetof(update_section, link));
    EXPECT_EQ(0u, offsetof(update_rule, link));
    EXPECT_EQ(2 * sizeof(void *), offsetof(update_section, version));
    EXPECT_EQ(2 * sizeof(void *), offsetof(update_rule, text));
    EXPECT_LT(offsetof(update_section, delete_list), offsetof(update_section, modify_list));
    EXPECT_LT(offsetof(update_section, modify_list), offsetof(update_section, readd_list));
}
