/* A walk over the account, and one over the text. Which sets are secret is told by explain/secrets.h. */
#include "report/result_lines.h"

#include "report/account_report.h"

#include <algorithm>
#include <sstream>

namespace command {

namespace {

/* A secret's further lines say nothing either. */
std::string without_secret_line(const LineSource &source, const std::vector<std::string> &lines, uint32_t number)
{
    const std::string &line = lines[number - 1];
    if (!source.entry)
        return line;
    const std::string &first = lines[source.entry->out.first - 1];
    std::string        shown = without_secret(*source.entry, first);
    if (shown == first)
        return line;
    size_t indent = std::min(line.find_first_not_of(" \t"), line.size());
    bool   is_first = number == source.entry->out.first;
    return is_first ? line.substr(0, indent) + shown.substr(0, shown.find('\n')) : "(hidden)";
}

} // namespace

std::vector<LineSource> sources_of(const Account &account, const AccountFile &result)
{
    std::vector<LineSource> sources(result.out.lines + 1);
    for (const AccountFile &file : account.files)
        for (const AccountEntry &entry : file.entries) {
            const std::string &out_file = entry.out_file.empty() ? file.file : entry.out_file;
            if (out_file == result.file)
                for (uint32_t line = entry.out.first; line > 0 && line <= entry.out.last; line++)
                    sources.at(line) = {&file, &entry};
        }
    return sources;
}

std::vector<std::string> shown_lines(const std::vector<LineSource> &sources, const std::string &text, bool show_secrets)
{
    std::vector<std::string> lines;
    std::istringstream       stream(text);
    for (std::string line; std::getline(stream, line);)
        lines.push_back(line);
    if (show_secrets)
        return lines;
    std::vector<std::string> shown;
    shown.reserve(lines.size());
    for (uint32_t number = 1; number <= lines.size(); number++)
        shown.push_back(without_secret_line(sources.at(number), lines, number));
    return shown;
}

} // namespace command
