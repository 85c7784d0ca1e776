/* How lines of text become aggregates and the ports in them: lengths, quotes, and what is no aggregate. The
 * migration as a whole has cases. */
#include "chain/aggregate_binding.h"

#include "driver/run_context.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/operations.h"

#include <cstring>

using namespace support;

namespace {

class AggregateBinding : public TreeTest {
  protected:
    /* The "monitor" value that comes out, of a cluster behind those interfaces. */
    static std::string monitored(const std::string &interfaces, const std::string &monitor)
    {
        EXPECT_EQ(parse("config system interface\n" + interfaces + "end\nconfig system ha\nset monitor " + monitor +
                        "\nend\n"),
                  0);
        EXPECT_EQ(migr_adjust_bind_info(), 0);
        return migr_main.root.top_list->next->set_list->value;
    }
};

TEST_F(AggregateBinding, ANameStandsBetweenTheFirstPairOfQuotes)
{
    char name[128] = "old";
    EXPECT_EQ(get_bind_name(nullptr, "\"a\""), -1);
    EXPECT_EQ(get_bind_name(name, nullptr), -1);
    EXPECT_EQ(get_bind_name(name, "a\"b\""), -1);
    EXPECT_STREQ(name, "old");
    EXPECT_EQ(get_bind_name(name, "\"a b\"c\""), 0);
    EXPECT_STREQ(name, "a b");
    EXPECT_EQ(get_bind_name(name, "\"\""), 0);
    EXPECT_STREQ(name, "");
    memset(name, 'x', sizeof name);
    EXPECT_EQ(get_bind_name(name, ("\"" + std::string(200, 'y')).c_str()), 0);
    EXPECT_EQ(name, std::string(127, 'y'));
}

TEST_F(AggregateBinding, ALineEndsAtTheNameThatDoesNotFit)
{
    char line[32] = "";
    fill_port_info("port1 port22 port3");
    EXPECT_EQ(make_intf_line(line, 13), -1);
    EXPECT_STREQ(line, "port1 ");
    line[0] = '\0';
    EXPECT_EQ(make_intf_line(line, 19), -1);
    EXPECT_STREQ(line, "port1 port22 ");
    line[0] = '\0';
    EXPECT_EQ(make_intf_line(line, 20), 0);
    EXPECT_STREQ(line, "port1 port22 port3 ");
}

TEST_F(AggregateBinding, APortHasSevenCharactersAndTheSearchGoesOnBehindThem)
{
    char line[64] = "";
    fill_port_info("xport12345678 portport5");
    EXPECT_EQ(make_intf_line(line, sizeof line), 0);
    EXPECT_STREQ(line, "port123 portpor ");
}

TEST_F(AggregateBinding, AnAggregateWithoutPortsOrWithTooManyIsNotFound)
{
    fill_port_info("port1 port2 port3");
    aggregate_record record = {nullptr, {"port1", "port2"}, 0};
    EXPECT_EQ(find_binfo(&record), 0);
    record.count = 3;
    EXPECT_EQ(find_binfo(&record), 0);
    record.count = 1;
    EXPECT_EQ(find_binfo(&record), 1);
    record.count = 2;
    EXPECT_EQ(find_binfo(&record), 1);
    char line[64] = "";
    EXPECT_EQ(make_intf_line(line, sizeof line), 0);
    EXPECT_STREQ(line, "port3 ");
}

TEST_F(AggregateBinding, OnlyTheVeryTypeAndMembersMakeAnAggregate)
{
    EXPECT_EQ(monitored("edit \"a\"\nset type-2 aggregate\nset intf port1\nnext\n"
                        "edit \"b\"\nset mode aggregate\nset intf port1\nnext\n"
                        "edit \"c\"\nset type aggregate\nset intf-2 port1\nset members port1\nnext\n",
                        "port1 port2"),
              "port1 port2 ");
    EXPECT_EQ(monitored("edit a\nset type aggregate\nset intf port1\nnext\n", "port1 port2"), " port2 ");
    EXPECT_EQ(monitored("edit \"a\"\nset type aggregate\nset intf x\nnext\n", "port1"), "port1 ");
    EXPECT_EQ(monitored("edit \"a\"\nset type aggregate\nset type aggregate\nset intf port1\nnext\n", "port1"), "a ");
}

TEST_F(AggregateBinding, MembersAreTwoPortsAndANumberEach)
{
    auto members = [](const std::string &value) {
        return monitored("edit \"a\"\nset type aggregate\nset intf " + value + "\nnext\n", "port1 port2 port3 port214");
    };
    const std::string none = "port1 port2 port3 port214 ";
    EXPECT_EQ(members("port1"), "a port2 port3 port214 ");
    EXPECT_EQ(members("port1 port3"), "a port2 port214 ");
    EXPECT_EQ(members("port1\tport3"), "a port2 port214 ");
    EXPECT_EQ(members("port1port3"), "a port2 port214 ");
    EXPECT_EQ(members("port+1 port 3"), "a port2 port214 ");
    EXPECT_EQ(members("port1 port2 port3"), "a port3 port214 ");
    EXPECT_EQ(members("port1 x"), "a port2 port3 port214 ");
    EXPECT_EQ(members("port1 portx"), "a port2 port3 port214 ");
    EXPECT_EQ(members("port"), none);
    EXPECT_EQ(members("portx"), none);
    EXPECT_EQ(members("xport1"), none);
    EXPECT_EQ(members("port4294967297"), "a port1 port2 port3 ")
        << "the nearest number, cut to what a port's name holds";
}

TEST_F(AggregateBinding, OnlyTheVeryBlocksCount)
{
    ASSERT_EQ(parse("config system interface-2\nedit \"a\"\nset type aggregate\nset intf port1\nnext\nend\n"
                    "config system ha\nset monitor port1\nend\n"
                    "config system interface\nedit \"b\"\nset type aggregate\nset intf port1\nnext\nend\n"
                    "config system ha-2\nset monitor port1\nend\n"
                    "config system ha\nset a b\nend\n"
                    "config system ha\nset monitor port1\nend\n"),
              0);
    EXPECT_EQ(migr_adjust_bind_info(), 0);
    std::string text = dump(migr_main.root);
    EXPECT_EQ(text, "top system,interface-2\n  edit \"a\"\n    set type=aggregate\n    set intf=port1\n"
                    "top system,ha\n  set monitor=port1 \n"
                    "top system,interface\n  edit \"b\"\n    set type=aggregate\n    set intf=port1\n"
                    "top system,ha-2\n  set monitor=port1\n"
                    "top system,ha\n  set a=b\n"
                    "top system,ha\n  set monitor=b \n");
}

TEST_F(AggregateBinding, NothingOfARunIsLeftForTheNext)
{
    EXPECT_EQ(monitored("edit \"a\"\nset type aggregate\nset intf port1\nnext\n", "port1 port2"), "a port2 ");
    EXPECT_EQ(monitored("edit \"b\"\nset type aggregate\nnext\n", "port1"), "port1 ");
}

TEST_F(AggregateBinding, OtherInterfacesUseNoRecordUp)
{
    EXPECT_EQ(monitored(times(20, "edit \"p\"\nset type physical\nnext\n") +
                            "edit \"a\"\nset type aggregate\nset intf port1\nnext\n",
                        "port1"),
              "a ");
}

TEST_F(AggregateBinding, AClusterWithoutAMonitorValueIsNoTrouble)
{
    ASSERT_EQ(parse("config system ha\nend\n"), 0);
    cfg_add_conf("monitor", nullptr, MIGR_SET, migr_main.root.top_list);
    EXPECT_EQ(migr_adjust_bind_info(), 0);
    EXPECT_EQ(dump(*migr_main.root.top_list), "set monitor\n");
}

TEST_F(AggregateBinding, AnAggregateThatCannotBeHadLeavesItsPorts)
{
    ASSERT_EQ(parse("config system interface\nedit \"a\"\nset type aggregate\nset intf port1\nnext\n"
                    "edit \"b\"\nset type aggregate\nset intf port2\nnext\nend\n"
                    "config system ha\nset monitor port1 port2\nend\n"),
              0);
    fail_allocation(1);
    EXPECT_EQ(migr_adjust_bind_info(), 0);
    fail_allocation(0);
    EXPECT_STREQ(migr_main.root.top_list->next->set_list->value, "b port1 ");
}

} // namespace
