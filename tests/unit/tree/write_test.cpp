/* What text a tree becomes: order, marks, names and values. */
#include "support/trees.h"
#include "tree/config_text.h"
#include "tree/operations.h"

#include <cstdlib>

using namespace support;

namespace {

class Write : public TreeTest {
  protected:
    config_node *root()
    {
        return &migr_main.root;
    }

    std::string written_back(const std::string &text)
    {
        EXPECT_EQ(parse(text), 0);
        return written(root());
    }
};

TEST_F(Write, SetsComeFirstThenEditsThenNestedConfigs)
{
    EXPECT_EQ(written_back("config a b\n"
                           "config c1\nset x 1\nend\n"
                           "edit 1\n"
                           "config in\nedit k\nnext\nend\n"
                           "set s2 v\n"
                           "config in2\nend\n"
                           "set s1 v\n"
                           "next\n"
                           "set z 1\n"
                           "config c0\nconfig deep\nset d 1\nend\nend\n"
                           "edit 0\nnext\n"
                           "set y 2\n"
                           "end\n"
                           "config e\nend\n"),
              "config a b\n"
              "    set z 1\n"
              "    set y 2\n"
              "    edit 1\n"
              "        set s2 v\n"
              "        set s1 v\n"
              "        config in\n"
              "            edit k\n"
              "            next\n"
              "        end\n"
              "        config in2\n"
              "        end\n"
              "    next\n"
              "    edit 0\n"
              "    next\n"
              "    config c1\n"
              "        set x 1\n"
              "    end\n"
              "    config c0\n"
              "        config deep\n"
              "            set d 1\n"
              "        end\n"
              "    end\n"
              "end\n"
              "config e\n"
              "end\n");
}

TEST_F(Write, WhatIsWrittenReadsBackAsTheSameTree)
{
    std::string text =
        written_back("config waf \"x y\"\nedit \"a b\"\nset k \"one\n  two\\\"\n\" \t\nnext\nset v a  b\nend\n");
    std::string first_tree = dump(*root()->top_list);
    EXPECT_EQ(written_back(text), text);
    EXPECT_EQ(dump(*root()->top_list), first_tree);
}

TEST_F(Write, CommasOfTopLevelNamesBecomeBlanksInTheTreeToo)
{
    ASSERT_EQ(parse("config waf,x signature\nset a,b c,d\nedit e,f\nnext\nconfig g,h\nend\nend\n"), 0);
    std::string text =
        "config waf x signature\n    set a,b c,d\n    edit e,f\n    next\n    config g,h\n    end\nend\n";
    EXPECT_EQ(written(root()), text);
    EXPECT_STREQ(root()->top_list->name, "waf x signature");
    EXPECT_EQ(written(root()), text);
}

TEST_F(Write, AMarkedNodeDisappearsWithAllBelowIt)
{
    ASSERT_EQ(parse("config a\nset s 1\nedit 1\nset t 1\nconfig u\nset v 1\nend\nnext\nconfig w\nset x 1\nend\nend\n"
                    "config b\nset y 1\nend\n"),
              0);
    config_node *a = root()->top_list;
    a->edit_list->deleted = 1;
    EXPECT_EQ(written(root()), "config a\n    set s 1\n    config w\n        set x 1\n    end\nend\n"
                               "config b\n    set y 1\nend\n");
    a->config_list->hidden = 1;
    EXPECT_EQ(written(root()), "config a\n    set s 1\nend\nconfig b\n    set y 1\nend\n");
    a->set_list->deleted = 1;
    EXPECT_EQ(written(root()), "config a\nend\nconfig b\n    set y 1\nend\n"); /* an empty block, but a block */
    a->hidden = 1;
    EXPECT_EQ(written(root()), "config b\n    set y 1\nend\n");
    a->next->deleted = 1;
    EXPECT_EQ(written(root()), "");
}

TEST_F(Write, AMarkedTopLevelConfigKeepsItsCommas)
{
    ASSERT_EQ(parse("config a b\nend\n"), 0);
    root()->top_list->hidden = 1;
    EXPECT_EQ(written(root()), "");
    EXPECT_STREQ(root()->top_list->name, "a,b");
}

TEST_F(Write, TheRootsOwnMarksAreNotAsked)
{
    ASSERT_EQ(parse("config a\nend\n"), 0);
    root()->deleted = root()->hidden = 1;
    EXPECT_EQ(written(root()), "config a\nend\n");
}

TEST_F(Write, ANullValueLeavesNoBlankAndAnEmptyOneLeavesOne)
{
    ASSERT_EQ(parse("config a\nset s 1\nedit e\nnext\nconfig c\nend\nend\n"), 0);
    config_node *a = root()->top_list;
    free(a->set_list->value);
    a->set_list->value = nullptr;
    EXPECT_EQ(written(root()), "config a\n    set s\n    edit e\n    next\n    config c\n    end\nend\n");
    for (config_node *node : {a->set_list, a->edit_list, a->config_list})
        ASSERT_EQ(set_node_value(node, ""), 0);
    EXPECT_EQ(written(root()), "config a\n    set s \n    edit e \n    next\n    config c \n    end\nend\n");
    EXPECT_EQ(parse(written(root())), -1); /* neither line reads back */
}

TEST_F(Write, EditsAndNestedConfigsWriteTheirValueTopLevelConfigsDoNot)
{
    ASSERT_EQ(parse("config a\nedit e\nnext\nconfig c\nend\nend\n"), 0);
    config_node *a = root()->top_list;
    for (config_node *node : {a, a->edit_list, a->config_list})
        ASSERT_EQ(set_node_value(node, "v w"), 0);
    EXPECT_EQ(written(root()), "config a\n    edit e v w\n    next\n    config c v w\n    end\nend\n");
}

TEST_F(Write, ValuesGoOutAsTheyStand)
{
    EXPECT_EQ(written_back("config a\nset q \"one\n  two\n\tthree\\\"\"  \n\"\nset p %s%n %%\nset t \"x\"   \nend\n"),
              "config a\n    set q \"one\n  two\n\tthree\\\"\"  \n    set p %s%n %%\n    set t \"x\"   \n\nend\n");
}

TEST_F(Write, TheListDecidesWhatALineIsNotTheKind)
{
    ASSERT_EQ(parse("config a\nset s 1\nedit e\nset t 2\nconfig d\nend\nnext\nconfig c\nedit f\nnext\nend\nend\n"), 0);
    config_node *a = root()->top_list;
    a->set_list->kind = MIGR_EDIT;
    a->edit_list->kind = MIGR_CONFIG;
    a->config_list->kind = MIGR_EDIT; /* an edit's content has no edits */
    EXPECT_EQ(written(root()), "config a\n"
                               "    set s 1\n"
                               "    edit e\n"
                               "        set t 2\n"
                               "        config d\n"
                               "        end\n"
                               "    next\n"
                               "    config c\n"
                               "    end\n"
                               "end\n");
}

TEST_F(Write, ASetInAListOfConfigsHasNoContent)
{
    ASSERT_EQ(parse("config a\nconfig c\nset x 1\nend\nend\n"), 0);
    root()->top_list->config_list->kind = MIGR_SET;
    EXPECT_EQ(written(root()), "config a\n    config c\n    end\nend\n");
}

TEST_F(Write, StartsAtAnyNodeAndDepth)
{
    ASSERT_EQ(parse("config a b\nset s 1\nedit e\nset t 2\nnext\nend\n"), 0);
    config_node *a = root()->top_list;
    EXPECT_EQ(written(a, 0), "set s 1\nedit e\n    set t 2\nnext\n");
    EXPECT_EQ(written(a->edit_list, 3), "            set t 2\n");
    EXPECT_EQ(written(a->set_list, 1), "");
    EXPECT_EQ(written(root(), 2), "        config a b\n            set s 1\n            edit e\n"
                                  "                set t 2\n            next\n        end\n");
    EXPECT_EQ(written(a->edit_list, 20), std::string(80, ' ') + "set t 2\n");
    EXPECT_STREQ(a->name, "a b");
}

TEST_F(Write, NothingForNullAndForTheSentinels)
{
    config_node sentinel = {};
    config_node child = {};
    child.kind = MIGR_SET;
    sentinel.set_list = &child;
    EXPECT_EQ(written(nullptr), "");
    for (uint32_t kind : {6u, 7u, 8u}) {
        sentinel.kind = kind;
        EXPECT_EQ(written(&sentinel), "");
    }
}

TEST_F(Write, ATreeWithoutChildrenIsEmptyText)
{
    EXPECT_EQ(written(root()), "");
}

} // namespace
