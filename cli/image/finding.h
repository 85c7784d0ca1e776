/* What the checks of an update file tell, each by itself; lint.h has them all. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace command {

enum class Severity {
    error,   /* fails, never acts, or acts on something else than it says */
    warning, /* acts, and does or says something that was hardly meant */
};

/* What was found, and what to do. */
struct Finding {
    size_t      line;   /* from 1 */
    size_t      column; /* of what is meant, from 1; bytes */
    Severity    severity;
    std::string text;
    int32_t     missing_step = -1; /* the release whose section is not there; -1: the finding is another one */
};

} // namespace command
