/* Which part of a block of memory is asked for in large pages: whole ones alone. The kernel shows it. */
#include "system/large_pages.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <sys/mman.h>

namespace {

constexpr size_t large_page = size_t{2} << 20;

/* How much of the memory between the two addresses the kernel may put into large pages. */
size_t asked_for(uintptr_t first, uintptr_t end)
{
    std::ifstream maps("/proc/self/smaps");
    uintptr_t     from = 0, to = 0;
    size_t        size = 0;
    for (std::string line; std::getline(maps, line);) {
        char dash = 0;
        if (line.find('-') < line.find(' ') && line.find(':') > line.find(' '))
            std::istringstream(line) >> std::hex >> from >> dash >> to;
        if (line.starts_with("VmFlags:") && line.find(" hg") != line.npos && from >= first && to <= end)
            size += to - from;
    }
    return size;
}

/* Memory that nothing else uses, from a large page's start on. */
class LargePages : public testing::Test {
  protected:
    LargePages()
    {
        memory_ = mmap(nullptr, size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        start = (reinterpret_cast<uintptr_t>(memory_) / large_page + 1) * large_page;
    }
    ~LargePages() override
    {
        munmap(memory_, size_);
    }
    void SetUp() override
    {
        if (!std::filesystem::exists("/sys/kernel/mm/transparent_hugepage"))
            GTEST_SKIP() << "this kernel has none";
    }
    size_t asked(uintptr_t from, size_t size) const
    {
        command::ask_for_large_pages(reinterpret_cast<void *>(from), size);
        auto first = reinterpret_cast<uintptr_t>(memory_);
        return asked_for(first, first + size_);
    }

    uintptr_t start = 0;

  private:
    size_t size_ = 8 * large_page;
    void  *memory_ = nullptr;
};

} // namespace

TEST_F(LargePages, AreWhole)
{
    EXPECT_EQ(asked(start, large_page - 1), 0u);
    EXPECT_EQ(asked(start + 4096, 2 * large_page - 8192), 0u);
    EXPECT_EQ(asked(start + 4096, 2 * large_page), large_page);
    EXPECT_EQ(asked(start + large_page, large_page), large_page); /* the same one */
    EXPECT_EQ(asked(start, 4 * large_page - 1), 3 * large_page);
}

TEST_F(LargePages, ChangeNoError)
{
    errno = E2BIG;
    command::ask_for_large_pages(nullptr, 4 * large_page); /* where there is no memory */
    EXPECT_EQ(errno, E2BIG);
}
