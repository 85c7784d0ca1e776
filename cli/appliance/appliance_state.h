/* The appliance's own book-keeping, as the parent process sees it: commits that were cut off, and snapshots. */
#pragma once

#include "appliance/root.h"
#include "appliance/way_back.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace command {

using Tell = std::function<void(const std::string &line)>;

/*
 * By the lock's holder, ahead of all else: finishes or drops what a killed migr left, and tells which. When it may not
 * write, as for a dry run, it throws Failure if there is a commit to finish.
 */
void settle_last_commit(const Root &root, bool may_write, const Tell &tell);

/*
 * Has `work`, which commits something and gives its snapshot's name, done in the root folder, and gives that name. When
 * the process that does it is killed, what it left is finished or dropped at once: then too all is new, or Failure says
 * that all is old. By the lock's holder.
 */
std::string commit_inside(const Root &root, const std::function<std::string()> &work);

struct SnapshotSummary {
    std::string name;
    std::string command; /* "upgrade" or "rollback" */
    std::string from;    /* releases of the global file before and after that command */
    std::string to;
    uint64_t    files = 0; /* that it keeps */
    uint64_t    bytes = 0;
    std::string trouble; /* why it cannot be used, or empty */
};

/* All of them, the oldest first, each read whole and checked. Throws Failure. */
std::vector<SnapshotSummary> list_snapshots(const Root &root);

/* How messages call a snapshot. */
std::string shown_snapshot(const Root &root, const std::string &name);

/* The name of the snapshot that a person means by its name or by its path as it is shown or, for nothing, of the
 * newest upgrade that has not been taken back. Throws Failure. */
std::string chosen_snapshot(const Root &root, const std::optional<std::string> &asked);

/* Removes all but the newest `keep`, and gives the names of those that went. By the lock's holder. Throws Failure. */
std::vector<std::string> prune_snapshots(const Root &root, size_t keep);

struct RollbackPlan {
    std::vector<std::string> undone; /* the snapshots that are taken back, the newest first */
    std::vector<Since>       since;
    std::string              from; /* releases of the global file now and then */
    std::string              to;
    size_t                   changes = 0; /* paths that become something else */
};

/* What a rollback to before that snapshot would do. Throws Failure. */
RollbackPlan plan_rollback(const Root &root, const std::string &snapshot);

/* Does it, and gives the name of the snapshot that keeps what was replaced. By the lock's holder. Throws Failure. */
std::string roll_back(const Root &root, const std::string &snapshot);

} // namespace command
