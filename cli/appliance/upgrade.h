/* Carrying an appliance forward: stage, run, verify, commit. Nothing of the appliance changes ahead of the commit. */
#pragma once

#include "appliance/outcome.h"
#include "appliance/staged_run.h"
#include "appliance/staging.h"
#include "run/interrupts.h"

#include <functional>
#include <memory>
#include <string>

namespace command {

struct UpgradeRequest {
    std::string root;
    std::string shown; /* how messages call it; empty: by its path */
    std::string image; /* folder of the image's files; empty: the packaged ones */
    std::string work;  /* folder for the private copy; empty: the appliance's own, or for a dry run the usual one */
    bool        dry_run = false;
    bool        strict = false; /* commit nothing that there is a warning about */
    RunRequest  run;

    /* What the run has left in the staging folder about its own work, as it is to be kept with the snapshot. */
    std::function<std::string(const Root &staging, const std::vector<FileOutcome> &files)> account;
};

/* Does it all. Throws Failure: `unusable` when the appliance, the image or the request is at fault, `failed` when the
 * run or the commit failed. Unless the text says otherwise nothing was changed then. */
Outcome upgrade(const UpgradeRequest &request, Interrupts &interrupts);

/* A private copy of an appliance, for whoever only wants to see what an upgrade makes of it. Throws Failure. */
std::unique_ptr<StagingFolder> stage_to_look(const Root &root, Interrupts &interrupts);

} // namespace command
