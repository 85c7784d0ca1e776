/*
 * A database in a file that nobody else sees and that goes with its record: for what is too much for memory. Nothing of
 * it is ever synced. Only sources include this.
 */
#pragma once

#include "image/database.h"

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

namespace command {

/* Throws Failure with what the database says of itself. */
[[noreturn]] void fail_for_database(sqlite3 *connection);

/* A question, and its answer row by row. */
class Asked {
  public:
    /* The values take the places of its question marks. Throws Failure. */
    template <typename... Values>
    Asked(const Connection &connection, const char *sql, const Values &...values) : statement_(prepare(connection, sql))
    {
        if (!statement_ || ((bind(values) != SQLITE_OK) || ...))
            fail_for_database(connection.get());
    }

    /* False behind the last row. Throws Failure. */
    bool next() const;

    std::string text(int column) const;
    uint64_t    number(int column) const;

  private:
    template <typename Value> int bind(const Value &value)
    {
        bound_++;
        if constexpr (std::is_convertible_v<Value, std::string_view>) {
            std::string_view text = value;
            return sqlite3_bind_text64(statement_.get(), bound_, text.data(), text.size(), SQLITE_TRANSIENT,
                                       SQLITE_UTF8);
        } else {
            return sqlite3_bind_int64(statement_.get(), bound_, static_cast<sqlite3_int64>(value));
        }
    }

    Statement statement_;
    int       bound_ = 0;
};

/* With the tables that `schema` makes. Throws Failure. */
Connection temporary_database(const char *schema);

/* What has no answer. Throws Failure. */
void execute(const Connection &connection, const char *sql);

template <typename... Values> void execute(const Connection &connection, const char *sql, const Values &...values)
{
    Asked(connection, sql, values...).next();
}

} // namespace command
