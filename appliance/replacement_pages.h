/*
 * The image's default replacement pages, as long as the signature database is open. Outside of that time a question
 * reads them anew, and whoever keeps a pointer to them then keeps it no longer than to the next.
 */
#pragma once

#include <sqlite3.h>

namespace appliance {

/* Fills rmsg_def_pages from the database. Without the table, or without memory, there are no pages. */
void load_default_pages(sqlite3 *connection);
void free_default_pages();

} // namespace appliance
