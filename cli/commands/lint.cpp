/*
 * migr lint UPDATE_CONFIG: what is wrong with an update file, told to people or programs. What counts as wrong is
 * decided in image/.
 */
#include "image/lint.h"

#include "commands/subcommand.h"
#include "driver/run_context.h"
#include "image/lint_file.h"
#include "output/console.h"
#include "output/json.h"
#include "output/release_text.h"
#include "run/waiting.h"
#include "tree/version_text.h"

#include <algorithm>

namespace command {

namespace {

struct Linted {
    std::string          file;
    int32_t              release; /* of the image that the file is for */
    std::vector<Finding> findings;
    bool                 strict;

    size_t count(Severity severity) const
    {
        return static_cast<size_t>(std::count_if(findings.begin(), findings.end(),
                                                 [&](const Finding &finding) { return finding.severity == severity; }));
    }

    Status status() const
    {
        bool bad = count(Severity::error) > 0 || (strict && !findings.empty());
        return bad ? Status::left_alone : Status::done;
    }
};

const char *word(Severity severity)
{
    return severity == Severity::error ? "error" : "warning";
}

/* The release that was asked for; without one that of the image for which migr was built. */
int32_t release_of(const std::string &text)
{
    if (text.empty())
        return MIGR_RELEASE_IMAGE;
    int32_t code = release_code(text);
    if (code < 0)
        throw Failure(Status::unusable, "--release " + text + ": this is no release. Give one like 6.30.");
    return code;
}

Linted lint_file(const Arguments &arguments)
{
    Interrupts interrupts;
    Linted     linted = {shown_input(arguments.file), release_of(arguments.release), {}, arguments.strict};
    linted.findings = lint_update_file(read_input(arguments.file, interrupts), linted.release);
    return linted;
}

void show(const Linted &linted)
{
    for (const Finding &finding : linted.findings)
        say(linted.file + ":" + std::to_string(finding.line) + ":" + std::to_string(finding.column) + ": " +
            word(finding.severity) + ": " + finding.text);
}

Json::Members to_json(const Linted &linted)
{
    Json::List findings;
    for (const Finding &finding : linted.findings)
        findings.push_back(Json::Members{{"line", finding.line},
                                         {"column", finding.column},
                                         {"severity", word(finding.severity)},
                                         {"text", finding.text}});
    return {{"file", linted.file},
            {"release", section_name(linted.release)},
            {"errors", linted.count(Severity::error)},
            {"warnings", linted.count(Severity::warning)},
            {"findings", std::move(findings)}};
}

Status lint(const Arguments &arguments)
{
    Linted linted = lint_file(arguments);
    if (arguments.json)
        print_answer("lint", linted.status(), to_json(linted));
    else
        show(linted);
    return linted.status();
}

} // namespace

const Subcommand lint_command = {
    "lint",
    "Check an image's update file, without an appliance",
    {
        {"UPDATE_CONFIG", &Arguments::file, "The update file, as the image ships it", true},
        {"--release", &Arguments::release, "The release of the image in the making, like 6.30"},
        {"--strict", &Arguments::strict, "Let warnings count as errors"},
        {"--json", &Arguments::json, "Print what was found as JSON"},
    },
    lint,
    "Prints a line for each finding. An error is what fails, or never acts. A warning is a rule that takes something "
    "away from a conversion of the library, or a comment that misspells what the rule is about. Exit status: 0 no "
    "error; 1 errors; 2 the file cannot be read.",
};

} // namespace command
