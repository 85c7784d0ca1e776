/*
 * Whether a tree, once written, is read as the tree that it was.
 *
 * A file keeps names and values as raw text, so a value whose quote is never closed takes the lines behind it in, and
 * the next reader finds another configuration than the one that was written. Works on the records alone, and changes
 * none.
 */
#pragma once

#include "tree/config_node.h"

#include <cstddef>
#include <string>
#include <vector>

namespace command {

struct Misreading {
    enum class Kind {
        no_value, /* a `set` without a value: the next reader gives up there */
        open,     /* a value or name that ends in another place than where it was written to end */
        cut,      /* text that no reader keeps: a line too long, or more words than its line can have */
    };
    Kind                     kind = Kind::open;
    std::vector<std::string> path; /* names from the top level down */
};

/* All of a tree's, in the order of the text, the first `most` of them. What is marked as deleted or hidden is not
 * written and does not count. `root` is of kind MIGR_ROOT. */
std::vector<Misreading> misreadings_of(const config_node &root, size_t most);

} // namespace command
