/* What stands at the top level of a configuration, without a run of the library. */
#pragma once

#include <string>
#include <vector>

namespace command {

struct Outline {
    std::vector<std::string> names;   /* of the top-level configs, in comma form and in their order */
    std::string              headers; /* both header lines, from their marks on */
};

/* Reads a whole text as the library does, up to its end, an error notwithstanding. In the calling process:
 * configuration text is hostile, so call it in a child. */
Outline outline_of(std::string text);

} // namespace command
