/* The reader's rules, seen from the writer's side. Says what is wrong, not what to do about it. */
#include "run/read_back.h"

#include "language/lines.h"

#include <cstring>
#include <optional>
#include <string_view>

namespace command {

namespace {

bool is_white(char c)
{
    return c == ' ' || (c >= '\t' && c <= '\r');
}

bool is_blank(std::string_view text)
{
    for (char c : text)
        if (!is_white(c))
            return false;
    return true;
}

/* Whether a text that began with a quote ends with the one that closes it; white space behind that is none of it. */
bool is_closed(std::string_view text)
{
    while (!text.empty() && is_white(text.back()))
        text.remove_suffix(1);
    if (text.size() < 2 || text.back() != '"')
        return false;
    size_t backslashes = 0;
    while (text.size() - 2 - backslashes > 0 && text[text.size() - 2 - backslashes] == '\\')
        backslashes++;
    return backslashes % 2 == 0;
}

/* The reader takes lines in until one that is not blank closes the quote; that must be the last one and no other. White
 * space behind the quote becomes blank lines, which are passed over. */
bool ends_where_it_is_written_to(std::string_view value)
{
    if (value[0] != '"')
        return value.find('\n') == std::string_view::npos;
    size_t line = 0;
    for (;;) {
        size_t newline = value.find('\n', line);
        bool   last = newline == std::string_view::npos;
        size_t end = last ? value.size() : newline;
        bool   closed = !is_blank(value.substr(line, end - line)) && is_closed(value.substr(0, end));
        if (closed)
            return is_blank(value.substr(end));
        if (last || end + 1 >= MIGR_VALUE_LIMIT)
            return false;
        line = newline + 1;
    }
}

/* The line break between the first two lines goes when a quote stands ahead of it, whether that closes or not. */
bool loses_line_break(std::string_view value)
{
    size_t newline = value.find('\n');
    return newline != std::string_view::npos && newline > 0 && value[newline - 1] == '"';
}

bool has_long_line(std::string_view value, size_t ahead)
{
    size_t line = 0;
    for (;;) {
        size_t newline = value.find('\n', line);
        size_t end = newline == std::string_view::npos ? value.size() : newline;
        if (ahead + end - line + 1 > longest_line)
            return true;
        if (newline == std::string_view::npos)
            return false;
        ahead = 0;
        line = newline + 1;
    }
}

/* White space at either end of a word is layout. A line break is none. */
std::string_view without_blanks(std::string_view word)
{
    auto is_layout = [](char c) { return is_white(c) && c != '\n'; };
    while (!word.empty() && is_layout(word.front()))
        word.remove_prefix(1);
    while (!word.empty() && is_layout(word.back()))
        word.remove_suffix(1);
    return word;
}

/* A name ends at white space outside its first pair of quotes, or at its longest. */
bool is_one_word(std::string_view name)
{
    bool is_longest = name.size() == MIGR_NAME_SIZE - 1;
    name = without_blanks(name);
    size_t quotes = 0;
    for (char c : name) {
        if (c == '\n' || (is_white(c) && quotes != 1))
            return false;
        quotes += c == '"' ? 1 : 0;
    }
    return quotes != 1 || is_longest;
}

std::optional<Misreading::Kind> of_set(const config_node &set, size_t depth)
{
    if (!set.value || is_blank(set.value))
        return Misreading::Kind::no_value;
    std::string_view name = set.name, value = without_blanks(set.value);
    if (!is_one_word(name) || without_blanks(name).empty() || !ends_where_it_is_written_to(value))
        return Misreading::Kind::open;
    size_t ahead = depth * 4 + strlen("set ") + name.size() + 1;
    if (has_long_line(value, ahead) || loses_line_break(value))
        return Misreading::Kind::cut;
    return std::nullopt;
}

/* An entry that lost its name shows its value in that place; else nothing behind a name is read. */
std::optional<Misreading::Kind> of_block(const config_node &block, bool top)
{
    std::string_view name = block.name;
    if (top ? name.find('\n') != std::string_view::npos : !is_one_word(name))
        return Misreading::Kind::open;
    if (block.value && strchr(block.value, '\n'))
        return Misreading::Kind::open;
    if (!name.empty() && block.value && !top && !is_blank(block.value))
        return Misreading::Kind::cut;
    return std::nullopt;
}

/* The lists of a block that are written, in their order; what a child is written as is told by its list. */
enum class List { none, tops, sets, edits, configs };

/* A block being looked through: the list that is open, and those that come behind it. */
struct Place {
    const config_node *block;
    const config_node *next = nullptr;
    List               list = List::none; /* that `next` stands in */
    size_t             opened = 0;        /* lists so far */
};

List written_list(const config_node &block, size_t number)
{
    static constexpr List of_root[] = {List::tops, List::none};
    static constexpr List of_edit[] = {List::sets, List::configs, List::none};
    static constexpr List of_config[] = {List::sets, List::edits, List::configs, List::none};
    switch (block.kind) {
    case MIGR_ROOT:
        return of_root[number];
    case MIGR_EDIT:
        return of_edit[number];
    case MIGR_TOP:
    case MIGR_CONFIG:
        return of_config[number];
    default:
        return List::none;
    }
}

const config_node *list_of(const config_node &block, List list)
{
    switch (list) {
    case List::tops:
        return block.top_list;
    case List::sets:
        return block.set_list;
    case List::edits:
        return block.edit_list;
    default:
        return block.config_list;
    }
}

bool open_next_list(Place &place)
{
    place.list = written_list(*place.block, place.opened);
    if (place.list == List::none)
        return false;
    place.next = list_of(*place.block, place.list);
    place.opened++;
    return true;
}

std::vector<std::string> path_of(const std::vector<Place> &places, const config_node &node)
{
    std::vector<std::string> path;
    for (size_t at = 1; at < places.size(); at++)
        path.emplace_back(places[at].block->name);
    path.emplace_back(node.name);
    return path;
}

} // namespace

std::vector<Misreading> misreadings_of(const config_node &root, size_t most)
{
    std::vector<Misreading> found;
    std::vector<Place>      places = {{&root}};
    while (!places.empty() && found.size() < most) {
        const config_node *node = places.back().next;
        if (!node) {
            if (!open_next_list(places.back()))
                places.pop_back();
            continue;
        }
        places.back().next = node->next;
        if (node->deleted || node->hidden)
            continue;
        bool set = places.back().list == List::sets;
        auto kind = set ? of_set(*node, places.size() - 1) : of_block(*node, places.back().list == List::tops);
        if (kind)
            found.push_back({*kind, path_of(places, *node)});
        if (!set)
            places.push_back({node});
    }
    return found;
}

} // namespace command
