/* Nothing tells which node that was read is which one that was written: blocks go by their order. */
#include "explain/split_diff.h"

#include "explain/part_text.h"
#include "explain/shown_lines.h"
#include "explain/unified_diff.h"
#include "language/items.h"

#include <algorithm>

namespace command {

namespace {

/* For each line of a block whether it is to be shown. One that only closes something goes along. */
std::vector<bool> lines_that_count(const TopLevelBlock &block, bool is_wanted, const LineFilter &filter)
{
    auto              lines = static_cast<size_t>(std::count(block.text.begin(), block.text.end(), '\n'));
    std::vector<bool> count(lines, is_wanted && filter.path.empty());
    if (!is_wanted || filter.path.empty())
        return count;
    std::vector<ConfigItem> items = items_of(block.text);
    for (size_t at = 0; at < items.size(); at++)
        if (items[at].line <= lines)
            count[items[at].line - 1] = is_path_like(path_of(items, at), filter.path);
    return count;
}

std::string name_of(const TopLevelBlock &block)
{
    std::string_view first_line = std::string_view(block.text).substr(0, block.text.find('\n'));
    return std::string(first_line.substr(std::min(first_line.find(' '), first_line.size() - 1) + 1));
}

void push(UnifiedDiff &diff, char mark, const TopLevelBlock &block, bool is_wanted, const LineFilter &filter)
{
    std::vector<bool> counts = lines_that_count(block, is_wanted, filter);
    std::string_view  left = block.text;
    for (bool one : counts) {
        size_t end = left.find('\n');
        if (one && !diff.is_in_hunk())
            diff.name_hunk(name_of(block));
        diff.push(mark, left.substr(0, end), one);
        left.remove_prefix(end + 1);
    }
}

} // namespace

std::vector<TopLevelBlock> top_level_blocks(const ToldTree &tree, bool show_secrets)
{
    PartText part;
    take_part_text(tree, part, TopLevel::all);
    ShownLines                 shown(tree, part, show_secrets);
    std::vector<TopLevelBlock> blocks;
    for (uint32_t line = 0; line < part.lines.size(); line++) {
        const PartLine &one = part.lines[line];
        if (one.depth == 0 && !one.closes)
            blocks.push_back({one.node, "", tree.node(one.node).is_shown, ""});
        blocks.back().text += shown.text(line, never) + "\n";
    }
    return blocks;
}

std::string split_diff(const std::vector<TopLevelBlock> &before, const std::vector<TopLevelBlock> &after,
                       const std::string &file, const LineFilter &filter, uint64_t header_lines)
{
    UnifiedDiff diff(header_lines);
    auto        next = after.begin();
    for (const TopLevelBlock &block : before) {
        bool stays = block.file == file && next != after.end();
        if (stays && block.is_shown && block.text == next->text) {
            push(diff, ' ', *next++, false, filter);
            continue;
        }
        bool is_wanted = stays ? filter.rewritten : block.file.empty() ? filter.dropped : filter.moved;
        if (block.is_shown)
            push(diff, '-', block, is_wanted, filter);
        if (stays)
            push(diff, '+', *next++, filter.rewritten, filter);
    }
    for (; next != after.end(); ++next)
        push(diff, '+', *next, filter.moved, filter);
    return diff.text();
}

} // namespace command
