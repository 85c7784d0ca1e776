/* What is wrong with an update file, ahead of any upgrade. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace command {

/* What was found, and what to do. */
struct Finding {
    size_t      line; /* from 1 */
    std::string text;
    int32_t     missing_step = -1; /* the release whose section is not there; -1: the finding is another one */
};

/* All findings of an update file's text, by line; none for a clean file. */
std::vector<Finding> lint_update_file(std::string_view text);

} // namespace command
