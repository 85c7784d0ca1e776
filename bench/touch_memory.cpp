/* touch_memory MEGABYTES: uses that much memory for a moment. A virtual machine's host may take back what lies free for
 * some seconds, and then gives each page anew at a hundred times the price, which nothing that is measured should pay.
 */
#include "need.h"

#include <cstdlib>
#include <sys/mman.h>

int main(int argc, char **argv)
{
    bench::need(argc == 2, "touch_memory MEGABYTES");
    size_t size = static_cast<size_t>(atoi(argv[1])) * 1000000;
    void  *memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    bench::need(memory != MAP_FAILED, "taking memory");
    madvise(memory, size, MADV_HUGEPAGE);
    constexpr size_t page = 4096;
    for (size_t at = 0; at < size; at += page)
        static_cast<volatile char *>(memory)[at] = 1;
}
