/* What is wrong with an update file, ahead of any upgrade. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace command {

enum class Severity {
    error,   /* fails, never acts, or acts on something else than it says */
    warning, /* acts, and takes something away from a conversion of the library */
};

/* What was found, and what to do. */
struct Finding {
    size_t      line;   /* from 1 */
    size_t      column; /* of what is meant, from 1; bytes */
    Severity    severity;
    std::string text;
    int32_t     missing_step = -1; /* the release whose section is not there; -1: the finding is another one */
};

/* All findings of an update file's text for an image of that release, by line; none for a clean file. */
std::vector<Finding> lint_update_file(std::string_view text, int32_t image_release);

} // namespace command
