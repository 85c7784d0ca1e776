/*
 * The inputs of the fuzzers that run a part of an upgrade or all of it: an appliance as a text, in the form of the
 * data-driven tests (tests/cases), each of which is an input as it stands. Any text is read as some document; nothing
 * is refused.
 */
#pragma once

#include "driver/run_context.h"

#include <string>
#include <string_view>
#include <vector>

namespace fuzzing {

/* One file of configuration, without header lines, and what the run knows of it. */
struct Pass {
    migr_mode   mode = MIGR_GLOBAL;
    int32_t     release = MIGR_RELEASE(5, 40);
    std::string model = "QA-A1X";
    std::string domain = "root";
    std::string text;
    unsigned    deleted = 0; /* every so many nodes one has this mark; 0: none has */
    unsigned    hidden = 0;
};

struct DiskEntry {
    enum class Kind { file, folder, link };
    Kind        kind;
    std::string path;
    std::string content; /* of a file, or the target of a link */
};

struct Document {
    std::vector<std::string> run; /* what is to be run, and its arguments; never empty */
    std::vector<Pass>        passes;
    std::vector<DiskEntry>   disk;
    std::string              database;    /* SQL; empty: the image's own */
    size_t                   refused = 0; /* the allocation of the work that fails, from 1; 0: none does */
};

Document document_of(std::string_view text);

/* "5.40", or a version code as a number. 5.40 for anything else. */
int32_t release_of(const std::string &text);

} // namespace fuzzing
