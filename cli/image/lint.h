/*
 * What is wrong with an update file, ahead of any upgrade. It looks at the text alone: what the rules do to some
 * configuration is not tried.
 */
#pragma once

#include "image/finding.h"

#include <string_view>
#include <vector>

namespace command {

/* All findings of an update file's text for an image of that release, by line; none for a clean file. */
std::vector<Finding> lint_update_file(std::string_view text, int32_t image_release);

} // namespace command
