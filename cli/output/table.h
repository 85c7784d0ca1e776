/* A table of texts for a terminal. It makes them safe to show, and does not break lines. */
#pragma once

#include "output/console.h"

#include <string>
#include <vector>

namespace command {

using Row = std::vector<std::string>;

/* Prints the rows with their columns aligned; those numbered in `right` to the right. Texts may be anything. `print` is
 * say or complain. */
void show_table(const std::vector<Row> &rows, const std::vector<size_t> &right, Print print = say);

} // namespace command
