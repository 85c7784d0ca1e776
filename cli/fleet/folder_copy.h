/* Copies of whole folders, with owners, modes, times, links and extended attributes. */
#pragma once

#include <string>

namespace command {

/* Makes `to`, where nothing may be yet, a copy of the folder `from`. Links in it are copied and not followed. An
 * ordinary user's copies belong to that user. Throws Failure that names what cannot be copied. */
void copy_folder(const std::string &from, const std::string &to);

} // namespace command
