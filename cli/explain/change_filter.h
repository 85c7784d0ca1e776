/* Which changes somebody wants to see: by what became of a line, where it stands, and by whom. */
#pragma once

#include "explain/authors.h"
#include "explain/causes.h"

#include <string>

namespace command {

/* Empty texts let everything through. */
struct CauseFilter {
    std::string kind;
    std::string release; /* as text */
    std::string by;      /* the name of a callback, migration or rule */

    bool takes(const Author &author, const CauseText &text) const;
    bool takes_all() const
    {
        return kind.empty() && release.empty() && by.empty();
    }
};

struct LineFilter {
    bool        dropped = true;
    bool        rewritten = true;
    bool        added = true;
    bool        moved = true;
    std::string path; /* a pattern for the path of the line; empty: any */
};

/* Whether a path, of names that are parted by " / ", is like a pattern (glob(7)). */
bool is_path_like(const std::string &path, const std::string &pattern);

} // namespace command
