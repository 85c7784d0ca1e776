/* Version codes and their texts. Reads no file, and takes any code, one that no release has had as well. */
#include "output/release_text.h"

#include "driver/run_context.h"
#include "tree/version_text.h"

#include <charconv>
#include <cstdio>

namespace command {

int32_t image_release()
{
    return MIGR_RELEASE_IMAGE;
}

static int32_t number_of(std::string_view digits, int32_t most)
{
    uint32_t    number = 0;
    const char *end = digits.data() + digits.size();
    auto [behind, error] = std::from_chars(digits.data(), end, number);
    bool fits = error == std::errc() && behind == end && number <= static_cast<uint32_t>(most);
    return fits ? static_cast<int32_t>(number) : -1;
}

int32_t release_code(std::string_view text)
{
    size_t point = text.find('.');
    if (point == std::string_view::npos)
        return -1;
    int32_t major = number_of(text.substr(0, point), INT16_MAX);
    int32_t minor = number_of(text.substr(point + 1), UINT16_MAX);
    return major < 0 || minor < 0 ? -1 : version_code(major, minor);
}

std::string release_text(int32_t code)
{
    if (code < 0)
        return "-";
    char text[32];
    snprintf(text, sizeof text, "%d.%02d", code >> 16, code & 0xffff);
    return text;
}

} // namespace command
