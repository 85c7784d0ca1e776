/* Stands between the library and the signature database: keeps what was asked, and breaks what a test wants broken. */
#pragma once

#include <string>
#include <vector>

enum class Breaks {
    nothing,
    init,           /* no query object can be had */
    field,          /* no column can be added */
    run,            /* the query fails */
    status,         /* the query runs, with a bad status */
    no_rows,        /* an answer without rows */
    row_count_only, /* rows, but a count of none */
    null_data,      /* rows without data */
    last_null_data, /* the last row has no data */
};

struct QueryLog {
    Breaks                   breaks = Breaks::nothing;
    std::vector<std::string> queries;
    std::vector<std::string> fields;   /* "type/width" */
    int                      open = 0; /* query objects that nobody has released */
};

extern QueryLog query_log;
