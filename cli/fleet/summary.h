/* What came of a fleet, for people and for programs: how many, why not, what was lost, and where. */
#pragma once

#include "fleet/index.h"
#include "output/json.h"

namespace command {

/* The long lists are cut unless all is wanted. */
void show_summary(const FleetIndex &index, bool all);

Json::Members summary_json(const FleetIndex &index);

/* The exit status for it: 1 when some appliance, or a file of one, was not upgraded. */
Status status_of(const FleetIndex &index);

} // namespace command
