/* Rules and trees far larger than any image's: what they cost must not explode. */
#include "rules/delete_rules.h"
#include "support/processor_time.h"
#include "update_texts.h"

using support::times;

class BigRules : public RulesTest {};

TEST_F(BigRules, AMegabyteOfRenames)
{
    std::string rules;
    for (int i = 0; rules.size() < 1u << 20; i++)
        rules += "<a" + std::to_string(i) + "><b>,<c>\n";
    plant("config a7\nset b 1\nend\n");
    ASSERT_EQ(0, load("[5.15]\n[MODIFY]\n" + rules));
    EXPECT_EQ(0, process_modify(&first_section().modify_list, 0, 0x5000f));
    EXPECT_EQ("top a7\n  set c=1\n", tree());
}

/* Each concerns all that come behind it. */
TEST_F(BigRules, RenamesOfOnePath)
{
    constexpr int count = 60000;
    std::string   rules;
    for (int i = 0; i < count; i++)
        rules += "<a b>,<c " + std::to_string(i) + ">\n<a b><d><e" + std::to_string(i) + ">,<f>\n";
    ASSERT_EQ(0, load("[5.15]\n[MODIFY]\n" + rules));
    migr_list *list = &first_section().modify_list;
    EXPECT_LT(support::processor_seconds([=] { EXPECT_EQ(0, process_modify(list, 0, 0x5000f)); }), 10);
    EXPECT_EQ("<c 59999><d><e59999>,<f>", texts(*list).back());
}

TEST_F(BigRules, AMegabyteOfDeletions)
{
    plant("config a\nset b 1\nend\n");
    ASSERT_EQ(0, load("[5.15]\n[DELETE]\n" + times((1u << 20) / 4, "<a>\n")));
    EXPECT_EQ(0, process_delete(&first_section().delete_list));
    EXPECT_EQ("top a deleted\n  set b=1\n", tree());
}

TEST_F(BigRules, APathThroughNestedTables)
{
    constexpr size_t depth = 12000;
    plant("config a\n" + times(depth, "edit 1\nconfig b\n") + "set c 1\n");
    std::string path = "<a>" + times(depth, "<b>") + "<c>";
    EXPECT_EQ(0, __mark_node_delete(&migr_main.root, path.c_str()));
    ASSERT_EQ(0, load("[5.15]\n[MODIFY]\n" + path + ",<d>\n"));
    EXPECT_EQ(0, process_modify(&first_section().modify_list, 0, 0x5000f));
    config_node *node = migr_main.root.top_list;
    for (size_t i = 0; i < depth; i++)
        node = node->edit_list->config_list;
    EXPECT_STREQ("d", node->set_list->name);
    EXPECT_EQ(0, node->set_list->deleted);
}

TEST_F(BigRules, ServersOnManyBridges)
{
    std::string text = "config system bridge\n";
    for (int i = 0; i < 50000; i++)
        text += "edit b" + std::to_string(i) + "\nnext\n";
    text += "end\nconfig server-policy vserver\n";
    for (int i = 0; i < 50000; i++)
        text += "edit " + std::to_string(i) + "\nset interface port" + std::to_string(i) + "\nnext\n";
    plant(text + "edit last\nset interface b49999\nnext\nend\n");
    notp_bridge_main = {};
    find_notp_bridge_node(&migr_main.root, 0);
    int hidden = 0;
    for (config_node *edit = migr_main.root.top_list->next->edit_list; edit; edit = edit->next)
        hidden += edit->hidden;
    EXPECT_EQ(1, hidden);
    free_notp_bridges();
}
