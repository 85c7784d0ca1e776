/* SQLite's databases in memory. */
#include "image/database.h"

namespace command {

Connection open_bytes(std::string_view bytes)
{
    sqlite3 *opened = nullptr;
    int      result = sqlite3_open(":memory:", &opened);
    auto     connection = Connection(opened);
    if (result != SQLITE_OK)
        return nullptr;
    auto *data = reinterpret_cast<unsigned char *>(const_cast<char *>(bytes.data())); /* read alone, by the flag */
    auto  size = static_cast<sqlite3_int64>(bytes.size());
    if (sqlite3_deserialize(opened, "main", data, size, size, SQLITE_DESERIALIZE_READONLY) != SQLITE_OK)
        return nullptr;
    return connection;
}

Statement prepare(const Connection &connection, const char *sql)
{
    sqlite3_stmt *statement = nullptr;
    sqlite3_prepare_v2(connection.get(), sql, -1, &statement, nullptr);
    return Statement(statement);
}

} // namespace command
