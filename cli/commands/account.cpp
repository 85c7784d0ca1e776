/* migr account and migr blame: how they are asked for and shown. How an account comes about is told by
 * explain/account.h. */
#include "appliance/snapshot_store.h"
#include "appliance/staged_input.h"
#include "appliance/staged_run.h"
#include "appliance/stored_text.h"
#include "commands/options.h"
#include "explain/ledger_run.h"
#include "output/console.h"
#include "output/json.h"
#include "output/table.h"
#include "report/account_report.h"
#include "report/report.h"
#include "report/stored_account.h"

#include <algorithm>
#include <map>
#include <sstream>

namespace command {

namespace {

struct Accounting {
    StagedRun                          run;
    Account                            account;
    std::map<std::string, std::string> results; /* the texts, by file, if they are wanted */
};

enum class Texts { left, wanted };

/* With `all`, lines that are kept are accounted for, too. */
Accounting account_for(const Arguments &arguments, const Image &image, bool all, Texts texts, Interrupts &interrupts)
{
    StagedInput input = stage_input(single_request(arguments), image, interrupts);
    RunRequest  request;
    request.partial = true; /* whatever can be accounted for */
    request.accept_damage = true;
    request.library = [all] { run_and_account(all); };
    Accounting accounting;
    accounting.run = run_staged(input.root(), image, request, interrupts);
    accounting.account = account_of_results(input.root(), accounting.run.files);
    if (texts == Texts::wanted)
        for (const AccountFile &file : accounting.account.files)
            accounting.results[file.file] = input.root().run([&] { return stored_text(file.file); });
    return accounting;
}

AccountView view_of(const Arguments &arguments)
{
    AccountView view;
    bool        chosen = asks_for_fates(arguments);
    view.dropped = !chosen || arguments.dropped || arguments.all;
    view.rewritten = !chosen || arguments.rewritten || arguments.all;
    view.added = arguments.added || arguments.all || (arguments.json && !chosen);
    view.moved = arguments.all || (arguments.json && !chosen);
    view.kept = arguments.all;
    view.new_classes = !chosen;
    view.path = arguments.path;
    view.causes = cause_filter(arguments);
    view.show_secrets = arguments.show_secrets;
    return view;
}

/* Why a file was not upgraded, and what was lost of one that was. */
void show_findings(const StagedRun &run)
{
    for (const FileOutcome &file : run.files) {
        for (const std::string &reason : file.reasons)
            complain(file.name + ": " + reason);
        for (const std::string &warning : file.warnings)
            complain("warning: " + file.name + ": " + warning);
    }
}

/* That of the newest upgrade that has one. */
Account kept_account(const Arguments &arguments)
{
    if (arguments.all)
        throw Failure(Status::unusable,
                      "Of an upgrade that is done, lines that were kept are not kept: leave out --all.");
    Root root(arguments.file);
    root.lock();
    std::string bytes = root.run([] {
        std::vector<std::string> names = snapshot_names();
        for (auto name = names.rbegin(); name != names.rend(); ++name)
            if (std::optional<std::string> found = account_in_snapshot(*name))
                return *found;
        return std::string();
    });
    if (bytes.empty())
        throw Failure(Status::unusable, root.shown() + " has no account of an upgrade.");
    return account_from(bytes);
}

Status account(const Arguments &arguments)
{
    Image image = open_image(arguments.image);
    tell_image(image);
    Interrupts interrupts;
    Accounting accounting;
    if (arguments.last)
        accounting.account = kept_account(arguments);
    else
        accounting = account_for(arguments, image, arguments.all, Texts::left, interrupts);
    std::string update_file = image_text(image, "update_config");
    Causes      causes(update_file);
    AccountView view = view_of(arguments);
    show_findings(accounting.run);
    if (arguments.json) {
        print_answer("account", accounting.run.status, to_json(accounting.account, causes, view));
        return accounting.run.status;
    }
    show_counts(accounting.account);
    show_entries(accounting.account, causes, view);
    show_effects(accounting.account, causes);
    say("");
    say(summary_of(accounting.account, causes) + ".");
    return accounting.run.status;
}

/* ---- blame ---- */

/* Where a line of a result came from. */
struct Source {
    const AccountFile  *file = nullptr; /* of the entry; null: the line only opens a file or closes a block */
    const AccountEntry *entry = nullptr;
};

/* By line of the result, from 1. */
std::vector<Source> sources_of(const Account &account, const AccountFile &result)
{
    std::vector<Source> sources(result.out.lines + 1);
    for (const AccountFile &file : account.files)
        for (const AccountEntry &entry : file.entries) {
            const std::string &out_file = entry.out_file.empty() ? file.file : entry.out_file;
            if (out_file == result.file)
                for (uint32_t line = entry.out.first; line > 0 && line <= entry.out.last; line++)
                    sources.at(line) = {&file, &entry};
        }
    return sources;
}

std::string origin_text(const Source &source, const AccountFile &result, uint32_t line)
{
    if (!source.entry)
        return "";
    if (source.entry->in.first == 0)
        return "new";
    uint32_t old_line = std::min(source.entry->in.first + (line - source.entry->out.first), source.entry->in.last);
    return (source.file->file == result.file ? "" : source.file->file + ":") + std::to_string(old_line);
}

std::string cause_text(const Account &account, const Source &source)
{
    if (!source.entry || source.entry->causes.empty())
        return "";
    const Author &last = account.authors[source.entry->causes.back()];
    return briefly(last);
}

/* A secret's further lines say nothing either. */
std::string blamed_text(const Source &source, const std::vector<std::string> &lines, uint32_t number)
{
    const std::string &line = lines[number - 1];
    if (!source.entry)
        return line;
    const std::string &first = lines[source.entry->out.first - 1];
    std::string        shown = without_secret(*source.entry, first);
    if (shown == first)
        return line;
    size_t indent = std::min(line.find_first_not_of(" \t"), line.size());
    bool   is_first = number == source.entry->out.first;
    return is_first ? line.substr(0, indent) + shown.substr(0, shown.find('\n')) : "(hidden)";
}

/* A line of a result, as it is shown. */
struct BlamedLine {
    uint32_t    number;
    Source      source;
    std::string was;
    std::string cause;
    std::string text;
};

std::vector<BlamedLine> blamed_lines(const Accounting &accounting, const AccountFile &result, bool show_secrets)
{
    std::vector<std::string> lines;
    std::istringstream       stream(accounting.results.at(result.file));
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    std::vector<Source>     sources = sources_of(accounting.account, result);
    std::vector<BlamedLine> blamed;
    for (uint32_t number = 1; number <= lines.size(); number++) {
        const Source &source = sources.at(number);
        blamed.push_back({number, source, origin_text(source, result, number), cause_text(accounting.account, source),
                          show_secrets ? lines[number - 1] : blamed_text(source, lines, number)});
    }
    return blamed;
}

void show_blame(const Accounting &accounting, const AccountFile &result, bool show_secrets)
{
    std::vector<Row> rows = {{"LINE", "WAS", "CAUSE", result.file}};
    for (const BlamedLine &line : blamed_lines(accounting, result, show_secrets))
        rows.push_back({std::to_string(line.number), line.was, line.cause, line.text});
    show_table(rows, {0, 1});
}

Json blame_json(const Accounting &accounting, const AccountFile &result, bool show_secrets)
{
    Json::List list;
    for (const BlamedLine &line : blamed_lines(accounting, result, show_secrets))
        list.push_back(Json::Members{{"line", uint64_t{line.number}},
                                     {"was", Json::text_or_null(line.was)},
                                     {"fate", line.source.entry ? Json(word(line.source.entry->fate)) : Json()},
                                     {"cause", Json::text_or_null(line.cause)},
                                     {"text", line.text}});
    return Json::Members{{"file", result.file}, {"lines", std::move(list)}};
}

Status blame(const Arguments &arguments)
{
    Image image = open_image(arguments.image);
    tell_image(image);
    Interrupts interrupts;
    Accounting accounting = account_for(arguments, image, true, Texts::wanted, interrupts);
    show_findings(accounting.run);
    Json::List files;
    for (const AccountFile &file : accounting.account.files)
        if (arguments.json)
            files.push_back(blame_json(accounting, file, arguments.show_secrets));
        else
            show_blame(accounting, file, arguments.show_secrets);
    if (arguments.json)
        print_answer("blame", accounting.run.status, {{"files", std::move(files)}});
    return accounting.run.status;
}

} // namespace

const Subcommand account_command = {
    "account",
    "Say what becomes of each line in an upgrade, and why",
    joined({root_or_file(),
            {{"--last", &Arguments::last, "Of the last upgrade of ROOT, as it was done"},
             {"--all", &Arguments::all, "Show every line, those that are kept or moved, too"}},
            change_filters(),
            image_and_file_kind(),
            secrets_and_json("Print the account as JSON")}),
    account,
};

const Subcommand blame_command = {
    "blame",
    "Show the upgraded text, each line with where it came from and why",
    joined({root_or_file(), image_and_file_kind(), secrets_and_json("Print the lines as JSON")}),
    blame,
};

} // namespace command
