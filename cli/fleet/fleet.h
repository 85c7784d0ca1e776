/*
 * A folder of saved appliances, each carried forward into a folder of results (results_folder.h) by a process of its
 * own. What is done there is told by entry_upgrade.h, who starts those processes by hand_out.h.
 */
#pragma once

#include "fleet/entry_upgrade.h"
#include "fleet/index.h"
#include "run/interrupts.h"

#include <cstdio>
#include <optional>
#include <string>

namespace command {

struct FleetRequest {
    std::string             migr; /* the command that does it; empty: this one */
    std::string             in;
    EntryJob                job; /* as for each appliance, without its path */
    bool                    resume = false;
    std::optional<unsigned> at_once;
    std::optional<unsigned> timeout; /* seconds for an appliance */
    std::string             halt;
    std::string             hosts; /* a file that lists machines; empty: this one alone */
    FILE                   *progress = nullptr;
};

/* How a run of it went; what came of the appliances is in the index. */
struct FleetRun {
    uint64_t done_before = 0; /* left out, since their results stand */
    uint64_t left = 0;        /* of which nobody tried any more, as enough had failed */
    size_t   hidden = 0;      /* names in the folder that begin with a dot, and were left out */
};

/* Does it all, and fills the index with all results that there are. Throws Failure: when it cannot begin, and when a
 * signal stopped it, with what to do to go on. */
FleetRun upgrade_fleet(const FleetRequest &request, FleetIndex &index, Interrupts &interrupts);

/* The results of an earlier one. Throws Failure when there are none. */
void read_results(const std::string &out, FleetIndex &index);

/* The command for a shell that upgrades the appliance of that name. */
std::string job_line(const FleetRequest &request, const std::string &name);

/* Throws Failure unless those two folders can be named in such commands, and results would stay out of `in`. */
void require_folders(const std::string &in, const std::string &out);

} // namespace command
