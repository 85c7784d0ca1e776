/* Applies a diff as its line numbers say, and holds each old line that the diff shows against the text: what differs
 * is a failure of the test that runs. */
#include "unit/cli/applied_diff.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <sstream>
#include <vector>

namespace support {

namespace {

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    std::istringstream       in(text);
    for (std::string line; std::getline(in, line);)
        lines.push_back(line);
    return lines;
}

} // namespace

std::string applied(const std::string &before, const std::string &diff)
{
    std::vector<std::string> old_lines = lines_of(before);
    std::string              after;
    size_t                   at = 0;
    auto                     copy_up_to = [&](size_t end) {
        while (at < std::min(end, old_lines.size()))
            after += old_lines[at++] + "\n";
    };
    for (const std::string &line : lines_of(diff)) {
        if (line.starts_with("@@")) {
            size_t first = 0, count = 1;
            sscanf(line.c_str(), "@@ -%zu,%zu", &first, &count);
            copy_up_to(count == 0 ? first : first - 1);
            continue;
        }
        if (line.starts_with("--- ") || line.starts_with("+++ "))
            continue; /* head lines; no test has such lines in its text */
        if (line[0] == '+') {
            after += line.substr(1) + "\n";
            continue;
        }
        EXPECT_LT(at, old_lines.size());
        EXPECT_EQ(line.substr(1), at < old_lines.size() ? old_lines[at] : "");
        if (line[0] == ' ')
            after += line.substr(1) + "\n";
        at++;
    }
    copy_up_to(old_lines.size());
    return after;
}

} // namespace support
