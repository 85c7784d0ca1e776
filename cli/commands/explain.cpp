/* migr explain ROOT|FILE: how an explanation is asked for and shown. How it comes about is told by
 * explain/explanation.h. */
#include "appliance/single_file.h"
#include "appliance/upgrade.h"
#include "commands/subcommand.h"
#include "explain/explanation.h"
#include "image/image_files.h"
#include "output/console.h"
#include "output/json.h"
#include "output/release_text.h"
#include "report/report.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace fs = std::filesystem;

namespace command {

namespace {

struct Explanation {
    std::vector<FileOutcome>   files;
    Status                     status = Status::done;
    std::vector<SectionChange> changes;
};

void take_run(const StagedRun &run, const Root &staging, Explanation &explanation)
{
    explanation.files = run.files;
    explanation.status = run.status;
    explanation.changes = read_changes(staging);
}

RunRequest run_of(const Arguments &arguments)
{
    RunRequest run;
    run.partial = true; /* whatever can be explained */
    run.library = [show = arguments.show_secrets] { run_and_take_down(show); };
    return run;
}

void explain_root(const Arguments &arguments, const Image &image, Interrupts &interrupts, Explanation &explanation)
{
    Root                           root(arguments.file);
    std::unique_ptr<StagingFolder> staging = stage_to_look(root, interrupts);
    take_run(run_staged(staging->root(), image, run_of(arguments), interrupts), staging->root(), explanation);
}

void explain_file(const Arguments &arguments, const Image &image, Interrupts &interrupts, Explanation &explanation)
{
    StagingFolder staging("", "the throw-away appliance");
    SingleFile    file = lay_out_single_file({arguments.file, arguments.as, arguments.domain}, staging.root(),
                                             image_text(image, "syntax_v510.txt"), interrupts);
    if (std::string missing = what_is_missing(file); !missing.empty())
        complain("warning: " + file.shown + ": " + missing);
    take_run(run_staged(staging.root(), image, run_of(arguments), interrupts), staging.root(), explanation);
}

/* ---- for people ---- */

std::string whole_diff(const SectionChange &change)
{
    return "--- " + change.file + "\n+++ " + change.file + "\n" + change.diff;
}

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream       stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    return lines;
}

void show_change(const SectionChange &change)
{
    say("== " + change.file + ", " + release_text(change.release) + ", " + change.by);
    for (const std::string &line : lines_of(whole_diff(change)))
        say(line);
}

std::string summary(const FileOutcome &file, bool changed)
{
    std::string from = release_text(file.before);
    std::string to = release_text(file.after);
    switch (file.result) {
    case Result::current:
        return file.name + ": nothing to do, it is at " + from + " already.";
    case Result::newer:
        return file.name + ": nothing to do, it is at " + from + ", and the image at " + release_text(image_release()) +
               ".";
    case Result::refused:
        return file.name + ": cannot be upgraded. " + (file.reasons.empty() ? "" : file.reasons.front());
    case Result::added:
        return file.name + ": new, at " + to + ".";
    default:
        return file.name + ": from " + from + " to " + to +
               (changed ? "." : ", and nothing changed but the version line.");
    }
}

void show_file(const FileOutcome &file, const std::vector<SectionChange> &changes)
{
    auto of_file = [&](const SectionChange &change) { return change.file == file.name; };
    bool changed = std::any_of(changes.begin(), changes.end(), of_file);
    say(summary(file, changed));
    for (const SectionChange &change : changes)
        if (of_file(change))
            show_change(change);
}

void show(const Explanation &explanation)
{
    for (const FileOutcome &file : explanation.files)
        show_file(file, explanation.changes);
}

/* ---- for programs ---- */

Json to_json(const FileOutcome &file)
{
    return Json::Members{
        {"file", file.name},           {"before", Json::release(file.before)}, {"after", Json::release(file.after)},
        {"result", word(file.result)}, {"reasons", Json::list(file.reasons)},  {"warnings", Json::list(file.warnings)}};
}

Json to_json(const SectionChange &change)
{
    return Json::Members{{"file", change.file},
                         {"release", Json::release(change.release)},
                         {"by", change.by},
                         {"diff", Json::lines(whole_diff(change))}};
}

Json::Members to_json(const Explanation &explanation, const Image &image, bool secrets_hidden)
{
    Json::List files, changes;
    for (const FileOutcome &file : explanation.files)
        files.push_back(to_json(file));
    for (const SectionChange &change : explanation.changes)
        changes.push_back(to_json(change));
    return {{"image", image.folder},
            {"image_release", Json::release(image_release())},
            {"secrets_hidden", secrets_hidden},
            {"files", std::move(files)},
            {"changes", std::move(changes)}};
}

/* ---- the run ---- */

/* What was noted of a file that the run then left alone never came to be. */
void drop_unfinished(Explanation &explanation)
{
    for (const FileOutcome &file : explanation.files)
        if (file.result == Result::refused)
            std::erase_if(explanation.changes, [&](const SectionChange &change) { return change.file == file.name; });
}

/* By file; each file's changes keep their order. */
void order_by_file(Explanation &explanation)
{
    std::vector<SectionChange> ordered;
    for (const FileOutcome &file : explanation.files)
        std::copy_if(explanation.changes.begin(), explanation.changes.end(), std::back_inserter(ordered),
                     [&](const SectionChange &change) { return change.file == file.name; });
    explanation.changes = std::move(ordered);
}

Status explain(const Arguments &arguments)
{
    Image image = open_image(arguments.image);
    tell_image(image);
    Interrupts      interrupts;
    Explanation     explanation;
    std::error_code none;
    if (fs::is_directory(arguments.file, none))
        explain_root(arguments, image, interrupts, explanation);
    else
        explain_file(arguments, image, interrupts, explanation);
    drop_unfinished(explanation);
    order_by_file(explanation);
    if (arguments.json)
        print_answer("explain", explanation.status, to_json(explanation, image, !arguments.show_secrets));
    else
        show(explanation);
    return explanation.status;
}

} // namespace

const Subcommand explain_command = {
    "explain",
    "Show what an upgrade changes in each file, and why",
    {
        {"ROOT|FILE", &Arguments::file,
         "An appliance's root folder, which is left alone, or one configuration file, plain or gzip", true},
        {"--image", &Arguments::image, "Folder with the image's files, in place of the packaged ones"},
        {"--as", &Arguments::as, "What FILE is, if its name does not tell", false, {"global", "domain"}},
        {"--domain", &Arguments::domain, "The name of the domain that FILE belongs to"},
        {"--show-secrets", &Arguments::show_secrets, "Show passwords and keys, which are hidden otherwise"},
        {"--json", &Arguments::json, "Print files and changes as JSON"},
    },
    explain,
};

} // namespace command
