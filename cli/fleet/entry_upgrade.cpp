/* Each form of an appliance has its road here; what is done on it is done by those who upgrade one appliance or file.
 */
#include "fleet/entry_upgrade.h"

#include "appliance/staged_input.h"
#include "appliance/upgrade.h"
#include "explain/accounting.h"
#include "explain/ledger_run.h"
#include "fleet/archive.h"
#include "fleet/entries.h"
#include "fleet/folder_copy.h"
#include "fleet/results_folder.h"
#include "image/image_files.h"
#include "output/console.h"
#include "output/release_text.h"
#include "report/account_report.h"
#include "report/page.h"
#include "report/report.h"
#include "report/stored_account.h"
#include "report/upgrade_ledger.h"
#include "system/digest.h"
#include "system/files.h"
#include "system/gzip_text.h"
#include "system/temporary_folder.h"

#include <cerrno>
#include <chrono>
#include <clocale>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace command {

namespace {

/* What one run knows. */
struct EntryRun {
    const EntryJob        &job;
    Interrupts            &interrupts;
    const ResultsFolder   &results;
    const TemporaryFolder &work;
    Image                  image;
    std::string            name;
    EntryResult            result = {};
    Outcome                outcome = {};
    Account                account = {};
    ResultTexts            texts = {};
    std::string            made = {}; /* where the upgraded appliance lies, or empty */
};

/* ---- the upgrade ---- */

/* The folders of migr's own in an appliance that are not there, the deepest first. */
std::vector<std::string> missing_folders(const std::string &root)
{
    std::vector<std::string> missing;
    for (std::string path = own_folder; path != "/"; path = folder_of(path))
        if (!is_there(root + path))
            missing.push_back(root + path);
    return missing;
}

void remove_all(const std::string &path)
{
    std::error_code error;
    fs::remove_all(path, error);
    if (error)
        throw PathError{"remove", path, error.value()};
}

/* The input is what there is to go back to, so the copy needs no snapshot, nor folders for such. */
void drop_snapshot(const std::string &root, const std::vector<std::string> &missing, const std::string &snapshot)
{
    if (!snapshot.empty())
        remove_all(root + own_folder + "/snapshots/" + file_name_of(snapshot));
    if (missing.empty())
        return;
    if (missing.front() == root + own_folder)
        remove_all(missing.front());
    for (const std::string &folder : missing)
        if (rmdir(folder.c_str()) != 0 && errno != ENOTEMPTY && errno != ENOENT)
            throw PathError{"remove", folder, errno};
}

void upgrade_copy(EntryRun &run, const std::string &root)
{
    UpgradeRequest request;
    request.root = root;
    request.shown = run.job.path;
    request.work = run.work.make("staging");
    request.image = run.job.image;
    request.run.partial = run.job.partial;
    request.run.accept_damage = run.job.accept_damage;
    request.run.tell = [](const std::string &line) { say(line); };
    request.run.library = [] { run_and_account(Detail::lines); };
    request.account = [&](const Root &staging, const std::vector<FileOutcome> &files) {
        run.account = account_of_results(staging, files);
        run.texts = results_in(staging, run.account);
        return std::string();
    };
    std::vector<std::string> missing = missing_folders(root);
    SyncsLeftOut             as_it_is_a_copy;
    run.outcome = upgrade(request, run.interrupts);
    drop_snapshot(root, missing, run.outcome.snapshot);
    run.outcome.snapshot.clear();
    run.result.end = end_of(run.outcome.files);
}

/* ---- a root folder ---- */

void upgrade_folder(EntryRun &run)
{
    std::string root = run.work.make("copy") + "/root";
    copy_folder(run.job.path, root);
    upgrade_copy(run, root);
    run.made = root;
}

/* ---- an archive ---- */

/* The appliance's folder in what was unpacked: that itself, or the one folder in it. */
std::string root_in(const std::string &folder)
{
    if (fs::is_directory(folder + "/data"))
        return folder;
    std::string only;
    for (const auto &entry : fs::directory_iterator(folder)) {
        if (!only.empty() || !entry.is_directory())
            return folder;
        only = entry.path();
    }
    return only.empty() ? folder : only;
}

void upgrade_archive(EntryRun &run)
{
    Root     folder(run.work.make("unpacked"), run.name);
    Fd       archive = open_file(run.job.path, Links::follow);
    Unpacked unpacked = unpack_archive(archive.get(), folder);
    upgrade_copy(run, root_in(folder.path()));
    std::string packed = run.work.make("packed") + "/archive";
    Fd          to(open(packed.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!to)
        throw PathError{"write", packed, errno};
    pack_again(archive.get(), unpacked, folder, to.get());
    run.made = packed;
}

/* ---- a file ---- */

void write_made(EntryRun &run, const std::string &path, const std::string &text, bool packed)
{
    write_new(path, packed ? gzip(text) : text);
    run.made = path;
}

/* Files are called what they were, and not as they are in the throw-away appliance. */
void take_file_result(EntryRun &run, const SingleFile &file)
{
    std::string folder = run.work.make("made");
    bool        packed = looks_like_gzip(file.bytes);
    if (file.facts.release >= image_release())
        return write_new(run.made = folder + "/file", file.bytes);
    for (const auto &[name, text] : run.texts)
        write_made(run, folder + "/" + (file.becomes_two() && !packed ? name.substr(0, name.rfind(".gz")) : name), text,
                   packed);
    if (file.becomes_two())
        run.made = folder;
}

void upgrade_file(EntryRun &run)
{
    std::unique_ptr<StagingFolder> staging = throw_away_appliance();
    SingleFile file = lay_out_input({run.job.path, "", ""}, staging->root(), run.image, run.interrupts);
    RunRequest request;
    request.accept_damage = run.job.accept_damage;
    request.library = [] { run_and_account(Detail::lines); };
    StagedRun staged = run_staged(staging->root(), run.image, request, run.interrupts);
    std::erase_if(staged.files, [&](const FileOutcome &one) { return !file.becomes_two() && one.name != file.stored; });
    run.outcome.root = run.job.path;
    run.outcome.image = run.image.folder;
    run.outcome.files = staged.files;
    run.outcome.notes = staged.notes;
    run.outcome.status = staged.status;
    run.outcome.changed = staged.ran;
    run.result.end = end_of(run.outcome.files);
    if (staged.ran) {
        run.account = account_of_results(staging->root(), staged.files);
        run.texts = results_in(staging->root(), run.account);
    }
    if (run.result.end != EntryEnd::refused)
        take_file_result(run, file);
}

/* ---- what came of it ---- */

Json::Members ledger_of(EntryRun &run)
{
    LedgerRequest request = {run.name, run.outcome.files, run.account, run.texts, run.outcome.changed};
    return upgrade_ledger(request, run.image);
}

Json::Members answer_of(const EntryRun &run, const std::string &error, const std::vector<std::string> &details)
{
    Json::Members members = {{"format", 1},
                             {"entry", run.name},
                             {"result", name_of(run.result.end)},
                             {"error", Json::text_or_null(error)},
                             {"details", Json::list(details)},
                             {"messages", Json::list(kept_lines())}};
    for (auto &member : answer_members(run.outcome, run.account))
        members.push_back(std::move(member));
    return members;
}

void put_text(EntryRun &run, const std::string &text, const std::string &place)
{
    std::string made_at = run.work.make(("for-" + folder_of(place)).c_str()) + "/text";
    write_new(made_at, text);
    run.results.put(made_at, place);
}

void put_ledger(EntryRun &run)
{
    std::string ledger = Json(ledger_of(run)).one_line();
    put_text(run, gzip(ledger), "ledgers/" + run.name + ".json.gz");
    if (run.job.page)
        put_text(run, report_page(ledger), "reports/" + run.name + ".html");
}

void put_results(EntryRun &run, const std::string &error, const std::vector<std::string> &details)
{
    bool is_done = run.result.end == EntryEnd::upgraded || run.result.end == EntryEnd::current;
    if (is_done && !run.made.empty()) {
        run.results.put(run.made, "appliances/" + run.name);
        run.result.output = "appliances/" + run.name;
    } else {
        run.results.remove("appliances/" + run.name);
    }
    if (!run.outcome.files.empty())
        put_ledger(run);
    put_text(run, Json(answer_of(run, error, details)).text(), "answers/" + run.name + ".json");
}

/* Its first sentence, without what is quoted and without the appliance's path: those differ from one to the next. */
std::string cause_of_failure(std::string text, const std::string &path)
{
    for (size_t at = 0; !path.empty() && (at = text.find(path, at)) != text.npos;) {
        bool             goes_on = text.compare(at + path.size(), 1, "/") == 0;
        std::string_view instead = goes_on ? "" : "it";
        text.replace(at, path.size(), instead);
        at += instead.size(); /* which may hold the path, too */
    }
    if (text.starts_with("it: "))
        text.erase(0, 4);
    std::string cause = text.substr(0, text.find(". "));
    for (size_t quote = cause.find(" \""); quote != cause.npos; quote = cause.find(" \""))
        cause.erase(quote, cause.find('"', quote + 2) + 1 - quote);
    return cause;
}

void take_failure(EntryRun &run, const Failure &failure, std::string &error)
{
    run.interrupts.stop_here(run.name + " is not done.");
    error = failure.what();
    run.result.end = end_of(failure);
    take_reason({error, cause_of_failure(error, run.job.path)}, run.result);
}

void upgrade_by_form(EntryRun &run, EntryForm form)
{
    switch (form) {
    case EntryForm::folder:
        return upgrade_folder(run);
    case EntryForm::archive:
        return upgrade_archive(run);
    case EntryForm::file:
        return upgrade_file(run);
    case EntryForm::other:
        throw Failure(Status::unusable, "It is no folder, no archive and no file.");
    }
}

/* A job whose path ends in the appliance's own name. Results that were called by no name would take the place of all
 * that there are. */
EntryJob with_name(EntryJob job)
{
    std::string asked = job.path;
    while (job.path.size() > 1 && job.path.ends_with('/'))
        job.path.pop_back();
    std::string name = fs::path(job.path).filename();
    if (name.empty() || name == "." || name == "..")
        throw Failure(Status::unusable, "\"" + asked +
                                            "\" has no name that results could be called by. Name the "
                                            "appliance by its folder's or its file's own name.");
    return job;
}

std::string version_text()
{
    return "migr " MIGR_VERSION " for " + release_text(image_release());
}

std::string host_name()
{
    char name[256] = "";
    gethostname(name, sizeof name - 1);
    return name;
}

std::string digest_of_image(const Image &image)
{
    Sha256 sum;
    for (const ImageFile &file : image_file_table)
        sum.add(sha256(image_text(image, file.name)));
    return sum.hex();
}

} // namespace

Identity identity_of(const EntryJob &job)
{
    std::string options = std::string(job.partial ? "partial " : "") + (job.accept_damage ? "accept-damage " : "");
    return {"", digest_of_image(open_image(job.image)), version_text(), options};
}

/* All but the line. The copy goes before anything is synced, so that no disk has to take it. */
static EntryResult upgraded_into(const ResultsFolder &results, const EntryJob &job, Interrupts &interrupts)
{
    TemporaryFolder work(results.work());
    EntryRun        run = {job, interrupts, results, work, open_image(job.image), file_name_of(job.path)};
    EntryForm       form = form_of(job.path);
    run.result.entry = run.name;
    run.result.form = name_of(form);
    run.result.host = host_name();
    run.result.identity = identity_of(job);
    run.result.identity.input = digest_of_entry(job.path, form);
    std::string              error;
    std::vector<std::string> details;
    try {
        upgrade_by_form(run, form);
        take_findings(run.outcome.files, run.result);
        take_counts(run.account, Causes(image_text(run.image, "update_config")), run.result);
    } catch (const Failure &failure) {
        take_failure(run, failure, error);
        details = failure.details;
    } catch (const PathError &path_error) {
        take_failure(run, failure_of(path_error, path_error.path), error);
    } catch (const std::exception &other) { /* above all, too little memory */
        take_failure(run, {Status::failed, text_of(other)}, error);
    }
    put_results(run, error, details);
    return run.result;
}

EntryResult upgrade_entry(const EntryJob &job, Interrupts &interrupts)
{
    setlocale(LC_CTYPE, "C.UTF-8"); /* or names in archives cannot be read */
    auto          start = std::chrono::steady_clock::now();
    EntryJob      named = with_name(job);
    ResultsFolder results(job.out);
    EntryResult   result = upgraded_into(results, named, interrupts);
    result.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    results.add_line(result);
    return result;
}

} // namespace command
