/* Sizes as people read them, in decimal units of three digits. Programs get the number. */
#include "output/size_text.h"

#include <cstdio>
#include <iterator>

namespace command {

std::string size_text(uint64_t bytes)
{
    static constexpr const char *units[] = {"B", "kB", "MB", "GB", "TB"};
    double                       size = static_cast<double>(bytes);
    size_t                       unit = 0;
    while (size >= 999.5 && unit + 1 < std::size(units)) {
        size /= 1000;
        unit++;
    }
    char text[32];
    snprintf(text, sizeof text, unit > 0 && size < 9.95 ? "%.1f %s" : "%.0f %s", size, units[unit]);
    return text;
}

} // namespace command
