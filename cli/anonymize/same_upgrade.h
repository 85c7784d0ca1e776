/* Whether an upgrade does the same to two configurations, of which one was made from the other: line by line, by the
 * accounts. */
#pragma once

#include "anonymize/anonymize.h"
#include "appliance/single_file.h"
#include "image/image_files.h"

#include <string>
#include <vector>

namespace command {

struct UpgradeComparison {
    uint64_t                 lines = 0; /* of the old one that have been accounted for */
    std::vector<std::string> differences;
};

/* `renamed` tells which file has become which; empty for single files. Throws Failure. */
UpgradeComparison compare_upgrades(const SingleRequest &old_one, const SingleRequest &new_one,
                                   const std::vector<RenamedFile> &renamed, const Image &image, Interrupts &interrupts);

} // namespace command
