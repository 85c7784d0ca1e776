/* Sends what the store, the commit and the way back do into the appliance's root folder. */
#include "appliance/appliance_state.h"

#include "appliance/commit.h"
#include "appliance/inside.h"
#include "appliance/snapshot_store.h"
#include "appliance/way_back.h"
#include "output/printable.h"
#include "system/failure.h"
#include "system/refused_memory.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <new>

namespace fs = std::filesystem;

namespace command {

static auto fields_of(SnapshotSummary &summary)
{
    return std::tie(summary.name, summary.command, summary.from, summary.to, summary.files, summary.bytes,
                    summary.trouble);
}

static auto fields_of(Since &since)
{
    return std::tie(since.path, since.what, since.replaced);
}

static auto fields_of(RollbackPlan &plan)
{
    return std::tie(plan.undone, plan.since, plan.from, plan.to, plan.changes);
}

namespace {

/* A snapshot's own words, made a failure. */
Failure unusable_snapshot(const Root &root, const std::string &name, const std::string &why)
{
    return {Status::unusable,
            shown_snapshot(root, name) + ": " + why + ". Choose another snapshot (migr snapshots lists them)."};
}

const char *words_for(Leftover leftover)
{
    switch (leftover) {
    case Leftover::dropped:
        return "An earlier migr was cut off before it changed anything. What it had prepared was removed.";
    case Leftover::finished:
        return "An earlier migr was cut off while it put its result in place. That is finished now.";
    case Leftover::undone:
        return "An earlier migr was cut off while it took back what it could not put in place. That is finished now.";
    default:
        return "";
    }
}

SnapshotSummary summary_of(const std::string &name)
{
    SnapshotSummary summary;
    summary.name = name;
    try {
        Manifest manifest = read_snapshot(name);
        summary.command = manifest.command;
        summary.from = manifest.from;
        summary.to = manifest.to;
        for (const Change &change : manifest.changes) {
            bool kept = change.before && change.before->type == 'f';
            summary.files += kept ? 1 : 0;
            summary.bytes += kept ? change.before->size : 0;
        }
        check_snapshot(manifest);
    } catch (const PathError &error) {
        summary.trouble = failure_of(error, error.path).what();
    } catch (const std::runtime_error &error) {
        summary.trouble = error.what();
    }
    return summary;
}

/* Works a way back out, inside the root folder. */
WayBack way_back_of(const Root &root, const std::string &snapshot)
{
    try {
        return way_back(snapshot);
    } catch (const std::runtime_error &error) {
        throw unusable_snapshot(root, snapshot, error.what());
    }
}

std::string newest_upgrade(const Root &root)
{
    std::string name = root.run([&] {
        try {
            return last_upgrade();
        } catch (const std::runtime_error &error) {
            throw Failure(Status::unusable, root.shown() + ": a snapshot cannot be read: " + error.what() + ".");
        }
    });
    if (name.empty())
        throw Failure(Status::unusable, root.shown() +
                                            ": every upgrade there has been taken back already. To undo that, "
                                            "name the snapshot of the rollback (migr snapshots lists them).");
    return name;
}

std::string snapshot_of_path(const Root &root, const std::string &asked)
{
    auto     folder = [](const std::string &path) { return fs::absolute(path + "/").lexically_normal(); };
    fs::path below = folder(asked).lexically_relative(folder(shown_snapshot(root, "")));
    return asked.find('/') == std::string::npos || below.empty() ? asked : below.parent_path().string();
}

} // namespace

void settle_last_commit(const Root &root, bool may_write, const Tell &tell)
{
    if (!may_write) {
        if (inside(root, is_commit_pending))
            throw Failure(Status::unusable, root.shown() + ": an earlier migr was cut off while it put its result in "
                                                           "place. Run migr upgrade or migr rollback there, which "
                                                           "finish that first.");
        return;
    }
    Leftover leftover = inside(root, recover);
    if (leftover != Leftover::none && tell)
        tell(words_for(leftover));
}

/* Without memory for its answer alone, all that the work had to do is done. */
std::string commit_inside(const Root &root, const std::function<std::string()> &work)
{
    size_t                 earlier = inside(root, snapshot_names).size();
    std::string            why = "the process that was to put the result in place was killed";
    std::optional<Failure> told;
    require_no_refused_memory();
    try {
        return root.run(work);
    } catch (const ChildEnded &) {
    } catch (const Failure &failure) {
        if (failure.error != ENOMEM)
            throw;
        told = failure;
        why = text_of(std::bad_alloc());
    } catch (const std::bad_alloc &error) {
        why = text_of(error);
    }
    Leftover                 leftover = inside(root, recover);
    std::vector<std::string> names = inside(root, snapshot_names);
    if (names.size() > earlier)
        return names.back();
    if (told && leftover != Leftover::undone)
        throw *told;
    throw Failure(Status::failed, root.shown() + ": " + why + ". Everything is as it was. Run migr again.");
}

std::vector<SnapshotSummary> list_snapshots(const Root &root)
{
    return inside(root, [] {
        std::vector<SnapshotSummary> snapshots;
        for (const std::string &name : snapshot_names())
            snapshots.push_back(summary_of(name));
        return snapshots;
    });
}

std::string shown_snapshot(const Root &root, const std::string &name)
{
    return root.shows(std::string(snapshots_folder) + "/" + name);
}

std::string chosen_snapshot(const Root &root, const std::optional<std::string> &asked)
{
    std::vector<std::string> names = inside(root, snapshot_names);
    if (names.empty())
        throw Failure(Status::unusable, root.shown() + " has no snapshots, so there is nothing to go back to.");
    if (!asked)
        return newest_upgrade(root);
    std::string name = snapshot_of_path(root, *asked);
    if (std::find(names.begin(), names.end(), name) == names.end())
        throw Failure(Status::unusable, root.shown() + " has no snapshot \"" + *asked +
                                            "\". See which it has: migr snapshots " + shell_word(root.shown()));
    return name;
}

std::vector<std::string> prune_snapshots(const Root &root, size_t keep)
{
    return inside(root, [&] {
        std::vector<std::string> names = snapshot_names();
        names.resize(names.size() - std::min(names.size(), keep));
        for (const std::string &name : names)
            remove_snapshot(name);
        return names;
    });
}

RollbackPlan plan_rollback(const Root &root, const std::string &snapshot)
{
    return inside(root, [&] {
        WayBack way = way_back_of(root, snapshot);
        return RollbackPlan{way.undone, way.since, way.manifest.from, way.manifest.to, way.manifest.changes.size()};
    });
}

std::string roll_back(const Root &root, const std::string &snapshot)
{
    return commit_inside(root, [&] {
        WayBack way = way_back_of(root, snapshot);
        commit(root, way.manifest,
               [&](const Change &change) { return open_in_snapshot(way.kept_in.at(change.path), change.path); });
        return way.manifest.name;
    });
}

} // namespace command
