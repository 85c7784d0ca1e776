/* Puts a snapshot back. */
#pragma once

#include "appliance/manifest.h"
#include "appliance/root.h"

#include <string>
#include <vector>

namespace command {

/*
 * From the parent: checks the snapshot, makes its places what they were (content, mode, owner, links, times; what has
 * been added goes), looks whether they are, and takes the mark of an unfinished run away. It can be cut off anywhere
 * and run again. Throws Failure, with the status `unusable` when nothing was touched. What could not be made as it
 * was comes back, one line each; then the mark stays.
 */
std::vector<std::string> restore_snapshot(const Root &root, const std::string &name);

enum class Owners { restore, leave };

/* Inside a root folder: makes those places what the manifest says, taking files from the folder `store`. Throws
 * PathError. */
void make_as_stored(const Manifest &manifest, int store, Owners owners);

} // namespace command
