/*
 * Other words for words whose order means something: an upgrade takes domains by their names, and the first one gets
 * what all share. Which words these are is for the caller to say.
 */
#pragma once

#include "anonymize/permutation.h"

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>

namespace command {

/*
 * By old word, for those words of letters that do not stay; each of the same length and case, and between the others as
 * the old one was. `stays` is asked of old words, `is_taken` of new ones. A word for which there is no room is not
 * there.
 */
std::map<std::string, std::string> in_order(const std::set<std::string> &words, const Permutation &permutation,
                                            const std::function<bool(std::string_view)> &stays,
                                            const std::function<bool(std::string_view)> &is_taken);

} // namespace command
