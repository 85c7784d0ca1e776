/*
 * The predefined global white list of the image, as the library's record has room for it: what is longer is cut, what
 * is more is left out.
 */
#include "image_database.h"
#include "platform/platform.h"

#include <iterator>

/* The rows up to the record's end, each cut to its room and none left out; SQLITE_DONE or SQLITE_ROW when that went
 * well. */
static int read_names(sqlite3_stmt *rows, global_white_list *list)
{
    int result = SQLITE_ROW;
    while (list->count < static_cast<int32_t>(std::size(list->names)) && (result = sqlite3_step(rows)) == SQLITE_ROW) {
        const char *text = appliance::text_in(rows, 0);
        if (!text)
            return SQLITE_NOMEM;
        char(&name)[8] = list->names[list->count++];
        v_strncpy(name, sizeof name, text, sizeof name - 1);
    }
    return result;
}

int global_white_list_read_db(global_white_list *list)
{
    if (!list)
        return -1;
    *list = {};
    appliance::BorrowedConnection connection;
    appliance::Statement          rows = appliance::prepare(
                 connection.get(), "select name from global_white_list where name is not null order by rowid");
    int result = rows ? read_names(rows.get(), list) : SQLITE_ERROR;
    if (result == SQLITE_DONE || result == SQLITE_ROW)
        return 0;
    *list = {};
    return -1;
}
