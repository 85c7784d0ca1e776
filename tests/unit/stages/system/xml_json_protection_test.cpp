/* What no case can show of protection of XML and JSON: identifiers that come from the clock, several files of one
 * process, limits and memory. */
#include "stages/system/xml_json_protection.h"

#include "support/failing_memory.h"
#include "unit/stages/passes.h"
#include "unit/stages/watched_calls.h"
#include "walk/cursors.h"

#include <cstdlib>

using support::ApplianceRoot;

namespace {

/* Names are made from the time and a counter, so each test runs in a child process of its own, at a known time. */
class MadeUpNames : public testing::Test {
  protected:
    ApplianceRoot root;

    void SetUp() override
    {
        watched::now = 1700000000;
    }

    void TearDown() override
    {
        watched::now = 0;
    }
};

std::string profile(const std::string &name, const std::string &sets)
{
    return "    edit " + name + "\n" + sets + "    next\n";
}

std::string inline_profiles(const std::string &profiles)
{
    return "config waf web-protection-profile inline-protection\n" + profiles + "end\n";
}

std::string set(const std::string &name, const std::string &value)
{
    return "        set " + name + " " + value + "\n";
}

/* An edit as the callback makes it. */
std::string made_policy(const std::string &name, const std::string &detection)
{
    return "    edit " + name + " \n" + set(detection, "enable") +
           "        config  input-rule-list \n        end\n    next\n";
}

const std::string xml_table = "config waf xml-validation policy\nend\n";

} // namespace

TEST_F(MadeUpNames, CountOnFromTheTime)
{
    support::expect_in_root(root, [] {
        std::string before =
            inline_profiles(profile("a", set("xml-protocol-detection", "disable")) +
                            profile("b", set("json-protocol-detection", "disable")) +
                            profile("c", set("json-protocol-detection", "x") + set("xml-protocol-detection", "x"))) +
            "config waf xml-validation policy\n    edit old\n    next\nend\n";
        EXPECT_EQ(
            inline_profiles(profile("a", set("xml-validation-policy", "gen_edt_1700000000")) +
                            profile("b", set("json-validation-policy", "gen_edt_1700000001")) +
                            profile("c", set("xml-validation-policy", "gen_edt_1700000003") +
                                             set("json-validation-policy", "gen_edt_1700000002"))) +
                "config waf xml-validation policy\n" + made_policy("gen_edt_1700000003", "enable-signature-detection") +
                made_policy("gen_edt_1700000000", "enable-signature-detection") + "    edit old\n    next\nend\n" +
                "config waf json-validation policy\n" + made_policy("gen_edt_1700000002", "enable-attack-signatures") +
                made_policy("gen_edt_1700000001", "enable-attack-signatures") + "end\n",
            after_row(before, "_adjust_xml_json_profile"));
    });
}

/* The table may stand ahead of the profiles, and the first file of a process alone gets one for JSON; another file's
 * profiles still name policies, of later names. */
TEST_F(MadeUpNames, AreNewInEachFileOfAProcess)
{
    support::expect_in_root(root, [] {
        std::string profiles = inline_profiles(profile("a", set("json-protocol-detection", "x")));
        EXPECT_EQ(xml_table + "config waf json-validation policy\n" +
                      made_policy("gen_edt_1700000000", "enable-attack-signatures") + "end\n" +
                      inline_profiles(profile("a", set("json-validation-policy", "gen_edt_1700000000"))),
                  after_row(xml_table + profiles, "_adjust_xml_json_profile"));
        EXPECT_EQ(xml_table + inline_profiles(profile("a", set("json-validation-policy", "gen_edt_1700000001"))),
                  after_row(xml_table + profiles, "_adjust_xml_json_profile"));
        std::string json_table = "config waf json-validation policy\nend\n";
        EXPECT_EQ(inline_profiles(profile("a", set("json-validation-policy", "gen_edt_1700000002"))) +
                      "config waf json-validation policy\n" +
                      made_policy("gen_edt_1700000002", "enable-attack-signatures") + "end\n",
                  after_row(profiles + json_table, "_adjust_xml_json_profile"));
    });
}

/* A file without the XML table does not use up the process's one JSON table. */
TEST_F(MadeUpNames, JsonTableWaitsForAFileWithTheXmlTable)
{
    support::expect_in_root(root, [] {
        std::string profiles = inline_profiles(profile("a", set("json-protocol-detection", "x")));
        EXPECT_EQ(inline_profiles(profile("a", set("json-validation-policy", "gen_edt_1700000000"))),
                  after_row(profiles, "_adjust_xml_json_profile"));
        EXPECT_EQ(xml_table + "config waf json-validation policy\nend\n",
                  after_row(xml_table, "_adjust_xml_json_profile"));
    });
}

/* The name that a profile has already counts, even an empty one, for which one is made up. The last switch of several
 * names the policy. */
TEST_F(MadeUpNames, WithPoliciesOfOnesOwn)
{
    support::expect_in_root(root, [] {
        std::string before =
            xml_table +
            inline_profiles(profile("a", set("xml-validation-policy", "\"\"") + set("xml-protocol-detection", "x")) +
                            profile("b", set("json-protocol-detection", "1") + set("json-protocol-detection", "2")));
        EXPECT_EQ("config waf xml-validation policy\n" +
                      made_policy("gen_edt_1700000000", "enable-signature-detection") +
                      "end\nconfig waf json-validation policy\n" +
                      made_policy("gen_edt_1700000002", "enable-attack-signatures") + "end\n" +
                      inline_profiles(profile("a", set("xml-validation-policy", "\"\"") +
                                                       set("xml-validation-policy", "gen_edt_1700000000")) +
                                      profile("b", set("json-validation-policy", "gen_edt_1700000002"))),
                  after_row(before, "_adjust_xml_json_profile"));
    });
}

/* A profile with JSON checks alone still switches signatures on in the XML policy that it names, and in one without a
 * name if it names none. */
TEST_F(MadeUpNames, JsonProfilesTouchXmlPoliciesToo)
{
    support::expect_in_root(root, [] {
        std::string table = "config waf xml-validation policy\n    edit p\n    next\n    edit \"\"\n    next\nend\n";
        std::string on = set("enable-signature-detection", "enable");
        std::string json = "config waf json-validation policy\n" +
                           made_policy("gen_edt_1700000001", "enable-attack-signatures") +
                           made_policy("gen_edt_1700000000", "enable-attack-signatures") + "end\n";
        std::string before =
            table +
            inline_profiles(profile("a", set("xml-validation-policy", "p") + set("json-protocol-detection", "x")) +
                            profile("b", set("json-protocol-detection", "x")));
        EXPECT_EQ("config waf xml-validation policy\n" + profile("p", on) + profile("\"\"", on) + "end\n" + json +
                      inline_profiles(profile("a", set("xml-validation-policy", "p") +
                                                       set("json-validation-policy", "gen_edt_1700000000")) +
                                      profile("b", set("json-validation-policy", "gen_edt_1700000001"))),
                  after_row(before, "_adjust_xml_json_profile"));
    });
}

/* The 33rd profile names policies that are never made. */
TEST_F(MadeUpNames, OfTheThirtyThirdProfileAreLost)
{
    support::expect_in_root(root, [] {
        std::string profiles;
        for (int i = 0; i < 33; i++)
            profiles += profile("e" + std::to_string(i), set("json-protocol-detection", "x"));
        std::string after = after_row(xml_table + inline_profiles(profiles), "_adjust_xml_json_profile");
        EXPECT_NE(std::string::npos, after.find("set json-validation-policy gen_edt_1700000032\n"));
        EXPECT_EQ(std::string::npos, after.find("edit gen_edt_1700000032"));
        EXPECT_NE(std::string::npos, after.find("edit gen_edt_1700000031 \n"));
    });
}

TEST_F(MadeUpNames, WithoutValues)
{
    support::expect_in_root(root, [] {
        std::string before =
            xml_table +
            inline_profiles(profile("a", set("xml-validation-policy", "p") + set("xml-protocol-detection", "x")));
        std::string after = after_pass(before, [] {
            config_node *first = migr_main.root.top_list->next->edit_list->set_list;
            for (config_node *set : {first, first->next}) {
                free(set->value);
                set->value = nullptr;
            }
            run_row("_adjust_xml_json_profile");
        });
        EXPECT_NE(std::string::npos, after.find("set xml-validation-policy gen_edt_1700000000\n"));
    });
}

/* A JSON table that cannot be made is tried again at the next position. */
TEST_F(MadeUpNames, JsonTableIsTriedAgain)
{
    support::expect_in_root(root, [] {
        EXPECT_EQ(xml_table + "config waf json-validation policy\nend\n",
                  after_pass("config waf xml-validation policy\nset a b\nend\n", [] {
                      config_node *table = migr_main.root.top_list;
                      support::fail_allocation(2);
                      run_row("_adjust_xml_json_profile");
                      support::fail_allocation(0);
                      table->set_list = nullptr;
                  }));
    });
}

TEST_F(MadeUpNames, EachAllocationMayFail)
{
    support::expect_in_root(root, [] {
        std::string before =
            xml_table +
            inline_profiles(profile("a", set("json-protocol-detection", "x") + set("xml-protocol-detection", "x")));
        size_t failing = 1; /* the first one is the state's block */
        size_t made = 0;
        do {
            failing++;
            std::string after = after_pass(before, [&] {
                support::fail_allocation(failing);
                run_row("_adjust_xml_json_profile");
                made = support::allocations();
                support::fail_allocation(0);
            });
            EXPECT_EQ(std::string::npos, after.find("protocol-detection"));
        } while (made >= failing);
        EXPECT_GT(failing, 10u);
    });
}

TEST(XmlExceptions, WithoutValues)
{
    after_pass("config waf device-reputation reputation-exceptions\nedit a\nconfig list\nedit 1\nset feature-name "
               "x\nnext\nend\nnext\nend\n",
               [] {
                   config_node *entry = migr_main.root.top_list->edit_list->config_list->edit_list;
                   free(entry->set_list->value);
                   entry->set_list->value = nullptr;
                   run_row("_erase_xml_json_exception");
                   EXPECT_NE(nullptr, entry->set_list);
               });
}

TEST(XmlTrimming, WithoutValues)
{
    after_pass("config system settings\nset opmode x\nend\nconfig log attack-log\nset packet-log x\nend\n", [] {
        config_node *settings = migr_main.root.top_list;
        for (config_node *set : {settings->set_list, settings->next->set_list}) {
            free(set->value);
            set->value = nullptr;
        }
        run_row("_trim_xml_by_mode");
        run_row("_adjust_xml_json_log");
        EXPECT_EQ(0u, migr_main.xml_trim_mode);
        EXPECT_EQ(nullptr, settings->next->set_list->value);
    });
}

/* The mask belongs to the file: each mode has a bit of its own, and other bits mean nothing here. */
TEST(XmlTrimming, Mask)
{
    auto mask_of = [](const std::string &sets) {
        uint32_t mask = 0;
        after_pass("config system settings\n" + sets + "end\n", [&] {
            config_node           *settings = migr_main.root.top_list;
            trim_xml_by_mode_state state = {};
            top[1] = settings;
            for (config_node *set = settings->set_list; set; set = set->next) {
                top[3] = set;
                _trim_xml_by_mode(1, &state, nullptr);
            }
            top[1] = top[3] = &EMPTY_NODE;
            mask = migr_main.xml_trim_mode;
        });
        return mask;
    };
    EXPECT_EQ(0u, mask_of(""));
    EXPECT_EQ(0u, mask_of("set opmode reverse-proxy\nset opmode offline-protections\nset mode offline-protection\n"));
    EXPECT_EQ(4u, mask_of("set opmode offline-protection\n"));
    EXPECT_EQ(8u, mask_of("set opmode \"transparent-inspection\"\n"));
    EXPECT_EQ(12u, mask_of("set opmode transparent-inspection\nset opmode offline-protection\nset opmode x\n"));
}

TEST(XmlTrimming, OtherBitsTrimNothing)
{
    const std::string rules = "config waf ws-security rule\n    edit a\n    next\nend\n";
    EXPECT_EQ(rules, after_pass(rules, [] {
                  migr_main.xml_trim_mode = ~12u;
                  run_row("_trim_xml_by_mode");
              }));
}
