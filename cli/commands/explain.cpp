/* migr explain ROOT|FILE: how an explanation is asked for and shown. How it comes about is told by
 * explain/explanation.h. */
#include "appliance/staged_input.h"
#include "appliance/staged_run.h"
#include "commands/options.h"
#include "explain/causes.h"
#include "explain/explanation.h"
#include "output/console.h"
#include "output/json.h"
#include "output/release_text.h"
#include "report/account_report.h"
#include "report/report.h"

#include <algorithm>
#include <sstream>

namespace command {

namespace {

struct Explained {
    StagedRun   run;
    Explanation explanation;
};

DiffView diff_view_of(const Arguments &arguments)
{
    DiffView view;
    view.show_secrets = arguments.show_secrets;
    view.lines.path = arguments.path;
    if (!asks_for_fates(arguments))
        return view;
    view.lines.dropped = arguments.dropped;
    view.lines.rewritten = arguments.rewritten;
    view.lines.added = arguments.added;
    view.lines.moved = false;
    return view;
}

CauseText text_of(const Author &author, const Causes &causes)
{
    return causes.of(author.mechanism, author.name, author.line);
}

/* Signals wait for the run's end and its folder's removal, and not for all that is told afterwards. */
Explained explained(const Arguments &arguments, const Image &image, const Causes &causes)
{
    Interrupts         interrupts;
    StagedInput        input = stage_input(single_request(arguments), image, interrupts);
    CauseFilter        filter = cause_filter(arguments);
    ExplanationRequest request;
    request.view = diff_view_of(arguments);
    request.takes = [&](const Author &author) {
        return filter.takes_all() || filter.takes(author, text_of(author, causes));
    };
    RunRequest run;
    run.before = input.before;
    run.wanted = {explanation_path};
    run.partial = true; /* whatever can be explained */
    run.library = [&] { run_and_explain(request); };
    Explained all;
    all.run = run_staged(input.root(), image, run, interrupts);
    if (all.run.ran)
        all.explanation = explanation_from(all.run.brought.front());
    /* What stands in for the other files of an appliance is of no interest. */
    if (!input.only.empty())
        std::erase_if(all.run.files, [&](const FileOutcome &file) { return file.name != input.only; });
    interrupts.stop_here("Nothing was changed.");
    return all;
}

/* ---- for people ---- */

std::string whole_diff(const ExplainedChange &change)
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

void show_change(const ExplainedChange &change, const Causes &causes)
{
    CauseText text = text_of(change.author, causes);
    say("== " + change.file + ", " + shown(change.author) + " (" + text.kind + ")" +
        (text.sentence.empty() ? "" : ": " + text.sentence));
    for (const std::string &line : lines_of(whole_diff(change)))
        say(line);
}

std::string summary(const FileOutcome &file, bool changed, bool is_filtered)
{
    const char *no_change =
        is_filtered ? ", and nothing of what was asked for changed." : ", and nothing changed but the version line.";
    std::string from = release_text(file.before);
    std::string to = release_text(file.after);
    switch (file.result) {
    case Result::current:
        return file.name + ": nothing to do, it is at " + from + " already.";
    case Result::newer:
        return file.name + ": nothing to do, it is at " + from + ", and the image at " + release_text(image_release()) +
               ".";
    case Result::refused:
        return file.name + ": cannot be upgraded. " + (file.reasons.empty() ? "" : file.reasons.front().text);
    case Result::added:
        return file.name + ": new, at " + to + ".";
    default:
        return file.name + ": from " + from + " to " + to + (changed ? "." : no_change);
    }
}

void show(const Explained &all, const Causes &causes, bool is_filtered)
{
    for (const FileOutcome &file : all.run.files) {
        const std::vector<ExplainedChange> &changes = all.explanation.changes;
        auto of_file = [&](const ExplainedChange &change) { return change.file == file.name; };
        say(summary(file, std::any_of(changes.begin(), changes.end(), of_file), is_filtered));
        for (const ExplainedChange &change : changes)
            if (of_file(change))
                show_change(change, causes);
    }
}

/* ---- for programs ---- */

Json to_json(const FileOutcome &file)
{
    return Json::Members{{"file", file.name},
                         {"before", Json::release(file.before)},
                         {"after", Json::release(file.after)},
                         {"result", word(file.result)},
                         {"reasons", Json::list(texts_of(file.reasons))},
                         {"warnings", Json::list(texts_of(file.warnings))}};
}

Json to_json(const ExplainedChange &change, const Causes &causes)
{
    const Author &author = change.author;
    CauseText     text = text_of(author, causes);
    return Json::Members{{"file", change.file},
                         {"release", Json::release(author.release)},
                         {"mechanism", author.mechanism},
                         {"name", author.name},
                         {"line", author.line == 0 ? Json() : Json(uint64_t{author.line})},
                         {"kind", text.kind},
                         {"sentence", Json::text_or_null(text.sentence)},
                         {"diff", Json::lines(whole_diff(change))}};
}

Json::Members to_json(const Explained &all, const Image &image, const Causes &causes, bool secrets_hidden)
{
    Json::List files, changes;
    for (const FileOutcome &file : all.run.files)
        files.push_back(to_json(file));
    for (const ExplainedChange &change : all.explanation.changes)
        changes.push_back(to_json(change, causes));
    return {{"image", image.folder},
            {"image_release", Json::release(image_release())},
            {"secrets_hidden", secrets_hidden},
            {"files", std::move(files)},
            {"changes", std::move(changes)},
            {"incomplete", all.explanation.is_incomplete}};
}

/* ---- the run ---- */

/* What was taken down of a file that the run then left alone never came to be. */
void drop_unfinished(Explained &all)
{
    std::erase_if(all.explanation.changes, [&](const ExplainedChange &change) {
        auto file = std::find_if(all.run.files.begin(), all.run.files.end(),
                                 [&](const FileOutcome &one) { return one.name == change.file; });
        return file == all.run.files.end() || file->result == Result::refused;
    });
}

/* By file; each file's changes keep their order. */
void order_by_file(Explained &all)
{
    auto place = [&](const ExplainedChange &change) {
        return std::find_if(all.run.files.begin(), all.run.files.end(),
                            [&](const FileOutcome &file) { return file.name == change.file; });
    };
    std::stable_sort(
        all.explanation.changes.begin(), all.explanation.changes.end(),
        [&](const ExplainedChange &one, const ExplainedChange &other) { return place(one) < place(other); });
}

Status explain(const Arguments &arguments)
{
    Image image = open_image(arguments.image);
    tell_image(image);
    Causes    causes(image_text(image, "update_config"));
    Explained all = explained(arguments, image, causes);
    drop_unfinished(all);
    order_by_file(all);
    if (all.explanation.is_incomplete)
        complain("warning: memory ran out, so not all changes are shown.");
    bool is_filtered = asks_for_fates(arguments) || !arguments.path.empty() || !cause_filter(arguments).takes_all();
    if (arguments.json)
        print_answer("explain", all.run.status, to_json(all, image, causes, !arguments.show_secrets));
    else
        show(all, causes, is_filtered);
    return all.run.status;
}

} // namespace

const Subcommand explain_command = {
    "explain",
    "Show what an upgrade changes in each file, by whom and why",
    joined(
        {root_or_file(), change_filters(), image_and_file_kind(), secrets_and_json("Print files and changes as JSON")}),
    explain,
};

} // namespace command
