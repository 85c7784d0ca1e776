/*
 * Rules that find nothing because an earlier rule has renamed what they name. Whether a configuration has such nodes
 * at all is not asked.
 */
#pragma once

#include "image/lint_file.h"

namespace command {

/* Carries out the renames of a file as the library would, on the rules alone. */
void check_renames(const LintFile &file, std::vector<Finding> *findings);

} // namespace command
