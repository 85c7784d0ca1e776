/* Why files cannot be upgraded, as their owner is told, and as all are told who have the same. What damage there is in
 * a text is tried elsewhere. */
#include "appliance/inspect.h"

#include <gtest/gtest.h>

using namespace command;

namespace {

constexpr char headers[] = "#config-version=QA-A1X-5.50-FW-build100-200101:opmode=0:vdom=1:user=admin\n"
                           "#conf_file_ver=1\n";

TEST(ReasonsAgainst, HaveTheSameCauseInEveryFile)
{
    ConfigFacts facts = inspect_text(std::string(headers) + "config waf signature\nedit \"a\"\nset x\nnext\nend\n" +
                                         "config waf url-access\nedit \"b\"\nset y\nnext\nend\n",
                                     Depth::whole);
    facts.gzip = true;
    std::vector<FileFinding> reasons = reasons_against(facts, false);
    ASSERT_EQ(reasons.size(), 2U);
    EXPECT_EQ(reasons[0].text, "line 5: is a `set` without a value, with which no upgrade starts.");
    EXPECT_EQ(reasons[0].cause, "`set` without a value in waf signature");
    EXPECT_EQ(reasons[1].text, "line 10: is a `set` without a value, with which no upgrade starts.");
    EXPECT_EQ(reasons[1].cause, "`set` without a value in waf url-access");
}

TEST(ReasonsAgainst, LeaveOutOfTheCauseWhatOneFileNames)
{
    ConfigFacts facts;
    facts.gzip = true;
    facts.version_line = true;
    facts.no_release = "5.65536";
    EXPECT_NE(reasons_against(facts, false).front().text.find("5.65536"), std::string::npos);
    EXPECT_EQ(reasons_against(facts, false).front().cause, "Its version line names no release.");
}

TEST(ReasonsAgainst, TellALineWithoutAReleaseFromNone)
{
    auto cause = [](const std::string &first_line) {
        ConfigFacts facts = inspect_text(first_line + "\n#conf_file_ver=1\nconfig a\nend\n", Depth::whole);
        facts.gzip = true;
        return reasons_against(facts, false).front().cause;
    };
    EXPECT_EQ(cause("#config-version=QA-A1X-unknown-CV-build100-200101:x"), "Its version line names no release.");
    EXPECT_EQ(cause("config system global"), "It has no version line.");
}

TEST(ReasonsAgainst, HaveNoConfigAheadOfTheFirst)
{
    ConfigFacts facts = inspect_text(std::string(headers) + "set x 1\nconfig a\nend\n", Depth::whole);
    facts.gzip = true;
    ASSERT_FALSE(facts.damage.empty());
    EXPECT_EQ(damage_findings(facts).front().cause, "a `set` or `edit` where none can be");
}

} // namespace
