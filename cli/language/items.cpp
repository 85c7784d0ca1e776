/* One pass over the lines; what a line means is told by lines.h, and what a value means by nobody here. */
#include "language/items.h"

#include "language/lines.h"

#include <algorithm>

namespace command {

namespace {

/* A value's first line, and those that its quote takes in: they lie one behind the other in the text. */
std::string_view whole_value(ConfigLines &lines, std::string_view first)
{
    if (!first.starts_with('"'))
        return without_white_end(first);
    ConfigValue value;
    value.append(first);
    const char *end = first.data() + first.size();
    ConfigLine  line;
    while (!value.is_complete() && lines.next(line)) {
        value.append(line.text);
        end = line.text.data() + line.text.size();
    }
    return without_white_end({first.data(), static_cast<size_t>(end - first.data())});
}

} // namespace

std::vector<ConfigItem> items_of(std::string_view text)
{
    std::vector<ConfigItem> items;
    std::vector<size_t>     open;
    items.reserve(static_cast<size_t>(std::count(text.begin(), text.end(), '\n'))); /* there are few other lines */
    ConfigLines lines(text);
    ConfigLine  line;
    while (lines.next(line)) {
        ConfigKeyword first = keyword_of_line(line.text);
        size_t        parent = open.empty() ? no_item : open.back();
        size_t        number = line.number;
        bool          is_config = is_word(first.word, "config");
        if (is_config || is_word(first.word, "edit")) {
            ConfigName name = is_config && open.empty() ? top_level_name(first.rest) : config_name(first.rest);
            open.push_back(items.size());
            items.push_back(
                {is_config ? ItemKind::config : ItemKind::edit, number, parent, without_white_end(name.kept), {}});
        } else if (is_word(first.word, "set")) {
            ConfigName name = config_name(first.rest);
            items.push_back({ItemKind::set, number, parent, name.kept, whole_value(lines, without_indent(name.rest))});
        } else if (!open.empty() && (is_word(first.word, "end") || is_word(first.word, "next"))) {
            open.pop_back();
        }
    }
    return items;
}

std::string_view unquoted(std::string_view text)
{
    bool is_quoted = text.size() >= 2 && text.front() == '"' && text.back() == '"';
    return is_quoted ? text.substr(1, text.size() - 2) : text;
}

std::string path_of(const std::vector<ConfigItem> &items, size_t at)
{
    std::vector<std::string_view> names;
    for (; at != no_item; at = items[at].parent)
        names.push_back(unquoted(items[at].name));
    std::string path;
    for (auto name = names.rbegin(); name != names.rend(); ++name)
        path += (path.empty() ? "" : " / ") + std::string(*name);
    return path;
}

} // namespace command
