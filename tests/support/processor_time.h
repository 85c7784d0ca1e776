/* How much processor time something takes: other programs on the machine do not count. */
#pragma once

#include <ctime>

namespace support {

template <typename Work> double processor_seconds(Work work)
{
    clock_t before = clock();
    work();
    return static_cast<double>(clock() - before) / CLOCKS_PER_SEC;
}

} // namespace support
