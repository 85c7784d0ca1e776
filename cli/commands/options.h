/* Options that several subcommands have, and what they ask for. No subcommand of its own. */
#pragma once

#include "appliance/single_file.h"
#include "commands/subcommand.h"
#include "explain/change_filter.h"

#include <initializer_list>
#include <vector>

namespace command {

std::vector<Option> joined(std::initializer_list<std::vector<Option>> tables);

/* ROOT|FILE, an appliance's folder or one file; and behind a command's own options, what these need. */
std::vector<Option> root_or_file();
std::vector<Option> image_and_file_kind();

/* Which changes are shown. */
std::vector<Option> change_filters();

std::vector<Option> secrets_and_json(const char *json_help);

SingleRequest single_request(const Arguments &arguments);
CauseFilter   cause_filter(const Arguments &arguments);

/* Whether some fates of lines were asked for, in place of those that a command shows by itself. */
bool asks_for_fates(const Arguments &arguments);

} // namespace command
