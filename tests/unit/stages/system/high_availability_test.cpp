/* What no case can show of high availability: values and memory that are not there. */
#include "stages/system/high_availability.h"

#include "support/failing_memory.h"
#include "unit/stages/passes.h"

#include <cstdlib>

namespace {

const std::string both_gateways = "config system ha\nset ha-mgmt-interface p\nset ha-mgmt-interface-gateway g4\n"
                                  "set ha-mgmt-interface-gateway6 g6\nend\n"
                                  "config system interface\nedit p\nset ip a/1\nset ip6 b/2\nnext\nend\n";

void forget_value(config_node *set)
{
    free(set->value);
    set->value = nullptr;
}

} // namespace

/* Whichever allocation fails, routes are whole, or end where the memory did; the gateways are gone. */
TEST(HaInterface, EachAllocationMayFail)
{
    size_t failing = 1; /* the first one is the state's block */
    size_t made = 0;
    size_t without_table = 0;
    size_t whole_results = 0;
    do {
        failing++;
        std::string after = after_pass(both_gateways, [&] {
            support::fail_allocation(failing);
            run_row("_adjust_ha_interface");
            made = support::allocations();
            support::fail_allocation(0);
        });
        EXPECT_EQ(std::string::npos, after.find("-gateway"));
        without_table += after.find("router-policy") == std::string::npos;
        whole_results +=
            after.find("set oif p\n        set src a/32\n        set gateway g4\n        set priority 199") !=
                std::string::npos &&
            after.find("set oif p\n        set src b/128\n        set gateway g6\n        set priority 198") !=
                std::string::npos;
    } while (made >= failing);
    EXPECT_EQ(1u, without_table);
    EXPECT_EQ(1u, whole_results);
}

/* A failed table or edit leaves the job open, so a second interface of the name tries again. */
TEST(HaInterface, AFailedRouteIsTriedAgain)
{
    std::string twice = both_gateways;
    twice.insert(twice.rfind("end\n"), "edit p\nset ip c/3\nnext\n");
    /* Behind the state and the gateways come the table, then record and value of the first edit. */
    for (size_t failing : {4, 5, 6}) {
        std::string after = after_pass(twice, [&] {
            support::fail_allocation(failing);
            run_row("_adjust_ha_interface");
            support::fail_allocation(0);
        });
        EXPECT_NE(std::string::npos, after.find("set src c/32\n        set gateway g4\n        set priority 199"))
            << failing;
        EXPECT_EQ(std::string::npos, after.find("set src a/32")) << failing;
    }
}

TEST(HaInterface, SetsWithoutValues)
{
    std::string before = both_gateways + "config router policy\nedit 1\nset priority 199\nnext\nend\n";
    std::string after = after_pass(before, [] {
        config_node *cluster = migr_main.root.top_list;
        config_node *interface = cluster->next->edit_list;
        forget_value(cluster->set_list->next);
        forget_value(interface->set_list->next);
        forget_value(cluster->next->next->edit_list->set_list);
        run_row("_adjust_ha_interface");
    });
    EXPECT_EQ(std::string::npos, after.find("ha-mgmt-interface-gateway"));
    EXPECT_EQ(std::string::npos, after.find("router-policy"));
    after = after_pass(both_gateways, [] {
        forget_value(migr_main.root.top_list->set_list);
        run_row("_adjust_ha_interface");
    });
    EXPECT_EQ(std::string::npos, after.find("router-policy"));
}

TEST(SnmpEvents, SetsWithoutValues)
{
    after_pass("config system ha\nset mode x\nset tunnel x\nend\nconfig system snmp user\nedit 1\nset trapevent "
               "x\nnext\nend\n",
               [] {
                   config_node *cluster = migr_main.root.top_list;
                   forget_value(cluster->set_list);
                   forget_value(cluster->set_list->next);
                   config_node *events = cluster->next->edit_list->set_list;
                   forget_value(events);
                   run_row("_update_snmp_and_ha");
                   run_row("_adjust_ha_mgmt_by_cond");
                   EXPECT_STREQ("udp-tunnel", cluster->set_list->next->value);
                   EXPECT_EQ(nullptr, events->value);
               });
}

TEST(CloudResource, SetsWithoutValues)
{
    after_pass("config system azure-resource\nset pass x\nend\n", [] {
        config_node *pass = migr_main.root.top_list->set_list;
        forget_value(pass);
        run_row("_reorg_azure_res");
        EXPECT_EQ(nullptr, pass->value);
        EXPECT_STREQ("system,mesh-connectors", migr_main.root.top_list->name);
    });
}

/* A user whose list cannot be made loses server and port; the walk goes on. */
TEST(KerberosUser, WithoutMemoryForTheList)
{
    const std::string before = "config user kerberos-user\n    edit a\n        set server s\n    next\nend\n";
    for (size_t failing : {2, 3, 4, 5}) {
        std::string after = after_pass(before, [&] {
            support::fail_allocation(failing);
            run_row("_adjust_kerberos_user");
            support::fail_allocation(0);
        });
        EXPECT_EQ(std::string::npos, after.find("set server")) << failing;
    }
}

TEST(HighAvailability, SentinelsAreHarmless)
{
    adjust_ha_interface_state    interface = {};
    adjust_ha_mgmt_by_cond_state condition = {};
    adjust_kerberos_user_state   user = {};
    after_pass("", [&] {
        for (config_node *position : {&EMPTY_NODE, &EOB_NODE}) {
            top[1] = top[2] = top[3] = top[4] = position;
            for (int32_t round : {1, 2, 3}) {
                _remove_ha_no_virtual_mac(round, nullptr, nullptr);
                _update_snmp_and_ha(round, nullptr, nullptr);
                _adjust_ha_interface(round, &interface, nullptr);
                _adjust_hsm_info(round, nullptr, nullptr);
                _adjust_ha_mgmt_by_cond(round, &condition, nullptr);
                _adjust_kerberos_user(round, &user, nullptr);
                _optional_erase_ha(round, nullptr, nullptr);
            }
        }
        top[1] = top[2] = top[3] = top[4] = &EMPTY_NODE;
        EXPECT_EQ(nullptr, user.server);
        EXPECT_EQ(nullptr, interface.ha_config);
    });
    EMPTY_NODE.config_list = EOB_NODE.config_list = nullptr;
}
