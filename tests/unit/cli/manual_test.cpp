/* The manual page and --help tell the same. */
#include "support/places.h"
#include "unit/cli/command_support.h"

#include <gtest/gtest.h>

#include <fstream>
#include <regex>
#include <sstream>

using namespace support;

namespace {

std::string manual()
{
    std::ifstream      in(source_path("/cli/migr.1"));
    std::ostringstream text;
    text << in.rdbuf();
    return std::regex_replace(text.str(), std::regex(R"(\\-)"), "-");
}

std::vector<std::string> found(const std::string &text, const std::regex &what)
{
    std::vector<std::string> all;
    for (std::sregex_iterator at(text.begin(), text.end(), what), end; at != end; ++at)
        all.push_back((*at)[1]);
    return all;
}

/* "fleet list" are two words. */
std::vector<std::string> help_of(const std::string &name)
{
    size_t blank = name.find(' ');
    if (blank == name.npos)
        return {name, "--help"};
    return {name.substr(0, blank), name.substr(blank + 1), "--help"};
}

} // namespace

TEST(Manual, HasEverySubcommandAndItsOptions)
{
    std::string page = manual();
    std::string help = migr({"--help"}).out;
    auto        names = found(help.substr(help.find("Subcommands:")), std::regex(R"(\n  ([a-z]+) )"));
    EXPECT_GE(names.size(), 4U);
    for (const std::string &name : found(migr({"fleet", "--help"}).out, std::regex(R"(\n  ([a-z]+) )")))
        names.push_back("fleet " + name);
    for (const std::string &name : names) {
        if (name == "fleet")
            continue;
        EXPECT_NE(page.find(".SS migr " + name), std::string::npos) << name;
        EXPECT_NE(page.find(".B migr " + name + "\n"), std::string::npos) << name;
        for (const std::string &option : found(migr(help_of(name)).out, std::regex(R"((--[a-z-]+))")))
            EXPECT_NE(page.find(option), std::string::npos) << name << " " << option;
    }
}
