/* What `migr account` and `migr blame` say of a file; the account itself is tested in tests/whole/accounts. */
#include "support/json_value.h"
#include "support/patterns.h"
#include "unit/cli/small_image.h"

#include <gtest/gtest.h>

#include <set>

using support::JsonValue;

/* What an account cannot tell of, since the library never sees it, is told beside it. */
class AccountOfFile : public support::SmallImageTest {};

TEST_F(AccountOfFile, SaysWhatIsLostOfADamagedFile)
{
    box().write("/damaged.conf",
                support::headers("5.50") + "config lab desk\n    sett height 2\n    set width 3\nend\n");
    std::string      file = box().path() / "damaged.conf";
    support::Outcome told = run_on(file, "account");
    std::string      lost = "line 4: ";
    EXPECT_EQ(0, told.status) << told.err;
    EXPECT_TRUE(support::holds(told.err, "warning: sys_domain.root.conf.gz: lost: " + lost)) << told.err;
    JsonValue messages = JsonValue::parse(run_on(file, "account", {"--json"}).out)["messages"];
    EXPECT_TRUE(support::holds(messages.dump(), lost)) << messages;
}

namespace {

/* The fates that entries have, each once. */
std::set<std::string> fates_in(const JsonValue &answer)
{
    std::set<std::string> fates;
    for (const JsonValue &file : answer["files"])
        for (const JsonValue &entry : file["entries"])
            fates.insert(entry["fate"].text());
    return fates;
}

} // namespace

/* A file of which a line is dropped, one rewritten, one kept, and to which one is added. */
class AccountOfChoice : public support::SmallImageTest {
  protected:
    using Fates = std::set<std::string>;

    AccountOfChoice()
    {
        config("sys_global.conf.gz", support::headers("5.50") + "config system global\nend\n");
        config("sys_domain.shop.conf.gz",
               support::headers("5.50") +
                   "config lab desk\n    set old-flag 1\n    set tint green\n    set height 70\nend\n"
                   "config log syslog-policy\n    edit audit\n        set server 192.0.2.9\n"
                   "    next\nend\n");
    }
    Fates fates(Strings more) const
    {
        more.emplace_back("--json");
        return fates_in(JsonValue::parse(run("account", std::move(more)).out));
    }
};

TEST_F(AccountOfChoice, HasTheFatesThatAreAskedFor)
{
    EXPECT_EQ(fates({}), (Fates{"added", "dropped", "rewritten"}));
    EXPECT_EQ(fates({"--all"}), (Fates{"added", "dropped", "kept", "rewritten"}));
    EXPECT_EQ(fates({"--dropped"}), Fates{"dropped"});
    EXPECT_EQ(fates({"--rewritten"}), Fates{"rewritten"});
    EXPECT_EQ(fates({"--added"}), Fates{"added"});
    EXPECT_EQ(fates({"--added", "--dropped"}), (Fates{"added", "dropped"}));
}

TEST_F(AccountOfChoice, ShowsPeopleWhatWasLost)
{
    std::string told = run("account").out;
    EXPECT_TRUE(support::has_match(told, "(^|\n)FILE ")) << "how many lines each file has: " << told;
    EXPECT_TRUE(support::holds(told, "1 line dropped\n")) << told;
    EXPECT_TRUE(support::holds(told, "      - set old-flag 1\n")) << told;
    EXPECT_TRUE(support::holds(told, "1 line rewritten\n")) << told;
    EXPECT_FALSE(support::holds(told, " added\n")) << told;
    EXPECT_FALSE(support::holds(told, "height")) << told;
    EXPECT_TRUE(support::holds(run("account", {"--all"}).out, "lab desk / height\n")) << "where it stands is enough";
}

TEST_F(AccountOfChoice, NarrowsItDown)
{
    EXPECT_EQ(fates({"--path", "lab desk / tint"}), Fates{"rewritten"});
    EXPECT_EQ(fates({"--path", "lab desk / old*"}), Fates{"dropped"});
    EXPECT_EQ(fates({"--path", "nothing"}), Fates{});
    EXPECT_EQ(fates({"--release", "6.00"}), (Fates{"dropped", "rewritten"}));
    EXPECT_EQ(fates({"--release", "4.00"}), Fates{});
    EXPECT_EQ(fates({"--by", "<lab desk><old-flag>"}), Fates{"dropped"});
    EXPECT_EQ(fates({"--kind", "rule"}), (Fates{"dropped", "rewritten"}));
}

TEST_F(AccountOfChoice, OfAnUpgradeThatIsDoneHasNoLinesThatWereKept)
{
    support::Outcome none = run("account", {"--last"});
    EXPECT_EQ(none.status, 2) << none.all();
    EXPECT_EQ(run("upgrade").status, 0);
    EXPECT_EQ(fates({"--last"}), (Fates{"added", "dropped", "rewritten"}));
    support::Outcome refused = run("account", {"--last", "--all"});
    EXPECT_EQ(refused.status, 2);
    EXPECT_TRUE(
        support::holds(refused.err, "Of an upgrade that is done, lines that were kept are not kept: leave out --all."))
        << refused.err;
}

/* Each line of the result, with where it was and who made it. */
class Blame : public support::SmallImageTest {
  protected:
    Blame()
    {
        config("sys_global.conf.gz", support::headers("5.50") + "config system global\nend\n");
        config("sys_domain.shop.conf.gz", support::headers("5.50") +
                                              "config lab desk\n    set old-flag 1\n    set tint green\n    set "
                                              "height 70\n    set password \"of ours\"\nend\n");
    }
    /* The cells of the row with that text. */
    static std::string row_of(const std::string &told, const std::string &text)
    {
        size_t      at = told.find(text + "\n");
        size_t      begin = told.rfind('\n', at) + 1;
        std::string row = told.substr(begin, at - begin), cells;
        for (char c : row)
            if (c != ' ' || (!cells.empty() && cells.back() != ' '))
                cells += c;
        return cells;
    }
};

TEST_F(Blame, SaysOfEachLineWhereItWas)
{
    support::Outcome run = this->run("blame");
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_TRUE(support::holds(run.out, "sys_domain.shop.conf.gz\n")) << run.out;
    EXPECT_TRUE(support::has_match(run.out, "LINE +WAS +CAUSE +sys_global.conf.gz\n")) << run.out;
    EXPECT_EQ(row_of(run.out, "config lab desk"), "5 3 ") << run.out;
    EXPECT_TRUE(row_of(run.out, "    set colour green").starts_with("6 5 6.00 modify, line ")) << run.out;
    EXPECT_EQ(row_of(run.out, "    set height 70"), "7 6 ") << run.out;
    EXPECT_EQ(row_of(run.out, "config server-policy setting"), "3 new 5.85 _add_server_policy_setting ") << run.out;
    EXPECT_FALSE(support::holds(run.out, "of ours")) << run.out;
    EXPECT_TRUE(support::holds(this->run("blame", {"--show-secrets"}).out, "set password \"of ours\"\n"));
}

TEST_F(Blame, TellsAProgram)
{
    JsonValue answer = JsonValue::parse(run("blame", {"--json"}).out);
    EXPECT_EQ(answer["command"], "blame");
    EXPECT_EQ(answer["status"], 0);
    ASSERT_EQ(answer["files"].size(), 2u);
    EXPECT_EQ(answer["files"][1]["file"], "sys_domain.shop.conf.gz");
    JsonValue lines = answer["files"][1]["lines"];
    EXPECT_EQ(
        lines[4],
        (JsonValue{{"line", 5}, {"was", "3"}, {"fate", "kept"}, {"cause", nullptr}, {"text", "config lab desk"}}));
    EXPECT_EQ(lines[5]["was"], "5");
    EXPECT_EQ(lines[5]["fate"], "rewritten");
    EXPECT_TRUE(lines[5]["cause"].text().starts_with("6.00 modify")) << lines[5];
    EXPECT_EQ(lines[5]["text"], "    set colour green");
    EXPECT_EQ(lines[2]["was"], "new");
    EXPECT_EQ(lines[2]["fate"], "added");
}

/* Of two files of which one comes, the other one's name stands with the line. */
TEST_F(Blame, NamesTheFileThatALineCameFrom)
{
    box().write("/old.conf",
                support::headers("5.00") + "config system global\nend\nconfig lab desk\n    set height 7\nend\n");
    JsonValue answer = JsonValue::parse(run_on(box().path() / "old.conf", "blame", {"--json"}).out);
    ASSERT_EQ(answer["files"].size(), 2u) << answer;
    bool found = false;
    for (const JsonValue &line : answer["files"][1]["lines"])
        if (line["text"] == "    set height 7") {
            found = true;
            EXPECT_TRUE(line["was"].text().ends_with(":6")) << line;
        }
    EXPECT_TRUE(found) << answer;
}

TEST_F(Blame, SaysWhatWasLostOfADamagedFile)
{
    config("sys_domain.shop.conf.gz", support::headers("5.50") + "config lab desk\n    set height\nend\n");
    support::Outcome run = this->run("blame");
    EXPECT_TRUE(support::holds(run.err, "sys_domain.shop.conf.gz: line 4: is a `set` without a value")) << run.err;
    EXPECT_EQ(run.status, 1);
}
