/* Whether bytes are a signature database that an upgrade can rely on. Opens no file. */
#pragma once

#include <string>
#include <string_view>

namespace command {

/* How much is looked at: every page, which takes time in proportion to the size (some 10 ms for 1 MB), or what the
 * tables are alone. */
enum class DatabaseCheck { pages, tables };

/* The first fault found, as in "has no table class_map."; empty for a sound database. */
std::string why_no_database(std::string_view bytes, DatabaseCheck check);

} // namespace command
