/* The report of one upgrade. It says what was done; what was found ahead of it has been said by then. */
#include "report/report.h"

#include "appliance/inspect.h"
#include "output/console.h"
#include "output/json.h"
#include "output/printable.h"
#include "output/release_text.h"
#include "output/size_text.h"
#include "output/table.h"
#include "report/account_report.h"

#include <algorithm>
#include <cstdio>

namespace command {

namespace {

std::string seconds_text(std::chrono::microseconds time)
{
    char text[32];
    snprintf(text, sizeof text, "%.2f s", std::chrono::duration<double>(time).count());
    return text;
}

void show_files(const Outcome &outcome)
{
    std::vector<Row> rows = {{"FILE", "BEFORE", "AFTER", "RESULT", "SIZE", "TIME"}};
    for (const FileOutcome &file : outcome.files)
        rows.push_back({file.name, release_text(file.before), release_text(file.after), word(file.result),
                        size_text(file.size), seconds_text(file.time)});
    show_table(rows, {4, 5});
}

void show_findings(const FileOutcome &file)
{
    for (const FileFinding &reason : file.reasons)
        say(file.name + ": " + reason.text);
    for (const FileFinding &warning : file.warnings)
        say("warning: " + file.name + ": " + warning.text);
}

void show_notes(const Outcome &outcome)
{
    if (outcome.notes.empty())
        return;
    say("What the library said:");
    for (const std::string &note : outcome.notes)
        say("  " + note);
}

bool is_any(const Outcome &outcome, Result result)
{
    return std::any_of(outcome.files.begin(), outcome.files.end(),
                       [&](const FileOutcome &file) { return file.result == result; });
}

std::string verdict(const Outcome &outcome)
{
    bool refused = is_any(outcome, Result::refused);
    bool upgraded = is_any(outcome, Result::upgraded);
    if (outcome.dry_run)
        return "Dry run: nothing in " + outcome.root + " was changed.";
    if (outcome.changed)
        return refused
                   ? "Upgraded in part: the appliance is on mixed releases now. Mend what is named above and run migr "
                     "again."
                   : "";
    if (!refused && !upgraded)
        return "Nothing to do.";
    return refused ? "Nothing was changed: one file that cannot be upgraded stops all. Mend what is named above, or "
                     "upgrade the others alone with --partial."
                   : "Nothing was changed: there are warnings, and --strict was asked for.";
}

void show_next_steps(const Outcome &outcome)
{
    if (!outcome.changed)
        return;
    auto        good = std::find_if(outcome.files.begin(), outcome.files.end(),
                                    [](const FileOutcome &file) { return file.result == Result::upgraded; });
    std::string root = outcome.root == "/" ? "" : outcome.root;
    say("Snapshot from before:  " + shell_word(outcome.snapshot));
    if (good != outcome.files.end())
        say("To look at a file:     zcat " + shell_word(root + config_folder + "/" + good->name) + " | less");
    say("To go back:            migr rollback " + shell_word(outcome.root));
}

Json to_json(const FileOutcome &file)
{
    return Json::Members{{"file", file.name},
                         {"before", Json::release(file.before)},
                         {"after", Json::release(file.after)},
                         {"result", word(file.result)},
                         {"reasons", Json::list(texts_of(file.reasons))},
                         {"warnings", Json::list(texts_of(file.warnings))},
                         {"size", file.size},
                         {"seconds", std::chrono::duration<double>(file.time).count()}};
}

} // namespace

const char *word(Result result)
{
    switch (result) {
    case Result::upgraded:
        return "upgraded";
    case Result::added:
        return "new";
    case Result::current:
        return "up to date";
    case Result::newer:
        return "newer";
    case Result::held:
        return "held back";
    default:
        return "not upgraded";
    }
}

void show(const Outcome &outcome, bool verbose)
{
    show_files(outcome);
    if (verbose)
        show_notes(outcome);
    for (const FileOutcome &file : outcome.files)
        show_findings(file);
    say("The image's files:     " + outcome.image);
    std::string text = verdict(outcome);
    if (!text.empty())
        say(text);
    show_next_steps(outcome);
}

void tell_image(const Image &image)
{
    complain("the image's files are those in " + image.folder);
}

Json::Members answer_members(const Outcome &outcome, const Account &account)
{
    Json::List files;
    for (const FileOutcome &file : outcome.files)
        files.push_back(to_json(file));
    return {{"root", outcome.root},
            {"image", outcome.image},
            {"image_release", release_text(image_release())},
            {"dry_run", outcome.dry_run},
            {"changed", outcome.changed},
            {"snapshot", Json::text_or_null(outcome.snapshot)},
            {"files", std::move(files)},
            {"notes", Json::list(outcome.notes)},
            {"accounts", counts_json(account)}};
}

} // namespace command
