/* What no case can show of protection rules: kinds and marks of nodes, and two steps in a row. */
#include "chain/protection_rules.h"

#include "chain/hardcode.h"
#include "driver/migr.h"
#include "sweeps.h"
#include "tree/operations.h"

#include <cstdio>
#include <cstdlib>

using namespace support;

/* Ends the process as a host would, and tells what the tree has become. */
void migr_on_stall(const char *where)
{
    fprintf(stderr, "%s: %zu targets", where, length_of(migr_main.root.top_list->edit_list->config_list->edit_list));
    exit(3);
}

namespace {

class ProtectionRules : public TreeTest {
  protected:
    config_node *block()
    {
        return migr_main.root.top_list;
    }

    static int32_t step(int32_t version)
    {
        update_section section = {};
        section.version = version;
        return migr_hardcode(&section);
    }
};

constexpr char marked_rules[] = "config waf server-protection-rule\n"
                                "edit \"Alert Only\"\nset is-default-config yes\nnext\n"
                                "end\n";

constexpr char remote_sets[] = "  set remote-file-inclusion=enable kind 0\n"
                               "  set remote-file-inclusion-action=alert kind 0\n"
                               "  set remote-file-inclusion-subtype=rfi-signature-1 rfi-signature-2 rfi-signature-3 "
                               "kind 0\n";

TEST_F(ProtectionRules, PredefinedRulesGainSetsWithoutAKind)
{
    ASSERT_EQ(parse(marked_rules), 0);
    EXPECT_EQ(migr_server_protection_rule(), 0);
    EXPECT_EQ(dump(*block()), std::string("edit \"Alert Only\"\n  set is-default-config=yes\n") + remote_sets);
}

TEST_F(ProtectionRules, TheRoadThrough432And435GivesRemoteInclusionTwiceAndLocalInclusionOnce)
{
    ASSERT_EQ(parse(marked_rules), 0);
    EXPECT_EQ(step(0x40020), 0);
    EXPECT_EQ(step(0x40023), 0);
    EXPECT_EQ(dump(*block()), std::string("edit \"Alert Only\"\n  set is-default-config=yes\n"
                                          "  set local-file-inclusion=enable kind 0\n"
                                          "  set local-file-inclusion-action=alert kind 0\n"
                                          "  set local-file-inclusion-subtype=lfi-signature-1 lfi-signature-2 "
                                          "lfi-signature-3 kind 0\n") +
                                  remote_sets + remote_sets);
}

TEST_F(ProtectionRules, SubtypesAreOrdinarySets)
{
    ASSERT_EQ(parse("config waf server-protection-rule\nedit 1\nset remote-file-inclusion enable\nnext\nend\n"), 0);
    migr_log_server_protec_rule();
    EXPECT_EQ(dump(*block()), "edit 1\n  set remote-file-inclusion=enable\n"
                              "  set remote-file-inclusion-subtype=rfi-signature-1 rfi-signature-2 rfi-signature-3\n");
}

TEST_F(ProtectionRules, MarkedSetsCount)
{
    ASSERT_EQ(parse("config waf server-protection-rule\nedit 1\nset remote-file-inclusion enable\n"
                    "set remote-file-inclusion-subtype x\nset sql-injection enable\nnext\nend\n"),
              0);
    for (config_node *set = block()->edit_list->set_list; set; set = set->next)
        set->deleted = 1;
    migr_log_server_protec_rule();
    EXPECT_EQ(length_of(block()->edit_list->set_list), 4u);
    EXPECT_STREQ(block()->edit_list->set_list->next->next->next->name, "sql-injection-subtype");
}

TEST_F(ProtectionRules, SetsWithoutAValueAreNoTrouble)
{
    ASSERT_EQ(parse("config system global\nend\n"
                    "config waf server-protection-rule\nedit \"Alert Only\"\nnext\nend\n"
                    "config waf custom-protection-rule\nedit 1\nnext\nend\n"),
              0);
    config_node *rule = named(block(), "waf,server-protection-rule")->edit_list;
    cfg_add_conf("sql-injection", nullptr, MIGR_SET, rule);
    cfg_add_conf("type", nullptr, MIGR_SET, named(block(), "waf,custom-protection-rule")->edit_list);
    migr_log_server_protec_rule();
    EXPECT_EQ(dump(*rule), "set sql-injection\n");
    EXPECT_EQ(migr_custom_pro_rule(), 0);
    EXPECT_EQ(length_of(named(block(), "waf,custom-protection-rule")->edit_list->config_list->edit_list), 10u);
}

TEST_F(ProtectionRules, APredefinedProfileRefersToItsLevelByASetWithoutAKind)
{
    ASSERT_EQ(parse("config system global\nend\nconfig waf server-protection-rule\nend\n"
                    "config waf web-protection-profile inline-protection\n"
                    "edit \"Inline Alert Only\"\nset a 1\nnext\n"
                    "edit mine\nset server-protection-rule x\nnext\nend\n"),
              0);
    EXPECT_EQ(migr_sp_rule_to_signature_rule(), 0);
    EXPECT_EQ(dump(*named(block(), "waf,web-protection-profile,inline-protection")),
              "edit \"Inline Alert Only\"\n  set a=1\n  set signature-rule=\"Alert Only\" kind 0\n"
              "edit mine\n  set signature-rule=\"Alert Only\"\n  set server-protection-rule=x\n");
}

TEST_F(ProtectionRules, AKindOfRuleWithoutTargetsLeavesTheListEmpty)
{
    ASSERT_EQ(parse("config waf custom-protection-rule\nedit 1\nnext\nend\n"), 0);
    add_meet_targets(block()->edit_list, 2);
    EXPECT_EQ(dump(*block()), "edit 1\n  config meet-targets\n");
}

TEST_F(ProtectionRules, ACustomRuleWithoutSetsIsNeverPassed)
{
    ASSERT_EQ(parse("config waf custom-protection-rule\nedit 1\nset type data-leakage\nnext\nedit 2\nnext\nend\n"), 0);
    EXPECT_EXIT(migr_custom_pro_rule(), testing::ExitedWithCode(3), "^migr_custom_pro_rule: 3 targets$");
}

TEST_F(ProtectionRules, AnEntryThatIsNotThereIsNotFilled)
{
    EXPECT_EQ(add_sig_alert_node(nullptr), 0);
    EXPECT_EQ(add_sig_medium_node(nullptr), 0);
    EXPECT_EQ(add_sig_high_node(nullptr), 0);
}

/* ---- Without memory ---- */

TEST_F(ProtectionRules, ASubtypeThatCannotBeHadIsMissing)
{
    constexpr char text[] = "config waf server-protection-rule\nedit 1\n"
                            "set common-exploits enable\nset sql-injection enable\nnext\nend\n";
    ASSERT_EQ(parse(text), 0);
    fail_allocation(1);
    migr_log_server_protec_rule();
    fail_allocation(0);
    config_node *sets = block()->edit_list->set_list;
    EXPECT_EQ(length_of(sets), 3u);
    EXPECT_NE(named(sets, "sql-injection-subtype"), nullptr);

    ASSERT_EQ(parse(text), 0);
    fail_allocation(2);
    migr_log_server_protec_rule();
    fail_allocation(0);
    sets = block()->edit_list->set_list;
    EXPECT_EQ(length_of(sets), 4u);
    EXPECT_EQ(named(sets, "common-exploits-subtype")->value, nullptr);
    EXPECT_NE(named(sets, "sql-injection-subtype")->value, nullptr);
}

TEST_F(ProtectionRules, AnExceptionGoesOnWithoutMemory)
{
    size_t asked = sweep(
        "config waf server-protection-exception\nedit 1\nconfig list\n"
        "edit 1\nset sql-injection enable\nnext\nedit 2\nset sql-injection enable\nnext\nend\nnext\nend\n",
        [] {
            migr_server_protec_exp();
            return 0;
        },
        [](size_t, int32_t) {});
    EXPECT_EQ(asked, 4u);
}

TEST_F(ProtectionRules, RemoteInclusionGoesOnWithoutASet)
{
    ASSERT_EQ(parse(marked_rules), 0);
    fail_allocation(1);
    EXPECT_EQ(migr_server_protection_rule(), 0);
    fail_allocation(0);
    EXPECT_EQ(dump(*block()), "edit \"Alert Only\"\n  set is-default-config=yes\n"
                              "  set remote-file-inclusion=enable kind 0\n"
                              "  set remote-file-inclusion-action=alert kind 0\n");
    ASSERT_EQ(parse(marked_rules), 0);
    fail_allocation(2);
    EXPECT_EQ(migr_server_protection_rule(), 0);
    fail_allocation(0);
    EXPECT_EQ(dump(*block()), "edit \"Alert Only\"\n  set is-default-config=yes\n"
                              "  set remote-file-inclusion=enable kind 0\n"
                              "  set remote-file-inclusion-action=alert kind 0\n"
                              "  set remote-file-inclusion-subtype kind 0\n");
}

TEST_F(ProtectionRules, LocalInclusionStopsTheChainWithoutASet)
{
    ASSERT_EQ(parse(marked_rules), 0);
    fail_allocation(3);
    EXPECT_EQ(migr_server_protection_rule_add_lfi(), -1);
    fail_allocation(0);
    EXPECT_EQ(dump(*block()), "edit \"Alert Only\"\n  set is-default-config=yes\n"
                              "  set local-file-inclusion-subtype=lfi-signature-1 lfi-signature-2 lfi-signature-3 "
                              "kind 0\n");
    ASSERT_EQ(parse(marked_rules), 0);
    fail_allocation(2);
    EXPECT_EQ(migr_server_protection_rule_add_lfi(), 0);
    fail_allocation(0);
    EXPECT_EQ(dump(*block()), "edit \"Alert Only\"\n  set is-default-config=yes\n"
                              "  set local-file-inclusion=enable kind 0\n"
                              "  set local-file-inclusion-action=alert kind 0\n"
                              "  set local-file-inclusion-subtype kind 0\n");
}

TEST_F(ProtectionRules, TheStepTo435StopsForARecordThatItCannotHave)
{
    size_t asked = sweep(
        "config waf server-protection-rule\nedit \"Alert Only\"\nset is-default-config yes\nnext\nend\n"
        "config waf http-protocol-parameter-restriction\n"
        "edit \"High Level Security\"\nset is-default-config yes\nnext\nend\n",
        [] { return step(0x40023); },
        [&](size_t number, int32_t result) {
            bool record = number > 6 && number % 2 == 1; /* the first six are of remote file inclusion */
            bool restriction = named(block(), "waf,http-protocol-parameter-restriction")->edit_list->set_list->next;
            if (record) {
                EXPECT_EQ(result, -1);
            }
            if (record && number <= 13) {
                EXPECT_FALSE(restriction);
            }
            if (number == 0) {
                EXPECT_EQ(result, 0);
            }
        });
    EXPECT_EQ(asked, 16u);
    ASSERT_EQ(parse(marked_rules), 0);
    for (size_t number : {1, 2, 3, 4, 5, 6, 8, 10, 12}) {
        fail_allocation(number);
        EXPECT_EQ(step(0x40023), 0) << number;
        fail_allocation(0);
    }
}

TEST_F(ProtectionRules, TheStepTo440StopsWithoutTheBlockOrAReference)
{
    constexpr char text[] = "config system global\nend\nconfig waf server-protection-rule\nedit 1\nnext\nend\n"
                            "config waf web-protection-profile offline-protection\n"
                            "edit \"Offline Alert Only\"\nset a 1\nnext\nend\n"
                            "config log attack-log\nset packet-log sql-injection\nend\n";
    size_t         asked = 0;
    auto           count = [&](size_t number, int32_t result) {
        if (number == 0) {
            EXPECT_EQ(result, 0);
        }
    };
    asked = sweep(
        text, [] { return migr_sp_rule_to_signature_rule(); }, count);

    auto result_of = [&](size_t number) {
        EXPECT_EQ(parse(text), 0);
        fail_allocation(number);
        int32_t result = step(0x40028);
        fail_allocation(0);
        return result;
    };
    EXPECT_EQ(result_of(1), -1);
    EXPECT_EQ(named(block(), "waf,server-protection-rule"), nullptr);
    EXPECT_EQ(named(block(), "waf,signature"), nullptr);
    EXPECT_EQ(dump(*named(block(), "log,attack-log")), "set packet-log=sql-injection\n");
    for (size_t reference : {asked - 1, asked}) {
        EXPECT_EQ(result_of(reference), -1);
        EXPECT_EQ(dump(*named(block(), "waf,web-protection-profile,offline-protection")),
                  "edit \"Offline Alert Only\"\n  set a=1\n");
        EXPECT_EQ(dump(*named(block(), "log,attack-log")), "set packet-log=sql-injection\n");
    }
    for (size_t entry = 2; entry < asked - 1; entry++)
        EXPECT_EQ(result_of(entry), 0) << entry;
}

TEST_F(ProtectionRules, ASignatureBlockWithoutAnyEntryIsABlock)
{
    ASSERT_EQ(parse("config system global\nend\nconfig system dns\nend\n"), 0);
    fail_allocation(2, true);
    EXPECT_EQ(add_waf_signature(block()), 0);
    fail_allocation(0);
    EXPECT_EQ(dump(migr_main.root), "top system,global\ntop waf,signature\ntop system,dns\n");
}

TEST_F(ProtectionRules, AUsersProfileGoesWithoutAReference)
{
    ASSERT_EQ(parse("config system global\nend\nconfig waf server-protection-rule\nend\n"
                    "config waf web-protection-profile inline-protection\n"
                    "edit mine\nset server-protection-rule x\nnext\nend\n"),
              0);
    fail_allocation(2, true);
    EXPECT_EQ(migr_sp_rule_to_signature_rule(), 0);
    fail_allocation(0);
    EXPECT_EQ(dump(*named(block(), "waf,web-protection-profile,inline-protection")),
              "edit mine\n  set server-protection-rule=x\n");
}

TEST_F(ProtectionRules, CustomRulesAndBadRobotsGoOnWithoutMemory)
{
    size_t asked = sweep(
        "config waf custom-protection-rule\nedit 1\nset type data-leakage\nnext\nedit 2\nset a b\nnext\nend\n",
        [] { return migr_custom_pro_rule(); }, [](size_t, int32_t result) { EXPECT_EQ(result, 0); });
    EXPECT_EQ(asked, 2u * 1 + 3 * 3 + 10 * 3);
    asked = sweep(
        "config waf signature\nedit 1\nconfig main_class_list\nend\nnext\n"
        "edit 2\nconfig main_class_list\nedit 1\nnext\nend\nnext\nend\n",
        [] {
            migr_add_bad_robot_to_signature();
            return 0;
        },
        [&](size_t number, int32_t) {
            if (number == 1) {
                EXPECT_EQ(dump(*block()->edit_list), "config main_class_list\n");
            }
            /* An entry that was there gets nothing in another's place. */
            EXPECT_EQ(named(block()->edit_list->next->config_list->edit_list, "1")->set_list, nullptr);
        });
    EXPECT_EQ(asked, 10u);
}

} // namespace
