/*
 * The split of a file from before 5.10 into two, as a diff for each of them: top-level blocks stay, go or come, whole
 * and as they are.
 */
#pragma once

#include "explain/change_filter.h"
#include "explain/told_tree.h"

#include <cstdint>
#include <string>
#include <vector>

namespace command {

struct TopLevelBlock {
    uint32_t    node;
    std::string text;     /* as it is shown, secrets hidden unless asked for */
    bool        is_shown; /* the writer of a tree would write it; the split writes all */
    std::string file;     /* to which the split has written it; empty: to none */
};

/* Between parts: all that stand in the tree. */
std::vector<TopLevelBlock> top_level_blocks(const ToldTree &tree, bool show_secrets);

/* From the text that was split to that of `file`. */
std::string split_diff(const std::vector<TopLevelBlock> &before, const std::vector<TopLevelBlock> &after,
                       const std::string &file, const LineFilter &filter, uint64_t header_lines);

} // namespace command
