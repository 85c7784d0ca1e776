/* Regular expressions for all tests: the one source that instantiates the library's templates. */
#include "support/patterns.h"

#include <map>
#include <regex>

namespace support {
namespace {

const std::regex &compiled(const std::string &pattern)
{
    static std::map<std::string, std::regex> all;
    auto                                     known = all.find(pattern);
    return known != all.end() ? known->second : all.emplace(pattern, pattern).first->second;
}

Groups groups_of(const std::smatch &match)
{
    return {match.begin(), match.end()};
}

} // namespace

bool matches(const std::string &text, const std::string &pattern)
{
    return std::regex_match(text, compiled(pattern));
}

bool has_match(const std::string &text, const std::string &pattern)
{
    return std::regex_search(text, compiled(pattern));
}

Groups groups_of(const std::string &text, const std::string &pattern)
{
    std::smatch match;
    return std::regex_match(text, match, compiled(pattern)) ? groups_of(match) : Groups();
}

std::vector<Groups> all_groups(const std::string &text, const std::string &pattern)
{
    std::vector<Groups> all;
    for (std::sregex_iterator at(text.begin(), text.end(), compiled(pattern)), end; at != end; ++at)
        all.push_back(groups_of(*at));
    return all;
}

std::string replaced(const std::string &text, const std::string &pattern, const std::string &by)
{
    return std::regex_replace(text, compiled(pattern), by);
}

} // namespace support
