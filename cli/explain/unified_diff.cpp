/* Diffs by the kept library for them, in the form that patch knows, with the config around each hunk. Both texts are
 * shown as they are: who prints the result makes it safe. */
#include "explain/unified_diff.h"

#include <dtl/dtl.hpp>
#include <vector>

namespace command {

namespace {

using Lines = std::vector<std::string_view>;
using Diff = dtl::Diff<std::string_view, Lines>;
using Line = std::pair<std::string_view, dtl::elemInfo>;
using Hunk = dtl::uniHunk<Line>;

constexpr std::string_view no_newline = "\n\\ No newline at end of file";

Lines lines_of(std::string_view text)
{
    Lines lines;
    while (!text.empty()) {
        size_t end = std::min(text.find('\n'), text.size() - 1);
        lines.push_back(text.substr(0, end + 1));
        text.remove_prefix(end + 1);
    }
    return lines;
}

std::string_view without_newline(std::string_view line)
{
    return line.ends_with('\n') ? line.substr(0, line.size() - 1) : line;
}

/* The top-level config around line number `at`, from 1, or nothing. */
std::string_view config_around(const Lines &lines, size_t at)
{
    for (size_t number = std::min(at, lines.size()); number > 0; number--) {
        std::string_view line = lines[number - 1];
        if (line == "end\n")
            return {};
        if (line.starts_with("config "))
            return number == at ? std::string_view() : without_newline(line);
    }
    return {};
}

std::string range(long long first, long long count)
{
    return std::to_string(first) + (count == 1 ? "" : "," + std::to_string(count));
}

void append_line(std::string &text, char mark, std::string_view line)
{
    text += mark;
    text += without_newline(line);
    if (!line.ends_with('\n'))
        text += no_newline;
    text += '\n';
}

char mark_of(const Line &line)
{
    return line.second.type == dtl::SES_DELETE ? '-' : line.second.type == dtl::SES_ADD ? '+' : ' ';
}

void append_hunk(std::string &text, const Hunk &hunk, const Lines &before)
{
    std::string_view config = config_around(before, static_cast<size_t>(hunk.a));
    text += "@@ -" + range(hunk.a, hunk.b) + " +" + range(hunk.c, hunk.d) + " @@";
    text += config.empty() ? "" : " " + std::string(config);
    text += '\n';
    for (const auto *part : {&hunk.common[0], &hunk.change, &hunk.common[1]})
        for (const Line &line : *part)
            append_line(text, mark_of(line), line.first);
}

} // namespace

std::string unified_diff(std::string_view before, std::string_view after)
{
    if (before == after)
        return "";
    Lines old_lines = lines_of(before);
    Diff  diff(old_lines, lines_of(after));
    diff.onHuge();
    diff.compose();
    diff.composeUnifiedHunks();
    std::string text;
    for (const Hunk &hunk : diff.getUniHunks())
        append_hunk(text, hunk, old_lines);
    return text;
}

} // namespace command
