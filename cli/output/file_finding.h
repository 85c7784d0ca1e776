/*
 * Something that there is to say of a configuration file: for whoever has that file before them, and for whoever has a
 * thousand.
 */
#pragma once

#include <string>
#include <tuple>
#include <vector>

namespace command {

struct FileFinding {
    std::string text;  /* with the line, the path and what to do */
    std::string cause; /* the same of every file that has it: without lines, names and numbers */

    FileFinding() = default;
    FileFinding(std::string whole) : text(whole), cause(std::move(whole)) {}
    FileFinding(const char *whole) : FileFinding(std::string(whole)) {}
    FileFinding(std::string whole, std::string general) : text(std::move(whole)), cause(std::move(general)) {}

    bool operator==(const FileFinding &) const = default;
};

inline auto fields_of(FileFinding &finding)
{
    return std::tie(finding.text, finding.cause);
}

/* What whoever has the file is told. */
inline std::vector<std::string> texts_of(const std::vector<FileFinding> &findings)
{
    std::vector<std::string> texts;
    for (const FileFinding &finding : findings)
        texts.push_back(finding.text);
    return texts;
}

} // namespace command
