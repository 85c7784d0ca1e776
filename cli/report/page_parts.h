/* What the build makes of page.tpl, page.css and page.js: their texts, in the command itself. */
#pragma once

#include <string_view>

namespace command {

extern const std::string_view page_template;
extern const std::string_view page_style;
extern const std::string_view page_script;

} // namespace command
