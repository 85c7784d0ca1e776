/* Where a path of the old file is that of a known value, the two values tell. */
#include "explain/known_values.h"

#include "driver/run_context.h"
#include "image/database.h"
#include "language/items.h"
#include "language/lines.h"

#include <algorithm>
#include <cctype>

namespace command {

namespace {

std::string column_text(const Statement &statement, int column)
{
    auto *text = reinterpret_cast<const char *>(sqlite3_column_text(statement.get(), column));
    return text ? std::string(text, static_cast<size_t>(sqlite3_column_bytes(statement.get(), column))) : "";
}

/* Entries that have the same name in several tables are numbered there, by one digit ahead of the closing quote. */
std::string name_without_number(const ConfigItem &item)
{
    std::string name(unquoted(item.name));
    bool        is_numbered = item.kind == ItemKind::edit && name.size() < item.name.size() && !name.empty() &&
                       isdigit(static_cast<unsigned char>(name.back()));
    if (is_numbered)
        name.pop_back();
    return name;
}

std::vector<std::string> predefined_path(const std::vector<ConfigItem> &items, size_t at)
{
    std::vector<std::string> path;
    for (; at != no_item; at = items[at].parent)
        path.push_back(items[at].parent == no_item ? join_words(items[at].name, ' ') : name_without_number(items[at]));
    std::reverse(path.begin(), path.end());
    return path;
}

/* A number is a place in a list and says nothing of what stands there. */
bool is_in_numbered_entry(const std::vector<ConfigItem> &items, size_t at)
{
    for (; at != no_item; at = items[at].parent)
        if (items[at].kind == ItemKind::edit &&
            items[at].name.find_first_not_of("0123456789") == std::string_view::npos)
            return true;
    return false;
}

/* As pages are compared with the default ones, which have no backslash. */
std::string without_backslashes(std::string_view text)
{
    std::string result(text);
    std::erase(result, '\\');
    return result;
}

} // namespace

KnownValues::KnownValues(std::string_view predefined, std::string_view database)
{
    take_predefined(predefined);
    take_pages(database);
}

void KnownValues::take_predefined(std::string_view predefined)
{
    std::vector<ConfigItem> items = items_of(predefined);
    for (size_t at = 0; at < items.size(); at++)
        if (items[at].kind == ItemKind::set && !is_in_numbered_entry(items, at))
            values_.emplace(predefined_path(items, at), unquoted(items[at].value));
}

void KnownValues::take_pages(std::string_view database)
{
    Connection connection = open_bytes(database);
    Statement  rows = connection ? prepare(connection, "select name, code, text from replacement_page") : nullptr;
    while (rows && sqlite3_step(rows.get()) == SQLITE_ROW)
        pages_.emplace(column_text(rows, 0), Page{column_text(rows, 1), column_text(rows, 2)});
}

Hand KnownValues::hand_in_page(const AccountEntry &entry, std::string_view value) const
{
    bool is_in_page = entry.path.size() == 3 && entry.path[0] == "system replacemsg";
    auto page = is_in_page ? pages_.find(entry.path[1]) : pages_.end();
    if (page == pages_.end())
        return Hand::unknown;
    if (entry.path[2] == "buffer")
        return without_backslashes(value) == page->second.text ? Hand::firmware : Hand::person;
    if (entry.path[2] == "code")
        return value == page->second.code ? Hand::firmware : Hand::person;
    return Hand::unknown;
}

/* The predefined configuration is one of 4.30. What 5.0 and its successors came with, no image knows. */
static constexpr int32_t first_with_other_values = MIGR_RELEASE(5, 0);

Hand KnownValues::hand_of(int32_t release, const AccountEntry &entry) const
{
    std::vector<ConfigItem> items = items_of(entry.before);
    if (items.empty() || items.front().kind != ItemKind::set)
        return Hand::unknown;
    std::string_view value = unquoted(items.front().value);
    auto             known = values_.find(entry.path);
    if (known == values_.end() || release >= first_with_other_values)
        return hand_in_page(entry, value);
    return known->second == value ? Hand::firmware : Hand::person;
}

} // namespace command
