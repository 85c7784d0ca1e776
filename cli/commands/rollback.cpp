/* migr rollback ROOT [SNAPSHOT] [--list] */
#include "appliance/restore.h"
#include "appliance/snapshot.h"
#include "commands/subcommand.h"
#include "output/console.h"
#include "output/size_text.h"
#include "output/table.h"

#include <algorithm>

namespace command {

namespace {

Status show_snapshots(const Root &root)
{
    std::vector<Row> rows = {{"SNAPSHOT", "RELEASE", "FILES", "SIZE"}};
    for (const SnapshotSummary &one : list_snapshots(root)) {
        if (one.trouble.empty())
            rows.push_back({one.name, one.release, std::to_string(one.files), size_text(one.bytes)});
        else
            rows.push_back({one.name, "unusable", "", ""});
    }
    if (rows.size() == 1)
        say(root.shown() + " has no snapshots.");
    else
        show_table(rows, {2, 3});
    return Status::done;
}

/* That of a run that was cut off goes ahead of the newest: a clock that was put back must not mislead. */
std::string default_snapshot(const Root &root, const std::vector<SnapshotSummary> &snapshots)
{
    std::string unfinished = unfinished_snapshot(root);
    return unfinished.empty() ? snapshots.back().name : unfinished;
}

std::string chosen_snapshot(const Root &root, const std::string &asked)
{
    std::vector<SnapshotSummary> snapshots = list_snapshots(root);
    if (snapshots.empty())
        throw Failure(Status::unusable, root.shown() + " has no snapshots, so there is nothing to go back to.");
    if (asked.empty())
        return default_snapshot(root, snapshots);
    bool known =
        std::any_of(snapshots.begin(), snapshots.end(), [&](const SnapshotSummary &one) { return one.name == asked; });
    if (!known)
        throw Failure(Status::unusable,
                      root.shown() + " has no snapshot " + asked + ". See which it has: migr rollback --list");
    return asked;
}

/* A signal waits until all is back. */
Status roll_back(const Arguments &arguments)
{
    Root root(arguments.root);
    if (arguments.list)
        return show_snapshots(root);
    Interrupts held;
    root.lock();
    std::string              name = chosen_snapshot(root, arguments.snapshot);
    std::vector<std::string> left = restore_snapshot(root, name);
    for (const std::string &difference : left)
        complain("not put back: " + difference);
    if (!left.empty())
        return Status::left_alone;
    say(root.shown() + " is as it was, from the snapshot " + shown_snapshot(root, name) + ".");
    return Status::done;
}

} // namespace

const Subcommand rollback_command = {
    "rollback",
    "Put back what was before an upgrade",
    {
        {"ROOT", &Arguments::root, "The appliance's root folder", true},
        {"SNAPSHOT", &Arguments::snapshot, "Which snapshot, by its name; the newest if not given"},
        {"--list", &Arguments::list, "List the snapshots, the newest last"},
    },
    roll_back,
};

} // namespace command
