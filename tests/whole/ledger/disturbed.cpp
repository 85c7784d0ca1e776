/* A text with lines dropped, doubled, exchanged and spaced otherwise, by a number that says how. */
#include "disturbed.h"

#include <algorithm>
#include <random>
#include <vector>

namespace ledger_test {

namespace {

std::vector<std::string> lines_of(const std::string &text)
{
    std::vector<std::string> lines;
    for (size_t at = 0; at < text.size();) {
        size_t end = text.find('\n', at);
        end = end == std::string::npos ? text.size() : end + 1;
        lines.push_back(text.substr(at, end - at));
        at = end;
    }
    return lines;
}

/* White space, which readers pass over, or not. */
std::string spaced_otherwise(std::string line, std::mt19937 &random)
{
    static constexpr const char *blanks[] = {" ", "\t", "\r", "  \t "};
    size_t                       at = line.find(' ', random() % line.size());
    line.insert(at == std::string::npos ? line.size() - 1 : at, blanks[random() % std::size(blanks)]);
    return line;
}

} // namespace

std::string disturbed(const std::string &text, unsigned number)
{
    std::mt19937             random(number);
    std::vector<std::string> lines = lines_of(text);
    unsigned                 rarely = 20 + random() % 400;
    std::string              result;
    for (size_t i = 0; i < lines.size(); i++) {
        unsigned draw = i < 2 ? rarely : random() % rarely;
        if (draw == 0)
            continue;
        if (draw == 1)
            result += lines[i];
        if (draw == 2)
            std::swap(lines[i], lines[std::min(lines.size() - 1, i + random() % 40)]);
        result += draw == 3 ? spaced_otherwise(lines[i], random) : lines[i];
    }
    return result;
}

} // namespace ledger_test
