/* The kept library makes such a file for a database without a name, and keeps little of it in memory. */
#include "fleet/temporary_database.h"

#include "system/failure.h"

#include <new>

namespace command {

void fail_for_database(sqlite3 *connection)
{
    throw Failure(Status::failed, "The fleet's index cannot be kept: " + std::string(sqlite3_errmsg(connection)) +
                                      ". See that there is room in the folder for temporary files.");
}

bool Asked::next() const
{
    int result = sqlite3_step(statement_.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE)
        fail_for_database(sqlite3_db_handle(statement_.get()));
    return result == SQLITE_ROW;
}

std::string Asked::text(int column) const
{
    const unsigned char *text = sqlite3_column_text(statement_.get(), column);
    return text ? reinterpret_cast<const char *>(text) : "";
}

uint64_t Asked::number(int column) const
{
    return static_cast<uint64_t>(sqlite3_column_int64(statement_.get(), column));
}

Connection temporary_database(const char *schema)
{
    sqlite3 *opened = nullptr;
    int      result = sqlite3_open("", &opened);
    if (!opened)
        throw std::bad_alloc();
    Connection connection(opened);
    if (result != SQLITE_OK)
        fail_for_database(opened);
    execute(connection, "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE; "
                        "PRAGMA temp_store = FILE");
    execute(connection, schema);
    return connection;
}

void execute(const Connection &connection, const char *sql)
{
    if (sqlite3_exec(connection.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        fail_for_database(connection.get());
}

} // namespace command
