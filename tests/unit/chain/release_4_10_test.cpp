/* What no case can show of the step to 4.10: rules that are remembered and forgotten, empty values, and memory that
 * is not to be had. */
#include "chain/release_4_10.h"

#include "support/processor_time.h"
#include "sweeps.h"
#include "tree/operations.h"

#include <cstring>

using namespace support;

namespace {

class Release410 : public TreeTest {
  protected:
    config_node *block(std::string_view name)
    {
        return named(migr_main.root.top_list, name);
    }
};

constexpr char rewriting[] = "config waf url-rewrite url-rewrite-rule\nedit one\nset action redirect\nnext\n"
                             "edit two\nset action refer-rewrite\nnext\nend\n"
                             "config waf url-rewrite url-rewrite-policy\nedit p\nconfig rule\n"
                             "edit 1\nset url-rewrite-rule-name one\nnext\n"
                             "edit 2\nset url-rewrite-rule-name two\nnext\nend\nnext\nend\n";

TEST_F(Release410, ATypeHasTheKindOfItsExpression)
{
    ASSERT_EQ(parse("config waf input-rule\nedit 1\nconfig list\nedit 1\nset argument-expression x\nnext\nend\nnext\n"
                    "end\n"),
              0);
    config_node *entry = migr_main.root.top_list->edit_list->config_list->edit_list;
    entry->set_list->kind = 0;
    waf_input_rule();
    EXPECT_EQ(dump(*entry), "set argument-type=regular-expression kind 0\nset argument-expression=x kind 0\n");
}

TEST_F(Release410, RulesThatGoAreForgottenWhenTheirEntriesAreGone)
{
    ASSERT_EQ(parse(rewriting), 0);
    url_writing_rule();
    EXPECT_EQ(item_list.next, nullptr);
    EXPECT_EQ(block("waf,url-rewrite,url-rewrite-rule")->edit_list, nullptr);
    EXPECT_EQ(dump(*block("waf,url-rewrite,url-rewrite-policy")), "edit p\n  config rule\n");
}

TEST_F(Release410, TheListOfRulesIsSearchedExactly)
{
    item_record one = {"one", nullptr};
    item_record two = {"\"two\"", &one};
    item_list.next = &two;
    EXPECT_EQ(search_item_name_from_list("one"), 1);
    EXPECT_EQ(search_item_name_from_list("\"two\""), 1);
    EXPECT_EQ(search_item_name_from_list("two"), 0);
    EXPECT_EQ(search_item_name_from_list("on"), 0);
    EXPECT_EQ(search_item_name_from_list(""), 0);
    item_list.next = nullptr;
}

TEST_F(Release410, SetsWithoutAValueAreNoTrouble)
{
    ASSERT_EQ(parse("config waf url-rewrite url-rewrite-rule\nedit \nset action redirect\nnext\nedit 1\nnext\nend\n"
                    "config waf url-rewrite url-rewrite-policy\nedit p\nconfig rule\nedit 1\nnext\nend\nnext\nend\n"
                    "config system settings\nend\n"),
              0);
    config_node *entry = block("waf,url-rewrite,url-rewrite-policy")->edit_list->config_list->edit_list;
    cfg_add_conf("url-rewrite-rule-name", nullptr, MIGR_SET, entry);
    cfg_add_conf("action", nullptr, MIGR_SET, block("waf,url-rewrite,url-rewrite-rule")->edit_list->next);
    cfg_add_conf("opmode", nullptr, MIGR_SET, block("system,settings"));
    url_writing_rule();
    fit_policies_to_opmode();
    EXPECT_EQ(dump(*block("waf,url-rewrite,url-rewrite-policy")),
              "edit p\n  config rule\n    edit 1\n      set url-rewrite-rule-name\n");
    EXPECT_EQ(dump(*block("waf,url-rewrite,url-rewrite-rule")), "edit 1\n  set action\n");
}

TEST_F(Release410, TheNameOfARemovedRuleMayBeEmpty)
{
    ASSERT_EQ(parse("config waf url-rewrite url-rewrite-rule\nedit \nset action redirect\nnext\nend\n"
                    "config waf url-rewrite url-rewrite-policy\nedit p\nconfig rule\nedit 1\nnext\nend\nnext\nend\n"),
              0);
    config_node *entry = block("waf,url-rewrite,url-rewrite-policy")->edit_list->config_list->edit_list;
    cfg_add_conf("url-rewrite-rule-name", "", MIGR_SET, entry);
    url_writing_rule();
    EXPECT_EQ(dump(*block("waf,url-rewrite,url-rewrite-policy")), "edit p\n  config rule\n");
}

TEST_F(Release410, ManyRulesMayGo)
{
    std::string rules;
    std::string entries;
    for (int i = 0; i < 60000; i++) {
        std::string name = "rule-" + std::to_string(i);
        rules += "edit " + name + "\nset action redirect\nnext\nedit kept-" + name + "\nnext\n";
        entries += "edit " + name + "\nset url-rewrite-rule-name " + name + "\nnext\n" + "edit kept-" + name +
                   "\nset url-rewrite-rule-name kept-" + name + "\nnext\n";
    }
    ASSERT_EQ(parse("config waf url-rewrite url-rewrite-rule\n" + rules +
                    "end\nconfig waf url-rewrite url-rewrite-policy\nedit p\nconfig rule\n" + entries +
                    "end\nnext\nend\n"),
              0);
    EXPECT_LT(processor_seconds(url_writing_rule), 10);
    EXPECT_EQ(length_of(block("waf,url-rewrite,url-rewrite-rule")->edit_list), 60000u);
    const config_node *left = block("waf,url-rewrite,url-rewrite-policy")->edit_list->config_list->edit_list;
    EXPECT_EQ(length_of(left), 60000u);
    for (; left; left = left->next)
        ASSERT_EQ(strncmp(left->name, "kept-", 5), 0) << left->name;
}

/* ---- Without memory ---- */

TEST_F(Release410, ARuleThatCannotBeNotedStaysWithItsEntries)
{
    size_t asked = sweep(
        rewriting,
        [] {
            url_writing_rule();
            return 0;
        },
        [&](size_t number, int) {
            config_node *rules = block("waf,url-rewrite,url-rewrite-rule")->edit_list;
            config_node *entries = block("waf,url-rewrite,url-rewrite-policy")->edit_list->config_list->edit_list;
            EXPECT_EQ(named(rules, "one") != nullptr, number == 1);
            EXPECT_EQ(named(entries, "1") != nullptr, number == 1);
            EXPECT_EQ(named(rules, "two") != nullptr, named(entries, "2") != nullptr);
        });
    EXPECT_EQ(asked, 3u); /* the third is the index, without which the list is gone through */
    EXPECT_EQ(item_list.next, nullptr);
}

TEST_F(Release410, AnExpressionThatCannotBeTypedStaysUntyped)
{
    sweep(
        "config waf input-rule\nedit 1\nconfig list\nedit 1\nset a 1\nset argument-expression x\nnext\n"
        "edit 2\nset argument-expression y\nnext\nend\nnext\nend\n",
        [] {
            waf_input_rule();
            return 0;
        },
        [&](size_t number, int) {
            config_node *entries = block("waf,input-rule")->edit_list->config_list->edit_list;
            bool         typed = named(entries->set_list, "argument-type") != nullptr;
            EXPECT_EQ(typed, number != 1 && number != 2);
            EXPECT_EQ(named(entries->set_list, "a") == nullptr, typed);
        });
}

TEST_F(Release410, AModeThatCannotBeReplacedStays)
{
    ASSERT_EQ(parse("config system settings\nset opmode offline\nend\n"
                    "config server-policy policy\nedit 1\nset deployment-mode a\nnext\nedit 2\nset deployment-mode b\n"
                    "next\nend\n"),
              0);
    fail_allocation(1);
    fit_policies_to_opmode();
    fail_allocation(0);
    EXPECT_EQ(dump(*block("server-policy,policy")),
              "edit 1\n  set deployment-mode=a\nedit 2\n  set deployment-mode=\"offline-protection\"\n");
}

} // namespace
