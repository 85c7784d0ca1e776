/* What each part of the library's work changed in each file, taken down while it works. */
#pragma once

#include "appliance/root.h"

#include <cstdint>
#include <string>
#include <vector>

namespace command {

/* One part's changes in one file. */
struct SectionChange {
    std::string file;    /* its name in /data/config */
    int32_t     release; /* version code */
    std::string by;      /* "delete rules", "version step", "stage" ... */
    std::string diff;    /* unified, without head lines */
};

/* In the library's child: the upgrade run, and its changes left in the root folder for read_changes. */
void run_and_take_down(bool show_secrets);

/* In the order in which they were made; of a pass that was begun anew only the last attempt. */
std::vector<SectionChange> read_changes(const Root &root);

} // namespace command
