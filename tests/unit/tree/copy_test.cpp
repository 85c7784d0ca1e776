/* Copies of nodes and of all below them, by their kinds and marks. */
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/config_text.h"
#include "tree/make_node.h"
#include "tree/node_store.h"
#include "tree/operations.h"

#include <cstring>

using namespace support;

namespace {

class Copy : public TreeTest {};

constexpr char sample[] = "config a b\n"
                          "set s \"1\"\n"
                          "edit e\n"
                          "set t 2\n"
                          "config in\nedit deep\nset u 3\nnext\nend\n"
                          "next\n"
                          "edit f\nnext\n"
                          "config c\nset v 4\nend\n"
                          "end\n"
                          "config d\nend\n";

bool shares_memory(const config_node *left, const config_node *right)
{
    for (; left && right; left = left->next, right = right->next)
        if (left == right || (left->value && left->value == right->value) ||
            shares_memory(left->top_list, right->top_list) || shares_memory(left->config_list, right->config_list) ||
            shares_memory(left->edit_list, right->edit_list) || shares_memory(left->set_list, right->set_list))
            return true;
    return false;
}

TEST_F(Copy, AddToTailAppendsAndClearsNext)
{
    config_node *list = nullptr;
    config_node *nodes[3];
    for (config_node *&node : nodes) {
        node = new_node(MIGR_SET);
        node->next = node;
        add_to_tail(&list, node);
        EXPECT_EQ(node->next, nullptr);
    }
    EXPECT_EQ(list, nodes[0]);
    EXPECT_EQ(list->next, nodes[1]);
    EXPECT_EQ(list->next->next, nodes[2]);
}

TEST_F(Copy, ContentIsKindNameValueAndFlags)
{
    config_node *source = new_node(MIGR_SET);
    strcpy(source->name, "name");
    ASSERT_EQ(set_node_value(source, "value"), 0);
    source->deleted = 1;
    source->hidden = 1;
    source->next = source;
    source->config_list = source;
    config_node *target = new_node(MIGR_EDIT);
    EXPECT_EQ(cp_node_content(source, target), 0);
    EXPECT_EQ(target->kind, static_cast<uint32_t>(MIGR_SET));
    EXPECT_STREQ(target->name, "name");
    EXPECT_STREQ(target->value, "value");
    EXPECT_NE(target->value, source->value);
    EXPECT_EQ(target->deleted, 1);
    EXPECT_EQ(target->hidden, 1);
    EXPECT_EQ(target->next, nullptr);
    EXPECT_EQ(target->config_list, nullptr);
}

TEST_F(Copy, ANullValueStaysNullAndAnEmptyOneEmpty)
{
    config_node *source = new_node(MIGR_SET);
    config_node *target = new_node(MIGR_SET);
    EXPECT_EQ(cp_node_content(source, target), 0);
    EXPECT_EQ(target->value, nullptr);
    ASSERT_EQ(set_node_value(source, ""), 0);
    EXPECT_EQ(cp_node_content(source, target), 0);
    EXPECT_STREQ(target->value, "");
}

TEST_F(Copy, ContentOfNullIsSaidAndRefused)
{
    config_node *node = new_node(MIGR_SET);
    testing::internal::CaptureStdout();
    EXPECT_EQ(cp_node_content(nullptr, node), -1);
    EXPECT_EQ(cp_node_content(node, nullptr), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "node ptr NULL.node ptr NULL.");
}

TEST_F(Copy, NullArgumentsAreRefusedSilently)
{
    config_node *node = new_node(MIGR_SET);
    testing::internal::CaptureStdout();
    EXPECT_EQ(copy_node(nullptr, node), -1);
    EXPECT_EQ(copy_node(node, nullptr), -1);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST_F(Copy, ATreeIsCopiedWithAllBelow)
{
    ASSERT_EQ(parse(sample), 0);
    config_node *e = migr_main.root.top_list->edit_list;
    e->deleted = 1;
    e->config_list->edit_list->hidden = 1;
    config_node target = {};
    ASSERT_EQ(copy_node(&migr_main.root, &target), 0);
    EXPECT_EQ(target.kind, 1u);
    EXPECT_EQ(dump(target), dump(migr_main.root));
    EXPECT_FALSE(shares_memory(&migr_main.root, &target));
}

TEST_F(Copy, AppendsToWhatTheTargetHas)
{
    ASSERT_EQ(parse(sample), 0);
    config_node *a = migr_main.root.top_list;
    config_node *target = a->next;
    cfg_add_conf("own", "1", MIGR_SET, target);
    cfg_add_conf("mine", nullptr, MIGR_EDIT, target);
    ASSERT_EQ(copy_node(a, target), 0);
    EXPECT_EQ(dump(*target), "config c\n"
                             "  set v=4\n"
                             "edit mine\n"
                             "edit e\n"
                             "  config in\n"
                             "    edit deep\n"
                             "      set u=3\n"
                             "  set t=2\n"
                             "edit f\n"
                             "set own=1\n"
                             "set s=\"1\"\n");
    EXPECT_STREQ(target->name, "a,b");
}

TEST_F(Copy, ChildrenGoByTheNodesKind)
{
    ASSERT_EQ(parse("config a\nset s 1\nedit e\nset t 2\nedit lost\nnext\nnext\nend\nset stray 1\n"), 0);
    config_node root_copy = {};
    ASSERT_EQ(copy_node(&migr_main.root, &root_copy), 0);
    /* The root keeps top-level configs only, an edit no edits. */
    EXPECT_EQ(dump(root_copy), "top a\n  edit e\n    set t=2\n  set s=1\n");
    config_node *set = new_node(MIGR_SET);
    set->set_list = migr_main.root.set_list;
    config_node *set_copy = new_node(MIGR_SET);
    ASSERT_EQ(copy_node(set, set_copy), 0);
    EXPECT_EQ(set_copy->set_list, nullptr);
}

TEST_F(Copy, AChildOfAnotherKindThanItsListIsCopiedIntoThatList)
{
    ASSERT_EQ(parse("config a\nconfig c\nset x 1\nedit y\nnext\nend\nend\n"), 0);
    migr_main.root.top_list->config_list->kind = MIGR_EDIT;
    config_node target = {};
    ASSERT_EQ(copy_node(&migr_main.root, &target), 0);
    EXPECT_EQ(dump(target), "top a\n  config c kind 4\n    set x=1\n");
}

TEST_F(Copy, FreeLeavesTheNodeItselfReadable)
{
    ASSERT_EQ(parse(sample), 0);
    config_node *a = migr_main.root.top_list;
    ASSERT_EQ(set_node_value(a, "value"), 0);
    free_node(a);
    EXPECT_STREQ(a->name, "a,b");
    EXPECT_STREQ(a->value, "value");
    EXPECT_STREQ(a->next->name, "d");
    EXPECT_NE(a->edit_list, nullptr); /* dangles: nothing may look there until the record is zeroed */
}

TEST_F(Copy, FreeOfNullAndOfASetDoesNothing)
{
    free_node(nullptr);
    ASSERT_EQ(parse("config a\nset x 1\nend\n"), 0);
    config_node *set = migr_main.root.top_list->set_list;
    free_node(set);
    EXPECT_STREQ(set->value, "1");
}

TEST_F(Copy, WhatIsBelowADeletedNodeStaysReadableWhileItIsHeld)
{
    ASSERT_EQ(parse(sample), 0);
    config_node *a = migr_main.root.top_list;
    hold_deleted_nodes(1);
    EXPECT_EQ(deleted_nodes_are_held(), 1);
    cfg_del_conf(a, &migr_main.root);
    EXPECT_EQ(dump(migr_main.root), "top d\n");
    EXPECT_STREQ(a->edit_list->config_list->edit_list->set_list->value, "3");
    hold_deleted_nodes(0);
    EXPECT_EQ(deleted_nodes_are_held(), 0);
}

/* Half a copy would be taken for a whole one. */
TEST_F(Copy, OfATreeIsWholeOrNone)
{
    ASSERT_EQ(parse(sample), 0);
    const config_node *block = migr_main.root.top_list;
    config_node       *copy = nullptr;
    auto               work = [&] { copy = copy_tree(block); };
    size_t             nodes = with_failing_nodes(0, work);
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(dump(*copy), dump(*block));
    ASSERT_EQ(nodes, 10u);
    for (size_t number = 1; number <= nodes; number++) {
        with_failing_nodes(number, work);
        EXPECT_EQ(copy, nullptr) << number;
    }
}

TEST_F(Copy, OfARecordHasItsValueOrIsNone)
{
    ASSERT_EQ(parse(sample), 0);
    const config_node *set = migr_main.root.top_list->set_list;
    config_node       *copy = nullptr;
    auto               work = [&] { copy = copy_record(set); };
    with_failing_values(1, work);
    EXPECT_EQ(copy, nullptr);
    with_failing_values(0, work);
    ASSERT_NE(copy, nullptr);
    EXPECT_STREQ(copy->value, set->value);
}

} // namespace
