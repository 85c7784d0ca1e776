/* migr lint UPDATE_CONFIG */
#include "image/lint.h"
#include "commands/subcommands.h"
#include "output/console.h"
#include "system/files.h"

#include <memory>

namespace command {

namespace {

Status lint(const std::string &path)
{
    std::vector<Finding> findings = lint_update_file(read_input(path));
    for (const Finding &finding : findings)
        say(path + ":" + std::to_string(finding.line) + ": " + finding.text);
    return findings.empty() ? Status::done : Status::left_alone;
}

} // namespace

void add_lint(CLI::App &app, Action &chosen)
{
    auto  path = std::make_shared<std::string>();
    auto *lint_app = app.add_subcommand("lint", "Check an image's update file, without an appliance");
    lint_app->add_option("UPDATE_CONFIG", *path, "The update file, as the image ships it")->required();
    lint_app->footer(
        "Prints a line for each finding. Exit status: 0 nothing found; 1 something found; 2 the file cannot "
        "be read.");
    lint_app->callback([path, &chosen] { chosen = [path] { return lint(*path); }; });
}

} // namespace command
