/*
 * The bytes of a database, such as an image's signature.db, opened for questions. They are never written to, no file is
 * opened and no lock taken.
 */
#pragma once

#include "system/owned.h"

#include <sqlite3.h>
#include <string_view>

namespace command {

using Connection = Owned<sqlite3, sqlite3_close>;
using Statement = Owned<sqlite3_stmt, sqlite3_finalize>;

/* Null when it does not open. The bytes are read for as long as the connection lives. */
Connection open_bytes(std::string_view bytes);

/* Null for what cannot be asked. */
Statement prepare(const Connection &connection, const char *sql);

} // namespace command
