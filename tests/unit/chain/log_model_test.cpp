/* What no case can show of the way logs are split and moved: where nodes come from, their marks, and values that are
 * not there. */
#include "chain/log_model.h"

#include "sweeps.h"
#include "tree/operations.h"

using namespace support;

namespace {

class LogModel : public TreeTest {
  protected:
    config_node *block(std::string_view name)
    {
        return named(migr_main.root.top_list, name);
    }

    void convert_without(size_t allocation, std::string_view text)
    {
        ASSERT_EQ(parse(text), 0);
        fail_allocation(allocation);
        migr_log_process();
        fail_allocation(0);
    }
};

constexpr char mail[] = "config system alertemail\nset server s\nend\n"
                        "config alertemail setting\nset username u\nset emergency-interval 1\nset error-interval 4\n"
                        "set warning-interval 5\nset notification-interval 6\nend\n";

TEST_F(LogModel, TheIntervalOfWarningsLandsWhereNothingIsWritten)
{
    ASSERT_EQ(parse(mail), 0);
    migr_log_process();
    const config_node *entry = block("log,email-policy")->edit_list;
    ASSERT_NE(entry->edit_list, nullptr);
    EXPECT_STREQ(entry->edit_list->name, "warning-interval");
    EXPECT_STREQ(entry->edit_list->next->name, "error-interval");
    EXPECT_EQ(dump(*block("log,email-policy")).find("set warning-interval"), std::string::npos);
    EXPECT_EQ(named(entry->set_list, "warning-interval"), nullptr);
}

TEST_F(LogModel, SetsAreMovedAndNotCopied)
{
    ASSERT_EQ(parse(mail), 0);
    config_node *server = block("system,alertemail")->set_list;
    const char  *value = server->value;
    migr_log_process();
    config_node *moved = named(block("log,email-policy")->edit_list->set_list, "smtp-server");
    EXPECT_EQ(moved, server);
    EXPECT_EQ(moved->value, value);
}

TEST_F(LogModel, PolicyEntriesHaveNoNameButAValue)
{
    ASSERT_EQ(parse(mail), 0);
    migr_log_process();
    const config_node *entry = block("log,email-policy")->edit_list;
    EXPECT_STREQ(entry->name, "");
    EXPECT_STREQ(entry->value, "\"email-policy-1\"");
    EXPECT_EQ(entry->kind, MIGR_EDIT);
}

TEST_F(LogModel, AnEmptyServerIsNone)
{
    for (const char *value : {"", static_cast<const char *>(nullptr)}) {
        ASSERT_EQ(parse(mail), 0);
        config_node *server = block("system,alertemail")->set_list;
        block("system,alertemail")->set_list = nullptr;
        cfg_add_conf("server", value, MIGR_SET, block("system,alertemail"));
        ASSERT_NE(server, nullptr);
        migr_log_process();
        ASSERT_NE(block("system,alertemail"), nullptr);
        EXPECT_EQ(block("system,alertemail")->set_list, nullptr);
        EXPECT_NE(named(block("alertemail,setting")->set_list, "username"), nullptr);
    }
}

TEST_F(LogModel, AStatusWithoutAValueIsNotEnabled)
{
    ASSERT_EQ(parse("config log syslogd setting\nset server s\nend\n"), 0);
    cfg_add_conf("status", nullptr, MIGR_SET, block("log,syslogd,setting"));
    migr_log_process();
    EXPECT_EQ(dump(migr_main.root), "top log,syslogd,setting\n");
}

TEST_F(LogModel, WhatIsSplitOffHasTheMarksOfItsOrigin)
{
    ASSERT_EQ(parse("config log disk filter\nset traffic enable\nset attack enable\nset event enable\nend\n"), 0);
    block("log,disk,filter")->deleted = 1;
    block("log,disk,filter")->hidden = 1;
    migr_log_process();
    EXPECT_EQ(dump(migr_main.root), "top log,traffic-log deleted hidden\n  set status=enable\n"
                                    "top log,event-log deleted hidden\n  set status=enable\n"
                                    "top log,attack-log deleted hidden\n  set status=enable\n");
}

TEST_F(LogModel, MarkedSetsAreMovedAsTheyAre)
{
    ASSERT_EQ(parse("config log memory filter\nset event enable\nend\n"), 0);
    block("log,memory,filter")->set_list->deleted = 1;
    migr_log_process();
    EXPECT_EQ(dump(migr_main.root), "top log,event-log\n  set status=enable deleted\n");
}

TEST_F(LogModel, TheExchangeTakesMarksAlong)
{
    ASSERT_EQ(parse(mail), 0);
    block("alertemail,setting")->deleted = 1;
    migr_log_process();
    EXPECT_EQ(block("log,email-policy")->deleted, 1);
    EXPECT_EQ(block("log,alertemail")->deleted, 0);
    EXPECT_EQ(migr_main.root.top_list, block("log,email-policy"));
}

/* ---- Without memory ---- */

TEST_F(LogModel, WhatCannotBeSplitOffIsMissing)
{
    constexpr char disk[] = "config log disk filter\nset severity s\nset traffic enable\nset attack enable\n"
                            "set event enable\nset web enable\nend\n";
    convert_without(1, disk);
    EXPECT_EQ(dump(migr_main.root), "top log,traffic-log\n  set status=enable\n"
                                    "top log,event-log\n  set status=enable\n"
                                    "top log,attack-log\n  set status=enable\n");
    convert_without(1, "config log sensitivity\nset type a\nset enable-traffic-packet-log b\nset mask c\nend\n");
    EXPECT_EQ(dump(migr_main.root), "top log,attack-log\n  set packet-log=a\n  set mask=c\n");
}

TEST_F(LogModel, ASyslogPolicyThatCannotBeHadIsNamedByNobody)
{
    constexpr char syslog[] = "config log syslogd filter\nset severity s\nend\n"
                              "config log syslogd setting\nset status enable\nset server s\nend\n";
    constexpr char without[] = "top log,syslogd\n  set status=enable\n  set severity=s\n";
    convert_without(1, syslog);
    EXPECT_EQ(dump(migr_main.root), std::string(without) + "top log,syslogd,setting\n");
    convert_without(2, syslog);
    EXPECT_EQ(dump(migr_main.root), std::string(without) + "top log,syslogd,setting\ntop log,syslog-policy\n");
}

TEST_F(LogModel, AValueThatCannotBeHadIsNull)
{
    convert_without(3, "config log syslogd filter\nset severity s\nend\n"
                       "config log syslogd setting\nset status enable\nset server s\nend\n");
    EXPECT_EQ(dump(migr_main.root), "top log,syslogd\n  set policy\n  set status=enable\n  set severity=s\n"
                                    "top log,syslogd,setting\n"
                                    "top log,syslog-policy\n  edit \n    set server=s\n");
    convert_without(6, mail);
    EXPECT_EQ(block("log,email-policy")->edit_list->value, nullptr);
    EXPECT_EQ(length_of(block("log,email-policy")->edit_list->set_list), 5u);
}

TEST_F(LogModel, AMailPolicyThatCannotBeHadTakesItsSetsAlong)
{
    convert_without(5, mail);
    EXPECT_EQ(dump(migr_main.root), "top log,email-policy\n"
                                    "top log,alertemail\n  set status=enable\n"
                                    "  set email-policy=\"email-policy-1\"\n");
    convert_without(1, mail);
    EXPECT_EQ(dump(*block("log,alertemail")), "set status=enable\n");
    convert_without(3, mail);
    EXPECT_EQ(dump(*block("log,alertemail")), "set email-policy=\"email-policy-1\"\n");
}

TEST_F(LogModel, GoesOnWithoutAnyAllocation)
{
    size_t asked = sweep(
        "config log disk filter\nset severity s\nset traffic enable\nset attack enable\nset event enable\n"
        "edit 1\nset a b\nnext\nend\n"
        "config log syslogd setting\nset status enable\nset server s\nset rest r\nend\n"
        "config system alertemail\nset server s\nend\n"
        "config alertemail setting\nset username u\nset emergency-interval 1\nset notification-interval 6\nend\n",
        [] {
            migr_log_process();
            return 0;
        },
        [&](size_t, int) {
            EXPECT_EQ(block("log,disk,filter"), nullptr);
            EXPECT_NE(block("log,traffic-log"), nullptr);
            EXPECT_EQ(block("log,alertemail"), block("log,email-policy")->next);
        },
        true);
    EXPECT_GT(asked, 10u);
}

} // namespace
