/* Stands between the reconciliation and the database: takes down what is asked, and breaks an answer when a test
 * says so. */
#include "query_log.h"

#include "platform/platform.h"

QueryLog query_log;

extern "C" int __real_init_db_object(db_object *object, signature_database *handle);

/* One query at a time: what the database itself does. */
static db_object real;

static int add_field(db_object *object, int type, int width)
{
    query_log.fields.push_back(std::to_string(type) + "/" + std::to_string(width));
    return query_log.breaks == Breaks::field ? -1 : real.add_field(object, type, width);
}

static void take_data_away(db_object *object)
{
    for (db_row *row = object->first_row; row; row = row->next)
        if (query_log.breaks == Breaks::null_data || !row->next)
            row->data = nullptr;
}

static int run(db_object *object, const char *sql, int32_t *status)
{
    query_log.queries.emplace_back(sql);
    if (query_log.breaks == Breaks::run)
        return -1;
    int result = real.run(object, sql, status);
    if (query_log.breaks == Breaks::status)
        *status = 1;
    if (query_log.breaks == Breaks::row_count_only)
        object->row_count = 0;
    if (query_log.breaks == Breaks::null_data || query_log.breaks == Breaks::last_null_data)
        take_data_away(object);
    return result;
}

/* An answer without rows: the rows are hidden, and shown again for the release. */
static int run_hiding_rows(db_object *object, const char *sql, int32_t *status)
{
    int result = run(object, sql, status);
    real.release(object);
    object->first_row = nullptr;
    object->row_count = 0;
    return result;
}

static void release(db_object *object)
{
    query_log.open--;
    real.release(object);
}

extern "C" int __wrap_init_db_object(db_object *object, signature_database *handle)
{
    if (query_log.breaks == Breaks::init)
        return -1;
    int result = __real_init_db_object(object, handle);
    if (result != 0)
        return result;
    query_log.open++;
    real = *object;
    object->add_field = add_field;
    object->run = query_log.breaks == Breaks::no_rows ? run_hiding_rows : run;
    object->release = release;
    return 0;
}
