#include "report/report.h"

#include "appliance/inspect.h"
#include "driver/version_lines.h"
#include "output/console.h"
#include "output/printable.h"
#include "output/size_text.h"
#include "output/table.h"

#include <algorithm>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace command {

namespace {

using Object = nlohmann::ordered_json; /* keys stay in the order in which they are written here */

const char *word(Result result)
{
    switch (result) {
    case Result::upgraded:
        return "upgraded";
    case Result::added:
        return "new";
    case Result::current:
        return "up to date";
    default:
        return "left alone";
    }
}

std::string seconds_text(std::chrono::microseconds time)
{
    char text[32];
    snprintf(text, sizeof text, "%.2f s", std::chrono::duration<double>(time).count());
    return text;
}

void show_files(const Report &report)
{
    std::vector<Row> rows = {{"FILE", "BEFORE", "AFTER", "RESULT", "SIZE", "TIME"}};
    for (const FileReport &file : report.files)
        rows.push_back({file.name, release_text(file.before), release_text(file.after), word(file.result),
                        size_text(file.size), seconds_text(file.time)});
    show_table(rows, {4, 5});
}

void show_reasons(const Report &report)
{
    for (const FileReport &file : report.files) {
        if (file.result == Result::left_alone)
            say(file.name + " was left alone. " + file.reason);
        for (uint64_t line : file.empty_sets)
            say("warning: " + file.name + ", line " + std::to_string(line) +
                ": a `set` without a value came out. The next upgrade would refuse the file; give it a value.");
    }
}

void show_notes(const Report &report)
{
    if (report.notes.empty())
        return;
    say("What the library said:");
    for (const std::string &note : report.notes)
        say("  " + note);
}

void show_trouble(const Report &report)
{
    complain(report.trouble);
    if (report.dry_run)
        return complain("This was a dry run on a copy. Nothing in " + report.root + " was changed.");
    if (report.restored)
        complain("Everything was put back as it was, from the snapshot " + report.snapshot + ".");
    for (const std::string &difference : report.not_restored)
        complain("not put back: " + difference);
    if (!report.restored && !report.snapshot.empty())
        complain("The snapshot " + report.snapshot +
                 " could not be put back in full. Put right what stands above, "
                 "then run: migr rollback " +
                 shell_word(report.root));
}

void show_next_steps(const Report &report)
{
    auto        good = std::find_if(report.files.begin(), report.files.end(),
                                    [](const FileReport &file) { return file.result == Result::upgraded; });
    std::string root = report.root == "/" ? "" : report.root;
    if (report.dry_run)
        say("Dry run: this was done to a copy. Nothing in " + report.root + " was changed.");
    if (report.snapshot.empty() || report.dry_run)
        return;
    say("Snapshot from before:  " + report.snapshot);
    if (good != report.files.end())
        say("To look at a file:     zcat " + shell_word(root + config_path(good->name)) + " | less");
    say("To go back:            migr rollback " + shell_word(report.root));
}

Object to_json(const FileReport &file)
{
    auto release = [](int32_t code) { return code < 0 ? Object() : Object(release_text(code)); };
    return {{"file", printable(file.name)},
            {"before", release(file.before)},
            {"after", release(file.after)},
            {"result", word(file.result)},
            {"reason", file.reason.empty() ? Object() : Object(printable(file.reason))},
            {"size", file.size},
            {"seconds", std::chrono::duration<double>(file.time).count()},
            {"empty_set_lines", file.empty_sets}};
}

Object printable_list(const std::vector<std::string> &texts)
{
    Object list = Object::array();
    for (const std::string &text : texts)
        list.push_back(printable(text));
    return list;
}

Object text_or_null(const std::string &text)
{
    return text.empty() ? Object() : Object(printable(text));
}

} // namespace

Status status_of(const std::vector<FileReport> &files)
{
    bool left = std::any_of(files.begin(), files.end(),
                            [](const FileReport &file) { return file.result == Result::left_alone; });
    return left ? Status::left_alone : Status::done;
}

void show(const Report &report)
{
    if (!report.trouble.empty()) {
        show_notes(report);
        show_trouble(report);
        return;
    }
    show_files(report);
    show_notes(report);
    show_reasons(report);
    show_next_steps(report);
}

std::string json_text(const Report &report)
{
    Object files = Object::array();
    for (const FileReport &file : report.files)
        files.push_back(to_json(file));
    Object all = {{"root", printable(report.root)},
                  {"image_release", release_text(get_osimage_version())},
                  {"dry_run", report.dry_run},
                  {"status", static_cast<int>(report.status)},
                  {"trouble", text_or_null(report.trouble)},
                  {"restored", report.restored},
                  {"not_restored", printable_list(report.not_restored)},
                  {"snapshot", text_or_null(report.snapshot)},
                  {"files", std::move(files)},
                  {"notes", printable_list(report.notes)}};
    return all.dump(2, ' ', true);
}

} // namespace command
