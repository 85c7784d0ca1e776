/* migr snapshots ROOT [--prune KEEP]: what there is to go back to. Going back is another subcommand's work. */
#include "appliance/appliance_state.h"
#include "commands/subcommand.h"
#include "output/console.h"
#include "output/json.h"
#include "output/size_text.h"
#include "output/table.h"

namespace command {

namespace {

void prune(const Root &root, size_t keep)
{
    root.lock();
    settle_last_commit(root, true, [](const std::string &line) { say(line); });
    for (const std::string &name : prune_snapshots(root, keep))
        say("removed " + shown_snapshot(root, name));
}

void print_json(const Root &root, const std::vector<SnapshotSummary> &snapshots, Status status)
{
    Json::List list;
    for (const SnapshotSummary &one : snapshots)
        list.push_back(Json::Members{{"name", one.name},
                                     {"path", shown_snapshot(root, one.name)},
                                     {"before", one.command},
                                     {"from", one.from},
                                     {"to", one.to},
                                     {"files", one.files},
                                     {"bytes", one.bytes},
                                     {"trouble", Json::text_or_null(one.trouble)}});
    print_answer("snapshots", status, {{"root", root.shown()}, {"snapshots", std::move(list)}});
}

Status show_snapshots(const Arguments &arguments)
{
    Root root(arguments.root);
    if (arguments.keep)
        prune(root, *arguments.keep);
    std::vector<SnapshotSummary> snapshots = list_snapshots(root);
    std::vector<Row>             rows = {{"SNAPSHOT", "BEFORE", "FROM", "TO", "FILES", "SIZE", "STATE"}};
    Status                       status = Status::done;
    for (const SnapshotSummary &one : snapshots) {
        rows.push_back({one.name, one.command, one.from, one.to, std::to_string(one.files), size_text(one.bytes),
                        one.trouble.empty() ? "sound" : one.trouble});
        if (!one.trouble.empty())
            status = Status::left_alone;
    }
    if (arguments.json)
        print_json(root, snapshots, status);
    else if (snapshots.empty())
        say(root.shown() + " has no snapshots.");
    else
        show_table(rows, {4, 5});
    return status;
}

} // namespace

const Subcommand snapshots_command = {
    "snapshots",
    "List what an appliance can go back to, or remove some of it",
    {
        {"ROOT", &Arguments::root, "The appliance's root folder", true},
        {"--prune", &Arguments::keep, "Remove all but the newest so many"},
        {"--json", &Arguments::json, "Print the list as JSON"},
    },
    show_snapshots,
};

} // namespace command
