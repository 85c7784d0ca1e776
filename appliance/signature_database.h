/* The signature database's connection, for the other data of the image that lies in the same file. */
#pragma once

#include <sqlite3.h>

#include <memory>

namespace appliance {

struct CloseConnection {
    void operator()(sqlite3 *connection) const
    {
        sqlite3_close(connection);
    }
};
using Connection = std::unique_ptr<sqlite3, CloseConnection>;

struct EndStatement {
    void operator()(sqlite3_stmt *statement) const
    {
        sqlite3_finalize(statement);
    }
};
using Statement = std::unique_ptr<sqlite3_stmt, EndStatement>;

/* True while a handle of db_open is open. */
bool database_is_open();

/* The connection that db_open holds or, outside of its time, one that closes with this object. */
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
