/* Lines that nothing was changed in wait until it is known whether a change comes near enough. */
#include "explain/unified_diff.h"

#include <algorithm>

namespace command {

namespace {

template <typename Lines> uint64_t count_without(const Lines &lines, char mark)
{
    return static_cast<uint64_t>(
        std::count_if(lines.begin(), lines.end(), [&](const auto &line) { return line.mark != mark; }));
}

/* Lines that are none are told by the number of the line ahead of them. */
std::string range(uint64_t first, uint64_t count)
{
    return std::to_string(count == 0 ? first - 1 : first) + (count == 1 ? "" : "," + std::to_string(count));
}

} // namespace

void UnifiedDiff::push(char mark, std::string_view line, bool counts)
{
    if (counts) {
        begin_hunk();
        lines_.push_back({mark, std::string(line)});
    } else {
        pending_.push_back({mark, std::string(line)});
    }
    next_old_ += mark != '+';
    next_new_ += mark != '-';
    if (is_in_hunk() && pending_.size() > 2 * context)
        end_hunk();
    if (!is_in_hunk() && pending_.size() > context)
        pending_.erase(pending_.begin());
}

/* A name may go over several lines. */
void UnifiedDiff::name_hunk(std::string heading)
{
    std::replace(heading.begin(), heading.end(), '\n', ' ');
    heading_ = std::move(heading);
}

void UnifiedDiff::begin_hunk()
{
    if (!is_in_hunk()) {
        first_old_ = next_old_ - count_without(pending_, '+');
        first_new_ = next_new_ - count_without(pending_, '-');
    }
    std::move(pending_.begin(), pending_.end(), std::back_inserter(lines_));
    pending_.clear();
}

void UnifiedDiff::end_hunk()
{
    auto behind = pending_.begin() + static_cast<std::ptrdiff_t>(std::min(context, pending_.size()));
    std::move(pending_.begin(), behind, std::back_inserter(lines_));
    pending_.erase(pending_.begin(), behind);
    text_ += "@@ -" + range(first_old_, count_without(lines_, '+')) + " +" +
             range(first_new_, count_without(lines_, '-')) + " @@" + (heading_.empty() ? "" : " " + heading_) + "\n";
    for (const Line &line : lines_) {
        text_ += line.mark;
        text_ += line.text;
        text_ += '\n';
    }
    lines_.clear();
    heading_.clear();
}

void UnifiedDiff::skip(uint64_t lines)
{
    if (lines == 0)
        return;
    if (is_in_hunk())
        end_hunk();
    pending_.clear();
    next_old_ += lines;
    next_new_ += lines;
}

std::string UnifiedDiff::text()
{
    if (is_in_hunk())
        end_hunk();
    return std::move(text_);
}

} // namespace command
