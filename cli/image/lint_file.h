/* An update file as `migr lint` sees it: the loader's sections and rules, each with its place. */
#pragma once

#include "image/finding.h"

#include <string_view>
#include <vector>

namespace command {

enum class RuleKind { deletes, modifies, readds };

struct LintRule {
    size_t      line;
    size_t      column; /* of the text's first character */
    RuleKind    kind;
    std::string text;
};

struct LintSection {
    size_t                line;
    int32_t               version;
    std::vector<LintRule> rules; /* in the order of the file */
};

struct LintFile {
    std::vector<LintSection> sections;
    size_t                   lines; /* how many the text has */
};

/* Cuts a text into sections and rules as the loader would, but for a rule that the loader takes for something else:
 * that is a finding, and what follows stays in its section. */
LintFile read_update_file(std::string_view text, std::vector<Finding> *findings);

/* An error at the beginning of a rule. */
Finding error_at(const LintRule &rule, const std::string &text);

/* "5.10", as a section's line has it. */
std::string section_name(int32_t version);

} // namespace command
