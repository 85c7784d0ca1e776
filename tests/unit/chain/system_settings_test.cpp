/* What no case can show of system settings: limits of lengths, values that are not there, and memory that is not to
 * be had. */
#include "chain/system_settings.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/operations.h"

using namespace support;

namespace {

class SystemSettings : public TreeTest {
  protected:
    config_node *block()
    {
        return migr_main.root.top_list;
    }
    std::string all()
    {
        return dump(migr_main.root);
    }

    void expect_unchanged(void (*migration)())
    {
        std::string before = all();
        migration();
        EXPECT_EQ(all(), before);
    }
};

TEST_F(SystemSettings, ASharedAddressSettingWithoutAValueIsCopiedWithoutOne)
{
    ASSERT_EQ(parse("config system global\nend\n"), 0);
    cfg_add_conf("share-ip", nullptr, MIGR_SET, block());
    EXPECT_EQ(migr_advanced(), 0);
    EXPECT_EQ(all(), "top system,global\n  set share-ip\ntop system,advanced\n  set share-ip\n");
}

TEST_F(SystemSettings, EventsAreCutAt1023Characters)
{
    std::string events = "waf-sql-attack " + std::string(1000, 'e');
    ASSERT_EQ(parse("config system snmp community\nedit 1\nset events " + events + "\nnext\nend\n"), 0);
    EXPECT_EQ(migr_snmp_events(), 0);
    EXPECT_EQ(std::string(block()->edit_list->set_list->value), events + " waf-sig");
}

TEST_F(SystemSettings, LoggedAttacksAreLookedAtUpTo511Characters)
{
    std::string kept(495, 'k');
    ASSERT_EQ(parse("config log attack-log\nset packet-log " + kept + " xss-attack sql-injection more\nend\n"), 0);
    EXPECT_EQ(migr_mod_packet_log(), 0);
    EXPECT_EQ(std::string(block()->set_list->value), kept + " sql- signature-detection");

    std::string longer(505, 'k');
    ASSERT_EQ(parse("config log attack-log\nset packet-log " + longer + " xss-attack\nend\n"), 0);
    EXPECT_EQ(migr_mod_packet_log(), 0);
    EXPECT_EQ(std::string(block()->set_list->value), longer + " xss-attack");

    ASSERT_EQ(parse("config log attack-log\nset packet-log " + times(250, "a ") + "xss-attack bbb\nend\n"), 0);
    EXPECT_EQ(migr_mod_packet_log(), 0);
    EXPECT_EQ(std::string(block()->set_list->value), times(250, "a ") + "signature-detection");
}

TEST_F(SystemSettings, SetsWithoutAValueAreNoTrouble)
{
    ASSERT_EQ(parse("config system snmp community\nedit 1\nnext\nend\n"
                    "config log attack-log\nend\n"
                    "config system global\nend\n"
                    "config server-policy policy\nedit 1\nnext\nend\n"
                    "config system ha\nend\n"),
              0);
    cfg_add_conf("events", nullptr, MIGR_SET, named(block(), "system,snmp,community")->edit_list);
    cfg_add_conf("packet-log", nullptr, MIGR_SET, named(block(), "log,attack-log"));
    cfg_add_conf("status", nullptr, MIGR_SET, named(block(), "server-policy,policy")->edit_list);
    cfg_add_conf("circulate-url-decode", nullptr, MIGR_SET, named(block(), "server-policy,policy")->edit_list);
    cfg_add_conf("device", nullptr, MIGR_SET, named(block(), "system,ha"));
    cfg_add_conf("mode", nullptr, MIGR_SET, named(block(), "system,ha"));
    expect_unchanged([] {
        migr_system_hasyncd();
        EXPECT_EQ(migr_snmp_events(), 0);
        EXPECT_EQ(migr_mod_packet_log(), 0);
        EXPECT_EQ(migr_advanced(), 0);
    });
}

TEST_F(SystemSettings, WithoutMemoryAValueStays)
{
    ASSERT_EQ(parse("config system snmp community\nedit 1\nset events waf-sql-attack\nnext\nend\n"
                    "config log attack-log\nset packet-log xss-attack\nend\n"
                    "config system ha\nset mode master\nend\n"),
              0);
    expect_unchanged([] {
        with_failing_values(
            1,
            [] {
                migr_snmp_events();
                migr_mod_packet_log();
                migr_system_hasyncd();
            },
            true);
    });
}

TEST_F(SystemSettings, WithoutMemoryForTheirBlockSettingsAreNotCopied)
{
    ASSERT_EQ(parse("config system global\nset share-ip enable\nend\n"), 0);
    expect_unchanged([] {
        with_failing_nodes(
            1, [] { migr_advanced(); }, true);
    });
}

} // namespace
