/*
 * What `migr lint` finds in a rule for itself, and a rule taken apart for checks that look at several. Each rule
 * stands alone here.
 */
#pragma once

#include "image/lint_faults.h"
#include "image/lint_file.h"

#include <limits>

namespace command {

/* The names of a rule's path; the first in the comma form of a top-level config. */
using RulePath = std::vector<std::string>;

/* What is wrong with a rule of a section of that version. */
std::vector<Fault> faults_of_rule(const LintRule &rule, int32_t section_version);

/* The names of a path, as far as it can be read. */
RulePath path_of(std::string_view text);

constexpr int32_t every_file = std::numeric_limits<int32_t>::max();

/* A modify or re-add rule taken apart, its directory and names as text. */
struct Rename {
    std::string directory;
    std::string old_name; /* empty for a top-level config */
    std::string new_name;
    int32_t     up_to; /* a re-add rule acts on files up to this release; every_file for a modify rule */

    std::string old_text() const
    {
        return old_name.empty() ? directory : directory + "<" + old_name + ">";
    }
    std::string new_text() const
    {
        return (old_name.empty() ? "" : directory) + "<" + new_name + ">";
    }
};

/* False for a rule that the library cannot read; that is a finding of its own. */
bool read_rename(const LintRule &rule, Rename *rename);

} // namespace command
