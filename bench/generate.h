/* Configurations of any size, for benches. The same size always gives the same text. */
#pragma once

#include <cstddef>
#include <string>

namespace bench {

/* A configuration of `bytes` characters, or a little more, without header lines: policies, pools, protection rules and
 * texts in quotes, as a busy appliance of release 5.40 has them. */
std::string configuration(size_t bytes);

/* One config with that many edits, each with one set. */
std::string edit_list(size_t count);

/* The two header lines of release 5.40. */
std::string header_lines();

} // namespace bench
