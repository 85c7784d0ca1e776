/* What `migr lint` finds in a rule for itself. */
#pragma once

#include "image/lint_file.h"

namespace command {

/* The names of a rule's path; the first in the comma form of a top-level config. */
using RulePath = std::vector<std::string>;

/* What is wrong with a rule of a section of that version. */
std::vector<std::string> faults_of_rule(const LintRule &rule, int32_t section_version);

/* The names of a path, as far as it can be read. */
RulePath path_of(std::string_view text);

} // namespace command
