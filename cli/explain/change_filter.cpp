/* Patterns are those of a shell's file names, but that "/" is a letter like any other. */
#include "explain/change_filter.h"

#include "output/release_text.h"

#include <fnmatch.h>

namespace command {

bool CauseFilter::takes(const Author &author, const CauseText &text) const
{
    return (kind.empty() || text.kind == kind) && (release.empty() || release_text(author.release) == release) &&
           (by.empty() || author.name == by);
}

bool is_path_like(const std::string &path, const std::string &pattern)
{
    return fnmatch(pattern.c_str(), path.c_str(), 0) == 0;
}

} // namespace command
