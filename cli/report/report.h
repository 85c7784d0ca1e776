/* What came of an upgrade, as a table for people or as JSON; and what all who carry files forward say. */
#pragma once

#include "appliance/outcome.h"
#include "explain/account.h"
#include "image/image_files.h"
#include "output/json.h"

namespace command {

/* With `verbose`, also what the library printed. */
void show(const Outcome &outcome, bool verbose);

/* What --json says of an upgrade. */
Json::Members answer_members(const Outcome &outcome, const Account &account);

/* Says on standard error which image's files are used. */
void tell_image(const Image &image);

/* "upgraded", "not upgraded" ... */
const char *word(Result result);

} // namespace command
