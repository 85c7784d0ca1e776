/* migr.h is all that a host needs, and needs nothing ahead of it. */
#include "driver/migr.h"

typedef int migr_h_compiles_as_c[sizeof(run_context) > 3 * MIGR_LINE_SIZE ? 1 : -1];
