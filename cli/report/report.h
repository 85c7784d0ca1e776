/* What came of an upgrade, as a table for people or as JSON. */
#pragma once

#include "system/failure.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace command {

enum class Result {
    upgraded,   /* it is at the image's release now */
    added,      /* made by the split of a file from before 5.10 */
    current,    /* it was no older than the image */
    left_alone, /* it ought to have been upgraded; see its reason */
};

struct FileReport {
    std::string               name;
    int32_t                   before = -1; /* version codes, or -1 */
    int32_t                   after = -1;
    Result                    result = Result::current;
    uint64_t                  size = 0; /* as stored now */
    std::chrono::microseconds time{0};
    std::string               reason;
    std::vector<uint64_t>     empty_sets; /* lines of the result that the next upgrade would refuse */
};

struct Report {
    std::string              root;
    bool                     dry_run = false;
    Status                   status = Status::done;
    std::vector<FileReport>  files;
    std::string              snapshot; /* where it lies, or empty */
    bool                     restored = false;
    std::string              trouble; /* why the run failed, or empty */
    std::vector<std::string> not_restored;
    std::vector<std::string> notes; /* what the library said */
};

/* 1 when some file was left alone, otherwise 0. */
Status status_of(const std::vector<FileReport> &files);

void        show(const Report &report);
std::string json_text(const Report &report);

} // namespace command
