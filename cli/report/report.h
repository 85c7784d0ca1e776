/* What came of an upgrade, as a table for people or as JSON. */
#pragma once

#include "appliance/outcome.h"

namespace command {

/* With `verbose`, also what the library printed. */
void show(const Outcome &outcome, bool verbose);

void print_json(const Outcome &outcome);

/* "upgraded", "not upgraded" ... */
const char *word(Result result);

} // namespace command
