/* The manual page and --help tell the same. */
#include "support/files.h"
#include "support/patterns.h"
#include "support/places.h"
#include "unit/cli/command_support.h"

#include <gtest/gtest.h>

using namespace support;

namespace {

std::string manual()
{
    return replaced(file_text(source_path("/cli/migr.1")), R"(\\-)", "-");
}

std::vector<std::string> found(const std::string &text, const std::string &pattern)
{
    std::vector<std::string> all;
    for (const Groups &match : all_groups(text, pattern))
        all.push_back(match[1]);
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
    auto        names = found(help.substr(help.find("Subcommands:")), R"(\n  ([a-z]+) )");
    EXPECT_GE(names.size(), 4U);
    for (const std::string &name : found(migr({"fleet", "--help"}).out, R"(\n  ([a-z]+) )"))
        names.push_back("fleet " + name);
    for (const std::string &name : names) {
        if (name == "fleet")
            continue;
        EXPECT_NE(page.find(".SS migr " + name), std::string::npos) << name;
        EXPECT_NE(page.find(".B migr " + name + "\n"), std::string::npos) << name;
        for (const std::string &option : found(migr(help_of(name)).out, R"((--[a-z-]+))"))
            EXPECT_NE(page.find(option), std::string::npos) << name << " " << option;
    }
}
