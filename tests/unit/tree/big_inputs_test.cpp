/* Large and deep configurations: nothing here may recurse, copy a list over and over, or lose memory. A program that
 * did would show it by its end under a time limit or a stack limit, so no clock is read. */
#include "support/trees.h"
#include "tree/config_text.h"
#include "tree/node_store.h"
#include "tree/operations.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <sys/resource.h>

using namespace support;

namespace {

constexpr size_t many = 100000;

class BigInputs : public TreeTest {};

/* The depth of a tree of blocks that each hold one other. */
size_t depth_of(const config_node *node)
{
    size_t depth = 0;
    for (; node; node = node->config_list)
        depth++;
    return depth;
}

TEST_F(BigInputs, NestedConfigsAreParsedCopiedAndFreed)
{
    ASSERT_EQ(parse(times(many, "config a\n") + "set x 1\n" + times(many, "end\n")), 0);
    EXPECT_EQ(depth_of(migr_main.root.top_list), many);
    config_node target = {};
    ASSERT_EQ(copy_node(&migr_main.root, &target), 0);
    EXPECT_EQ(depth_of(target.top_list), many);
    free_node(&migr_main.root);
    free_node(&target);
}

TEST_F(BigInputs, NestedConfigsAreFreedInTheMiddle)
{
    ASSERT_EQ(parse(times(many, "config a\nedit b\n")), 0);
    config_node *top = migr_main.root.top_list;
    cfg_del_conf(top->edit_list, top);
    EXPECT_EQ(dump(migr_main.root), "top a\n");
}

TEST_F(BigInputs, NestedConfigsAreKeptForTheRun)
{
    ASSERT_EQ(parse(times(many, "config a\n")), 0);
    config_node kept = {};
    make_nodes_for_run(1);
    ASSERT_EQ(copy_node(&migr_main.root, &kept), 0);
    make_nodes_for_run(0);
    release_pass_nodes();
    EXPECT_EQ(depth_of(kept.top_list), many);
}

TEST_F(BigInputs, NestedConfigsAreWritten)
{
    constexpr size_t levels = 3000; /* every level's indent is four blanks longer */
    ASSERT_EQ(parse(times(levels, "config a\n")), 0);
    std::string text = written(&migr_main.root);
    EXPECT_EQ(text.size(), levels * strlen("config a\nend\n") + 2 * 4 * (levels * (levels - 1) / 2));
    ASSERT_EQ(parse(text), 0);
    EXPECT_EQ(depth_of(migr_main.root.top_list), levels);
}

TEST_F(BigInputs, WritingStopsWhenTheStreamHasFailed)
{
    /* Written whole, this would be forty gigabytes of blanks. */
    ASSERT_EQ(parse(times(many, "config a\n")), 0);
    FILE *full = fopen("/dev/full", "w");
    ASSERT_NE(full, nullptr);
    EXPECT_EQ(write_tree(&migr_main.root, 0, full), -1);
    fclose(full);
}

TEST_F(BigInputs, SearchIsNotDeep)
{
    ASSERT_EQ(parse(times(many, "config a\n") + times(many, "edit e\n")), 0);
    EXPECT_EQ(_migr_find_node("e"), nullptr);
}

TEST_F(BigInputs, AListOfAMillionEdits)
{
    constexpr size_t count = 1000000;
    ASSERT_EQ(parse("config a\n" + times(count, "edit 1\nnext\n") + "end\n"), 0);
    EXPECT_EQ(length_of(migr_main.root.top_list->edit_list), count);
    EXPECT_EQ(written(&migr_main.root).size(), strlen("config a\nend\n") + count * strlen("    edit 1\n    next\n"));
}

TEST_F(BigInputs, ListsThatGrowInTurn)
{
    ASSERT_EQ(parse("config a\n" + times(many, "edit 1\nnext\nset x 1\nconfig c\nend\n") + "end\n" +
                    times(many, "config b\nend\n")),
              0);
    EXPECT_EQ(length_of(migr_main.root.top_list->config_list), many);
    EXPECT_EQ(length_of(migr_main.root.top_list), many + 1);
}

TEST_F(BigInputs, TopLevelListsThatGrowBetweenStrayEnds)
{
    ASSERT_EQ(parse(times(many, "set x 1\nconfig a\nend\nend\n-\n")), 0);
    EXPECT_EQ(length_of(migr_main.root.top_list), many);
    EXPECT_EQ(length_of(migr_main.root.set_list), many);
}

TEST_F(BigInputs, AValueOfManyShortLines)
{
    std::string value = "\"" + times(MIGR_VALUE_LIMIT / 2 - 2, "v\n") + "\"";
    ASSERT_LT(value.size(), MIGR_VALUE_LIMIT + 0u);
    ASSERT_EQ(parse("config a\nset x " + value + "\nset y 1\nend\n"), 0);
    config_node *set = migr_main.root.top_list->set_list;
    EXPECT_EQ(set->value, value);
    EXPECT_STREQ(set->next->name, "y");
    EXPECT_EQ(written(set->next, 0), "");
    EXPECT_EQ(written(&migr_main.root), "config a\n    set x " + value + "\n    set y 1\nend\n");
}

TEST_F(BigInputs, AnOpenValueOfBlankLines)
{
    /* The search for the closing quote may not go back over all of them for each. */
    std::string value = "\"" + times(MIGR_VALUE_LIMIT - 3, "\n") + "\"";
    ASSERT_EQ(parse("config a\nset x " + value + "\nend\n"), 0);
    EXPECT_EQ(strlen(migr_main.root.top_list->set_list->value), value.size() - 1) << "the first newline goes";
}

TEST_F(BigInputs, AValueOfBackslashes)
{
    /* No newline between them: the last quote is escaped or not by the number of all. */
    size_t count = 80 * (MIGR_LINE_SIZE - 1);
    ASSERT_EQ(count % 2, 0u);
    ASSERT_EQ(parse("config a\nset x \"" + std::string(count, '\\') + "\"\nset y 1\nend\n"), 0);
    EXPECT_EQ(length_of(migr_main.root.top_list->set_list), 2u);
    ASSERT_EQ(parse("config a\nset x \"" + std::string(count + 1, '\\') + "\"\nset y 1\nend\n"), 0);
    EXPECT_EQ(length_of(migr_main.root.top_list->set_list), 1u);
}

} // namespace
