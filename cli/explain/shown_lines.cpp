/* A line's form goes by the list that it stands in, as the writer has it. */
#include "explain/shown_lines.h"

#include "explain/secrets.h"
#include "language/items.h"

#include <algorithm>

namespace command {

namespace {

const char *keyword_of(ListKind list)
{
    static constexpr const char *keywords[] = {"set ", "edit ", "config "};
    return keywords[static_cast<size_t>(list)];
}

std::string in_words(std::string_view name)
{
    std::string words(name);
    std::replace(words.begin(), words.end(), ',', ' ');
    return words;
}

} // namespace

std::string ShownLines::text(uint32_t line, uint32_t turn) const
{
    const PartLine &shown = part_.lines[line];
    std::string     text(size_t{4} * shown.depth, ' ');
    if (shown.closes)
        return text + (shown.list == ListKind::entries ? "next" : "end");
    ToldTree::Content content = tree_.content(shown.node, turn);
    text += keyword_of(shown.list);
    if (shown.depth == 0)
        return text + in_words(content.name);
    text += content.name;
    if (!content.value)
        return text;
    return text + " " + (show_secrets_ ? content.value : without_secret(line, content, turn));
}

std::string ShownLines::without_secret(uint32_t line, const ToldTree::Content &content, uint32_t turn) const
{
    const PartLine *config = &part_.lines[line];
    if (config->list != ListKind::sets)
        return content.value;
    while (config->above != 0 && config->list != ListKind::configs)
        config = &part_.lines[config->above - 1];
    std::string around(tree_.content(config->node, turn).name);
    bool        is_secret = is_secret_set(around, std::string(content.name), content.value);
    return is_secret ? hidden_value(content.value) : content.value;
}

uint64_t ShownLines::count(uint32_t line, uint32_t turn) const
{
    const PartLine &shown = part_.lines[line];
    bool            is_plain = shown.closes || (!tree_.node(shown.node).is_long && !tree_.has_texts(shown.node));
    if (is_plain)
        return 1;
    std::string lines = text(line, turn);
    return 1 + static_cast<uint64_t>(std::count(lines.begin(), lines.end(), '\n'));
}

std::string ShownLines::name(uint32_t line, uint32_t turn) const
{
    const PartLine  &shown = part_.lines[line];
    std::string_view name = tree_.content(shown.node, turn).name;
    return shown.depth == 0 ? in_words(name) : std::string(unquoted(name));
}

std::string ShownLines::path(uint32_t line, uint32_t turn) const
{
    std::string path = name(line, turn);
    for (uint32_t above = part_.lines[line].above; above != 0; above = part_.lines[above - 1].above)
        path.insert(0, name(above - 1, turn) + " / ");
    return path;
}

std::string ShownLines::block_path(uint32_t line, uint32_t turn) const
{
    const PartLine &shown = part_.lines[line];
    return path(shown.list == ListKind::sets && shown.above != 0 ? shown.above - 1 : line, turn);
}

} // namespace command
