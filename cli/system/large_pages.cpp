/* One call, and what lies between. */
#include "system/large_pages.h"

#include <cerrno>
#include <cstdint>
#include <sys/mman.h>

namespace command {

void ask_for_large_pages(const void *start, size_t size)
{
    static constexpr uintptr_t large_page = uintptr_t{2} << 20;
    auto                       address = reinterpret_cast<uintptr_t>(start);
    uintptr_t                  first = (address + large_page - 1) / large_page * large_page;
    uintptr_t                  end = (address + size) / large_page * large_page;
    int                        error = errno;
    if (first < end)
        madvise(reinterpret_cast<void *>(first), end - first, MADV_HUGEPAGE);
    errno = error;
}

} // namespace command
