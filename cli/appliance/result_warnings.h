/*
 * What an operator should look at in the result of an upgrade, though nothing went wrong: material that files were to
 * give, keys in clear, references to what is gone, pages and certificates that did not come along. Judges by the texts
 * before and behind the upgrade and by the files beside them, not by what the library did.
 */
#pragma once

#include "output/file_finding.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace command {

struct UpgradedText {
    std::string      name;    /* in /data/config */
    int32_t          release; /* that it had before */
    std::string      before;  /* its text before, or that of the file that it was split from */
    std::string_view after;   /* its text now; must outlive this */
    bool             made_by_split = false;
};

/* What there is to say of each file, in their order; each with line and path in the result, or in the old file where it
 * says so. To be run inside the staging folder, by a process that may end if memory does. Throws PathError. */
std::vector<std::vector<FileFinding>> result_warnings(const std::vector<UpgradedText> &files);

} // namespace command
