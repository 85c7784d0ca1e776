/* What an upgrade is going to do with each configuration file, and why it does nothing with one. */
#pragma once

#include "appliance/inspect.h"
#include "output/file_finding.h"

#include <string>
#include <vector>

namespace command {

enum class Fate {
    upgrade,
    current, /* it is at the image's release */
    newer,   /* it is of a release that the image does not know */
    refuse,  /* it ought to be upgraded and cannot be */
};

struct FilePlan {
    StoredFile               file;
    Fate                     fate = Fate::upgrade;
    std::vector<FileFinding> reasons; /* of a refusal, a line each */
};

/* A plan for each file of the folder, in the folder's order. With `accept_damage`, text that will be lost is no reason
 * to refuse a file. */
std::vector<FilePlan> plan_files(const ConfigFolder &folder, bool accept_damage);

/* That of the global file, or null. */
const FilePlan *global_plan(const std::vector<FilePlan> &plans);

/* Whether the library will make two files of the global one. */
bool is_split(const std::vector<FilePlan> &plans);

bool any_of_fate(const std::vector<FilePlan> &plans, Fate fate);

} // namespace command
