/*
 * One appliance of a fleet carried forward: from the folder that holds all of them, which is never written to, into the
 * folder of results. There its results take their places whole, and then its line is written; an appliance without a
 * line is one that nothing was done about.
 */
#pragma once

#include "fleet/result.h"
#include "run/interrupts.h"

#include <string>

namespace command {

struct EntryJob {
    std::string path; /* of the appliance */
    std::string out;  /* the folder of results */
    std::string image;
    bool        partial = false;
    bool        accept_damage = false;
    bool        page = false; /* a report's page is wanted, too */
};

/* Throws Failure when there is no line to be had: the job itself is wrong, the folder of results cannot be written to,
 * or a signal came. Whatever is wrong with the appliance is in the result. */
EntryResult upgrade_entry(const EntryJob &job, Interrupts &interrupts);

/* Of that image, with those options; without an input. Throws Failure. */
Identity identity_of(const EntryJob &job);

} // namespace command
