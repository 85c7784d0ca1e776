/* Rules that take a block or a property away from a conversion of the library, since all rules of a section run before
 * the steps of later sections and before every stage. */
#pragma once

#include "image/lint_file.h"

namespace command {

void check_old_names(const LintFile &file, std::vector<Finding> *findings);

} // namespace command
