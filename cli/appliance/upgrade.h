/* Carrying an appliance forward: checks, snapshot, the library's run, verification, and the way back. */
#pragma once

#include "appliance/root.h"
#include "report/report.h"
#include "run/interrupts.h"

#include <chrono>
#include <functional>
#include <string>

namespace command {

struct UpgradeRequest {
    std::string               root;
    std::string               image; /* folder of the image's files; empty: the appliance has them */
    bool                      dry_run = false;
    bool                      json = false;
    std::chrono::milliseconds timeout = std::chrono::seconds(600);
    std::function<void()>     library; /* what runs in the child; empty: the library's upgrade run */
};

/* Does it all and prints what came of it. */
Status upgrade(const UpgradeRequest &request);

/*
 * The upgrade of one root folder. Fills the report as far as it gets, and says what it is about to do unless the
 * request is for JSON. Throws Failure when the appliance could not be used and nothing was touched.
 */
void upgrade_root(const Root &root, const UpgradeRequest &request, Interrupts &interrupts, Report &report);

/* The same on a copy in a temporary folder, which goes in the end. `look`, if given, may look at it before. */
void upgrade_copy(const UpgradeRequest &request, Interrupts &interrupts, Report &report,
                  const std::function<void(const Root &)> &look = {});

/* Throws Failure unless the folder is that of an appliance and can be written. */
void check_usable(const Root &root);

} // namespace command
