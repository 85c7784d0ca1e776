/* The node toolkit: limits, list positions, and the differences between near-twins. */
#include "support/failing_memory.h"
#include "support/trees.h"
#include "walk/cursors.h"
#include "walk/toolkit.h"

#include "tree/node_store.h"
#include "tree/operations.h"

#include <cstring>
#include <fstream>

using support::dump;
using support::parse;
using support::times;
using support::written;

class Toolkit : public support::TreeTest {
  protected:
    void SetUp() override
    {
        TreeTest::SetUp();
        parent = cnd_add_path(nullptr, "parent");
    }

    void TearDown() override
    {
        for (int slot = 1; slot <= 4; slot++)
            top[slot] = sub[slot] = &EMPTY_NODE;
        TreeTest::TearDown();
    }

    config_node *set(const char *name, const char *value)
    {
        return cnd_add(parent, MIGR_SET, name, value);
    }
    config_node *edit(const char *name)
    {
        return cnd_add(parent, MIGR_EDIT, name, nullptr);
    }

    config_node *parent = nullptr;
};

TEST_F(Toolkit, AddPutsSetsLastAndAllElseFirst)
{
    for (const char *name : {"a", "b"}) {
        cnd_add(parent, MIGR_SET, name, "v");
        cnd_add(parent, MIGR_EDIT, name, nullptr);
        cnd_add(parent, MIGR_CONFIG, name, nullptr);
        cnd_add(&migr_main.root, MIGR_TOP, name, nullptr);
    }
    EXPECT_EQ("top b=\ntop a=\ntop parent\n  config b=\n  config a=\n  edit b=\n  edit a=\n  set a=v\n  set b=v\n",
              dump(migr_main.root));
}

TEST_F(Toolkit, AddRefusesWhatIsTooLong)
{
    EXPECT_NE(nullptr, set(times(127, "n").c_str(), "v"));
    EXPECT_EQ(nullptr, set(times(128, "n").c_str(), "v"));
    EXPECT_NE(nullptr, set("n", times(4094, "v").c_str()));
    EXPECT_EQ(nullptr, set("n", times(4095, "v").c_str()));
    EXPECT_EQ(nullptr, cnd_add(parent, MIGR_ROOT, "n", "v"));
    EXPECT_EQ(nullptr, cnd_add(parent, MIGR_EMPTY, "n", "v"));
    EXPECT_EQ(2U, support::length_of(parent->set_list));
}

TEST_F(Toolkit, ANullValueBecomesAnEmptyText)
{
    EXPECT_STREQ("", set("n", nullptr)->value);
    EXPECT_STREQ("", cnd_add_edit(parent, "1")->value);
    EXPECT_STREQ("", cnd_add_config(parent, "c")->value);
    EXPECT_EQ(nullptr, parent->value);
    EXPECT_EQ("config parent\n    set n \n    edit 1 \n    next\n    config c \n    end\nend\n",
              written(&migr_main.root));
}

TEST_F(Toolkit, AddPathGoesOnTheLinkOrAheadOfAll)
{
    cnd_add_path(&parent->next, "behind");
    config_node *cut = cnd_add_path(nullptr, times(200, "n").c_str());
    EXPECT_EQ(126U, strlen(cut->name));
    EXPECT_EQ(cut, migr_main.root.top_list);
    EXPECT_EQ(parent, cut->next);
    EXPECT_STREQ("behind", parent->next->name);
}

TEST_F(Toolkit, FormattedNamesAreCut)
{
    EXPECT_EQ(127U, strlen(cnd_add_edit(parent, "%s", times(300, "e").c_str())->name));
    EXPECT_EQ(127U, strlen(cnd_add_config(parent, "%s", times(300, "c").c_str())->name));
    EXPECT_STREQ("gen-7", cnd_add_edit(parent, "gen-%d", 7)->name);
}

TEST_F(Toolkit, AddPropRefusesAValueOf4095)
{
    EXPECT_NE(nullptr, cnd_add_prop(parent, "n", "%s", times(4094, "v").c_str()));
    EXPECT_EQ(nullptr, cnd_add_prop(parent, "n", "%s", times(4095, "v").c_str()));
    EXPECT_EQ(nullptr, cnd_add_prop(parent, "n", "%s", times(9000, "v").c_str()));
    EXPECT_EQ(nullptr, cnd_add_prop(parent, times(128, "n").c_str(), "v"));
}

TEST_F(Toolkit, AddPropFrontCutsAndRefusesNothing)
{
    config_node *front = cnd_add_prop_front(parent, times(300, "n").c_str(), "%s", times(9000, "v").c_str());
    EXPECT_EQ(127U, strlen(front->name));
    EXPECT_EQ(4095U, strlen(front->value));
    config_node *first = cnd_add_prop_front(parent, "first", "1");
    EXPECT_EQ(first, parent->set_list);
    EXPECT_EQ(front, first->next);
}

TEST_F(Toolkit, ANullParentGivesNull)
{
    EXPECT_EQ(nullptr, cnd_add_config(nullptr, "c"));
    EXPECT_EQ(nullptr, cnd_add_edit(nullptr, "e"));
    EXPECT_EQ(nullptr, cnd_add_prop(nullptr, "n", "v"));
    EXPECT_EQ(nullptr, cnd_add_prop_front(nullptr, "n", "v"));
    EXPECT_EQ(nullptr, cnd_add_prop(cnd_add_edit(cnd_add_config(nullptr, "c"), "1"), "n", "v"));
}

TEST_F(Toolkit, WithoutMemoryNothingIsAdded)
{
    for (size_t number : {1, 2}) {
        support::fail_allocation(number);
        EXPECT_EQ(nullptr, set("n", "v"));
        support::fail_allocation(number);
        EXPECT_EQ(nullptr, cnd_add_prop_front(parent, "n", "v"));
    }
    support::fail_allocation(1);
    EXPECT_EQ(nullptr, cnd_add_path(nullptr, "p"));
    support::fail_allocation(0);
    EXPECT_EQ(nullptr, parent->set_list);
    EXPECT_EQ(parent, migr_main.root.top_list);
}

TEST_F(Toolkit, FindAndOpenTop)
{
    EXPECT_EQ(parent, cnd_find_top("parent"));
    EXPECT_EQ(nullptr, cnd_find_top("paren"));
    EXPECT_EQ(parent, cnd_open_top("parent"));
    config_node *opened = cnd_open_top("other");
    EXPECT_EQ(opened, migr_main.root.top_list);
    EXPECT_EQ(opened, cnd_open_top("other"));
}

TEST_F(Toolkit, AParentIsFoundBySlot)
{
    config_node t1 = {}, t2 = {}, t3 = {}, t4 = {}, s1 = {}, s2 = {}, s3 = {}, s4 = {}, other = {};
    top[1] = &t1, top[2] = &t2, top[3] = &t3, top[4] = &t4;
    sub[1] = &s1, sub[2] = &s2, sub[3] = &s3, sub[4] = &s4;
    EXPECT_EQ(&migr_main.root, _cnd_get_parent(&t1));
    EXPECT_EQ(&t1, _cnd_get_parent(&t2));
    EXPECT_EQ(&t1, _cnd_get_parent(&t3));
    EXPECT_EQ(&t2, _cnd_get_parent(&t4));
    EXPECT_EQ(&t2, _cnd_get_parent(&s1));
    EXPECT_EQ(&s1, _cnd_get_parent(&s2));
    EXPECT_EQ(&s1, _cnd_get_parent(&s3));
    EXPECT_EQ(&s2, _cnd_get_parent(&s4));
    EXPECT_EQ(nullptr, _cnd_get_parent(&other));
}

TEST_F(Toolkit, DelNeedsASlotAndKeepsTheRecordReadable)
{
    config_node *node = set("n", "v");
    cnd_del(node);
    EXPECT_EQ(node, parent->set_list);
    top[1] = parent;
    top[3] = node;
    cnd_del(node);
    EXPECT_EQ(nullptr, parent->set_list);
    EXPECT_STREQ("n", node->name);
    EXPECT_STREQ("v", node->value);
}

TEST_F(Toolkit, DelFromPassesOverNulls)
{
    config_node *node = set("n", "v");
    cnd_del_from(nullptr, parent);
    cnd_del_from(node, nullptr);
    EXPECT_EQ(node, parent->set_list);
    cnd_del_from(node, parent);
    EXPECT_EQ(nullptr, parent->set_list);
    cnd_del_from(node, parent);
}

TEST_F(Toolkit, DelByNameGoesByTheRawName)
{
    for (const char *name : {"a", "\"a\"", "b", "a", "c"})
        set(name, "v");
    cnd_del_by_name(parent, 2, "a", "c");
    EXPECT_EQ("top parent\n  set \"a\"=v\n  set b=v\n", dump(migr_main.root));
}

TEST_F(Toolkit, DetachAndAttach)
{
    config_node *a = set("a", "1");
    config_node *b = set("b", "2");
    EXPECT_EQ(nullptr, cnd_detach(a));
    EXPECT_EQ(a, parent->set_list);
    top[1] = parent;
    top[3] = a;
    EXPECT_EQ(a, cnd_detach(a));
    EXPECT_EQ(b, parent->set_list);
    EXPECT_EQ(b, a->next) << "its link still points into the old list";
    EXPECT_EQ(a, cnd_detach(a)) << "not in the list: given back unchanged";
    cnd_attach(b, parent->next);
    cnd_attach(nullptr, parent);
    cnd_attach(a, parent);
    EXPECT_EQ("top parent\n  set a=1\n  set b=2\n", dump(migr_main.root));
}

TEST_F(Toolkit, TwoMovesReverseTheOrder)
{
    config_node *target = cnd_add_path(&parent->next, "target");
    set("a", "1");
    set("b", "2");
    top[1] = parent;
    while (parent->set_list) {
        top[3] = parent->set_list;
        cnd_mv(top[3], target);
    }
    EXPECT_EQ("top parent\ntop target\n  set b=2\n  set a=1\n", dump(migr_main.root));
}

TEST_F(Toolkit, MovingASentinelChangesNothing)
{
    top[1] = parent;
    cnd_mv(&EMPTY_NODE, parent);
    cnd_mv(&EOB_NODE, parent);
    EXPECT_EQ("top parent\n", dump(migr_main.root));
    EXPECT_EQ(nullptr, cnd_detach(&EMPTY_NODE));
}

TEST_F(Toolkit, WithoutAParentANodeStaysWhereItIs)
{
    set("a", "1");
    config_node *b = set("b", "2");
    top[1] = parent;
    top[3] = b;
    cnd_mv(b, nullptr);
    cnd_attach(b, nullptr);
    EXPECT_EQ("top parent\n  set a=1\n  set b=2\n", dump(migr_main.root));
}

TEST_F(Toolkit, RenameCutsAt126)
{
    config_node *node = set("n", "v");
    EXPECT_EQ(node, cnd_rename(node, "%s-%d", "new", 1));
    EXPECT_STREQ("new-1", node->name);
    EXPECT_EQ(126U, strlen(cnd_rename(node, "%s", times(300, "n").c_str())->name));
    cnd_rename(node, "x%.10s", node->name);
    EXPECT_STREQ("xnnnnnnnnnn", node->name);
}

TEST_F(Toolkit, FmtValueCutsAt4095)
{
    config_node *node = set("n", "old");
    EXPECT_EQ(node, cnd_fmt_value(node, "<%s>", node->value));
    EXPECT_STREQ("<old>", node->value);
    cnd_fmt_value(node, "%s", times(9000, "v").c_str());
    EXPECT_EQ(4095U, strlen(node->value));
    support::fail_allocation(1);
    EXPECT_EQ(nullptr, cnd_fmt_value(node, "new"));
    support::fail_allocation(0);
    EXPECT_EQ(4095U, strlen(node->value));
}

TEST_F(Toolkit, FilterValueDropsWordsAndCollapsesBlanks)
{
    config_node *node = set("n", "a  b   c");
    EXPECT_EQ(1, cnd_filter_value(node, 1, "b"));
    EXPECT_STREQ("a c", node->value);
    set_node_value(node, "  a b \tb a\nb \"a\" b  ");
    EXPECT_EQ(3, cnd_filter_value(node, 2, "b", "a"));
    EXPECT_STREQ("\tb a\nb \"a\"", node->value) << "tabs and newlines belong to a word, quotes too";
    EXPECT_EQ(1, cnd_filter_value(node, 1, "\"a\""));
    EXPECT_STREQ("\tb a\nb", node->value);
    EXPECT_EQ(2, cnd_filter_value(node, 2, "\tb", "a\nb"));
    EXPECT_STREQ("", node->value);
    EXPECT_EQ(0, cnd_filter_value(node, 1, "a"));
    EXPECT_STREQ("", node->value);
    EXPECT_EQ(0, cnd_filter_value(parent, 1, "a"));
    EXPECT_EQ(nullptr, parent->value);
}

TEST_F(Toolkit, FilterValueWithoutMemoryChangesNothing)
{
    config_node *node = set("n", "a b");
    support::fail_allocation(1);
    EXPECT_EQ(0, cnd_filter_value(node, 1, "b"));
    support::fail_allocation(0);
    EXPECT_STREQ("a b", node->value);
}

TEST_F(Toolkit, AppendValuePutsABlankAheadOfEach)
{
    config_node *node = set("n", "a");
    cnd_append_value(node, 2, "b", "c");
    EXPECT_STREQ("a b c", node->value);
    set_node_value(node, "");
    cnd_append_value(node, 1, "b");
    EXPECT_STREQ(" b", node->value);
    cnd_append_value(parent, 1, "b");
    EXPECT_STREQ(" b", parent->value) << "a null value";
    support::fail_allocation(1);
    cnd_append_value(node, 1, "lost");
    support::fail_allocation(0);
    EXPECT_STREQ(" b", node->value);
}

TEST_F(Toolkit, ReallocInsertStr)
{
    char *text = strdup("ac");
    realloc_insert_str(&text, text + 1, "b");
    EXPECT_STREQ("abc", text);
    realloc_insert_str(&text, text + 3, "d");
    EXPECT_STREQ("abcd", text) << "the end is inside";
    realloc_insert_str(&text, text, "%%%s%%%%");
    EXPECT_STREQ("%%s%%abcd", text) << "doubled percent signs are halved, others stand";
    std::string before = text;
    const char  foreign[] = "x";
    realloc_insert_str(&text, foreign, "lost");
    realloc_insert_str(&text, text + strlen(text) + 1, "lost");
    realloc_insert_str(&text, nullptr, "lost");
    realloc_insert_str(&text, text, nullptr);
    realloc_insert_str(nullptr, text, "lost");
    char *none = nullptr;
    realloc_insert_str(&none, text, "lost");
    support::fail_allocation(1);
    realloc_insert_str(&text, text, "lost");
    support::fail_allocation(0);
    EXPECT_EQ(before, text);
    free(text);
}

TEST_F(Toolkit, ReadProp)
{
    const std::pair<size_t, bool> sizes[] = {{0, false},    {1, true},     {4093, true},
                                             {4094, false}, {4096, false}, {9000, false}};
    for (auto [size, readable] : sizes) {
        support::TextFile file(times(size, "x"));
        const char       *text = cnd_read_prop("%s", 1, file.path());
        ASSERT_EQ(readable, text != nullptr) << size;
        if (text) {
            EXPECT_EQ(times(size, "x"), text);
        }
    }
    EXPECT_EQ(nullptr, cnd_read_prop("/no/such/%d.file", 1, 5));
    EXPECT_EQ(nullptr, cnd_read_prop("/", 1));
}

TEST_F(Toolkit, ReadPropCutsThePathAt254)
{
    std::string path = "/" + times(126, "./") + "/";
    ASSERT_EQ(254U, path.size());
    EXPECT_EQ(nullptr, cnd_read_prop("%setc/passwd", 1, path.c_str())) << "a folder is what is left of it";
    EXPECT_NE(nullptr, cnd_read_prop("%setc/passwd", 1, path.substr(10).c_str()));
}

TEST_F(Toolkit, NameTwinsDifferOnQuotedEdits)
{
    config_node *node = edit("\"one two\"");
    EXPECT_TRUE(cnd_name_is(node, "one two"));
    EXPECT_FALSE(cnd_name_is(node, "\"one two\""));
    EXPECT_EQ(0, cnd_name_in(node, 1, "one two"));
    EXPECT_EQ(2, cnd_name_in(node, 2, "one two", "\"one two\""));
    config_node *quoted_set = set("\"n\"", "v");
    EXPECT_FALSE(cnd_name_is(quoted_set, "n"));
    EXPECT_TRUE(cnd_name_is(quoted_set, "\"n\""));
}

TEST_F(Toolkit, ValueTwinsDifferBehind128Characters)
{
    std::string  same = times(128, "v");
    config_node *node = set("n", (same + "a").c_str());
    EXPECT_TRUE(cnd_value_is(node, (same + "b").c_str()));
    EXPECT_EQ(0, cnd_value_in(node, 1, (same + "b").c_str()));
    EXPECT_EQ(2, cnd_value_in(node, 2, "x", (same + "a").c_str()));
}

TEST_F(Toolkit, ValuesAreComparedWithoutQuotes)
{
    for (const char *value : {"abc", "\"abc\"", "\"abc\"\n", "\"abc\"\"\n\"", "\"abc"})
        EXPECT_TRUE(cnd_value_is(set("n", value), "abc")) << value;
    EXPECT_FALSE(cnd_value_is(set("n", "abc\n"), "abc")) << "a bare value keeps its newline";
    EXPECT_TRUE(cnd_value_is(set("n", "\"\"\"\""), ""));
    EXPECT_TRUE(cnd_value_is(set("n", "\""), ""));
    EXPECT_FALSE(cnd_value_is(parent, "")) << "a null value";
    EXPECT_EQ(0, cnd_value_in(parent, 1, ""));
    config_node *node = set("n", "x");
    set_node_value(node, times(4095, "x").c_str());
    EXPECT_FALSE(cnd_value_is(node, times(200, "x").c_str()));
    set_node_value(node, times(4094, "x").c_str());
    EXPECT_TRUE(cnd_value_is(node, times(200, "x").c_str()));
    EXPECT_TRUE(cnd_nv_is(node, "n", times(200, "x").c_str()));
    EXPECT_FALSE(cnd_nv_is(node, "m", times(200, "x").c_str()));
}

TEST_F(Toolkit, QueriesAreSafeOnSentinels)
{
    for (config_node *sentinel : {&EMPTY_NODE, &EOB_NODE}) {
        EXPECT_FALSE(cnd_name_is(sentinel, "n"));
        EXPECT_FALSE(cnd_value_is(sentinel, "v"));
        EXPECT_EQ(0, cnd_name_in(sentinel, 1, "n"));
        EXPECT_EQ(0, cnd_value_in(sentinel, 1, "v"));
        EXPECT_FALSE(cnd_nv_is(sentinel, "n", "v"));
        EXPECT_FALSE(cnd_is_normal(sentinel));
    }
    EXPECT_TRUE(cnd_is_empty(&EMPTY_NODE));
    EXPECT_FALSE(cnd_is_empty(&EOB_NODE));
    EXPECT_TRUE(cnd_is_last(&EOB_NODE));
    EXPECT_FALSE(cnd_is_last(&EMPTY_NODE));
    EXPECT_TRUE(cnd_is_normal(parent));
}

TEST_F(Toolkit, StdName)
{
    EXPECT_STREQ("", cnd_std_name(edit("")));
    EXPECT_STREQ("one two", cnd_std_name(edit("\"one two\"")));
    EXPECT_STREQ("ab", cnd_std_name(edit("\"abc"))) << "the last character goes whatever it is";
    EXPECT_STREQ("abc", cnd_std_name(edit("abc")));
    EXPECT_STREQ("", cnd_std_name(edit("\"")));
    EXPECT_EQ(cnd_std_name(parent), cnd_std_name(edit("x"))) << "one buffer";
}

TEST_F(Toolkit, StdValue)
{
    EXPECT_STREQ("", cnd_std_value(set("n", "")));
    EXPECT_STREQ("a\" \"b", cnd_std_value(set("n", "\"a\" \"b\"")));
    EXPECT_STREQ("a", cnd_std_value(set("n", "\"a\" behind")));
    EXPECT_STREQ("", cnd_std_value(set("n", "\"")));
    EXPECT_STREQ("bare \"x\"", cnd_std_value(set("n", "bare \"x\"")));
    config_node *node = set("n", "x");
    set_node_value(node, times(5000, "x").c_str());
    EXPECT_EQ(4096U, strlen(cnd_std_value(node)));
}

TEST_F(Toolkit, StripQuotes)
{
    char target[4095];
    EXPECT_EQ(0, _cnd_opt_strip_quotes(nullptr, target));
    EXPECT_EQ(0, _cnd_opt_strip_quotes(times(4095, "x").c_str(), target));
    EXPECT_EQ(1, _cnd_opt_strip_quotes(times(4094, "x").c_str(), target));
    EXPECT_EQ(4094U, strlen(target));
    EXPECT_EQ(1, _cnd_opt_strip_quotes("abc\n", target));
    EXPECT_STREQ("abc\n", target);
    EXPECT_EQ(1, _cnd_opt_strip_quotes("\"a\"b\"\n\"\n", target));
    EXPECT_STREQ("a\"b", target);
    EXPECT_EQ(1, _cnd_opt_strip_quotes("\"\n\"\"", target));
    EXPECT_STREQ("", target);
}

TEST_F(Toolkit, FormatPass)
{
    char target[8];
    EXPECT_STREQ("%d%%", cnd_format_pass("%d%%%", target, sizeof target)) << "a lone percent sign stands";
    EXPECT_STREQ("1234567", cnd_format_pass("12345678", target, sizeof target));
    EXPECT_STREQ("", cnd_format_pass("", target, sizeof target));
}
