/* Four places never return: a step looks for the block behind which it adds another one, or goes through a list without
 * moving on. Everything else that does not come back is a finding. */
#define OPENSSL_SUPPRESS_DEPRECATED /* the way to put other bytes in the place of random ones */
#include "fuzz/held_world.h"

#include "driver/hooks.h"

#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <initializer_list>

#include <openssl/rand.h>

static sigjmp_buf stalled;
static bool       may_stall;

static int same_bytes(unsigned char *bytes, int count)
{
    memset(bytes, 0x5a, static_cast<size_t>(count));
    return 1;
}

void fuzzing::take_chance_away()
{
    static const RAND_METHOD method = {
        .seed = nullptr,
        .bytes = same_bytes,
        .cleanup = nullptr,
        .add = nullptr,
        .pseudorand = same_bytes,
        .status = [] { return 1; },
    };
    RAND_set_rand_method(&method);
}

bool fuzzing::comes_back(void (*work)())
{
    may_stall = true;
    bool came_back = sigsetjmp(stalled, 0) == 0;
    if (came_back)
        work();
    may_stall = false;
    return came_back;
}

extern "C" {

void __wrap_migr_never_returns(const char *where)
{
    for (const char *known : {"migr_snmp_events", "migr_custom_pro_rule", "moved_to_advanced", "add_new_x_forward"})
        if (may_stall && strcmp(where, known) == 0)
            siglongjmp(stalled, 1);
    fprintf(stderr, "the library waits for ever in %s\n", where);
    abort();
}

int __wrap_mount(const char *, const char *, const char *, unsigned long, const void *)
{
    return 0;
}

time_t __wrap_time(time_t *result)
{
    constexpr time_t now = 1700000000;
    if (result)
        *result = now;
    return now;
}

} // extern "C"
