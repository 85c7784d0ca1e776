/* Lists of which every other node goes. Each takes a fraction of a second, and took minutes when each node that went
 * was looked for from the list's head. */
#include "chain/releases_5_0_to_5_20.h"
#include "chain/releases_5_30_to_5_40.h"

#include "support/processor_time.h"
#include "support/trees.h"
#include "tree/node_store.h"

using support::length_of;
using support::processor_seconds;
using support::times;

class LongChainLists : public support::TreeTest {
  protected:
    static constexpr size_t count = 100000;

    static config_node *first_block()
    {
        return migr_main.root.top_list;
    }
};

TEST_F(LongChainLists, Thresholds)
{
    ASSERT_EQ(0, support::parse("config log event-log\n" + times(count, "set kept 1\nset threshold 1\n") + "end\n"));
    EXPECT_LT(processor_seconds(migr_del_threshold_prop), 10);
    EXPECT_EQ(count, length_of(first_block()->set_list));
}

TEST_F(LongChainLists, Intervals)
{
    ASSERT_EQ(0, support::parse("config log email-policy\nedit 1\nset severity alert\n" +
                                times(count, "set kept 1\nset alert-interval 2\n") + "next\nend\n"));
    EXPECT_LT(processor_seconds(migr_change_emailpl_interval_value), 10);
    EXPECT_EQ(2 * count + 1, length_of(first_block()->edit_list->set_list));
}

TEST_F(LongChainLists, AnEntryOfADashboard)
{
    ASSERT_EQ(0, support::parse("config system admin\nedit 1\nconfig dashboard\nedit 1\n" +
                                times(count, "set status 1\nset refresh 2\n") + "next\nend\nnext\nend\n"));
    EXPECT_LT(processor_seconds(migr_del_child_table_hashboard_prop), 10);
    EXPECT_EQ(count, length_of(first_block()->edit_list->config_list->edit_list->set_list));
}

TEST_F(LongChainLists, AHealthCheck)
{
    ASSERT_EQ(0, support::parse("config server-policy health\nedit 1\n" +
                                times(count, "set trigger-policy t\nset retry 2\n") + "next\nend\n"));
    EXPECT_LT(processor_seconds(migr_mv_health_check_child_table), 10);
    const config_node *check = first_block()->edit_list;
    EXPECT_EQ(count, length_of(check->set_list));
    EXPECT_EQ(count, length_of(check->config_list->edit_list->set_list));
}

TEST_F(LongChainLists, CertificatesThatLeaveTheGlobalFile)
{
    ASSERT_EQ(0, support::parse(times(count, "config other\nend\nconfig system certificate local\nend\n")));
    EXPECT_LT(processor_seconds(build_certi_config_tree), 10);
    EXPECT_EQ(count, length_of(migr_main.root.top_list));
    EXPECT_EQ(count, length_of(tmp_tree_root.top_list));
    tmp_tree_root.top_list = nullptr;
    release_run_nodes();
}

TEST_F(LongChainLists, CertificatesThatLeaveADomain)
{
    ASSERT_EQ(0, support::parse(times(count, "config other\nend\nconfig system certificate local\nend\n")));
    EXPECT_LT(processor_seconds(fill_certi_config_to_adom), 10);
    EXPECT_EQ(count, length_of(migr_main.root.top_list));
}
