/* The text form of a data-driven case; README.md beside this file describes it. */
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace cases {

struct Pass {
    std::string                mode;    /* "global", "domain" or "ml" */
    std::string                release; /* "5.40" */
    std::optional<std::string> model;
    std::string                version_line; /* empty: one made from the release */
    std::string                domain;
    std::string                before;
    std::optional<std::string> after;
    bool                       same = false;
    bool                       fails = false;
    std::optional<std::string> stalls;
};

struct DiskEntry {
    std::string             verb; /* file, folder, link before; becomes, gone, made, becomes-link afterwards */
    std::string             path;
    std::string             content; /* or a link's target */
    std::optional<unsigned> mode;
};

struct Case {
    std::string                file;
    std::vector<std::string>   run; /* what runs, and its arguments */
    std::vector<Pass>          passes;
    std::vector<DiskEntry>     before;
    std::vector<DiskEntry>     after;
    std::optional<std::string> database;
    std::string                prints;
    std::optional<std::string> logs;
};

/* Reads a case. Throws std::runtime_error, with file and line, when it is not well formed. */
Case read_case(const std::string &file);

} // namespace cases
