/* One pass over the lines; what a line means is told by lines.h, and what a value means by nobody here. */
#include "language/items.h"

namespace command {

namespace {

/* A value's first line, and those that its quote takes in: they lie one behind the other in the text. */
std::string_view whole_value(ConfigLines &lines, std::string_view first)
{
    if (!first.starts_with('"') || ends_in_its_line(first))
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

/* What was read last, if it is a block, stands around what comes next. */
void ConfigItems::open_block()
{
    if (count_ == 0 || item_.kind == ItemKind::set)
        return;
    blocks_.push_back(item_);
    numbers_.push_back(count_ - 1);
}

bool ConfigItems::next()
{
    open_block();
    for (ConfigLine line; lines_.next(line);)
        if (take(line))
            return true;
    item_.kind = ItemKind::set;
    return false;
}

/* False when nothing begins in that line. */
bool ConfigItems::take(const ConfigLine &line)
{
    ConfigKeyword first = keyword_of_line(line.text);
    size_t        parent = numbers_.empty() ? no_item : numbers_.back();
    bool          is_config = is_word(first.word, "config");
    if (is_config || is_word(first.word, "edit")) {
        ConfigName name = is_config && blocks_.empty() ? top_level_name(first.rest) : config_name(first.rest);
        item_ = {is_config ? ItemKind::config : ItemKind::edit, line.number, parent, without_white_end(name.kept), {}};
    } else if (is_word(first.word, "set")) {
        ConfigName name = config_name(first.rest);
        item_ = {ItemKind::set, line.number, parent, name.kept, whole_value(lines_, without_indent(name.rest))};
    } else {
        if (!blocks_.empty() && (is_word(first.word, "end") || is_word(first.word, "next"))) {
            blocks_.pop_back();
            numbers_.pop_back();
        }
        return false;
    }
    if (blocks_.empty())
        config_ = join_words(item_.name, ',');
    count_++;
    return true;
}

std::vector<ConfigItem> items_of(std::string_view text)
{
    std::vector<ConfigItem> list;
    for (ConfigItems items(text); items.next();)
        list.push_back(items.item());
    return list;
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

std::string path_of(const ConfigItems &items)
{
    std::string path;
    auto add = [&](const ConfigItem &one) { path += (path.empty() ? "" : " / ") + std::string(unquoted(one.name)); };
    for (const ConfigItem &block : items.blocks())
        add(block);
    add(items.item());
    return path;
}

} // namespace command
