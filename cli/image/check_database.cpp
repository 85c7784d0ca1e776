/* Looks at the bytes as a database in memory: nothing is written, no journal is looked for, and no lock is taken. */
#include "image/check_database.h"

#include "image/database.h"

namespace command {

namespace {

/* What the library and the appliance ask of the database. An empty table says that there is nothing of its kind, a
 * missing one only that the file is not what it should be. */
constexpr struct Table {
    const char *name;
    const char *look;
    bool        must_have_rows;
} tables[] = {
    {"class_map", "select main_class_id, sub_class_id, discard from class_map limit 1", true},
    {"signature_rule", "select signature_id, FP_mitigation, score from signature_rule limit 1", true},
    {"global_white_list", "select name from global_white_list limit 1", false},
    {"replacement_page", "select name, code, text from replacement_page limit 1", false},
    {"platform_limit", "select name, value from platform_limit limit 1", false},
};

std::string with_reason(const std::string &fault, const Connection &connection)
{
    return fault + ": " + sqlite3_errmsg(connection.get()) + ".";
}

std::string fault_of_pages(const Connection &connection)
{
    Statement check = prepare(connection, "pragma integrity_check(1)");
    if (!check || sqlite3_step(check.get()) != SQLITE_ROW)
        return with_reason("cannot be read as a database", connection);
    auto *result = reinterpret_cast<const char *>(sqlite3_column_text(check.get(), 0));
    if (result && std::string_view(result) == "ok")
        return "";
    return std::string("fails its integrity check: ") + (result ? result : "no result") + ".";
}

/* No view: what stands behind one could be anything. */
bool has_table(const Connection &connection, const char *name)
{
    Statement look = prepare(connection, "select 1 from sqlite_master where type='table' and name=?");
    return look && sqlite3_bind_text(look.get(), 1, name, -1, SQLITE_STATIC) == SQLITE_OK &&
           sqlite3_step(look.get()) == SQLITE_ROW;
}

std::string fault_of_table(const Connection &connection, const Table &table)
{
    if (!has_table(connection, table.name))
        return std::string("has no table ") + table.name + ".";
    Statement look = prepare(connection, table.look);
    int       step = look ? sqlite3_step(look.get()) : SQLITE_ERROR;
    if (step == SQLITE_ROW || (step == SQLITE_DONE && !table.must_have_rows))
        return "";
    if (step == SQLITE_DONE)
        return std::string("has nothing in its table ") + table.name + ".";
    return with_reason(std::string("has no such table ") + table.name + " as is needed", connection);
}

} // namespace

std::string why_no_database(std::string_view bytes, DatabaseCheck check)
{
    Connection connection = bytes.starts_with("SQLite format 3") ? open_bytes(bytes) : nullptr;
    if (!connection)
        return "is no database.";
    std::string fault = check == DatabaseCheck::pages ? fault_of_pages(connection) : "";
    for (const Table &table : tables)
        if (fault.empty())
            fault = fault_of_table(connection, table);
    return fault;
}

} // namespace command
