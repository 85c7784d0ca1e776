/*
 * Which names the library's own conversions look for, release by release. The table is made from their sources when the
 * command is built; whether a text in a source is a name or a value it cannot tell, so it says both.
 */
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace command {

/* A callback of the walk, or a migration of the version chain. */
struct ExpectedNames {
    std::string_view                  code;
    int32_t                           release; /* that its stage or step leads to */
    bool                              in_chain;
    std::string_view                  scope;           /* of a callback */
    bool                              asks_for_config; /* a callback that does not act on all that its scope takes in */
    std::span<const std::string_view> names;           /* sorted */
};

extern const std::span<const ExpectedNames> expected_names;

/* Every text in the sources of conversions, and of the signature lists' checks: names, values, pieces of either, and
 * what is written. */
extern const std::span<const std::string_view> expected_texts;

} // namespace command
