/*
 * How SQLite is asked. The file is opened as unchanging, so that neither a journal beside it nor a lock file is looked
 * at or made; whoever changes the file meanwhile gets what comes of it.
 */
#include "image_database.h"

#include <sys/stat.h>

#include <algorithm>
#include <climits>

constexpr char DATABASE_FILE[] = "/data/etc/signature.db";
constexpr char DATABASE_URI[] = "file:/data/etc/signature.db?immutable=1";

namespace appliance {

static sqlite3 *held;

/* SQLite opens anything and looks at it later; a file that is no database is found out here. */
Connection open_database()
{
    struct stat status = {};
    if (stat(DATABASE_FILE, &status) != 0 || !S_ISREG(status.st_mode))
        return nullptr;
    sqlite3   *opened = nullptr;
    int        result = sqlite3_open_v2(DATABASE_URI, &opened, SQLITE_OPEN_READONLY | SQLITE_OPEN_URI, nullptr);
    Connection connection(opened);
    if (result != SQLITE_OK)
        return nullptr;
    Statement look = prepare(opened, "select count(*) from sqlite_master");
    if (!look || sqlite3_step(look.get()) != SQLITE_ROW)
        return nullptr;
    return connection;
}

void hold_connection(sqlite3 *connection)
{
    held = connection;
}

sqlite3 *held_connection()
{
    return held;
}

BorrowedConnection::BorrowedConnection() : own_(held ? nullptr : open_database()), connection_(held ? held : own_.get())
{
}

Statement prepare(sqlite3 *connection, const char *sql)
{
    if (!connection || !sql)
        return nullptr;
    sqlite3_stmt *first = nullptr;
    const char   *behind = nullptr;
    if (sqlite3_prepare_v2(connection, sql, -1, &first, &behind) != SQLITE_OK)
        return nullptr;
    Statement statement(first);
    while (*behind) {
        sqlite3_stmt *further = nullptr;
        if (sqlite3_prepare_v2(connection, behind, -1, &further, &behind) != SQLITE_OK)
            return nullptr;
        if (further) {
            sqlite3_finalize(further);
            return nullptr;
        }
    }
    return statement;
}

int number_in(sqlite3_stmt *row, int column)
{
    sqlite3_int64 number = sqlite3_column_int64(row, column);
    return static_cast<int>(std::clamp<sqlite3_int64>(number, INT_MIN, INT_MAX));
}

const char *text_in(sqlite3_stmt *row, int column)
{
    return reinterpret_cast<const char *>(sqlite3_column_text(row, column));
}

} // namespace appliance
