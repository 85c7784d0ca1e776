/* What an upgrade of an appliance is going to do, told from the tables that steer it. Nothing is run. */
#pragma once

#include "appliance/root.h"
#include "image/image_files.h"

#include <cstdint>
#include <string>
#include <vector>

namespace command {

/* A section of the update file. */
struct PlannedSection {
    int32_t release = 0;
    size_t  rules = 0;      /* all its rules */
    size_t  concerning = 0; /* those that begin at a top-level config that the file has now */
    bool    step = false;   /* the version chain has a step for this very release */
};

struct PlannedStage {
    int32_t                  release = 0;
    std::vector<std::string> callbacks; /* those whose scope takes in a top-level config that the file has now */
};

/* Something done to files beside the configuration. */
struct PlannedEffect {
    int32_t     release = 0;
    std::string by;
    std::string text;
};

/* One pass over one file. */
struct PlannedPass {
    std::string                 file;
    int32_t                     from = 0;
    int32_t                     to = 0;
    bool                        splits = false; /* it ends in a global and a domain file */
    std::vector<PlannedSection> sections;
    std::vector<PlannedStage>   stages;
    std::vector<PlannedEffect>  effects;
};

/* A file that no pass is for. */
struct UntouchedFile {
    std::string file;
    int32_t     release = 0; /* version code, or -1 */
    std::string reason;      /* empty: it is no older than the image */
};

struct Plan {
    std::vector<PlannedPass>   passes; /* in their order; domain files by name */
    std::vector<UntouchedFile> untouched;
    std::vector<PlannedEffect> afterwards; /* when all files are written */
};

/* Looks at the appliance in `root`, and at the files of the image that it would be upgraded with. Throws Failure. */
Plan plan_upgrade(const Root &root, const Image &image);

} // namespace command
