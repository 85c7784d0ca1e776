/* A loop that never ends must do something in it, or a compiler may take it away: this one waits for a signal. */
#include "driver/hooks.h"

#include <unistd.h>

void migr_never_returns(const char *where)
{
    if (migr_on_stall)
        migr_on_stall(where);
    for (;;)
        pause();
}
