/*
 * The image's database: one SQLite file, opened read-only, in which signatures lie beside pages, names and limits.
 * Whose rows they are is the business of those who ask; nothing here knows a table.
 */
#pragma once

#include "owned.h"

#include <sqlite3.h>

namespace appliance {

using Connection = Owned<sqlite3, sqlite3_close>;
using Statement = Owned<sqlite3_stmt, sqlite3_finalize>;

/* A connection of its own, or null when there is no such file, or one that is no database. */
Connection open_database();

/* The connection that serves all questions for a while, and null when that is over. It stays its owner's. */
void     hold_connection(sqlite3 *connection);
sqlite3 *held_connection();

/* The connection that is held or, when none is, one that closes with this object. */
class BorrowedConnection {
  public:
    BorrowedConnection();
    sqlite3 *get() const
    {
        return connection_;
    } /* null when there is no database */

  private:
    Connection own_;
    sqlite3   *connection_;
};

/* Prepares one statement, or null: no connection, a syntax error, a table that is not there, more than one statement.
 */
Statement prepare(sqlite3 *connection, const char *sql);

/* A column's number, held within 32 bits. */
int number_in(sqlite3_stmt *row, int column);

/* A column's text, or null where the column holds none. Valid until the statement goes on. */
const char *text_in(sqlite3_stmt *row, int column);

} // namespace appliance
