/* migr lint UPDATE_CONFIG */
#include "image/lint.h"
#include "commands/subcommand.h"
#include "output/console.h"
#include "system/files.h"

namespace command {

namespace {

Status lint(const Arguments &arguments)
{
    const std::string   &path = arguments.file;
    std::vector<Finding> findings = lint_update_file(read_input(path));
    for (const Finding &finding : findings)
        say(path + ":" + std::to_string(finding.line) + ": " + finding.text);
    return findings.empty() ? Status::done : Status::left_alone;
}

} // namespace

const Subcommand lint_command = {
    "lint",
    "Check an image's update file, without an appliance",
    {{"UPDATE_CONFIG", &Arguments::file, "The update file, as the image ships it", true}},
    lint,
    "Prints a line for each finding. Exit status: 0 nothing found; 1 something found; 2 the file cannot be read.",
};

} // namespace command
