/* The tables of predefined rows, held against the image, and how they are merged into a tree, also where lists or
 * memory are missing. */
#include "chain/predefined_merge.h"

#include "chain/hardcode.h"
#include "support/appliance_root.h"
#include "support/places.h"
#include "sweeps.h"
#include "tree/config_text.h"
#include "tree/node_store.h"
#include "tree/operations.h"

#include <algorithm>
#include <cstring>

using namespace support;

namespace {

constexpr char predefined_path[] = "/data/etc/system.conf.predefine";

class PredefinedMerge : public TreeTest {
  protected:
    void TearDown() override
    {
        forget_pass_nodes();
        for (merge_row &row : sub_node_info)
            row.prev = -1;
        TreeTest::TearDown();
    }

    /* The row of that path, or -1. */
    template <size_t rows> static int32_t row_of(const merge_row (&table)[rows], std::string_view path)
    {
        for (size_t i = 0; i < rows; i++)
            if (table[i].path == path)
                return static_cast<int32_t>(i);
        return -1;
    }

    static bool is_entry(const merge_row &row)
    {
        return row.path[0] == '"';
    }

    config_node *new_named(const char *name, uint32_t kind)
    {
        config_node *node = new_node(kind);
        set_node_name(node, name);
        return node;
    }
};

TEST_F(PredefinedMerge, EveryPredefinedRowIsACanonicalOneDirectlyBehindItsTable)
{
    for (size_t i = 0; i < MIGR_PREDEFINED_ROWS; i++) {
        int32_t row = row_of(pre_node_info, sub_node_info[i].path);
        ASSERT_GE(row, 0) << sub_node_info[i].path;
        if (is_entry(sub_node_info[i])) {
            EXPECT_EQ(row, row_of(pre_node_info, sub_node_info[i - 1].path) + 1) << sub_node_info[i].path;
        }
    }
}

TEST_F(PredefinedMerge, NoRowStandsTwiceAndTheTablesStartEmpty)
{
    for (size_t i = 0; i < MIGR_CANONICAL_ROWS; i++) {
        EXPECT_EQ(row_of(pre_node_info, pre_node_info[i].path), static_cast<int32_t>(i)) << pre_node_info[i].path;
        EXPECT_EQ(pre_node_info[i].node, nullptr);
    }
    for (size_t i = 0; i < MIGR_PREDEFINED_ROWS; i++) {
        EXPECT_EQ(row_of(sub_node_info, sub_node_info[i].path), static_cast<int32_t>(i)) << sub_node_info[i].path;
        EXPECT_EQ(sub_node_info[i].node, nullptr);
        EXPECT_EQ(sub_node_info[i].prev, -1);
    }
    EXPECT_STREQ(pre_node_info[0].path, "system,default_rptlang");
    EXPECT_STREQ(pre_node_info[MIGR_CANONICAL_ROWS - 1].path, "wad,website");
    EXPECT_EQ(std::count_if(std::begin(pre_node_info), std::end(pre_node_info), is_entry), 21);
    EXPECT_EQ(std::count_if(std::begin(sub_node_info), std::end(sub_node_info), is_entry), 21);
}

TEST_F(PredefinedMerge, TheImageBringsAllThatTheMergeLooksFor)
{
    ASSERT_EQ(setup_tree(&migr_sub, source_path("/image/system.conf.predefine").c_str()), 0);
    for (const merge_row &row : sub_node_info) {
        is_found = 0;
        found_node = nullptr;
        migr_find_node(&migr_sub.root, 1, row.path);
        ASSERT_EQ(is_found, 1) << row.path;
        EXPECT_EQ(found_node->kind, is_entry(row) ? MIGR_EDIT : MIGR_TOP) << row.path;
        if (is_entry(row)) {
            EXPECT_NE(found_node->set_list, nullptr) << row.path;
        }
    }
    EXPECT_EQ(length_of(migr_sub.root.top_list), 9u);
}

TEST_F(PredefinedMerge, ChainsTheRowsThatATreeHas)
{
    ASSERT_EQ(parse("config wad website\nend\nconfig system dns\nend\nconfig system global\nend\n"
                    "config router static\nend\n"),
              0);
    migr_preconfig();
    int32_t global = row_of(pre_node_info, "system,global");
    int32_t dns = row_of(pre_node_info, "system,dns");
    int32_t router = row_of(pre_node_info, "router,static");
    int32_t website = row_of(pre_node_info, "wad,website");
    EXPECT_EQ(pre_node_info[global].prev, 0);
    EXPECT_EQ(pre_node_info[global].next, dns);
    EXPECT_EQ(pre_node_info[dns].prev, global);
    EXPECT_EQ(pre_node_info[dns].next, router);
    EXPECT_EQ(pre_node_info[router].prev, dns);
    EXPECT_EQ(pre_node_info[website].prev, router);
    EXPECT_EQ(pre_node_info[website].node, migr_main.root.top_list);
}

TEST_F(PredefinedMerge, PutsAMissingRowIntoTheChain)
{
    ASSERT_EQ(parse("config system global\nend\nconfig wad website\nend\n"), 0);
    for (merge_row &row : pre_node_info)
        row.prev = row.next = 0;
    for (merge_row &row : sub_node_info)
        row.next = 0;
    ApplianceRoot root;
    root.write(predefined_path, "#version\nconfig waf robot-control\nedit \"Alert Only3\"\nnext\nend\n");
    ChildResult child = run_in_root(root.path(), [] {
        int32_t global = row_of(pre_node_info, "system,global");
        int32_t robots = row_of(pre_node_info, "waf,robot-control");
        int32_t website = row_of(pre_node_info, "wad,website");
        EXPECT_EQ(migr_preconfig(), 0);
        EXPECT_EQ(sub_node_info[row_of(sub_node_info, "waf,robot-control")].prev, robots);
        EXPECT_EQ(pre_node_info[robots].node, named(migr_main.root.top_list, "waf,robot-control"));
        EXPECT_EQ(pre_node_info[website].prev, global);
        EXPECT_EQ(pre_node_info[robots].prev, global);
        EXPECT_EQ(pre_node_info[robots].next, website);
        /* Rows that neither tree has are marked as well. */
        EXPECT_EQ(sub_node_info[0].prev, row_of(pre_node_info, "waf,server-protection-rule"));
        EXPECT_EQ(pre_node_info[robots + 1].prev, global);
        /* A row that both trees have is followed by the last row that was put in behind it. */
        EXPECT_EQ(pre_node_info[global].next, row_of(pre_node_info, "\"Default Auto Learn Profile\""));
        EXPECT_EQ(pre_node_info[0].next, 0);
        EXPECT_EQ(sub_node_info[row_of(sub_node_info, "waf,robot-control")].next, -1);
        EXPECT_EQ(sub_node_info[row_of(sub_node_info, "\"Alert Only3\"")].next, 0);
        return 0;
    });
    EXPECT_EQ(child.exit_code, 0) << child.err;
}

TEST_F(PredefinedMerge, AListThatHoldsTheNameWithoutItsNumberHoldsTheNode)
{
    config_node *list = new_named("\"a\"", MIGR_EDIT);
    config_node *node = new_named("\"a1\"", MIGR_EDIT);
    EXPECT_EQ(migr_node_filter(list, node), 1);
    EXPECT_STREQ(node->name, "\"a\"");
    set_node_name(node, "\"b1\"");
    EXPECT_EQ(migr_node_filter(list, node), 0);
    EXPECT_STREQ(node->name, "\"b\"");
}

TEST_F(PredefinedMerge, WithoutAListTheNumberStays)
{
    config_node *node = new_named("\"a1\"", MIGR_EDIT);
    EXPECT_EQ(migr_node_filter(nullptr, node), 0);
    EXPECT_STREQ(node->name, "\"a1\"");
    EXPECT_EQ(migr_node_filter(node, nullptr), 0);
}

TEST_F(PredefinedMerge, ANumberIsTheLastCharacterButOne)
{
    config_node *list = new_named("x", MIGR_EDIT);
    struct {
        const char *before;
        const char *after;
    } names[] = {
        {"\"a12\"", "\"a1\""}, {"\"a1\"", "\"a\""}, {"\"a\"", "\"a\""}, {"12", "2"},   {"1", "1"}, {"", ""},
        {"a/b", "a/b"},        {"a:b", "a:b"},      {"a0b", "ab"},      {"a9b", "ab"},
    };
    for (auto &name : names) {
        config_node *node = new_named(name.before, MIGR_EDIT);
        EXPECT_EQ(migr_node_filter(list, node), 0);
        EXPECT_STREQ(node->name, name.after);
    }
}

TEST_F(PredefinedMerge, TheLastRenamingTakesASecondNumberOff)
{
    sub_node_info[3].node = new_named("\"a12\"", MIGR_EDIT);
    migr_dump_to_file();
    migr_dump_to_file();
    EXPECT_STREQ(sub_node_info[3].node->name, "\"a\"");
}

TEST_F(PredefinedMerge, GraftsByKind)
{
    ASSERT_EQ(parse("config system global\nset a 1\nend\n"), 0);
    config_node *global = migr_main.root.top_list;
    int32_t      row = row_of(pre_node_info, "system,global");
    pre_node_info[row].node = global;
    insert_node(new_named("list", MIGR_CONFIG), row + 1);
    insert_node(new_named("1", MIGR_EDIT), row + 2);
    insert_node(new_named("b", MIGR_SET), row + 3);
    insert_node(new_named("a", MIGR_SET), row + 4);
    insert_node(new_named("system,dns", MIGR_TOP), row + 5);
    insert_node(new_named("root", MIGR_ROOT), row + 6);
    EXPECT_EQ(dump(migr_main.root), "top system,global\n  config list\n  edit 1\n  set b\n  set a=1\ntop system,dns\n");
    EXPECT_STREQ(pre_node_info[row + 4].node->name, "a");
}

TEST_F(PredefinedMerge, ABlockIsNotPutBehindItself)
{
    ASSERT_EQ(parse("config system global\nend\n"), 0);
    int32_t row = row_of(pre_node_info, "system,global");
    pre_node_info[row].node = migr_main.root.top_list;
    insert_node(migr_main.root.top_list, row);
    EXPECT_EQ(length_of(migr_main.root.top_list), 1u);
}

TEST_F(PredefinedMerge, EachTableIsFilledWhole)
{
    ASSERT_EQ(parse("config waf web-robot\nend\nconfig wad website\nend\n"), 0);
    for (int i = 0; i < 2; i++) {
        migr_init_node_list(&migr_main, 1);
        migr_init_node_list(&migr_main, 0);
        EXPECT_EQ(migr_main.root.top_list->next, pre_node_info[row_of(pre_node_info, "wad,website")].node);
        EXPECT_EQ(migr_main.root.top_list, sub_node_info[row_of(sub_node_info, "waf,web-robot")].node);
        forget_merged_nodes();
    }
}

TEST_F(PredefinedMerge, AnEntryIsNoPlaceToGoBehind)
{
    ASSERT_EQ(parse("config system global\nend\nconfig waf web-robot\nedit \"High Level Security1\"\nnext\nend\n"), 0);
    int32_t row = row_of(pre_node_info, "waf,web-robot");
    migr_init_node_list(&migr_main, 2); /* no table */
    EXPECT_EQ(pre_node_info[row].node, nullptr);
    EXPECT_EQ(sub_node_info[row_of(sub_node_info, "waf,web-robot")].node, nullptr);
    pre_node_info[row].node = migr_main.root.top_list->next;
    pre_node_info[row + 1].node = pre_node_info[row].node->edit_list;
    insert_node(new_named("\"x\"", MIGR_EDIT), row + 2);
    EXPECT_STREQ(migr_main.root.top_list->next->edit_list->name, "\"x\"");
}

TEST_F(PredefinedMerge, TheSearchHasSlotsOfItsOwn)
{
    ASSERT_EQ(parse("config system global\nend\n"), 0);
    is_found = 1;
    found_node = migr_main.root.top_list;
    migr_preconfig();
    EXPECT_EQ(is_found, 1);
    EXPECT_EQ(found_node, migr_main.root.top_list);
}

TEST_F(PredefinedMerge, NothingOfAPassIsKeptBehindIt)
{
    ASSERT_EQ(parse("config system global\nend\n"), 0);
    ASSERT_EQ(setup_tree(&migr_sub, source_path("/image/system.conf.predefine").c_str()), 0);
    migr_preconfig();
    push_front(&migr_sub.root.top_list, new_node(MIGR_TOP)); /* as what has not been grafted */
    forget_pass_nodes();
    for (const merge_row &row : pre_node_info)
        EXPECT_EQ(row.node, nullptr);
    for (const merge_row &row : sub_node_info)
        EXPECT_EQ(row.node, nullptr);
    EXPECT_EQ(migr_sub.root.top_list, nullptr);
}

/* An update file may name 4.30 twice. */
TEST_F(PredefinedMerge, ASecondMergeInOnePassOnlyRepeatsTheFirstTable)
{
    ASSERT_EQ(parse("config system global\nend\n"), 0);
    ApplianceRoot root;
    root.write(predefined_path, "#version\nconfig waf web-robot\nedit \"High Level Security1\"\nnext\nend\n"
                                "config waf robot-control\nedit \"Alert Only3\"\nnext\nend\n");
    ChildResult child = run_in_root(root.path(), [] {
        update_section section = {};
        section.version = 0x4001e;
        EXPECT_EQ(migr_hardcode(&section), 0);
        std::string robots = "top waf,web-robot\n  edit \"High Level Security\"\n";
        std::string control = "top waf,robot-control\n  edit \"Alert Only\"\n";
        std::string access = "top waf,layer4-access-limit-rule\n  edit \"Alert Only\"\n";
        EXPECT_EQ(dump(migr_main.root), "top system,global\n" + robots + control);
        EXPECT_EQ(migr_hardcode(&section), 0);
        EXPECT_EQ(dump(migr_main.root), "top system,global\n" + robots + robots + control + access);
        unlink(predefined_path);
        EXPECT_EQ(migr_preconfig(), 0);
        EXPECT_EQ(dump(migr_main.root), "top system,global\n" + robots + robots + control + access);
        return 0;
    });
    EXPECT_EQ(child.exit_code, 0) << child.err;
}

TEST_F(PredefinedMerge, GoesOnWithHalfAPredefinedFile)
{
    ApplianceRoot root;
    root.write(predefined_path, "#version\nconfig waf web-robot\nedit \"High Level Security1\"\nset a b\nnext\n"
                                "edit \"Alert Only1\"\nset a b\nnext\nend\n"
                                "config waf robot-control\nedit \"Alert Only3\"\nnext\nend\n");
    ChildResult child = run_in_root(root.path(), [] {
        size_t asked = sweep(
            "config system global\nend\n", [] { return migr_preconfig(); },
            [](size_t number, int32_t result) {
                EXPECT_EQ(result, 0);
                size_t blocks = length_of(migr_main.root.top_list);
                EXPECT_GE(blocks, number == 0 ? 3u : 1u);
                EXPECT_LE(blocks, 3u);
                forget_pass_nodes();
            });
        EXPECT_GT(asked, 5u);
        return 0;
    });
    EXPECT_EQ(child.exit_code, 0) << child.err;
}

} // namespace
