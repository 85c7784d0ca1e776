/*
 * What an upgrade looks for, for who makes configurations: the rows' scopes and what their callbacks and the chain's
 * migrations name, from the program's own tables, and the words of the image's rules. Beside it values at the limits
 * that the language and the conversions have. Knows words alone, no grammar.
 */
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace fuzzing {

/* Who looks: a row of a stage, a migration, or a rule. */
struct Subject {
    enum class Kind { row, migration, rule };
    Kind                     kind;
    std::string              code;    /* its name, or the rule's line */
    int32_t                  release; /* of its stage, step or section */
    std::vector<std::string> configs; /* top-level names in comma form; never empty */
    std::vector<std::string> words;   /* names and values; never empty */
};

const std::vector<Subject> &all_subjects();

/* Every text in the sources of conversions. */
const std::vector<std::string> &all_texts();

/* Values that have their form from elsewhere: addresses, keys, secrets, and texts that are no value. */
const std::vector<std::string> &known_values();

/* Lengths at which something is cut, refused or kept elsewhere; one less and one more are tried as well. */
const std::vector<size_t> &lengths();

/* The releases that have a stage, a step or a section. */
const std::vector<int32_t> &releases();

} // namespace fuzzing
