/* A page about a whole fleet, which leads to the page of each appliance. It needs nothing else, and runs nothing. */
#pragma once

#include "fleet/index.h"

#include <string>

namespace command {

/* Writes OUT/index.html. Appliances with a page in OUT/reports are links to it. Throws Failure and PathError. */
void write_index_page(const FleetIndex &index, const std::string &out);

} // namespace command
