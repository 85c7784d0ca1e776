/*
 * What changed between two texts, line by line. It knows of configurations only what a top-level line looks like, and
 * makes nothing safe to show.
 */
#pragma once

#include <string>
#include <string_view>

namespace command {

/*
 * A unified diff without its two head lines; empty when nothing changed. Behind each hunk's numbers stands the line of
 * the top-level config that the hunk begins in, if it begins in one.
 */
std::string unified_diff(std::string_view before, std::string_view after);

} // namespace command
