/* What a bench cannot do without. */
#pragma once

#include <cstdio>
#include <cstdlib>

namespace bench {

/* Ends the program and names what failed unless it is good. */
inline void need(bool good, const char *what)
{
    if (good)
        return;
    fprintf(stderr, "%s failed\n", what);
    exit(1);
}

} // namespace bench
