/* Sends what the store, the commit and the way back do into the appliance's root folder. */
#include "appliance/appliance_state.h"

#include "appliance/commit.h"
#include "appliance/snapshot_store.h"
#include "appliance/way_back.h"
#include "system/failure.h"

#include <algorithm>

namespace command {

namespace {

/* A snapshot's own words, made a failure. */
Failure unusable_snapshot(const Root &root, const std::string &name, const std::string &why)
{
    return {Status::unusable,
            shown_snapshot(root, name) + ": " + why + ". Choose another snapshot (migr snapshots lists them)."};
}

const char *text_of(Leftover leftover)
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

json to_json(const SnapshotSummary &summary)
{
    return {summary.name, summary.command, summary.from, summary.to, summary.files, summary.bytes, summary.trouble};
}

SnapshotSummary summary_from(const json &from)
{
    return {from[0], from[1], from[2], from[3], from[4], from[5], from[6]};
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
            return json(last_upgrade());
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
    std::string folder = shown_snapshot(root, "");
    std::string name = asked.starts_with(folder) ? asked.substr(folder.size()) : asked;
    while (name.size() > 1 && name.back() == '/')
        name.pop_back();
    return name;
}

} // namespace

void settle_last_commit(const Root &root, bool may_write, const Tell &tell)
{
    if (!may_write) {
        if (root.run([] { return json(is_commit_pending()); }))
            throw Failure(Status::unusable, root.shown() + ": an earlier migr was cut off while it put its result in "
                                                           "place. Run migr upgrade or migr rollback there, which "
                                                           "finish that first.");
        return;
    }
    auto leftover = static_cast<Leftover>(root.run([] { return json(static_cast<int>(recover())); }).get<int>());
    if (leftover != Leftover::none && tell)
        tell(text_of(leftover));
}

std::vector<SnapshotSummary> list_snapshots(const Root &root)
{
    json                         found = root.run([] {
        json list = json::array();
        for (const std::string &name : snapshot_names())
            list.push_back(to_json(summary_of(name)));
        return list;
    });
    std::vector<SnapshotSummary> snapshots;
    for (const json &one : found)
        snapshots.push_back(summary_from(one));
    return snapshots;
}

std::string shown_snapshot(const Root &root, const std::string &name)
{
    return root.shows(std::string(snapshots_folder) + "/" + name);
}

std::string chosen_snapshot(const Root &root, const std::optional<std::string> &asked)
{
    auto names = root.run([] { return json(snapshot_names()); }).get<std::vector<std::string>>();
    if (names.empty())
        throw Failure(Status::unusable, root.shown() + " has no snapshots, so there is nothing to go back to.");
    if (!asked)
        return newest_upgrade(root);
    std::string name = snapshot_of_path(root, *asked);
    if (std::find(names.begin(), names.end(), name) == names.end())
        throw Failure(Status::unusable,
                      root.shown() + " has no snapshot \"" + *asked + "\". See which it has: migr snapshots");
    return name;
}

std::vector<std::string> prune_snapshots(const Root &root, size_t keep)
{
    return root
        .run([&] {
            std::vector<std::string> names = snapshot_names();
            names.resize(names.size() - std::min(names.size(), keep));
            for (const std::string &name : names)
                remove_snapshot(name);
            return json(names);
        })
        .get<std::vector<std::string>>();
}

RollbackPlan plan_rollback(const Root &root, const std::string &snapshot)
{
    json         found = root.run([&] {
        WayBack way = way_back_of(root, snapshot);
        json    since = json::array();
        for (const Since &one : way.since)
            since.push_back({one.path, one.what, one.replaced});
        return json{way.undone, since, way.manifest.from, way.manifest.to, way.manifest.changes.size()};
    });
    RollbackPlan plan = {found[0].get<std::vector<std::string>>(), {}, found[2], found[3], found[4]};
    for (const json &one : found[1])
        plan.since.push_back({one[0], one[1], one[2]});
    return plan;
}

std::string roll_back(const Root &root, const std::string &snapshot)
{
    return root.run([&] {
        WayBack way = way_back_of(root, snapshot);
        commit(root, way.manifest,
               [&](const Change &change) { return open_in_snapshot(way.kept_in.at(change.path), change.path); });
        return json(way.manifest.name);
    });
}

} // namespace command
