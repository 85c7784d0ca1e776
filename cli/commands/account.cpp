/* migr account and migr blame: how they are asked for and shown. How an account comes about is told by
 * explain/account.h. */
#include "appliance/snapshot_store.h"
#include "commands/options.h"
#include "explain/accounting.h"
#include "output/console.h"
#include "output/json.h"
#include "output/table.h"
#include "report/account_report.h"
#include "report/report.h"
#include "report/result_lines.h"
#include "report/stored_account.h"

#include <algorithm>

namespace command {

namespace {

AccountView account_view_of(const Arguments &arguments)
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
        for (const FileFinding &reason : file.reasons)
            complain(file.name + ": " + reason.text);
        for (const FileFinding &warning : file.warnings)
            complain("warning: " + file.name + ": " + warning.text);
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

/* Signals wait for the run's end and its folder's removal, and not for all that is told afterwards. */
Accounting account_of_input(const Arguments &arguments, const Image &image, Detail detail, Texts texts)
{
    Interrupts interrupts;
    Accounting accounting = account_for(single_request(arguments), image, detail, texts, interrupts);
    interrupts.stop_here("Nothing was changed.");
    return accounting;
}

Status account(const Arguments &arguments)
{
    Image image = open_image(arguments.image);
    tell_image(image);
    Accounting accounting;
    if (arguments.last)
        accounting.account = kept_account(arguments);
    else
        accounting = account_of_input(arguments, image, arguments.all ? Detail::lines : Detail::changes, Texts::left);
    std::string update_file = image_text(image, "update_config");
    Causes      causes(update_file);
    AccountView view = account_view_of(arguments);
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

std::string origin_text(const LineSource &source, const AccountFile &result, uint32_t line)
{
    if (!source.entry)
        return "";
    if (source.entry->in.first == 0)
        return "new";
    uint32_t old_line = std::min(source.entry->in.first + (line - source.entry->out.first), source.entry->in.last);
    return (source.file->file == result.file ? "" : source.file->file + ":") + std::to_string(old_line);
}

std::string cause_text(const Account &account, const LineSource &source)
{
    if (!source.entry || source.entry->causes.empty())
        return "";
    const Author &last = account.authors[source.entry->causes.back()];
    return briefly(last);
}

/* A line of a result, as it is shown. */
struct BlamedLine {
    uint32_t    number;
    LineSource  source;
    std::string was;
    std::string cause;
    std::string text;
};

std::vector<BlamedLine> blamed_lines(const Accounting &accounting, const AccountFile &result, bool show_secrets)
{
    std::vector<LineSource>  sources = sources_of(accounting.account, result);
    std::vector<std::string> lines = shown_lines(sources, accounting.results.at(result.file), show_secrets);
    std::vector<BlamedLine>  blamed;
    for (uint32_t number = 1; number <= lines.size(); number++) {
        const LineSource &source = sources.at(number);
        blamed.push_back({number, source, origin_text(source, result, number), cause_text(accounting.account, source),
                          lines[number - 1]});
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
    Accounting accounting = account_of_input(arguments, image, Detail::lines, Texts::wanted);
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
