/* The image's default replacement pages, as long as the signature database is open. */
#pragma once

#include <sqlite3.h>

namespace appliance {

/* Fills rmsg_def_pages from the database. Without the table, or without memory, there are no pages. */
void load_default_pages(sqlite3 *connection);
void free_default_pages();

} // namespace appliance
