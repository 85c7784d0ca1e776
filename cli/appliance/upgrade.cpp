/* The order of an upgrade's parts. Each part is described where it is made. */
#include "appliance/upgrade.h"

#include "appliance/appliance_state.h"
#include "appliance/commit.h"
#include "appliance/inside.h"
#include "appliance/snapshot_store.h"
#include "appliance/staging.h"
#include "appliance/stored_text.h"
#include "output/release_text.h"
#include "system/digest.h"
#include "system/files.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <fcntl.h>
#include <filesystem>
#include <memory>
#include <set>
#include <sys/stat.h>

namespace command {

namespace {

/* ---- checks ---- */

void require_appliance(const Root &root)
{
    std::string path = config_path(global_name);
    bool        there = inside(root, [&] {
        struct stat st = {};
        bool        is_known = stat(path.c_str(), &st) == 0;
        if (!is_known && errno != ENOENT && errno != ENOTDIR && errno != ELOOP)
            throw PathError{"look for", path, errno};
        return is_known && S_ISREG(st.st_mode);
    });
    if (!there)
        throw Failure(Status::unusable, root.shows(path) + " is not there, so " + root.shown() +
                                            " is no appliance's root folder. Name the folder that holds data, etc "
                                            "and var of the appliance.");
}

/* Only what is copied is looked at later, and these are not. */
void refuse_devices(const Root &root, const Entries &before)
{
    for (const auto &[path, entry] : before)
        if (entry.type == 'o' && folder_of(path) == config_folder)
            throw Failure(Status::unusable, root.shows(path) + " is no ordinary file. Move it out of the folder.");
}

/* ---- staging ---- */

struct Places {
    std::vector<Place> all;     /* that the library reads or changes */
    std::vector<Place> changed; /* that it may change */
};

Places places_of(const Root &root)
{
    auto list = [&](auto find) { return parse_places(root.run([&] { return places_text(find()); })); };
    return {list(places_of_staging), list(places_of_upgrade)};
}

std::unique_ptr<StagingFolder> staging_folder(const UpgradeRequest &request, const Root &root)
{
    if (!request.dry_run && request.work.empty())
        return std::make_unique<StagingFolder>(root);
    return std::make_unique<StagingFolder>(request.work, root.shown());
}

/* What lies in the staging folder now, with the sums of files; one that has not been touched has its old sum. */
Entries result_in(const Root &staging, const std::vector<Place> &places, const Entries &before)
{
    return parse_entries(staging.run([&] {
        Entries entries = look_at(places);
        for (auto &[path, entry] : entries) {
            auto was = before.find(path);
            bool same = was != before.end() && is_untouched(entry, was->second);
            if (entry.type == 'f')
                entry.sha256 = same ? was->second.sha256 : sha256_of_path(path);
        }
        return entries_text(entries);
    }));
}

/* ---- the commit ---- */

/* Paths that the appliance keeps as it has them: files that did not get through, and the plain copies of them. */
std::set<std::string> withheld_paths(const StagedRun &run)
{
    std::set<std::string> paths;
    for (const std::string &name : run.withheld) {
        paths.insert(config_path(name));
        paths.insert("/var/log/" + name.substr(0, name.rfind(".gz")));
    }
    return paths;
}

std::string release_of_global(const StagedRun &run, bool behind)
{
    for (const FileOutcome &file : run.files)
        if (file.name == global_name)
            return release_text(behind ? file.after : file.before);
    return "-";
}

Manifest manifest_of(const StagedRun &run, const std::vector<Place> &places, Entries before, const Entries &after)
{
    Manifest              manifest;
    std::set<std::string> withheld = withheld_paths(run);
    manifest.command = "upgrade";
    manifest.from = release_of_global(run, false);
    manifest.to = release_of_global(run, true);
    manifest.places = places;
    manifest.changes = changes_between(before, after);
    manifest.state = std::move(before);
    std::erase_if(manifest.changes, [&](const Change &change) { return withheld.count(change.path) != 0; });
    return manifest;
}

Fd open_result(const Root &staging, const Change &change)
{
    Fd fd(openat(staging.fd(), change.path.c_str() + 1, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (!fd)
        throw PathError{"read the new form of", change.path, errno};
    return fd;
}

/* Gives the name of the snapshot. */
std::string commit_result(const Root &root, const Root &staging, const Manifest &manifest, const std::string &account)
{
    return commit_inside(root, [&] {
        Manifest named = manifest;
        named.name = new_snapshot_name();
        std::vector<std::string> earlier = snapshot_names();
        named.previous = earlier.empty() ? "" : earlier.back();
        commit(
            root, named, [&](const Change &change) { return open_result(staging, change); }, account);
        return named.name;
    });
}

bool has_warnings(const StagedRun &run)
{
    return std::any_of(run.files.begin(), run.files.end(),
                       [](const FileOutcome &file) { return !file.warnings.empty(); });
}

} // namespace

std::unique_ptr<StagingFolder> stage_to_look(const Root &root, Interrupts &interrupts)
{
    root.lock();
    settle_last_commit(root, false, {});
    require_appliance(root);
    auto staging = std::make_unique<StagingFolder>("", root.shown());
    refuse_devices(root, stage(root, places_of(root).all, *staging, interrupts));
    return staging;
}

Outcome upgrade(const UpgradeRequest &request, Interrupts &interrupts)
{
    Outcome outcome;
    Image   image = open_image(request.image);
    Root    root(request.root, request.shown);
    outcome.root = root.shown();
    outcome.image = image.folder;
    outcome.dry_run = request.dry_run;
    root.lock();
    settle_last_commit(root, !request.dry_run, request.run.tell);
    require_appliance(root);
    if (!request.dry_run) /* ahead of the copy, which is compared with what is there at the commit */
        inside(root, [] { make_own_folders(); });
    Places                         places = places_of(root);
    std::unique_ptr<StagingFolder> staging = staging_folder(request, root);
    Entries                        staged = stage(root, places.all, *staging, interrupts);
    refuse_devices(root, staged);
    StagedRun run = run_staged(staging->root(), image, request.run, interrupts);
    outcome.files = run.files;
    outcome.notes = run.notes;
    outcome.status = run.status;
    std::string account = request.account && run.ran ? request.account(staging->root(), run.files) : "";
    if (request.strict && run.ran && has_warnings(run)) {
        outcome.status = Status::left_alone;
        return outcome;
    }
    if (!run.ran || request.dry_run)
        return outcome;
    Manifest manifest = manifest_of(run, places.changed, in_places(staged, places.changed),
                                    result_in(staging->root(), places.changed, staged));
    interrupts.stop_here("Nothing was changed.");
    outcome.snapshot = shown_snapshot(root, "");
    outcome.snapshot.reserve(outcome.snapshot.size() + NAME_MAX); /* behind the commit nothing may fail */
    outcome.snapshot += commit_result(root, staging->root(), manifest, account);
    outcome.changed = true;
    return outcome;
}

} // namespace command
