/* Goes through trees without recursion, as the library does: they may be as deep as a text is long. */
#include "fuzz/tree_text.h"

#include "fuzz/fuzzing.h"
#include "run/read_back.h"

#include <algorithm>
#include <vector>

namespace fuzzing {

namespace {

struct Place {
    const config_node *node;
    char               letter; /* of the list in which it stands */
    size_t             depth;
};

/* The lists that are written of a node of that kind, the last one first. */
struct WrittenList {
    config_node *config_node::*list;
    char                       letter;
};

std::vector<WrittenList> written_lists(uint32_t kind)
{
    static constexpr WrittenList tops = {&config_node::top_list, 't'}, sets = {&config_node::set_list, 's'},
                                 edits = {&config_node::edit_list, 'e'}, configs = {&config_node::config_list, 'c'};
    switch (kind) {
    case MIGR_ROOT:
        return {tops};
    case MIGR_TOP:
    case MIGR_CONFIG:
        return {configs, edits, sets};
    case MIGR_EDIT:
        return {configs, sets};
    default:
        return {};
    }
}

/* Runs of white space are one blank, and none at the ends; so is the comma between the words of a top-level name. A
 * line break counts, but for the one that white space behind a closing quote is read with. */
std::string squeezed(std::string_view text, bool commas)
{
    std::string result;
    for (char c : text) {
        bool is_blank = c == ' ' || (c >= '\t' && c <= '\r' && c != '\n') || (commas && c == ',');
        if (!is_blank)
            result += c;
        else if (!result.empty() && result.back() != ' ')
            result += ' ';
    }
    while (!result.empty() && (result.back() == ' ' || result.back() == '\n'))
        result.pop_back();
    return result;
}

void push_lists(const config_node &node, size_t depth, std::vector<Place> *places)
{
    for (const WrittenList &list : written_lists(node.kind)) {
        auto first = static_cast<std::ptrdiff_t>(places->size());
        for (const config_node *child = node.*list.list; child; child = child->next)
            places->push_back({child, list.letter, depth});
        std::reverse(places->begin() + first, places->end());
    }
}

} // namespace

std::string outline(const config_node &root)
{
    std::string        result;
    std::vector<Place> places;
    push_lists(root, 0, &places);
    while (!places.empty()) {
        Place place = places.back();
        places.pop_back();
        const config_node &node = *place.node;
        if (node.deleted || node.hidden)
            continue;
        std::string text = std::string(node.name) + (node.value ? std::string(" ") + node.value : "");
        result += std::to_string(place.depth) + place.letter + ' ' + squeezed(text, place.letter == 't') + '\n';
        if (place.letter != 's')
            push_lists(node, place.depth + 1, &places);
    }
    return result;
}

std::string misread(const config_node &root, const std::string &written)
{
    if (!command::misreadings_of(root, 1).empty())
        return "";
    config_node *again = new_node(MIGR_ROOT);
    text_reader  reader = reader_of(written);
    int32_t      result = parse_text(&reader, again);
    close_text(&reader);
    if (result != 0)
        return "the text that was written cannot be read";
    std::string one = outline(root), other = outline(*again);
    auto        at = std::mismatch(one.begin(), one.end(), other.begin(), other.end()).first - one.begin();
    size_t      ahead = at < 200 ? 0 : static_cast<size_t>(at) - 200;
    return one == other ? "" : one.substr(ahead, 400) + "\nis read back as\n" + other.substr(ahead, 400);
}

} // namespace fuzzing
