/* Stored files as they were ahead of a run, beside those that it works on. In a staging folder; the library knows
 * nothing of them. */
#pragma once

#include <string>
#include <vector>

namespace command {

/* Makes the folder, and keeps a stored file as it is now. Throw PathError. */
void make_old_forms();
void keep_old_form(const std::string &name);

/* The path of one, and all their names in the order of their bytes. */
std::string              old_form_of(const std::string &name);
std::vector<std::string> old_forms();

} // namespace command
