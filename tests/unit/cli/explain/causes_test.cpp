/*
 * Why a change was made, in words: the comments of an update file's rules, and those of the library's code, of which
 * none may be missing. Whether a kind or a sentence is a good one is for readers to say.
 */
#include "explain/causes.h"

#include "driver/author_kinds.h"
#include "support/patterns.h"
#include "support/places.h"
#include "tools/source_index.h"
#include "walk/stages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <set>
#include <string>
#include <vector>

namespace fs = std::filesystem;

using command::Causes;
using command::CauseText;

namespace {

using Names = std::set<std::string>;

/* Who changes something under a name that a source file has in quotes. */
void add_quoted_authors(const std::string &source, Names *names)
{
    const std::string author = R"re(set_author(_name)?\(("|[^;"]*"\w+", ")(\w+)"\))re";
    for (const support::Groups &found : support::all_groups(source, author))
        names->insert(found[3]);
}

Names quoted_authors()
{
    Names names;
    for (const fs::directory_entry &entry : fs::recursive_directory_iterator(support::source_path("/src")))
        if (entry.path().extension() == ".cpp")
            add_quoted_authors(tools::text_of(entry.path()), &names);
    return names;
}

Names migrations()
{
    tools::SourceIndex sources({support::source_path("/src/chain")});
    Names              names;
    for (const tools::Definition *step : sources.steps())
        for (const tools::Definition *migration : sources.migrations(*step))
            names.insert(migration->name);
    return names;
}

Names callbacks()
{
    Names names;
    for (stage_table *const *stage = all_stages; *stage; stage++)
        for (int32_t i = 0; i < (*stage)->row_count; i++)
            names.insert((*stage)->rows[i].name);
    return names;
}

Names all_authors()
{
    Names names = quoted_authors();
    names.merge(migrations());
    names.merge(callbacks());
    return names;
}

bool is_kind(const std::string &text)
{
    const char *const *word = migr_author_kind_words;
    while (*word && text != *word)
        word++;
    return *word != nullptr;
}

/* "kind: sentence" of the rule in that line. */
std::string rule_in(const Causes &causes, uint32_t line)
{
    CauseText cause = causes.of("modify", "<the>,<rule>", line);
    return cause.kind + ": " + cause.sentence;
}

std::string code_named(const std::string &mechanism, const std::string &name)
{
    CauseText cause = Causes("").of(mechanism, name, 0);
    return cause.kind + ": " + cause.sentence;
}

} // namespace

TEST(Causes, AuthorsOfEverySortAreFound)
{
    EXPECT_EQ(quoted_authors(),
              Names({"file_conversion", "find_notp_bridge_node", "migr_fix_all_files", "signature_check_with_db",
                     "signature_disable_check_with_db", "signature_staged_check_with_db", "update_to_vdom"}));
    EXPECT_TRUE(migrations().contains("migr_change_sys_log_policy"));
    EXPECT_TRUE(callbacks().contains("_cleanup_pre620_av_file"));
}

TEST(Causes, EachAuthorHasAKindAndASentence)
{
    Causes causes("");
    for (const std::string &name : all_authors()) {
        CauseText cause = causes.of("stage", name, 0);
        EXPECT_TRUE(is_kind(cause.kind)) << name << " is of the kind " << cause.kind;
        EXPECT_TRUE(cause.sentence.ends_with('.')) << name << " says: " << cause.sentence;
    }
}

TEST(Causes, TheTableOfKindsNamesEachAuthorOnceAndNobodyElse)
{
    std::vector<std::string> table;
    for (const migr_author_kind *row = migr_author_kinds; row->name; row++)
        table.push_back(row->name);
    Names authors = all_authors();
    std::sort(table.begin(), table.end());
    EXPECT_EQ(table, std::vector<std::string>(authors.begin(), authors.end()));
}

TEST(Causes, CodeHasTheFirstSentenceOfItsComment)
{
    EXPECT_EQ(code_named("stage", "_migr_del_snmp_community_interface"),
              "network: The hosts of an SNMP community are no longer bound to an interface.");
    EXPECT_EQ(code_named("stage", "_remove_all_autolearn"),
              "protection: 6.10 has no auto-learning: its profiles and patterns go, what names them, and its data.");
}

TEST(Causes, ASentenceLeavesOutReleasesAheadOfItAndMayHaveQuotes)
{
    EXPECT_EQ(code_named("step", "migr_server_protection_rule"),
              "protection: Protection rules gained remote file inclusion, switched on in the predefined ones.");
    EXPECT_EQ(code_named("step", "migr_policy_process"),
              "network: A policy said how its servers are reached; now their farm says it, as its \"type\".");
}

TEST(Causes, MechanismsWithoutNamesHaveASentence)
{
    for (const char *mechanism : {"read", "write", "host"}) {
        CauseText cause = Causes("").of(mechanism, "", 0);
        EXPECT_EQ(cause.kind, "housekeeping");
        EXPECT_TRUE(cause.sentence.ends_with('.')) << mechanism;
    }
}

TEST(Causes, WhatNobodyKnowsHasNone)
{
    EXPECT_EQ(code_named("stage", "_no_such_callback"), "housekeeping: ");
    EXPECT_EQ(code_named("no such mechanism", ""), "housekeeping: ");
}

TEST(Causes, ARuleHasTheCommentAboveIt)
{
    Causes causes("[5.10]\n"
                  "[DELETE]\n"
                  "# The lamp is gone.\n"
                  "<a>\n"
                  "# network: Ports have\n"
                  "  #   names now.\n"
                  "\t<b> \r\n");
    EXPECT_EQ(rule_in(causes, 4), "rule: The lamp is gone.");
    EXPECT_EQ(rule_in(causes, 7), "network: Ports have names now.");
}

TEST(Causes, RulesWithoutABlankLineBetweenShareAComment)
{
    Causes causes("[5.10]\n[DELETE]\n# logging: No more.\n<a>\n<b>\n<c>");
    for (uint32_t line : {4, 5, 6})
        EXPECT_EQ(rule_in(causes, line), "logging: No more.") << line;
    for (const char *mechanism : {"delete", "modify", "readd"})
        EXPECT_EQ(causes.of(mechanism, "<b>", 5).kind, "logging") << mechanism;
}

TEST(Causes, ACommentEndsAtABlankLineAndAtAHeader)
{
    Causes causes("# Of the file.\n"
                  "[5.10]\n"
                  "[DELETE]\n"
                  "<a>\n"
                  "# Of the block.\n"
                  "\n"
                  "<b>\n"
                  "# Of the part.\n"
                  "[MODIFY]\n"
                  "<c>,<d>,[int:1,2]\n");
    for (uint32_t line : {4, 7, 10})
        EXPECT_EQ(rule_in(causes, line), "rule: ") << line;
}

TEST(Causes, OnlyAKindAheadOfAColonIsOne)
{
    Causes causes("[5.10]\n[DELETE]\n"
                  "# protection\n<a>\n"
                  "# Sorry: gone.\n<b>\n"
                  "# protection of pages: gone.\n<c>\n"
                  "# protection:\n<d>\n");
    EXPECT_EQ(rule_in(causes, 4), "rule: protection");
    EXPECT_EQ(rule_in(causes, 6), "rule: Sorry: gone.");
    EXPECT_EQ(rule_in(causes, 8), "rule: protection of pages: gone.");
    EXPECT_EQ(rule_in(causes, 10), "protection: ");
}

TEST(Causes, ALineWithoutARuleIsARuleWithoutWords)
{
    Causes causes("[5.10]\n[DELETE]\n# Why.\n<a>\n");
    EXPECT_EQ(rule_in(causes, 0), "rule: ");
    EXPECT_EQ(rule_in(causes, 3), "rule: ");
    EXPECT_EQ(rule_in(causes, 99), "rule: ");
}

TEST(Causes, EachRuleOfTheImageSaysWhatItIsAboutAndWhy)
{
    std::string update_file = tools::text_of(support::source_path("/image/update_config"));
    Causes      causes(update_file);
    uint32_t    number = 1, rules = 0;
    for (size_t at = 0; at < update_file.size(); at = update_file.find('\n', at) + 1, number++)
        if (update_file[at] == '<') {
            rules++;
            CauseText cause = causes.of("delete", "", number);
            EXPECT_TRUE(is_kind(cause.kind)) << "line " << number << " is of the kind " << cause.kind;
            EXPECT_TRUE(cause.sentence.ends_with('.')) << "line " << number << " says: " << cause.sentence;
        }
    EXPECT_GT(rules, 0u);
}
