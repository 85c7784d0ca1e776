/*
 * A folder as one file, for the way to another machine and back: a tar file with all that the folder holds, links and
 * owners too. Between machines of one owner; archives of others are for archive.h.
 */
#pragma once

#include "appliance/root.h"

#include <string>

namespace command {

/* Writes the file `to`, where nothing may be yet. Paths in it begin with a dot. Throws Failure that names what cannot
 * be packed. */
void pack_bundle(const std::string &folder, const std::string &to);

/* Fills `into`, an empty folder. Nothing is written outside of it, whatever the file holds. Throws Failure. */
void unpack_bundle(const std::string &file, const Root &into);

} // namespace command
