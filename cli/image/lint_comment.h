/* What `migr lint` finds in the comment above a rule. What the comment means is for explain/causes.h to say. */
#pragma once

#include <string_view>

namespace command {

/* The word for a kind that a comment's first word, ahead of a colon, was probably meant to be: one letter of it is
 * another, missing or too many, two have changed places, or its case is another. Null when it is a kind, or like none.
 */
const char *meant_kind(std::string_view word);

} // namespace command
