/* Version codes and their texts. Reads no file. */
#include "output/release_text.h"

#include "driver/run_context.h"

#include <cstdio>

namespace command {

int32_t image_release()
{
    return MIGR_RELEASE_IMAGE;
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
