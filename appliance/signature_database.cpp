/*
 * The signature database as the library sees it: a handle, and query objects that keep one column of a result. While a
 * handle is open the image's other data comes by way of its connection, and the default pages are there.
 */
#include "image_database.h"
#include "kept_questions.h"
#include "platform/platform.h"
#include "replacement_pages.h"

#include <climits>
#include <cstdlib>
#include <cstring>
#include <iterator>

struct signature_database {
    sqlite3                 *connection;
    appliance::KeptQuestions questions;
};

using appliance::Statement;

int db_open(signature_database **handle)
{
    if (!handle)
        return -1;
    *handle = nullptr;
    appliance::Connection connection = appliance::open_database();
    if (!connection)
        return -1;
    auto *opened = static_cast<signature_database *>(calloc(1, sizeof(signature_database)));
    if (!opened)
        return -1;
    opened->connection = connection.release();
    appliance::hold_connection(opened->connection);
    appliance::load_default_pages(opened->connection);
    *handle = opened;
    return 0;
}

int db_close(signature_database *handle)
{
    if (!handle)
        return -1;
    if (handle->connection == appliance::held_connection()) {
        appliance::hold_connection(nullptr);
        appliance::free_default_pages();
    }
    appliance::drop_questions(&handle->questions);
    sqlite3_close(handle->connection);
    free(handle);
    return 0;
}

namespace {

struct query_field {
    int type;
    int width;
};

/* The fields that a query object has been given, and whom it asks. */
struct query {
    signature_database *database;
    query_field         fields[8];
    int                 field_count;
};

} // namespace

static int add_field(db_object *object, int type, int width)
{
    query *state = object ? static_cast<query *>(object->internal) : nullptr;
    if (!state || state->field_count == static_cast<int>(std::size(state->fields)))
        return -1;
    bool number = type == DB_FIELD_NUMBER && width == 0;
    bool text = type == DB_FIELD_TEXT && width > 0;
    if (!number && !text)
        return -1;
    state->fields[state->field_count++] = {type, width};
    return 0;
}

static void free_rows(db_object *object)
{
    while (db_row *row = object->first_row) {
        object->first_row = row->next;
        free(row);
    }
    object->row_count = 0;
}

/* A row with its data behind it in one block, or null without memory. */
static db_row *new_row(size_t size)
{
    auto *row = static_cast<db_row *>(calloc(1, sizeof(db_row) + size));
    if (row)
        row->data = size ? row + 1 : nullptr;
    return row;
}

static db_row *row_of_number(sqlite3_stmt *found)
{
    int32_t number = appliance::number_in(found, 0);
    db_row *row = new_row(sizeof number);
    if (row)
        memcpy(row->data, &number, sizeof number);
    return row;
}

/* Text longer than the field is cut. */
static db_row *row_of_text(sqlite3_stmt *found, int width)
{
    const char *text = appliance::text_in(found, 0);
    if (!text)
        return nullptr;
    size_t  length = strnlen(text, static_cast<size_t>(width) - 1);
    db_row *row = new_row(length + 1);
    if (row)
        memcpy(row->data, text, length);
    return row;
}

static db_row *row_of(sqlite3_stmt *found, const query_field &field)
{
    if (sqlite3_column_type(found, 0) == SQLITE_NULL)
        return new_row(0);
    return field.type == DB_FIELD_NUMBER ? row_of_number(found) : row_of_text(found, field.width);
}

/* Steps through the result and keeps its rows; SQLITE_DONE when all of them are there. */
static int keep_rows(db_object *object, sqlite3_stmt *statement, const query_field &field)
{
    db_row **behind = &object->first_row;
    int      result;
    while ((result = sqlite3_step(statement)) == SQLITE_ROW) {
        if (object->row_count == INT32_MAX)
            return SQLITE_TOOBIG;
        db_row *row = row_of(statement, field);
        if (!row)
            return SQLITE_NOMEM;
        *behind = row;
        behind = &row->next;
        object->row_count++;
    }
    return result;
}

static int answer(db_object *object, sqlite3_stmt *statement)
{
    const query *state = static_cast<const query *>(object->internal);
    if (!statement || sqlite3_column_count(statement) != state->field_count)
        return SQLITE_ERROR;
    int result = keep_rows(object, statement, state->fields[0]);
    if (result != SQLITE_DONE)
        free_rows(object);
    return result == SQLITE_DONE ? SQLITE_OK : result;
}

static int run_query(db_object *object, const char *sql)
{
    const query *state = static_cast<const query *>(object->internal);
    if (!state || state->field_count == 0)
        return SQLITE_MISUSE;
    free_rows(object);
    if (sqlite3_stmt *kept = appliance::kept_question(&state->database->questions, state->database->connection, sql)) {
        int result = answer(object, kept);
        sqlite3_reset(kept);
        return result;
    }
    Statement statement = appliance::prepare(state->database->connection, sql);
    return answer(object, statement.get());
}

static int run(db_object *object, const char *sql, int32_t *status)
{
    int result = object ? run_query(object, sql) : SQLITE_MISUSE;
    if (status)
        *status = result;
    return result == SQLITE_OK ? 0 : -1;
}

static void release(db_object *object)
{
    if (!object)
        return;
    free_rows(object);
    free(object->internal);
    object->internal = nullptr;
}

int init_db_object(db_object *object, signature_database *handle)
{
    if (!object || !handle)
        return -1;
    auto *state = static_cast<query *>(calloc(1, sizeof(query)));
    if (!state)
        return -1;
    state->database = handle;
    *object = {add_field, run, release, nullptr, 0, state};
    return 0;
}
