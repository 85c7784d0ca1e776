/* Searches and changes of trees, one function after another, with the corners that migrations lean on. */
#include "support/trees.h"
#include "tree/node_store.h"
#include "tree/operations.h"

#include <cstring>
#include <iterator>

using namespace support;

namespace {

class Operations : public TreeTest {
  protected:
    config_node *root()
    {
        return &migr_main.root;
    }

    config_node *block(const std::string &content)
    {
        EXPECT_EQ(parse("config block\n" + content + "end\n"), 0);
        return root()->top_list;
    }
};

TEST_F(Operations, SearchFindsTopLevelConfigsByPathName)
{
    ASSERT_EQ(parse("config system settings\nend\nconfig waf url-rewrite url-rewrite-rule\nend\n"), 0);
    EXPECT_EQ(_migr_find_node("waf,url-rewrite,url-rewrite-rule"), root()->top_list->next);
    EXPECT_EQ(is_found, 1);
    EXPECT_EQ(found_node, root()->top_list->next);
    EXPECT_EQ(_migr_find_node("system settings"), nullptr);
    EXPECT_EQ(_migr_find_node("system"), nullptr);
    EXPECT_EQ(_migr_find_node("system,settings,"), nullptr);
    EXPECT_EQ(_migr_find_node("System,settings"), nullptr);
    EXPECT_EQ(is_found, 0);
    EXPECT_EQ(found_node, nullptr);
}

TEST_F(Operations, SearchFindsDirectEditsByRawName)
{
    ASSERT_EQ(parse("config a\nedit \"quoted name\"\nnext\nedit bare\nnext\nend\n"), 0);
    config_node *edits = root()->top_list->edit_list;
    EXPECT_EQ(_migr_find_node("\"quoted name\""), edits);
    EXPECT_EQ(_migr_find_node("quoted name"), nullptr);
    EXPECT_EQ(_migr_find_node("bare"), edits->next);
    EXPECT_EQ(_migr_find_node("\"bare\""), nullptr);
}

TEST_F(Operations, SearchGoesNoDeeper)
{
    ASSERT_EQ(parse("config a\n"
                    "set s 1\n"
                    "config nested\nedit below-nested\nnext\nend\n"
                    "edit e\nset t 1\nconfig list\nedit below-edit\nnext\nend\nnext\n"
                    "end\n"),
              0);
    for (const char *hidden : {"s", "nested", "below-nested", "t", "list", "below-edit"})
        EXPECT_EQ(_migr_find_node(hidden), nullptr) << hidden;
    EXPECT_NE(_migr_find_node("e"), nullptr);
}

TEST_F(Operations, SearchTakesTheFirstOfAList)
{
    ASSERT_EQ(parse("config a\nedit e\nnext\nedit e\nnext\nend\nconfig a\nend\n"), 0);
    EXPECT_EQ(_migr_find_node("a"), root()->top_list);
    EXPECT_EQ(_migr_find_node("e"), root()->top_list->edit_list);
}

TEST_F(Operations, AHitInAnEditIsReplacedByALaterTopLevelConfigOfThatName)
{
    ASSERT_EQ(parse("config a\nedit x\nnext\nend\nconfig b\nedit x\nnext\nend\nconfig x\nend\nconfig x\nend\n"), 0);
    config_node *first_x = root()->top_list->next->next;
    EXPECT_EQ(_migr_find_node("x"), first_x);
}

TEST_F(Operations, AHitInAnEditStandsAgainstLaterEdits)
{
    ASSERT_EQ(parse("config a\nedit x\nnext\nend\nconfig b\nedit x\nnext\nend\n"), 0);
    EXPECT_EQ(_migr_find_node("x"), root()->top_list->edit_list);
}

TEST_F(Operations, SeveralAreFoundAsEachAlone)
{
    ASSERT_EQ(parse("config a\nedit x\nnext\nedit y\nnext\nend\n"
                    "config b\nedit x\nnext\nedit z\nnext\nedit z\nnext\nend\n"
                    "config y\nend\nconfig y\nend\n"),
              0);
    const char  *paths[] = {"x", "none", "y", "z", "b"};
    config_node *found[std::size(paths)];
    find_nodes(root(), paths, found, std::size(paths));
    for (size_t at = 0; at < std::size(paths); at++) {
        EXPECT_EQ(found[at], _migr_find_node(paths[at])) << paths[at];
        EXPECT_EQ(found[at] == nullptr, paths[at] == std::string("none")) << paths[at];
    }
}

TEST_F(Operations, SearchIsDoneAlreadyWhenTheSlotSaysSo)
{
    ASSERT_EQ(parse("config a\nend\n"), 0);
    config_node other = {};
    is_found = 1;
    found_node = &other;
    migr_find_node(root(), 1, "a");
    EXPECT_EQ(found_node, &other);
    is_found = 0;
    found_node = nullptr;
    migr_find_node(nullptr, 1, "a");
    EXPECT_EQ(is_found, 0);
    migr_find_node(root(), 99, "a");
    EXPECT_EQ(found_node, root()->top_list);
}

TEST_F(Operations, SearchBelowOtherNodes)
{
    ASSERT_EQ(parse("config a\nedit e\nset s 1\nnext\nconfig n\nedit f\nnext\nend\nend\n"), 0);
    config_node *a = root()->top_list;
    auto         below = [](config_node *node, const char *name) {
        is_found = 0;
        found_node = nullptr;
        migr_find_node(node, 1, name);
        return found_node;
    };
    EXPECT_EQ(below(a, "e"), a->edit_list);
    EXPECT_EQ(below(a->config_list, "f"), a->config_list->edit_list);
    EXPECT_EQ(below(a->edit_list, "s"), nullptr);
    EXPECT_EQ(below(a->edit_list->set_list, "s"), nullptr);
}

TEST_F(Operations, SearchDoesNotLookAtMarks)
{
    ASSERT_EQ(parse("config a\nend\n"), 0);
    root()->top_list->deleted = root()->top_list->hidden = 1;
    EXPECT_EQ(_migr_find_node("a"), root()->top_list);
}

TEST_F(Operations, GetChildnodeTakesTheFirstOfThatNameOut)
{
    config_node *a = block("set x 1\nset y 2\nset x 3\nedit x\nnext\nconfig x\nend\n");
    config_node *taken = migr_get_childnode(a, "x", MIGR_SET);
    ASSERT_NE(taken, nullptr);
    EXPECT_STREQ(taken->value, "1");
    EXPECT_EQ(taken->next, nullptr);
    EXPECT_EQ(dump(*a), "config x\nedit x\nset y=2\nset x=3\n");
    EXPECT_STREQ(migr_get_childnode(a, "x", MIGR_SET)->value, "3");
    EXPECT_EQ(migr_get_childnode(a, "x", MIGR_SET), nullptr);
    EXPECT_EQ(migr_get_childnode(a, "x", MIGR_EDIT)->kind, static_cast<uint32_t>(MIGR_EDIT));
    EXPECT_EQ(migr_get_childnode(a, "x", MIGR_CONFIG)->kind, static_cast<uint32_t>(MIGR_CONFIG));
    EXPECT_EQ(dump(*a), "set y=2\n");
    EXPECT_EQ(migr_get_childnode(root(), "block", MIGR_TOP), a);
    EXPECT_EQ(root()->top_list, nullptr);
}

TEST_F(Operations, GetChildnodeKnowsNoOtherKind)
{
    config_node *a = block("set x 1\n");
    for (int32_t kind : {-1, 0, 1, 6, 7})
        EXPECT_EQ(migr_get_childnode(a, "x", kind), nullptr) << kind;
    EXPECT_EQ(migr_get_childnode(root(), "block", 1), nullptr);
    EXPECT_EQ(migr_get_childnode(nullptr, "x", MIGR_SET), nullptr);
    EXPECT_EQ(migr_get_childnode(a, nullptr, MIGR_SET), nullptr);
    EXPECT_EQ(dump(*a), "set x=1\n");
}

TEST_F(Operations, MoveNodePushesAtTheHead)
{
    config_node *a = block("set x 1\nset y 2\nedit e\nnext\nconfig c\nend\n");
    config_node *y = migr_get_childnode(a, "y", MIGR_SET);
    EXPECT_EQ(migr_move_node(y, a, MIGR_SET, nullptr), 1);
    EXPECT_EQ(dump(*a), "config c\nedit e\nset y=2\nset x=1\n");
    config_node *x = migr_get_childnode(a, "x", MIGR_SET);
    EXPECT_EQ(migr_move_node(x, a, MIGR_EDIT, "renamed"), 1);
    EXPECT_EQ(dump(*a), "config c\nedit renamed=1 kind 5\nedit e\nset y=2\n");
    config_node *c = migr_get_childnode(a, "c", MIGR_CONFIG);
    EXPECT_EQ(migr_move_node(c, root(), MIGR_TOP, "top,c"), 1);
    EXPECT_EQ(root()->top_list, c);
    EXPECT_EQ(c->next, a);
    EXPECT_EQ(c->kind, static_cast<uint32_t>(MIGR_CONFIG));
}

TEST_F(Operations, MoveNodeRenamesEvenWhenItCannotMove)
{
    config_node *a = block("set x 1\n");
    config_node *x = migr_get_childnode(a, "x", MIGR_SET);
    EXPECT_EQ(migr_move_node(x, a, 1, "named"), 0);
    EXPECT_STREQ(x->name, "named");
    EXPECT_EQ(a->set_list, nullptr);
    EXPECT_EQ(migr_move_node(x, nullptr, MIGR_SET, "again"), 0);
    EXPECT_STREQ(x->name, "named");
    EXPECT_EQ(migr_move_node(nullptr, a, MIGR_SET, "again"), 0);
    EXPECT_EQ(migr_move_node(x, a, 1, std::string(200, 'n').c_str()), 0);
    EXPECT_EQ(x->name, std::string(127, 'n'));
}

TEST_F(Operations, AddConfPushesAtTheHeadOfTheTargetsList)
{
    config_node *a = block("set x 1\nedit e\nnext\nconfig c\nend\n");
    cfg_add_conf("s", "v", MIGR_SET, a);
    cfg_add_conf("f", nullptr, MIGR_EDIT, a);
    cfg_add_conf("d", "", MIGR_CONFIG, a);
    EXPECT_EQ(dump(*a), "config d=\nconfig c\nedit f\nedit e\nset s=v\nset x=1\n");
}

TEST_F(Operations, AddConfPutsATopLevelConfigDirectlyBehindItsTarget)
{
    ASSERT_EQ(parse("config a\nend\nconfig b\nend\n"), 0);
    cfg_add_conf("new,one", nullptr, MIGR_TOP, root()->top_list);
    cfg_add_conf("new,two", "v", MIGR_TOP, root()->top_list);
    EXPECT_EQ(dump(*root()), "top a\ntop new,two=v\ntop new,one\ntop b\n");
}

TEST_F(Operations, AddConfMakesUnmarkedNodesWithTextsOfTheirOwn)
{
    config_node *a = block("");
    char         name[] = "name";
    char         value[] = "value";
    cfg_add_conf(name, value, MIGR_SET, a);
    name[0] = value[0] = 'X';
    EXPECT_EQ(dump(*a), "set name=value\n");
}

TEST_F(Operations, AddConfRefusesNamesOf128Characters)
{
    config_node *a = block("");
    cfg_add_conf(std::string(128, 'n').c_str(), "v", MIGR_SET, a);
    EXPECT_EQ(a->set_list, nullptr);
    cfg_add_conf(std::string(127, 'n').c_str(), "v", MIGR_SET, a);
    EXPECT_EQ(dump(*a), "set " + std::string(127, 'n') + "=v\n");
}

TEST_F(Operations, AddConfRefusesValuesOf4095Characters)
{
    config_node *a = block("");
    cfg_add_conf("long", std::string(4095, 'v').c_str(), MIGR_SET, a);
    EXPECT_EQ(a->set_list, nullptr);
    cfg_add_conf("fits", std::string(4094, 'v').c_str(), MIGR_SET, a);
    EXPECT_EQ(dump(*a), "set fits=" + std::string(4094, 'v') + "\n");
}

TEST_F(Operations, AddConfRefusesOtherKindsAndNull)
{
    config_node *a = block("");
    for (int32_t kind : {-3, 0, 1, 6, 7})
        cfg_add_conf("n", "v", kind, a);
    cfg_add_conf(nullptr, "v", MIGR_SET, a);
    cfg_add_conf("n", "v", MIGR_SET, nullptr);
    EXPECT_EQ(dump(*root()), "top block\n");
}

TEST_F(Operations, DelConfUnlinksAndKeepsTheRecord)
{
    config_node *a = block("set x 1\nset y 2\nedit e\nset z 3\nnext\nedit f\nnext\n");
    config_node *x = a->set_list;
    config_node *e = a->edit_list;
    cfg_del_conf(x, a);
    cfg_del_conf(e, a);
    EXPECT_EQ(dump(*a), "edit f\nset y=2\n");
    EXPECT_STREQ(x->name, "x");
    EXPECT_STREQ(x->value, "1");
    EXPECT_STREQ(x->next->name, "y");
    EXPECT_STREQ(e->next->name, "f");
}

TEST_F(Operations, AWalkMayDeleteAsItGoes)
{
    ASSERT_EQ(parse("config a\nset x 1\nend\nconfig b\nend\nconfig c\nend\n"), 0);
    for (config_node *node = root()->top_list; node; node = node->next)
        cfg_del_conf(node, root());
    EXPECT_EQ(root()->top_list, nullptr);
}

TEST_F(Operations, DelConfGoesByTheChildsKind)
{
    config_node *a = block("set x 1\nedit e\nnext\n");
    a->set_list->kind = MIGR_EDIT; /* looked for among the edits, and not there */
    cfg_del_conf(a->set_list, a);
    EXPECT_EQ(dump(*a), "edit e\nset x=1 kind 4\n");
    a->set_list->kind = 0;
    cfg_del_conf(a->set_list, a);
    a->set_list->kind = MIGR_ROOT;
    cfg_del_conf(a->set_list, a);
    EXPECT_EQ(length_of(a->set_list), 1u);
}

TEST_F(Operations, DelConfLeavesAStrangerAsItIs)
{
    ASSERT_EQ(parse("config a\nedit e\nset x 1\nnext\nend\nconfig b\nedit f\nnext\nend\n"), 0);
    config_node *a = root()->top_list;
    cfg_del_conf(a->edit_list, a->next);
    cfg_del_conf(nullptr, a);
    cfg_del_conf(a->edit_list, nullptr);
    EXPECT_EQ(dump(*root()), "top a\n  edit e\n    set x=1\ntop b\n  edit f\n");
}

TEST_F(Operations, MakeConfigNodeMakesSetsThatStandInNoList)
{
    config_node *set = make_config_node("name", "value", MIGR_SET);
    ASSERT_NE(set, nullptr);
    EXPECT_EQ(set->kind, static_cast<uint32_t>(MIGR_SET));
    EXPECT_STREQ(set->name, "name");
    EXPECT_STREQ(set->value, "value");
    EXPECT_EQ(set->next, nullptr);
    EXPECT_EQ(set->deleted + set->hidden, 0);
    EXPECT_EQ(make_config_node("name", nullptr, MIGR_SET)->value, nullptr);
    EXPECT_STREQ(make_config_node("name", "", MIGR_SET)->value, "");
}

TEST_F(Operations, MakeConfigNodeHasLimits)
{
    for (int32_t kind : {0, 1, 2, 3, 4, 6})
        EXPECT_EQ(make_config_node("name", "value", kind), nullptr) << kind;
    EXPECT_EQ(make_config_node(nullptr, "value", MIGR_SET), nullptr);
    EXPECT_EQ(make_config_node(std::string(128, 'n').c_str(), "v", MIGR_SET), nullptr);
    EXPECT_NE(make_config_node(std::string(127, 'n').c_str(), "v", MIGR_SET), nullptr);
    EXPECT_EQ(make_config_node("n", std::string(4095, 'v').c_str(), MIGR_SET), nullptr);
    EXPECT_NE(make_config_node("n", std::string(4094, 'v').c_str(), MIGR_SET), nullptr);
}

TEST_F(Operations, MovePropToTheBottomAppendsACopyAndMarksTheOldOne)
{
    config_node *a = block("set x 1\nset y 2\nset z 3\n");
    move_prop_2_bottom(a, "x");
    EXPECT_EQ(dump(*a), "set x=1 deleted\nset y=2\nset z=3\nset x=1\n");
    EXPECT_NE(a->set_list->value, a->set_list->next->next->next->value);
}

TEST_F(Operations, MovePropTakesTheLastButNeverTheVeryLast)
{
    config_node *a = block("set x 1\nset x 2\nset y 3\n");
    move_prop_2_bottom(a, "x");
    EXPECT_EQ(dump(*a), "set x=1\nset x=2 deleted\nset y=3\nset x=2\n");
    a = block("set y 1\nset x 2\n");
    move_prop_2_bottom(a, "x");
    EXPECT_EQ(dump(*a), "set y=1\nset x=2\n");
    a = block("set x 1\nset y 2\nset x 3\n");
    move_prop_2_bottom(a, "x"); /* the last one is not seen, so the first one goes behind it */
    EXPECT_EQ(dump(*a), "set x=1 deleted\nset y=2\nset x=3\nset x=1\n");
}

TEST_F(Operations, MovePropCarriesMarksAlong)
{
    config_node *a = block("set x 1\nset y 2\n");
    a->set_list->hidden = 1;
    move_prop_2_bottom(a, "x");
    EXPECT_EQ(dump(*a), "set x=1 deleted hidden\nset y=2\nset x=1 hidden\n");
}

TEST_F(Operations, MovePropNeedsANameAndAValue)
{
    config_node *a = block("set x 1\nset y 2\n");
    move_prop_2_bottom(a, "");
    move_prop_2_bottom(a, nullptr);
    move_prop_2_bottom(a, "z");
    move_prop_2_bottom(nullptr, "x");
    ASSERT_EQ(set_node_value(a->set_list, ""), 0);
    move_prop_2_bottom(a, "x");
    EXPECT_EQ(dump(*a), "set x=\nset y=2\n");
    a = block("");
    move_prop_2_bottom(a, "x");
    EXPECT_EQ(dump(*a), "");
    cfg_add_conf("y", "2", MIGR_SET, a);
    cfg_add_conf("x", nullptr, MIGR_SET, a);
    move_prop_2_bottom(a, "x");
    EXPECT_EQ(dump(*a), "set x\nset y=2\n");
}

TEST_F(Operations, OpmodeIsTheFirstSetOfTheSettings)
{
    char buffer[32] = {};
    ASSERT_EQ(parse("config system settings\nedit e\nnext\nset opmode offline-protection\nset x 1\nend\n"), 0);
    EXPECT_EQ(get_cvw_opmode(buffer), 1);
    EXPECT_STREQ(buffer, "offline-protection");
}

TEST_F(Operations, OpmodeElsewhereIsNotFound)
{
    char buffer[32] = {};
    for (const char *text : {"config system settings\nset x 1\nset opmode offline\nend\n",
                             "config system settings\nend\n", "config system setting\nset opmode offline\nend\n", "",
                             "config system settings\nset opmodes offline\nend\n"}) {
        ASSERT_EQ(parse(text), 0);
        EXPECT_EQ(get_cvw_opmode(buffer), 0) << text;
        EXPECT_STREQ(buffer, "");
    }
}

TEST_F(Operations, OpmodeIsCopiedAsItStandsCutAt31)
{
    char buffer[33] = {};
    buffer[32] = 'g';
    ASSERT_EQ(parse("config system settings\nset opmode \"quoted\"\nend\n"), 0);
    EXPECT_EQ(get_cvw_opmode(buffer), 1);
    EXPECT_STREQ(buffer, "\"quoted\"");
    ASSERT_EQ(set_node_value(root()->top_list->set_list, std::string(40, 'o').c_str()), 0);
    EXPECT_EQ(get_cvw_opmode(buffer), 1);
    EXPECT_EQ(buffer, std::string(31, 'o'));
    EXPECT_EQ(buffer[32], 'g');
}

TEST_F(Operations, OpmodeWithoutAValueIsEmpty)
{
    char buffer[32] = {};
    ASSERT_EQ(parse("config system settings\nend\n"), 0);
    cfg_add_conf("opmode", nullptr, MIGR_SET, root()->top_list);
    EXPECT_EQ(get_cvw_opmode(buffer), 1);
    EXPECT_STREQ(buffer, "");
}

TEST_F(Operations, ListHelpers)
{
    config_node *a = block("set x 1\nset y 2\n");
    EXPECT_EQ(child_list(a, MIGR_TOP), &a->top_list);
    EXPECT_EQ(child_list(a, MIGR_CONFIG), &a->config_list);
    EXPECT_EQ(child_list(a, MIGR_EDIT), &a->edit_list);
    EXPECT_EQ(child_list(a, MIGR_SET), &a->set_list);
    EXPECT_EQ(child_list(a, MIGR_ROOT), nullptr);
    EXPECT_EQ(child_list(a, MIGR_EMPTY), nullptr);
    config_node *y = a->set_list->next;
    EXPECT_EQ(unlink_node(&a->set_list, y), 1);
    EXPECT_EQ(unlink_node(&a->set_list, y), 0);
    push_front(&a->set_list, y);
    EXPECT_EQ(dump(*a), "set y=2\nset x=1\n");
    set_node_name(y, y->name);
    EXPECT_STREQ(y->name, "y");
    set_node_name(y, std::string(300, 'z').c_str());
    EXPECT_EQ(y->name, std::string(127, 'z'));
    EXPECT_EQ(set_node_value(y, y->value), 0);
    EXPECT_STREQ(y->value, "2");
}

TEST_F(Operations, DroppedListIsEmptyAndItsNodesGoOnToEachOther)
{
    config_node *owner = block("set a 1\nset b 2\n");
    config_node *first = owner->set_list;
    drop_list(&owner->set_list);
    EXPECT_EQ(owner->set_list, nullptr);
    EXPECT_EQ(first->next->name, std::string("b"));
    drop_list(&owner->set_list);
    adopt_list(&owner->set_list, first);
    EXPECT_EQ(dump(*owner), "set a=1\nset b=2\n");
}

TEST_F(Operations, ExchangedNodesTakeEachOthersPlace)
{
    ASSERT_EQ(parse("config a\nset s 1\nend\nconfig b\nset t 2\nend\nconfig c\nend\n"), 0);
    exchange_nodes(root()->top_list, root()->top_list->next);
    EXPECT_EQ(dump(*root()), "top b\n  set t=2\ntop a\n  set s=1\ntop c\n");
}

TEST_F(Operations, TakenOutNodeKeepsItsLink)
{
    config_node *owner = block("set a 1\nset b 2\nset c 3\n");
    config_node *first = owner->set_list;
    config_node *taken = unlink_at(&owner->set_list, &first->next);
    EXPECT_EQ(taken->name, std::string("b"));
    EXPECT_EQ(taken->next, first->next);
    EXPECT_EQ(dump(*owner), "set a=1\nset c=3\n");
}

TEST_F(Operations, GivenValueIsTheNodesOwn)
{
    config_node *set = block("set a 1\n")->set_list;
    char        *text = strdup("2");
    give_node_value(set, text);
    EXPECT_EQ(set->value, text);
    give_node_value(set, nullptr);
    EXPECT_EQ(set->value, nullptr);
}

TEST_F(Operations, MarksAreTheOutputFlags)
{
    config_node *set = block("set a 1\n")->set_list;
    mark_deleted(set);
    EXPECT_EQ(set->deleted, 1);
    EXPECT_EQ(set->hidden, 0);
    clear_delete_mark(set);
    mark_hidden(set);
    EXPECT_EQ(set->deleted, 0);
    EXPECT_EQ(set->hidden, 1);
}

} // namespace
