#include "appliance/upgrade.h"

#include "appliance/inspect.h"
#include "appliance/restore.h"
#include "appliance/snapshot.h"
#include "driver/migr.h"
#include "driver/version_lines.h"
#include "image/image_files.h"
#include "output/console.h"
#include "run/library_child.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sstream>
#include <sys/stat.h>

namespace command {

namespace {

/* What one upgrade knows from its checks on. */
struct Upgrade {
    const Root           &root;
    const UpgradeRequest &request;
    Interrupts           &interrupts;
    Report               &report;
    std::vector<Fd>       image; /* empty: the appliance's own files serve */
    ConfigFolder          before;
    std::string           snapshot;
};

void tell(const Upgrade &upgrade, const std::string &line)
{
    if (!upgrade.request.json)
        say(line);
}

/* ---- checks ---- */

void require_writable(const char *folder)
{
    if (faccessat(AT_FDCWD, folder, W_OK | X_OK, AT_EACCESS) != 0 && errno != ENOENT)
        throw PathError{"write into", folder, errno};
}

void check_usable_here(const Root &root)
{
    struct stat st = {};
    std::string path = config_path(global_name);
    if (stat(path.c_str(), &st) != 0 || !S_ISREG(st.st_mode))
        throw Failure(Status::unusable, root.shows(path) + " is not there, so " + root.shown() +
                                            " is no appliance's root folder. Name the folder that holds data, etc "
                                            "and var of the appliance.");
    for (const char *folder : {config_folder, "/data/etc", "/tmp", "/var/log"})
        require_writable(folder);
}

/* A pipe in a file's place would block whoever opens it; and only root can leave a file to another user. */
void check_files(const Root &root, const ConfigFolder &folder)
{
    for (const StoredFile &file : folder.files) {
        std::string shown = root.shows(config_path(file.name));
        if (file.special)
            throw Failure(Status::unusable, shown + " is no ordinary file. Move it out of the folder.");
        if (geteuid() != 0 && file.facts.error != ENOENT && file.owner != geteuid())
            throw Failure(Status::unusable, shown + " belongs to another user. " + next_step(EACCES));
    }
}

/* A run that was cut off by force left things half-way; its snapshot is the state from which to go on. */
void finish_last_run(const Upgrade &upgrade)
{
    std::string snapshot = unfinished_snapshot(upgrade.root);
    if (snapshot.empty())
        return;
    tell(upgrade, "The last upgrade was cut off. Putting back what was before it, from the snapshot " +
                      shown_snapshot(upgrade.root, snapshot));
    std::vector<std::string> left = restore_snapshot(upgrade.root, snapshot);
    if (!left.empty())
        throw Failure(Status::failed, left.front() + ", and " + shown_snapshot(upgrade.root, snapshot) +
                                          " could not be put back in full. Put that right and run migr again.");
}

void check(Upgrade &upgrade)
{
    if (unfinished_snapshot(upgrade.root).empty())
        check_usable(upgrade.root);
    if (upgrade.request.image.empty())
        check_own_image(upgrade.root);
    else
        upgrade.image = open_image(upgrade.request.image);
    upgrade.root.lock();
    finish_last_run(upgrade);
    check_usable(upgrade.root);
    upgrade.before = inspect_folder(upgrade.root, Depth::whole);
    check_files(upgrade.root, upgrade.before);
}

/* ---- ahead of the run ---- */

/* With --image an update file will be there. */
Surroundings surroundings_of(const Upgrade &upgrade)
{
    Surroundings around = inspect_surroundings(upgrade.root);
    around.update_file = around.update_file || !upgrade.image.empty();
    return around;
}

FileReport outcome_without_run(const Upgrade &upgrade, const StoredFile &file, const Surroundings &around)
{
    FileReport outcome;
    outcome.name = file.name;
    outcome.before = outcome.after = file.facts.release;
    outcome.size = file.facts.stored_size;
    outcome.result = is_current(file.facts) ? Result::current : Result::left_alone;
    if (outcome.result == Result::left_alone)
        outcome.reason = why_not_upgraded(upgrade.before, file.facts, around);
    return outcome;
}

/* Says what is going to happen. True when some file is going to be upgraded. */
bool announce(const Upgrade &upgrade, const Surroundings &around)
{
    std::string image = release_text(get_osimage_version());
    bool        any = false;
    for (const StoredFile &file : upgrade.before.files) {
        bool        current = is_current(file.facts);
        std::string reason = current ? "" : why_not_upgraded(upgrade.before, file.facts, around);
        any = any || (!current && reason.empty());
        if (current)
            tell(upgrade, file.name + ": stays as it is, it is at " + release_text(file.facts.release) + " already");
        else if (reason.empty())
            tell(upgrade, file.name + ": will be upgraded from " + release_text(file.facts.release) + " to " + image);
        else
            tell(upgrade, file.name + ": stays as it is. " + reason);
    }
    return any;
}

void report_without_run(const Upgrade &upgrade, const Surroundings &around)
{
    for (const StoredFile &file : upgrade.before.files)
        upgrade.report.files.push_back(outcome_without_run(upgrade, file, around));
    upgrade.report.status = status_of(upgrade.report.files);
    if (upgrade.report.status == Status::done)
        tell(upgrade, "Nothing to do.");
}

void take_snapshot(Upgrade &upgrade)
{
    upgrade.snapshot = make_snapshot(upgrade.root, !upgrade.image.empty(),
                                     release_text(upgrade.before.global()->facts.release), upgrade.interrupts);
    if (!upgrade.request.dry_run)
        tell(upgrade, "Snapshot: " + shown_snapshot(upgrade.root, upgrade.snapshot));
    upgrade.interrupts.stop_here("Nothing was changed.");
    mark_unfinished(upgrade.root, upgrade.snapshot);
}

/* ---- the run ---- */

void make_missing_folder(const char *path, mode_t mode)
{
    std::error_code error;
    mode_t          before = umask(022);
    std::filesystem::create_directories(path, error);
    umask(before);
    struct stat st = {};
    if (stat(path, &st) != 0 || !S_ISDIR(st.st_mode))
        throw PathError{"make", path, error ? error.value() : ENOTDIR};
    if (!error && (st.st_mode & 07777) == 0755 && mode != 0755)
        chmod(path, mode);
}

void prepare(const Upgrade &upgrade)
{
    upgrade.root.run([&] {
        struct stat st = {};
        if (stat("/tmp", &st) != 0)
            make_missing_folder("/tmp", 01777);
        if (stat("/var/log", &st) != 0)
            make_missing_folder("/var/log", 0755);
        lay_in(upgrade.image);
        return json();
    });
}

/* One small model keeps more policies than its successors allow, and the host has to say so. The version line's reader
 * knows its code without the first letter. */
bool is_small_model(const std::string &model)
{
    return model.ends_with("QB01A") && model.size() <= sizeof "QB01A";
}

/* A file from before 5.10 takes two passes and gets a domain file. */
size_t expected_passes(const ConfigFolder &folder)
{
    if (folder.global()->facts.release >= MIGR_RELEASE_5_10)
        return folder.files.size();
    return folder.files.size() + (folder.find(first_domain_name) ? 1 : 2);
}

LibraryRun run_upgrade(const Upgrade &upgrade)
{
    int32_t               small_model = is_small_model(upgrade.before.global()->facts.model) ? 1 : 0;
    std::function<void()> library = upgrade.request.library ? upgrade.request.library : migr_main_do_all;
    Progress              progress(upgrade.request.json ? nullptr : stdout, expected_passes(upgrade.before));
    return run_library(
        upgrade.root,
        [&] {
            qb01a = small_model;
            library();
        },
        upgrade.request.timeout, upgrade.interrupts, progress);
}

/* ---- behind the run ---- */

/* What was lost, or empty: a file that was there and could be read must be so still, and a file from before 5.10
 * becomes two. */
std::string loss(const ConfigFolder &before, const ConfigFolder &after)
{
    for (const std::string &name : before.names)
        if (std::find(after.names.begin(), after.names.end(), name) == after.names.end())
            return name + " was gone after the upgrade.";
    for (const StoredFile &file : before.files)
        if (file.facts.is_sound() && !after.find(file.name)->facts.is_sound())
            return file.name + " could not be read after the upgrade.";
    bool crossed =
        before.global()->facts.release < MIGR_RELEASE_5_10 && after.global()->facts.release >= MIGR_RELEASE_5_10;
    const StoredFile *domain = after.find(first_domain_name);
    if (crossed && !(domain && domain->facts.is_sound()))
        return std::string(global_name) + " is from before 5.10, and no " + first_domain_name +
               " came out of its split. See that the update file has a section for 5.10 and that the syntax file "
               "/etc/syntax_v510.txt is in order.";
    return "";
}

Result result_of(const StoredFile *before, const StoredFile &after)
{
    if (!is_current(after.facts) || !after.facts.is_sound())
        return before && is_current(before->facts) ? Result::current : Result::left_alone;
    if (!before)
        return Result::added;
    return is_current(before->facts) ? Result::current : Result::upgraded;
}

std::chrono::microseconds time_of(const LibraryRun &run, const std::string &name)
{
    std::chrono::microseconds time{0};
    for (const Pass &pass : run.passes)
        if (std::filesystem::path(pass.path).filename() == name)
            time += pass.time;
    return time;
}

FileReport outcome(const Upgrade &upgrade, const LibraryRun &run, const StoredFile &file, const Surroundings &around)
{
    const StoredFile *before = upgrade.before.find(file.name);
    FileReport        outcome;
    outcome.name = file.name;
    outcome.before = before ? before->facts.release : -1;
    outcome.after = file.facts.release;
    outcome.result = result_of(before, file);
    outcome.size = file.facts.stored_size;
    outcome.time = time_of(run, file.name);
    if (outcome.result == Result::upgraded || outcome.result == Result::added)
        outcome.empty_sets = file.facts.empty_sets;
    if (outcome.result != Result::left_alone)
        return outcome;
    outcome.reason = why_not_upgraded(upgrade.before, file.facts, around);
    if (outcome.reason.empty())
        outcome.reason = "A rule of the update file or a migration could not be applied to it. What the library said "
                         "may tell more; the update file may have to be mended.";
    return outcome;
}

/* A hostile configuration can make the library talk without end. */
std::vector<std::string> notes_of(const std::string &output)
{
    static constexpr size_t  most = 200;
    std::vector<std::string> lines;
    std::istringstream       stream(output);
    for (std::string line; std::getline(stream, line);)
        if (!line.empty())
            lines.push_back(line);
    if (lines.size() <= most)
        return lines;
    std::string rest = "(and " + std::to_string(lines.size() - most) + " lines more)";
    lines.resize(most);
    lines.push_back(rest);
    return lines;
}

void put_back(const Upgrade &upgrade, const std::string &trouble)
{
    Report &report = upgrade.report;
    report.trouble = trouble;
    report.status = Status::failed;
    try {
        report.not_restored = restore_snapshot(upgrade.root, upgrade.snapshot);
        report.restored = report.not_restored.empty();
    } catch (const Failure &failure) {
        report.not_restored = {failure.what()};
    }
}

/* Gives what went wrong, or nothing. */
std::string run_and_verify(const Upgrade &upgrade)
{
    prepare(upgrade);
    Surroundings around = surroundings_of(upgrade);
    LibraryRun   run = run_upgrade(upgrade);
    upgrade.report.notes = notes_of(run.output);
    if (!run.trouble().empty())
        return run.trouble();
    ConfigFolder after = inspect_folder(upgrade.root, Depth::whole);
    std::string  lost = loss(upgrade.before, after);
    if (!lost.empty())
        return lost;
    for (const StoredFile &file : after.files)
        upgrade.report.files.push_back(outcome(upgrade, run, file, around));
    upgrade.report.status = status_of(upgrade.report.files);
    clear_unfinished(upgrade.root);
    return "";
}

std::string trouble_of_run(const Upgrade &upgrade)
{
    try {
        return run_and_verify(upgrade);
    } catch (const Failure &failure) {
        return failure.what();
    } catch (const PathError &error) {
        return failure_of(error, error.path).what();
    }
}

void print(const Report &report, const UpgradeRequest &request)
{
    if (!request.json)
        return show(report);
    std::string text = json_text(report) + "\n";
    fwrite(text.data(), 1, text.size(), stdout);
    fflush(stdout);
}

} // namespace

void check_usable(const Root &root)
{
    root.run([&] {
        check_usable_here(root);
        return json();
    });
}

void upgrade_root(const Root &root, const UpgradeRequest &request, Interrupts &interrupts, Report &report)
{
    report.root = root.shown();
    Upgrade upgrade = {root, request, interrupts, report, {}, {}, ""};
    check(upgrade);
    Surroundings around = surroundings_of(upgrade);
    if (!announce(upgrade, around))
        return report_without_run(upgrade, around);
    take_snapshot(upgrade);
    report.snapshot = shown_snapshot(root, upgrade.snapshot);
    std::string trouble = trouble_of_run(upgrade);
    if (!trouble.empty())
        put_back(upgrade, trouble);
}

Status upgrade(const UpgradeRequest &request)
{
    Report report;
    report.root = request.root;
    report.dry_run = request.dry_run;
    try {
        Interrupts interrupts;
        if (request.dry_run)
            upgrade_copy(request, interrupts, report);
        else
            upgrade_root(Root(request.root), request, interrupts, report);
    } catch (const Failure &failure) {
        report.status = failure.status;
        report.trouble = failure.what();
    }
    print(report, request);
    return report.status;
}

} // namespace command
