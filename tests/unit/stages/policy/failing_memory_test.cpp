/* Callbacks without memory: a property stays absent or a value unchanged, and the tree stays a tree. */
#include "support/failing_memory.h"
#include "support/trees.h"
#include "unit/stages/passes.h"
#include "walk/stage_tables.h"
#include "walk/walk.h"

#include <set>

using namespace support;

namespace {

class WithoutMemory : public TreeTest {
  protected:
    /* Runs a stage in which the number-th allocation fails, and with `lasting` all behind it. Gives how many there
     * were. The state blocks are there already. */
    static size_t run(stage_table *stage, size_t number, bool lasting)
    {
        prepare_stage(stage);
        fail_allocation(number, lasting);
        walk_stage(&migr_main, stage);
        size_t asked = allocations();
        fail_allocation(0);
        return asked;
    }

    /* The same on a fresh copy of a tree that gives every callback something to do. */
    size_t fail_one(stage_table *stage, size_t number, bool lasting);

    /* Whether each node below hangs in one list only, once. */
    static void expect_tree(const config_node *node, std::set<const config_node *> *seen)
    {
        for (const config_node *list : {node->top_list, node->config_list, node->edit_list, node->set_list})
            for (const config_node *child = list; child; child = child->next) {
                ASSERT_TRUE(seen->insert(child).second) << child->name << " hangs in two places";
                expect_tree(child, seen);
            }
    }
};

/* Something to do for each callback that makes or changes a node. */
constexpr char busy[] = R"(config system settings
set ssl-quiet-shutdown enable
set opmode offline
end
config system global
set hardware-ssl enable
set strong-password enable
set single-admin-mode enable
end
config system advanced
end
config wad website
edit 1
set auto-restore enable
next
end
config log attack-log
set packet-log a cookie-poison
end
config log siem-policy
edit 1
set server a
set port 1
next
end
config server-policy policy
edit 1
set https-service HTTPS
next
end
config server-policy health
edit h
config health-list
edit 1
set host example.org
set type https
next
end
next
end
config server-policy server-pool
edit 1
set health h
config pserver-list
edit 1
set ssl enable
next
end
next
end
config server-policy vserver
edit a
set vip 10.0.0.1/24
set status enable
set interface port1
next
edit b
set use-interface-ip enable
set interface port2
next
edit c
set vip6 ::1/128
next
end
config server-policy persistence-policy
edit 1
set Persistence-type Insert-Cookie
set persistence-timeout 1
next
end
config server-policy http-content-routing-policy
edit 1
config content-routing-match-list
edit 1
set match-object HTTP-Request-Cookie
set cookie-name-reg n
set match-condition Match-Reg
next
end
next
end
config waf http-protocol-parameter-restriction
edit 1
set max-http-body-length 4096
next
end
config waf custom-protection-rule
edit 1
set expression x
config meet-targets
edit 1
set target ARGS
next
end
next
end
config waf signature
edit 1
config filter_list
edit 1
set host a
set request-file /a
next
end
next
end
config waf web-protection-profile inline-protection
edit 1
set cookie-poison enable
set block-period 60
next
end
config waf site-publish-helper rule
edit 1
set ldap-server l
set cookie-timeout 1
next
end
config waf layer4-access-limit-rule
edit 1
set real-browser-enforcement enable
next
end
config waf cookie-security
edit 1
set security-mode signed
next
end
)";

size_t WithoutMemory::fail_one(stage_table *stage, size_t number, bool lasting)
{
    EXPECT_EQ(parse(busy), 0);
    size_t                        asked = run(stage, number, lasting);
    std::set<const config_node *> seen;
    expect_tree(&migr_main.root, &seen);
    TearDown();
    SetUp();
    return asked;
}

TEST_F(WithoutMemory, EachAllocationOfEachStageMayFail)
{
    in_empty_root([this] {
        for (stage_table *const *stage = all_stages; *stage; stage++)
            for (size_t number = 1, asked = fail_one(*stage, 0, false); number <= asked; number++) {
                SCOPED_TRACE(testing::Message()
                             << "stage " << std::hex << (*stage)->version << std::dec << ", allocation " << number);
                fail_one(*stage, number, false);
                fail_one(*stage, number, true);
            }
    });
}

TEST_F(WithoutMemory, SettingsStayWhereTheyAre)
{
    in_empty_root([] {
        const std::string text = "config system settings\n"
                                 "    set fast-forward enable\n"
                                 "    set ssl-quiet-shutdown enable\n"
                                 "end\n"
                                 "config server-policy policy\n"
                                 "    edit 1\n"
                                 "        set https-service HTTPS\n"
                                 "    next\n"
                                 "end\n";
        ASSERT_EQ(parse(text), 0);
        run(&c3_arr_MIGR_ADOM0x50055, 1, true);
        EXPECT_EQ(written(&migr_main.root), text);
    });
}

TEST_F(WithoutMemory, LogPoliciesKeepTheirSets)
{
    in_empty_root([] {
        const std::string text = "config log siem-policy\n"
                                 "    edit 1\n"
                                 "        set server a\n"
                                 "    next\n"
                                 "end\n";
        ASSERT_EQ(parse(text), 0);
        run(&c3_arr_MIGR_ADOM0x50032, 1, true);
        EXPECT_EQ(written(&migr_main.root), text);
    });
}

/* A virtual server whose list cannot be made leaves what was taken out of it to the next one. */
TEST_F(WithoutMemory, AddressesWaitForTheNextVirtualServer)
{
    in_empty_root([] {
        ASSERT_EQ(parse("config server-policy vserver\nedit a\nset vip 10.0.0.1/24\nnext\n"
                        "edit b\nset interface port2\nnext\nend\n"),
                  0);
        run(&c3_arr_MIGR_ADOM0x60014, 1, false);
        EXPECT_EQ(written(&migr_main.root), "config system vip\n"
                                            "    edit \"vip-b\" \n"
                                            "        set interface port2\n"
                                            "        set vip 10.0.0.1/24\n"
                                            "    next\n"
                                            "end\n"
                                            "config server-policy vserver\n"
                                            "    edit a\n"
                                            "    next\n"
                                            "    edit b\n"
                                            "        config vip-list \n"
                                            "            edit 1 \n"
                                            "                set vip \"vip-b\"\n"
                                            "            next\n"
                                            "        end\n"
                                            "    next\n"
                                            "end\n");
    });
}

/* The list was made and the address could not be: the status stays in the list that has it. */
TEST_F(WithoutMemory, StatusStaysInItsList)
{
    in_empty_root([] {
        ASSERT_EQ(parse("config server-policy vserver\nedit a\nset status enable\nset vip 10.0.0.1/24\nnext\n"
                        "edit b\nnext\nend\n"),
                  0);
        /* Two nodes with a value each are the list; the next node is "system vip". */
        run(&c3_arr_MIGR_ADOM0x60014, 5, false);
        EXPECT_EQ(written(&migr_main.root), "config system vip\n"
                                            "    edit \"vip-b\" \n"
                                            "        set vip 10.0.0.1/24\n"
                                            "    next\n"
                                            "end\n"
                                            "config server-policy vserver\n"
                                            "    edit a\n"
                                            "        config vip-list \n"
                                            "            edit 1 \n"
                                            "                set status enable\n"
                                            "            next\n"
                                            "        end\n"
                                            "    next\n"
                                            "    edit b\n"
                                            "        config vip-list \n"
                                            "            edit 1 \n"
                                            "                set vip \"vip-b\"\n"
                                            "            next\n"
                                            "        end\n"
                                            "    next\n"
                                            "end\n");
    });
}

} // namespace
