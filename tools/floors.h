/*
 * Who may include whom: the table of floors in docs/architecture.md, and every include of the project held against it.
 * Only includes in quotes count; what stands in angle brackets comes from elsewhere.
 */
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tools {

/*
 * What is wrong in the project below `root`, a line each, "cli/run/x.h includes ..."; none for a house in order:
 *
 *   - a source file or a generated header that no row of the table names
 *   - a room that holds no file, and none that the build makes for an include
 *   - an include of a file on a higher floor, or of another room on the same floor
 *   - a folder that builds on the library and includes another header of it than those of cmake/public_headers.cmake
 *   - a circle; X.h and X.cpp are one and the same here
 *
 * A row's first cell names its rooms in backticks: `folder/` for the files in that folder, `folder/...` for those below
 * it as well, `folder/name` for name.h and name.cpp, which leave their folder's room.
 */
std::vector<std::string> faults_of_includes(const std::filesystem::path &root);

} // namespace tools
