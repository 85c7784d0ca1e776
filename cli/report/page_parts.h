/* What the build makes of page.tpl, page.css and page.js, and of the template of a fleet's page: their texts, in the
 * command itself. */
#pragma once

#include <string_view>

namespace command {

extern const std::string_view page_template;
extern const std::string_view page_style;
extern const std::string_view page_script;
extern const std::string_view fleet_template;

} // namespace command
