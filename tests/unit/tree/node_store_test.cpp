/* Who owns which record for how long, a host's own ones among them. */
#include "support/trees.h"
#include "tree/config_text.h"
#include "tree/node_stack.h"
#include "tree/node_store.h"
#include "tree/operations.h"

#include <cstdlib>
#include <cstring>
#include <set>
#include <string>
#include <vector>

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
    config_node *a = migr_main.root.top_list;
    std::string  before = dump(*a);
    make_nodes_for_run(1);
    config_node *kept = new_node(MIGR_TOP);
    ASSERT_EQ(copy_node(a, kept), 0);
    make_nodes_for_run(0);
    release_pass_nodes();
    EXPECT_EQ(dump(*kept), before);
    release_run_nodes();
}

TEST_F(NodeStore, WhatIsMadeForThePassOutlivesNoRun)
{
    make_nodes_for_run(1);
    new_node(MIGR_TOP);
    make_nodes_for_run(0);
    config_node *node = new_node(MIGR_TOP);
    set_node_name(node, "of the pass");
    release_run_nodes();
    EXPECT_STREQ(node->name, "of the pass");
}

TEST_F(NodeStore, RecordsTakeWholeLinesOfTheCache)
{
    for (int number = 0; number < 20000; number++)
        ASSERT_EQ(reinterpret_cast<uintptr_t>(new_node(MIGR_SET)) % 64, 0u) << number;
}

/* More records than one piece of memory holds, some of them released and made anew. */
TEST_F(NodeStore, ReleasedRecordsAreUsedAgain)
{
    constexpr size_t           count = 100000;
    std::vector<config_node *> nodes(count);
    for (config_node *&node : nodes) {
        node = new_node(MIGR_SET);
        ASSERT_NE(node, nullptr);
        set_node_name(node, std::to_string(&node - nodes.data()).c_str());
    }
    std::set<config_node *> released;
    for (size_t i = 0; i < count; i += 2) {
        released.insert(nodes[i]);
        ASSERT_EQ(set_node_value(nodes[i], "gone"), 0);
        release_node(nodes[i]);
    }
    config_node expected = {};
    expected.kind = MIGR_EDIT;
    for (size_t i = 0; i < count; i += 2) {
        config_node *node = new_node(MIGR_EDIT);
        EXPECT_EQ(released.erase(node), 1u);
        EXPECT_EQ(memcmp(node, &expected, sizeof expected), 0);
    }
    for (size_t i = 1; i < count; i += 2)
        EXPECT_EQ(nodes[i]->name, std::to_string(i));
}

/* Records of a host's own, made and linked as a C program would. */
class HostRecords : public TreeTest {
  protected:
    static config_node *record(uint32_t kind, const char *name, const char *value = nullptr)
    {
        auto *node = static_cast<config_node *>(calloc(1, sizeof(config_node)));
        node->kind = kind;
        strcpy(node->name, name);
        node->value = value ? strdup(value) : nullptr;
        return node;
    }

    /* config NAME, with a set, and an edit with one of the host's sets and one of the library's. */
    static config_node *block(const char *name)
    {
        config_node *top_node = record(MIGR_TOP, name);
        config_node *edit = record(MIGR_EDIT, "e");
        add_to_tail(&top_node->set_list, record(MIGR_SET, "s", "1"));
        add_to_tail(&top_node->edit_list, edit);
        add_to_tail(&edit->set_list, record(MIGR_SET, "host", "2"));
        cfg_add_conf("made", "3", MIGR_SET, edit);
        return top_node;
    }

    static constexpr char lines[] = "edit e\n  set made=3\n  set host=2\nset s=1\n";
};

TEST_F(HostRecords, ADeletedBlockIsTheHostsAgainAndWhatHungBelowItIsFreed)
{
    ASSERT_EQ(parse("config a\nend\n"), 0);
    config_node *own = block("b");
    add_to_tail(&migr_main.root.top_list, own);
    cfg_del_conf(own, &migr_main.root);
    EXPECT_EQ(dump(migr_main.root), "top a\n");
    EXPECT_STREQ(own->name, "b");
    EXPECT_EQ(own->next, nullptr);
    free(own);
}

TEST_F(HostRecords, AreCopiedAndWrittenLikeOthers)
{
    config_node *own = block("b");
    config_node *copy = new_node(MIGR_TOP);
    ASSERT_EQ(copy_node(own, copy), 0);
    EXPECT_EQ(dump(*copy), lines);
    add_to_tail(&migr_main.root.top_list, own);
    EXPECT_EQ(written(&migr_main.root),
              "config b\n    set s 1\n    edit e\n        set made 3\n        set host 2\n    next\nend\n");
    free_node(&migr_main.root);
    EXPECT_EQ(dump(*copy), lines);
}

TEST_F(HostRecords, TakeCopiesOfTheLibrarysNodes)
{
    ASSERT_EQ(parse("config a\nset x 1\nend\n"), 0);
    config_node *own = record(MIGR_TOP, "", nullptr);
    ASSERT_EQ(copy_node(migr_main.root.top_list, own), 0);
    EXPECT_EQ(dump(*own), "set x=1\n");
    free_node(own);
    free(own);
}

TEST_F(HostRecords, StayReadableWhileAWalkRuns)
{
    ASSERT_EQ(parse("config a\nend\n"), 0);
    config_node *a = migr_main.root.top_list;
    config_node *config = record(MIGR_CONFIG, "c");
    config_node *own = block("b");
    own->kind = MIGR_CONFIG;
    add_to_tail(&a->config_list, config);
    add_to_tail(&config->config_list, own);
    hold_deleted_nodes(1);
    cfg_del_conf(a, &migr_main.root);
    hold_deleted_nodes(0);
    EXPECT_EQ(dump(*own), lines);
}

/* A migration may link a node anew that still stands below a deleted one. */
TEST_F(HostRecords, AreFreedOnceThoughTwoListsLeadToThem)
{
    ASSERT_EQ(parse("config a\nend\nconfig z\nend\n"), 0);
    config_node *a = migr_main.root.top_list;
    config_node *own = record(MIGR_SET, "own", "1");
    add_to_tail(&a->set_list, own);
    hold_deleted_nodes(1);
    cfg_del_conf(a, &migr_main.root);
    hold_deleted_nodes(0);
    push_front(&migr_main.root.top_list->set_list, own);
    EXPECT_EQ(dump(migr_main.root), "top z\n  set own=1\n");
    free_node(&migr_main.root);
}

TEST_F(HostRecords, AreFreedOnceThoughTwoBlocksShareThem)
{
    ASSERT_EQ(parse("config a\nend\nconfig b\nend\n"), 0);
    config_node *a = migr_main.root.top_list;
    add_to_tail(&a->set_list, record(MIGR_SET, "own", "1"));
    a->next->set_list = a->set_list;
    leave_nodes_to_pass();
    free_node(&migr_main.root);
    EXPECT_EQ(dump(migr_main.root), "top a\n  set own=1\ntop b\n  set own=1\n");
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
