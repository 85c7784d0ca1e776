/* The only place that knows where this build lies; whoever includes places.h does not. */
#include "support/places.h"

namespace support {

std::string source_path(std::string_view path)
{
    return std::string(MIGR_SOURCE_DIR) += path;
}

std::string build_path(std::string_view path)
{
    return std::string(MIGR_BUILD_DIR) += path;
}

} // namespace support
