/* What `migr lint` finds in the property of a rule. The rule around it has been found good by then. */
#pragma once

#include "image/lint_faults.h"

namespace command {

/* Adds what is wrong with a property's text, a part of a rule's, without its brackets. */
void check_property(std::string_view property, FaultList *faults);

} // namespace command
