/* What no case can show of the steps from 5.0 to 5.20: limits of lengths, missing values, and what is reported. */
#include "chain/releases_5_0_to_5_20.h"

#include "driver/run_context.h"
#include "driver/upgrade_run.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/node_store.h"
#include "tree/operations.h"

#include <cstring>

using namespace support;

namespace {

class Releases50To520 : public TreeTest {
  protected:
    void TearDown() override
    {
        release_run_nodes();
        tmp_tree_root = {};
        tmp_tree_root.kind = MIGR_ROOT;
        TreeTest::TearDown();
    }

    static config_node *block()
    {
        return migr_main.root.top_list;
    }
};

TEST_F(Releases50To520, SetsWithoutAValueAreNoTrouble)
{
    ASSERT_EQ(parse("config system snmp community\nedit 1\nnext\nend\nconfig log attack-log\nend\n"
                    "config system interface\nedit 1\nnext\nend\n"
                    "config waf web-protection-profile inline-protection\nedit 1\nnext\nend\n"),
              0);
    config_node *node = block();
    cfg_add_conf("events", nullptr, MIGR_SET, node->edit_list);
    node = node->next;
    cfg_add_conf("packet-log", nullptr, MIGR_SET, node);
    node = node->next;
    cfg_add_conf("type", nullptr, MIGR_SET, node->edit_list);
    node = node->next;
    cfg_add_conf("cookie-poison", nullptr, MIGR_SET, node->edit_list);
    cfg_add_conf("http-session-management", nullptr, MIGR_SET, node->edit_list);
    std::string before = dump(migr_main.root);
    migr_del_snmp_community_xml_prop_and_robot();
    migr_del_bad_robot_prop_in_attack_log();
    migr_modify_aggregate_interface_status();
    EXPECT_EQ(dump(migr_main.root), before);
    migr_adjust_cookie_poison();
    EXPECT_EQ(dump(*node), "edit 1\n  set http-session-management\n  set cookie-poison=disable\n");
}

TEST_F(Releases50To520, EventListsAreFilteredUpTo1023Characters)
{
    std::string word(1000, 'a');
    ASSERT_EQ(parse("config log attack-log\nset packet-log " + word + " bcdefghijklmnopqrstuvwxyz\nend\n"), 0);
    migr_del_bad_robot_prop_in_attack_log();
    EXPECT_EQ(block()->set_list->value, word + " bcdefghijklmnopqrstuvw");
}

TEST_F(Releases50To520, CertificatesStayInAnyOtherMode)
{
    ASSERT_EQ(parse("config system certificate local\nedit a\nset password x\nnext\nend\n"), 0);
    std::string before = dump(migr_main.root);
    migr_main.mode = MIGR_MACHINE_LEARNING;
    EXPECT_EQ(migr_move_certi_config_to_adom(), 0);
    EXPECT_EQ(dump(migr_main.root), before);
    EXPECT_EQ(tmp_tree_root.top_list, nullptr);
    EXPECT_EQ(migr_del_certi_local_passwd(), 0);
    EXPECT_EQ(dump(migr_main.root), "top system,certificate,local\n  edit a\n");
}

TEST_F(Releases50To520, CertificatesThatCannotBeCopiedAreReported)
{
    constexpr char text[] = "config system default_rptlang\nend\n"
                            "config system certificate local\nedit a\nset b c\nnext\nend\n"
                            "config system certificate ca\nend\n"
                            "config system default_rptlang\nend\n";
    constexpr char bare[] = "top system,default_rptlang\ntop system,default_rptlang\n";
    ASSERT_EQ(parse(text), 0);
    migr_main.mode = MIGR_GLOBAL;
    testing::internal::CaptureStdout();
    fail_allocation(1);
    EXPECT_EQ(migr_move_certi_config_to_adom(), -1);
    fail_allocation(0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "malloc new node err.");
    EXPECT_EQ(length_of(block()), 4u);

    EXPECT_EQ(migr_move_certi_config_to_adom(), 0);
    EXPECT_EQ(dump(migr_main.root), bare);
    std::string kept = "top system,certificate,local\n  edit a\n    set b=c\ntop system,certificate,ca\n";
    EXPECT_EQ(dump(tmp_tree_root), kept);

    migr_main.mode = MIGR_DOMAIN;
    testing::internal::CaptureStdout();
    fail_allocation(1);
    EXPECT_EQ(migr_move_certi_config_to_adom(), -1);
    fail_allocation(0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "malloc new node err.");
    EXPECT_EQ(dump(migr_main.root), bare);
    EXPECT_EQ(migr_move_certi_config_to_adom(), 0);
    EXPECT_EQ(dump(migr_main.root), "top system,default_rptlang\n" + kept + "top system,default_rptlang\n");
}

} // namespace
