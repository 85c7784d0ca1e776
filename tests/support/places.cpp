/* The only place that knows where this build lies; whoever includes places.h does not. */
#include "support/places.h"

#include <filesystem>

/* The sanitizer's own start, if it is there. */
extern "C" [[gnu::weak]] void __asan_init();

namespace support {

std::string source_path(std::string_view path)
{
    return std::string(MIGR_SOURCE_DIR) += path;
}

std::string build_path(std::string_view path)
{
    return std::string(MIGR_BUILD_DIR) += path;
}

std::string program_path(std::string_view path)
{
    std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe");
    return program.parent_path().parent_path().string() += path;
}

bool is_sanitized()
{
    return __asan_init != nullptr;
}

} // namespace support
