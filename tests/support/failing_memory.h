/*
 * Memory that runs out. Only for programs that are linked with --wrap for malloc, calloc, realloc and strdup: the calls
 * of the library and the stand-in appliance are counted then, those of the C and C++ libraries are not.
 */
#pragma once

#include <cstddef>

namespace support {

/* Starts counting anew. The number-th call from now on, from 1, gives null, and the ones behind it too when `lasting`;
 * 0 lets all succeed. */
void fail_allocation(size_t number, bool lasting = false);

/* How many calls there were since. */
size_t allocations();

} // namespace support
