/* migr explain ROOT|FILE [--image DIR] [--as global|domain] [--domain NAME] [--json] */
#include "appliance/single_file.h"
#include "appliance/upgrade.h"
#include "commands/subcommand.h"
#include "driver/version_lines.h"
#include "explain/explanation.h"
#include "image/image_files.h"
#include "image/packaged_image.h"
#include "output/console.h"
#include "output/printable.h"
#include "system/temporary_folder.h"

#include <algorithm>
#include <filesystem>
#include <sstream>

namespace fs = std::filesystem;

namespace command {

namespace {

struct ExplainRequest {
    SingleRequest input; /* its file may be an appliance's root folder */
    std::string   image;
    bool          json = false;
};

struct Explanation {
    Report              report;
    std::vector<Change> changes;
};

UpgradeRequest run_of(const ExplainRequest &request, const std::string &image)
{
    UpgradeRequest run;
    run.root = request.input.file;
    run.image = image;
    run.json = true; /* nothing but the explanation goes to standard output */
    run.library = run_and_take_down;
    return run;
}

void explain_root(const ExplainRequest &request, Interrupts &interrupts, Explanation &explanation)
{
    upgrade_copy(run_of(request, request.image), interrupts, explanation.report,
                 [&](const Root &copy) { explanation.changes = read_changes(copy); });
}

/* A domain file came with a global file that holds nothing; nobody asked for that one. */
void keep_only(const SingleFile &file, Explanation &explanation)
{
    std::erase_if(explanation.changes, [&](const Change &change) { return change.file != file.stored; });
    std::erase_if(explanation.report.files, [&](const FileReport &report) { return report.name != file.stored; });
}

void explain_file(const ExplainRequest &request, Interrupts &interrupts, Explanation &explanation)
{
    std::string     image = image_folder(request.image);
    std::string     syntax = syntax_of_image(image);
    TemporaryFolder temporary("explain");
    Root            root(temporary.make("root"), "the throw-away root folder");
    SingleFile      file = lay_out_single_file(request.input, root, syntax);
    warn_of_what_is_missing(file);
    upgrade_root(root, run_of(request, image), interrupts, explanation.report);
    explanation.changes = read_changes(root);
    if (file.is_domain())
        keep_only(file, explanation);
}

/* ---- showing ---- */

std::string whole_diff(const Change &change)
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

void show_change(const Change &change)
{
    say("== " + change.file + ", " + release_text(change.release) + ", " + change.by);
    for (const std::string &line : lines_of(whole_diff(change)))
        say(line);
}

std::string summary(const FileReport &file, bool changed)
{
    std::string from = release_text(file.before);
    std::string to = release_text(file.after);
    switch (file.result) {
    case Result::current:
        return file.name + ": nothing to do, it is at " + from + " already.";
    case Result::left_alone:
        return file.name + ": would be left alone. " + file.reason;
    case Result::added:
        return file.name + ": new, at " + to + ".";
    default:
        return file.name + ": from " + from + " to " + to +
               (changed ? "." : ", and nothing changed but the version line.");
    }
}

void show_file(const FileReport &file, const std::vector<Change> &changes)
{
    auto of_file = [&](const Change &change) { return change.file == file.name; };
    bool changed = std::any_of(changes.begin(), changes.end(), of_file);
    say(summary(file, changed));
    for (const Change &change : changes)
        if (of_file(change))
            show_change(change);
}

std::string printable_lines(const std::string &text)
{
    std::string out;
    for (const std::string &line : lines_of(text))
        out += printable(line) + "\n";
    return out;
}

void print_json(const std::vector<Change> &changes)
{
    nlohmann::ordered_json all = nlohmann::ordered_json::array();
    for (const Change &change : changes)
        all.push_back({{"file", printable(change.file)},
                       {"release", release_text(change.release)},
                       {"by", change.by},
                       {"diff", printable_lines(whole_diff(change))}});
    std::string text = all.dump(2, ' ', true) + "\n";
    write_all(STDOUT_FILENO, text, "standard output");
}

/* What was noted of a file that the run then left alone never came to be. */
void drop_unfinished(Explanation &explanation)
{
    for (const FileReport &file : explanation.report.files)
        if (file.result == Result::left_alone)
            std::erase_if(explanation.changes, [&](const Change &change) { return change.file == file.name; });
}

/* By file; each file's changes keep their order. */
void order_by_file(Explanation &explanation)
{
    std::vector<Change> ordered;
    for (const FileReport &file : explanation.report.files)
        std::copy_if(explanation.changes.begin(), explanation.changes.end(), std::back_inserter(ordered),
                     [&](const Change &change) { return change.file == file.name; });
    explanation.changes = std::move(ordered);
}

void print(const ExplainRequest &request, Explanation &explanation)
{
    drop_unfinished(explanation);
    order_by_file(explanation);
    if (!request.json) {
        for (const FileReport &file : explanation.report.files)
            show_file(file, explanation.changes);
        return;
    }
    for (const FileReport &file : explanation.report.files)
        if (file.result == Result::left_alone)
            complain(summary(file, false));
    print_json(explanation.changes);
}

Status explain(const Arguments &arguments)
{
    ExplainRequest  request = {{arguments.file, arguments.as, arguments.domain}, arguments.image, arguments.json};
    Interrupts      interrupts;
    Explanation     explanation;
    std::error_code none;
    if (fs::is_directory(request.input.file, none))
        explain_root(request, interrupts, explanation);
    else
        explain_file(request, interrupts, explanation);
    if (!explanation.report.trouble.empty())
        throw Failure(Status::failed, explanation.report.trouble + " Nothing was changed.");
    print(request, explanation);
    return explanation.report.status;
}

} // namespace

const Subcommand explain_command = {
    "explain",
    "Show what an upgrade changes in each file, and why",
    {
        {"ROOT|FILE", &Arguments::file,
         "An appliance's root folder, which is left alone, or one configuration file, plain or gzip", true},
        {"--image", &Arguments::image,
         "Folder with the image's files, in place of those in ROOT or, for a FILE, of the packaged ones"},
        {"--as", &Arguments::as, "What FILE is, if its name does not tell", false, {"global", "domain"}},
        {"--domain", &Arguments::domain, "The name of the domain that FILE belongs to"},
        {"--json", &Arguments::json, "Print a list of changes as JSON"},
    },
    explain,
};

} // namespace command
