/* What came of an upgrade, file by file. How it is shown is told elsewhere. */
#pragma once

#include "output/file_finding.h"
#include "system/failure.h"

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace command {

enum class Result {
    upgraded, /* it is at the image's release now */
    added,    /* made by the split of a file from before 5.10 */
    current,  /* it was at the image's release already */
    newer,    /* it is of a release that the image does not know yet */
    held,     /* it could be upgraded, and is not, since another file cannot be */
    refused,  /* it ought to have been upgraded; see its reasons */
};

struct FileOutcome {
    std::string               name;
    int32_t                   before = -1; /* version codes, or -1 */
    int32_t                   after = -1;
    Result                    result = Result::current;
    uint64_t                  size = 0;  /* as stored */
    int                       error = 0; /* errno, where it could not be read */
    std::chrono::microseconds time{0};
    std::vector<FileFinding>  reasons;  /* why it was refused */
    std::vector<FileFinding>  warnings; /* what somebody should look at in the result */
};

struct Outcome {
    std::string              root;
    std::string              image; /* folder of the image's files */
    bool                     dry_run = false;
    Status                   status = Status::done;
    bool                     changed = false; /* something was committed */
    std::vector<FileOutcome> files;
    std::string              snapshot; /* where that lies which was replaced; empty: nothing was */
    std::vector<std::string> notes;    /* what the library printed */
};

} // namespace command
