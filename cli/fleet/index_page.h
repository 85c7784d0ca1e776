/* A page about a whole fleet, which leads to the page of each appliance. It needs nothing else, and runs nothing. */
#pragma once

#include "fleet/index.h"

#include <string>

namespace command {

/* Writes OUT/index.html, and of appliances that have a ledger and no page in OUT/reports that page, too. Throws Failure
 * and PathError. */
void write_index_page(const FleetIndex &index, const std::string &out);

} // namespace command
