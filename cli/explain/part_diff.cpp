/* A turn's text ahead of it is that of the turn before. */
#include "explain/part_diff.h"

#include <algorithm>
#include <string_view>

namespace command {

namespace {

std::vector<std::string_view> lines_of(std::string_view text)
{
    std::vector<std::string_view> lines;
    for (size_t end = text.find('\n'); end != text.npos; end = text.find('\n')) {
        lines.push_back(text.substr(0, end));
        text.remove_prefix(end + 1);
    }
    lines.push_back(text);
    return lines;
}

} // namespace

PartDiff::PartDiff(const ToldTree &tree, const PartText &part, const DiffView &view, uint64_t header_lines)
    : tree_(tree), part_(part), view_(view), shown_(tree, part, view.show_secrets), header_lines_(header_lines),
      diff_(header_lines)
{
    size_t   varying = 0;
    uint64_t ahead = 0;
    ahead_.reserve(part.lines.size() + 1);
    varying_.reserve(part.lines.size() + 1);
    for (uint32_t line = 0; line < part.lines.size(); line++) {
        ahead_.push_back(ahead);
        varying_.push_back(static_cast<uint32_t>(varying));
        bool varies = varying < part.varying.size() && part.varying[varying].line == line;
        if (varies)
            varying++;
        else
            ahead += shown_.count(line, never);
    }
    ahead_.push_back(ahead);
    varying_.push_back(static_cast<uint32_t>(varying));
}

std::string PartDiff::of_turn(uint32_t turn)
{
    diff_ = UnifiedDiff(header_lines_);
    size_t done = 0;
    for (size_t at = 0; at < part_.varying.size(); at++) {
        const VaryingLine &line = part_.varying[at];
        if (!is_changed(line, turn))
            continue;
        push_between(done, line.line, turn);
        push_changed(line, turn);
        done = line.line + 1;
    }
    if (done > 0)
        push_between(done, part_.lines.size(), turn);
    return diff_.text();
}

bool PartDiff::is_changed(const VaryingLine &line, uint32_t turn) const
{
    if (line.from == turn || line.until == turn)
        return true;
    bool is_there = line.from < turn && turn < line.until;
    return is_there && line.has_changes && tree_.is_rewritten(part_.lines[line.line].node, turn);
}

bool PartDiff::counts(const VaryingLine &line, uint32_t turn) const
{
    const LineFilter &filter = view_.lines;
    bool              came = line.from == turn, went = line.until == turn;
    bool              is_wanted = !came && !went  ? filter.rewritten
                                  : line.is_moved ? filter.moved
                                  : came          ? filter.added
                                                  : filter.dropped;
    return is_wanted &&
           (filter.path.empty() || is_path_like(shown_.path(line.line, went ? turn - 1 : turn), filter.path));
}

void PartDiff::push_changed(const VaryingLine &line, uint32_t turn)
{
    bool is_wanted = counts(line, turn);
    bool came = line.from == turn, went = line.until == turn;
    if (is_wanted && !diff_.is_in_hunk())
        diff_.name_hunk(shown_.block_path(line.line, came ? turn : turn - 1));
    if (!came && !went)
        return push_rewritten(line.line, turn, is_wanted);
    std::string text = shown_.text(line.line, came ? turn : turn - 1);
    for (std::string_view one : lines_of(text))
        diff_.push(came ? '+' : '-', one, is_wanted);
}

/* Of several lines those that begin and end as before are left as they are. */
void PartDiff::push_rewritten(uint32_t line, uint32_t turn, bool counts)
{
    std::string before_text = shown_.text(line, turn - 1), after_text = shown_.text(line, turn);
    auto        before = lines_of(before_text), after = lines_of(after_text);
    size_t      most = std::min(before.size(), after.size());
    size_t      same_begin = 0, same_end = 0;
    while (same_begin < most && before[same_begin] == after[same_begin])
        same_begin++;
    while (same_end < most - same_begin && before[before.size() - 1 - same_end] == after[after.size() - 1 - same_end])
        same_end++;
    auto push = [&](char mark, const auto &lines, size_t from, size_t to) {
        for (size_t at = from; at < to; at++)
            diff_.push(mark, lines[at], counts && mark != ' ');
    };
    push(' ', before, 0, same_begin);
    push('-', before, same_begin, before.size() - same_end);
    push('+', after, same_begin, after.size() - same_end);
    push(' ', before, before.size() - same_end, before.size());
}

bool PartDiff::is_there(size_t line, uint32_t turn) const
{
    size_t at = varying_[line];
    if (varying_[line + 1] == at)
        return true;
    return part_.varying[at].from < turn && turn < part_.varying[at].until;
}

/* Of lines that this turn leaves as they are only those near a change are told one by one. */
void PartDiff::push_between(size_t from, size_t to, uint32_t turn)
{
    auto push = [&](size_t line) {
        std::string text = shown_.text(static_cast<uint32_t>(line), turn);
        for (std::string_view one : lines_of(text))
            diff_.push(' ', one, false);
    };
    for (size_t near = 0; from < to && near < UnifiedDiff::context; from++)
        if (is_there(from, turn)) {
            push(from);
            near += shown_.count(static_cast<uint32_t>(from), turn);
        }
    size_t behind = to;
    for (size_t near = 0; from < behind && near < UnifiedDiff::context; behind--)
        if (is_there(behind - 1, turn))
            near += shown_.count(static_cast<uint32_t>(behind - 1), turn);
    diff_.skip(lines_between(from, behind, turn));
    for (; behind < to; behind++)
        if (is_there(behind, turn))
            push(behind);
}

uint64_t PartDiff::lines_between(size_t from, size_t to, uint32_t turn) const
{
    uint64_t lines = ahead_[to] - ahead_[from];
    for (uint32_t at = varying_[from]; at < varying_[to]; at++) {
        const VaryingLine &line = part_.varying[at];
        if (line.from < turn && turn < line.until)
            lines += shown_.count(line.line, turn);
    }
    return lines;
}

} // namespace command
