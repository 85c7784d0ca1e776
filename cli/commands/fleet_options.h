/* Options that the subcommands of `migr fleet` share. No subcommand of its own. */
#pragma once

#include "commands/options.h"
#include "fleet/fleet.h"

#include <string>
#include <vector>

namespace command {

/* Those that say how each appliance is upgraded. */
std::vector<Option> fleet_upgrade_options();

/* The job of an appliance at that path. */
EntryJob entry_job(const Arguments &arguments, const std::string &path);

FleetRequest fleet_request(const Arguments &arguments);

/* 1 when a file of it was not upgraded, too. */
Status status_of(const EntryResult &result);

} // namespace command
