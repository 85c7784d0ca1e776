/* Trees compared by what of them is written: whether a text reads back as the tree that was written into it. */
#pragma once

#include "tree/config_node.h"

#include <string>

namespace fuzzing {

/* All that the writer has to keep of a tree, a line for each node: its depth, what it is written as, its name and
 * value, less the white space that is layout. Marked nodes and what hangs below them are left out. */
std::string outline(const config_node &root);

/* Nothing, or what differs: the first line of the outline that the text, once it is read, has otherwise. A tree of
 * which it is told that it will be misread (run/read_back.h) has nothing to hold. Reads into a tree of its own. */
std::string misread(const config_node &root, const std::string &written);

} // namespace fuzzing
