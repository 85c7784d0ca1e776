/* The two header lines of a configuration, without a run of the library. */
#pragma once

#include <string>

namespace command {

/* Both, from their marks on; empty without them. In the calling process: configuration text is hostile, so call it in a
 * child. */
std::string header_lines_of(std::string text);

} // namespace command
