/* What `migr lint` finds in the property of a rule. */
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace command {

/* What is wrong with a property's text, without its brackets. */
std::vector<std::string> faults_of_property(std::string_view property);

} // namespace command
