/* What no case can show of the steps from 5.30 to 5.40: missing values, and memory that is not to be had. */
#include "chain/releases_5_30_to_5_40.h"

#include "driver/run_context.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/operations.h"

using namespace support;

namespace {

class Releases530To540 : public TreeTest {
  protected:
    static config_node *block()
    {
        return migr_main.root.top_list;
    }
};

TEST_F(Releases530To540, AServerNameSwitchThatCannotBeHadIsReported)
{
    ASSERT_EQ(parse("config server-policy policy\nedit 1\nset a 1\nset sni-certificate x\nnext\n"
                    "edit 2\nset sni-certificate x\nnext\nend\n"),
              0);
    testing::internal::CaptureStdout();
    fail_allocation(3);
    EXPECT_EQ(migr_add_sni_enable_conf(), -1);
    fail_allocation(0);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "make config node err!");
    EXPECT_EQ(dump(*block()), "edit 1\n  set a=1\n  set sni=enable\n  set sni-certificate=x\n"
                              "edit 2\n  set sni-certificate=x\n");
}

TEST_F(Releases530To540, SetsWithoutAValueAreNoTrouble)
{
    ASSERT_EQ(parse("config server-policy health\nedit 1\nnext\nend\n"
                    "config server-policy policy\nedit 1\nnext\nend\n"
                    "config router policy\nedit 1\nnext\nend\n"
                    "config log email-policy\nedit 1\nnext\nend\n"),
              0);
    config_node *health = block();
    config_node *policy = health->next;
    config_node *route = policy->next;
    config_node *mail = route->next;
    cfg_add_conf("type", nullptr, MIGR_SET, health->edit_list);
    cfg_add_conf("half-open-threshold", nullptr, MIGR_SET, policy->edit_list);
    cfg_add_conf("gateway", nullptr, MIGR_SET, route->edit_list);
    cfg_add_conf("-interval", nullptr, MIGR_SET, mail->edit_list);
    cfg_add_conf("severity", nullptr, MIGR_SET, mail->edit_list);
    migr_mv_health_check_child_table();
    migr_change_half_open_threshold();
    migr_add_router_policy_priority();
    migr_change_emailpl_interval_value();
    EXPECT_EQ(dump(*health), "edit 1\n  config health-list\n    edit 1\n      set type\n");
    EXPECT_EQ(dump(*policy), "edit 1\n  set half-open-threshold=8192\n");
    EXPECT_EQ(dump(*route), "edit 1\n  set priority=1\n  set gateway\n");
    EXPECT_EQ(dump(*mail), "edit 1\n  set interval\n  set severity\n");
}

TEST_F(Releases530To540, AnEmptyTypeIsAPingToo)
{
    ASSERT_EQ(parse("config server-policy health\nedit 1\nset a 1\nnext\nend\n"), 0);
    cfg_add_conf("type", "", MIGR_SET, block()->edit_list);
    migr_mv_health_check_child_table();
    EXPECT_EQ(dump(*block()), "edit 1\n  config health-list\n    edit 1\n      set type=icmp\n      set a=1\n");
}

TEST_F(Releases530To540, ASetThatHasNoListToGoToStays)
{
    constexpr char health[] = "config server-policy health\nedit 1\nset a 1\nset type tcp\nnext\nend\n";
    constexpr char syslog[] = "config log syslog-policy\nedit 1\nset a 1\nnext\nend\n";
    for (size_t failing : {1, 2}) {
        ASSERT_EQ(parse(health), 0);
        fail_allocation(failing);
        EXPECT_EQ(migr_mv_health_check_child_table(), 0);
        fail_allocation(0);
        EXPECT_EQ(length_of(block()->edit_list->set_list), 2u) << failing;
        ASSERT_EQ(parse(syslog), 0);
        fail_allocation(failing);
        EXPECT_EQ(migr_change_sys_log_policy(), 0);
        fail_allocation(0);
        EXPECT_EQ(length_of(block()->edit_list->set_list), 1u) << failing;
    }
}

} // namespace
