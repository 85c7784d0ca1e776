#include "support/trees.h"
#include "tree/node_stack.h"
#include "tree/node_store.h"
#include "tree/operations.h"

#include <cstdlib>
#include <cstring>

using namespace support;

/* What is freed too early or not at all shows under the sanitizers; without them these tests show that pointers stay
 * good for as long as promised. */
namespace {

class NodeStore : public TreeTest {};

TEST_F(NodeStore, ANewNodeIsZeroedButForItsKind)
{
    config_node *node = new_node(MIGR_EDIT);
    ASSERT_NE(node, nullptr);
    config_node expected = {};
    expected.kind = MIGR_EDIT;
    EXPECT_EQ(memcmp(node, &expected, sizeof expected), 0);
}

TEST_F(NodeStore, RecordsAreReleasedOneByOneOrTogether)
{
    config_node *kept = new_node(MIGR_SET);
    config_node *gone = new_node(MIGR_SET);
    ASSERT_EQ(set_node_value(kept, "kept"), 0);
    ASSERT_EQ(set_node_value(gone, "gone"), 0);
    release_node(gone);
    EXPECT_STREQ(kept->value, "kept");
    release_pass_nodes();
    release_pass_nodes(); /* nothing left: fine */
}

TEST_F(NodeStore, NodesOutsideEveryListBelongToThePass)
{
    ASSERT_EQ(parse("config a\nset x 1\nset y 2\nend\n"), 0);
    config_node *x = migr_get_childnode(migr_main.root.top_list, "x", MIGR_SET);
    config_node *y = migr_main.root.top_list->set_list;
    cfg_del_conf(y, migr_main.root.top_list);
    EXPECT_STREQ(x->value, "1");
    EXPECT_STREQ(y->value, "2");
}

TEST_F(NodeStore, WhatIsKeptForTheRunOutlivesThePass)
{
    ASSERT_EQ(parse("config a\nset s 1\nedit e\nconfig in\nedit f\nset x 2\nnext\nend\nnext\nedit g\nnext\n"
                    "config c\nset y 3\nend\nend\nconfig b\nend\n"),
              0);
    config_node *a = migr_get_childnode(&migr_main.root, "a", MIGR_TOP);
    std::string  before = dump(*a);
    ASSERT_EQ(keep_for_run(a), 0);
    release_pass_nodes();
    EXPECT_EQ(dump(*a), before);
    release_run_nodes();
}

TEST_F(NodeStore, KeepingANodeLeavesItsSiblingsWithThePass)
{
    ASSERT_EQ(parse("config a\nend\nconfig b\nend\n"), 0);
    config_node *a = migr_main.root.top_list;
    config_node *b = a->next;
    ASSERT_EQ(keep_for_run(a), 0);
    release_run_nodes();
    EXPECT_STREQ(b->name, "b");
}

TEST(NodeStack, GivesBackTheLastOnePushed)
{
    node_stack  stack = {};
    config_node nodes[1000];
    EXPECT_EQ(pop_node(&stack), nullptr);
    for (config_node &node : nodes) {
        EXPECT_EQ(push_node(&stack, &node), 0);
        EXPECT_EQ(push_node(&stack, nullptr), 0); /* passed over */
    }
    for (size_t i = 1000; i-- > 0;)
        EXPECT_EQ(pop_node(&stack), &nodes[i]);
    EXPECT_EQ(pop_node(&stack), nullptr);
    free_stack(&stack);
    EXPECT_EQ(push_node(&stack, &nodes[0]), 0); /* usable again */
    EXPECT_EQ(pop_node(&stack), &nodes[0]);
    free_stack(&stack);
}

} // namespace
