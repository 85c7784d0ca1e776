/*
 * The library's own reader is used, on a copy of the text, and its records are given back at once. What the tree says
 * deeper down is not looked at.
 */
#include "appliance/outline.h"

#include "driver/migr.h"
#include "driver/version_lines.h"
#include "tree/config_text.h"

#include <cstring>

namespace command {

namespace {

/* The line that its reader has just found, without what stands ahead of the mark. */
std::string from_mark(const char *line, const char *mark)
{
    const char *at = strstr(line, mark);
    std::string text = at ? at : "";
    if (!text.ends_with('\n'))
        text += '\n';
    return text;
}

std::string header_lines(text_reader &reader)
{
    reader.at = 0;
    if (save_first_line(&reader) < 0)
        return "";
    std::string first = from_mark(migr_main.line_buf, "#config-version=");
    reader.at = 0;
    if (save_second_line(&reader) != 0)
        return "";
    return first + from_mark(migr_main.second_line, "#conf_file_ver=");
}

} // namespace

Outline outline_of(std::string text)
{
    text_reader reader = {text.data(), text.size(), 0, 0, 0, 0};
    Outline     outline;
    migr_main.img_version = get_osimage_version();
    outline.headers = header_lines(reader);
    reader.at = 0;
    config_node root = {};
    root.kind = MIGR_ROOT;
    while (read_line(&reader, migr_main.line_buf))
        parse_text(&reader, &root);
    for (const config_node *config = root.top_list; config; config = config->next)
        outline.names.push_back(config->name);
    migr_release_nodes();
    return outline;
}

} // namespace command
