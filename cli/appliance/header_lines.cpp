/* The library's own readers find the lines; what stands in them is not looked at. */
#include "appliance/header_lines.h"

#include "driver/migr.h"
#include "driver/version_lines.h"

#include <cstring>

namespace command {

/* The line that its reader has just found, without what stands ahead of the mark. */
static std::string from_mark(const char *line, const char *mark)
{
    const char *at = strstr(line, mark);
    std::string text = at ? at : "";
    if (!text.ends_with('\n'))
        text += '\n';
    return text;
}

std::string header_lines_of(std::string text)
{
    text_reader reader = {text.data(), text.size(), 0, 0, 0, 0};
    migr_main.img_version = get_osimage_version();
    if (save_first_line(&reader) < 0)
        return "";
    std::string first = from_mark(migr_main.line_buf, "#config-version=");
    reader.at = 0;
    if (save_second_line(&reader) != 0)
        return "";
    return first + from_mark(migr_main.second_line, "#conf_file_ver=");
}

} // namespace command
