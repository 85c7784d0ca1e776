/*
 * The bytes of a database, such as an image's signature.db, opened for questions. They are never written to, no file is
 * opened and no lock taken.
 */
#pragma once

#include <memory>
#include <sqlite3.h>
#include <string_view>

namespace command {

struct DatabaseClose {
    void operator()(sqlite3 *connection) const
    {
        sqlite3_close(connection);
    }
    void operator()(sqlite3_stmt *statement) const
    {
        sqlite3_finalize(statement);
    }
};

using Connection = std::unique_ptr<sqlite3, DatabaseClose>;
using Statement = std::unique_ptr<sqlite3_stmt, DatabaseClose>;

/* Null when it does not open. The bytes are read for as long as the connection lives. */
Connection open_bytes(std::string_view bytes);

/* Null for what cannot be asked. */
Statement prepare(const Connection &connection, const char *sql);

} // namespace command
