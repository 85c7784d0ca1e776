/* How a delete rule finds its nodes, and that it marks them and unlinks nothing. */
#include "rules/delete_rules.h"

#include "tree/node_store.h"
#include "tree/operations.h"
#include "update_texts.h"

class DeleteRules : public RulesTest {};

TEST_F(DeleteRules, MarksAndUnlinksNothing)
{
    plant("config a b\nset c 1\nend\nconfig a c\nend\n");
    EXPECT_EQ(0, __mark_node_delete(&migr_main.root, "<a b><c>"));
    EXPECT_EQ(0, __mark_node_delete(&migr_main.root, "<a c>"));
    EXPECT_EQ("top a,b\n  set c=1 deleted\ntop a,c deleted\n", tree());
    EXPECT_EQ(1u, migr_main.modified);
}

TEST_F(DeleteRules, WhatFindsNothingModifiesNothing)
{
    plant("config a b\nset c 1\nend\n");
    EXPECT_EQ(0, __mark_node_delete(&migr_main.root, "<a b><d>"));
    EXPECT_EQ(0, __mark_node_delete(&migr_main.root, "<a b><c><d>"));
    EXPECT_EQ(0, __mark_node_delete(&migr_main.root, "<a>"));
    EXPECT_EQ(0u, migr_main.modified);
}

TEST_F(DeleteRules, StartsAtAnyNode)
{
    plant("config a b\nedit 1\nset c 1\nconfig d\nset e 2\nend\nnext\nend\n");
    config_node *edit = migr_main.root.top_list->edit_list;
    EXPECT_EQ(0, __mark_node_delete(edit, "<c>"));
    EXPECT_EQ(0, __mark_node_delete(edit->config_list, "<e>"));
    EXPECT_EQ("top a,b\n  edit 1\n    config d\n      set e=2 deleted\n    set c=1 deleted\n", tree());
}

TEST_F(DeleteRules, OtherKindsHoldNothing)
{
    config_node *set = new_node(MIGR_SET);
    config_node *end = new_node(MIGR_END);
    cfg_add_conf("c", "1", MIGR_SET, set);
    EXPECT_EQ(0, __mark_node_delete(set, "<c>"));
    EXPECT_EQ(0, __mark_node_delete(end, "no token"));
    EXPECT_EQ(0, __mark_node_delete(nullptr, "<c>"));
    EXPECT_EQ(0, set->set_list->deleted);
}

/* The edits of an edit are never written, and no rule looks at them. */
TEST_F(DeleteRules, AnEditIsSearchedItself)
{
    plant("config a b\nedit 1\nset c 1\nedit 2\nset c 2\nnext\nnext\nend\n");
    EXPECT_EQ(0, __mark_node_delete(&migr_main.root, "<a b><c>"));
    EXPECT_EQ("top a,b\n  edit 1\n    edit 2\n      set c=2\n    set c=1 deleted\n", tree());
}

TEST_F(DeleteRules, TheFirstFailingEditEndsTheRule)
{
    plant("config a b\n"
          "edit 1\nset c 1\nnext\n"
          "edit 2\nconfig c\nend\nnext\n"
          "edit 3\nconfig c\nset d 1\nend\nnext\n"
          "end\n");
    EXPECT_EQ(-1, __mark_node_delete(&migr_main.root, "<a b><c>d"));
    EXPECT_EQ(0, __mark_node_delete(&migr_main.root, "<a b><c><d>"));
    EXPECT_NE(std::string::npos, tree().find("set d=1 deleted"));
}

TEST_F(DeleteRules, ARuleFailsItsList)
{
    plant("config a\nend\nconfig b\nend\n");
    ASSERT_EQ(0, load("[5.15]\n[DELETE]\n<a>\nx\n<b>\n"));
    EXPECT_EQ(-1, process_delete(&first_section().delete_list));
    EXPECT_EQ("top a deleted\ntop b\n", tree());
}

TEST_F(DeleteRules, AnEmptyListIsDone)
{
    ASSERT_EQ(0, load("[5.15]\n"));
    EXPECT_EQ(0, process_delete(&first_section().delete_list));
    EXPECT_EQ(0u, migr_main.modified);
}
