/* The clock stands: preloaded, so that names which an upgrade makes of the time are the same in each run. Nothing but
 * time() is held; snapshots are named after another clock. */
#include <time.h>

time_t time(time_t *now)
{
    static const time_t moment = 1577836800;
    if (now)
        *now = moment;
    return moment;
}
