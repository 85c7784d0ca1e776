/* What --help says, against help.txt: whoever changes the one changes the other. How lines are laid out is the
 * parser's. */
#include "support/patterns.h"
#include "support/places.h"
#include "unit/cli/command_support.h"

#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <set>
#include <sstream>

namespace {

using Strings = std::vector<std::string>;

/* With one blank where there are several, or lines end. */
std::string in_one_line(const std::string &text)
{
    std::istringstream stream(text);
    std::string        line;
    for (std::string word; stream >> word;)
        line += (line.empty() ? "" : " ") + word;
    return " " + line + " ";
}

/* What help.txt has of each command. */
std::map<std::string, Strings> wanted_help()
{
    std::ifstream                  file(support::source_path("/tests/unit/cli/help.txt"));
    std::map<std::string, Strings> wanted;
    std::string                    command;
    for (std::string line; std::getline(file, line);)
        if (line.starts_with("migr"))
            command = line;
        else if (line.starts_with("    "))
            wanted[command].push_back(line.substr(4));
    return wanted;
}

/* The words behind "migr". */
Strings words_of(const std::string &command)
{
    std::istringstream stream(command);
    Strings            words;
    for (std::string word; stream >> word;)
        words.push_back(word);
    words.erase(words.begin());
    words.emplace_back("--help");
    return words;
}

/* "-o,--output" of "  -o,--output TEXT   Where", and the names of what goes by its position. */
std::set<std::string> names_in(const std::string &help)
{
    std::set<std::string> names;
    for (const support::Groups &name : support::all_groups(help, R"(\n  ([^ ]+))"))
        names.insert(name[1]);
    names.erase("-h,--help");
    return names;
}

} // namespace

TEST(Help, SaysWhatEachCommandDoes)
{
    std::map<std::string, Strings> wanted = wanted_help();
    EXPECT_GE(wanted.size(), 22u);
    for (const auto &[command, texts] : wanted) {
        support::Outcome run = support::migr(words_of(command));
        EXPECT_EQ(run.status, 0) << command;
        EXPECT_EQ(run.err, "") << command;
        std::string help = in_one_line(run.out);
        EXPECT_TRUE(help.starts_with(in_one_line(texts[0]))) << command << ": " << texts[0];
        std::set<std::string> names;
        for (const std::string &text : texts) {
            size_t      colon = text.find(": ");
            std::string name = text.substr(0, colon);
            bool        is_option = colon != text.npos && name.find(' ') == name.npos;
            std::string said = is_option ? text.substr(colon + 2) : text;
            EXPECT_NE(help.find(in_one_line(said)), help.npos) << command << ": " << text;
            if (is_option)
                names.insert(name);
        }
        std::string options = run.out.substr(0, run.out.find("\nSubcommands:"));
        EXPECT_EQ(names_in(options), names) << command;
    }
}

TEST(Help, HasAllCommands)
{
    std::map<std::string, Strings> wanted = wanted_help();
    for (const char *group : {"migr", "migr fleet"}) {
        std::string help = support::migr(words_of(group)).out;
        for (const std::string &name : names_in(help.substr(help.find("\nSubcommands:")))) {
            std::string command = std::string(group) + " " + name;
            ASSERT_TRUE(wanted.contains(command)) << command;
            EXPECT_NE(in_one_line(help).find(in_one_line(name + " " + wanted[command][0])), help.npos) << command;
        }
    }
}

TEST(Help, NamesWhatMayBeChosen)
{
    auto help_of = [](const char *command) { return support::migr({command, "--help"}).out; };
    EXPECT_NE(help_of("convert").find("{global,domain}"), std::string::npos);
    EXPECT_NE(help_of("account").find("{protection,credentials,network,logging,appearance,housekeeping,rule}"),
              std::string::npos);
    for (const char *kind : {"protection", "credentials", "network", "logging", "appearance", "housekeeping", "rule"})
        EXPECT_EQ(support::migr({"explain", "/none", "--kind", kind, "--image", "/none"}).err.find("--kind"),
                  std::string::npos)
            << kind;
    support::Outcome run = support::migr({"explain", "/none", "--kind", "other"});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("--kind"), std::string::npos) << run.err;
}
