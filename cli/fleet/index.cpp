/* Questions in SQL. The database is a cache of lines that are on disk anyway, so nothing of it is ever synced. */
#include "fleet/index.h"

#include "system/failure.h"

#include <type_traits>

namespace command {

namespace {

constexpr char schema[] =
    "PRAGMA journal_mode = OFF; PRAGMA synchronous = OFF; PRAGMA locking_mode = EXCLUSIVE;"
    "PRAGMA temp_store = FILE;"
    "CREATE TABLE expected(entry TEXT PRIMARY KEY) WITHOUT ROWID;"
    "CREATE TABLE answered(entry TEXT PRIMARY KEY) WITHOUT ROWID;"
    "CREATE TABLE result(entry TEXT PRIMARY KEY, input TEXT, image TEXT, version TEXT, options TEXT, "
    "  end INTEGER, output TEXT, lines INTEGER, dropped INTEGER) WITHOUT ROWID;"
    "CREATE TABLE finding(entry TEXT, reason INTEGER, cause TEXT, count INTEGER, text TEXT);"
    "CREATE INDEX finding_of ON finding(entry);"
    "CREATE TABLE loss(entry TEXT, cause TEXT, kind TEXT, lines INTEGER);"
    "CREATE INDEX loss_of ON loss(entry);";

[[noreturn]] void fail(sqlite3 *connection)
{
    throw Failure(Status::failed, "The fleet's index cannot be kept: " + std::string(sqlite3_errmsg(connection)) +
                                      ". See that there is room in the folder for temporary files.");
}

/* Binds its arguments in their order. */
template <typename... Values> void bind_values(const Statement &statement, const Values &...values)
{
    int  at = 0;
    auto one = [&](const auto &value) {
        if constexpr (std::is_convertible_v<decltype(value), std::string_view>) {
            std::string_view text = value;
            return sqlite3_bind_text64(statement.get(), ++at, text.data(), text.size(), SQLITE_TRANSIENT, SQLITE_UTF8);
        } else {
            return sqlite3_bind_int64(statement.get(), ++at, static_cast<sqlite3_int64>(value));
        }
    };
    if (((one(values) != SQLITE_OK) || ...))
        fail(sqlite3_db_handle(statement.get()));
}

/* False behind the last row. */
bool step(const Statement &statement)
{
    int result = sqlite3_step(statement.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE)
        fail(sqlite3_db_handle(statement.get()));
    return result == SQLITE_ROW;
}

std::string text_of(const Statement &statement, int column)
{
    const unsigned char *text = sqlite3_column_text(statement.get(), column);
    return text ? reinterpret_cast<const char *>(text) : "";
}

uint64_t number_of(const Statement &statement, int column)
{
    return static_cast<uint64_t>(sqlite3_column_int64(statement.get(), column));
}

std::vector<Group> groups_of(const Statement &statement)
{
    std::vector<Group> groups;
    while (step(statement))
        groups.push_back({text_of(statement, 0), text_of(statement, 1), number_of(statement, 2),
                          number_of(statement, 3), text_of(statement, 4), text_of(statement, 5)});
    return groups;
}

} // namespace

FleetIndex::FleetIndex()
{
    sqlite3 *opened = nullptr;
    int      result = sqlite3_open("", &opened); /* a file of its own, which is removed at once */
    connection_ = Connection(opened);
    if (!opened)
        throw std::bad_alloc();
    if (result != SQLITE_OK)
        fail(opened);
    execute(schema);
}

void FleetIndex::execute(const char *sql) const
{
    if (sqlite3_exec(connection_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        fail(connection_.get());
}

Statement FleetIndex::ask(const char *sql) const
{
    Statement statement = prepare(connection_, sql);
    if (!statement)
        fail(connection_.get());
    return statement;
}

void FleetIndex::begin()
{
    execute("BEGIN");
}

void FleetIndex::commit()
{
    execute("COMMIT");
}

void FleetIndex::add(const EntryResult &result)
{
    for (const char *sql : {"DELETE FROM finding WHERE entry = ?", "DELETE FROM loss WHERE entry = ?",
                            "INSERT OR IGNORE INTO answered VALUES(?)"}) {
        Statement statement = ask(sql);
        bind_values(statement, result.entry);
        step(statement);
    }
    Statement put = ask("INSERT OR REPLACE INTO result VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)");
    bind_values(put, result.entry, result.identity.input, result.identity.image, result.identity.version,
                result.identity.options, static_cast<int>(result.end), result.output, result.lines, result.dropped);
    step(put);
    for (const CountedFinding &finding : result.findings) {
        Statement statement = ask("INSERT INTO finding VALUES(?, ?, ?, ?, ?)");
        bind_values(statement, result.entry, finding.is_reason, finding.cause, finding.count, finding.text);
        step(statement);
    }
    for (const CountedCause &cause : result.causes) {
        Statement statement = ask("INSERT INTO loss VALUES(?, ?, ?, ?)");
        bind_values(statement, result.entry, cause.cause, cause.kind, cause.lines);
        step(statement);
    }
}

void FleetIndex::expect(const std::string &entry)
{
    Statement statement = ask("INSERT OR IGNORE INTO expected VALUES(?)");
    bind_values(statement, entry);
    step(statement);
}

bool FleetIndex::has_result(const std::string &entry) const
{
    Statement statement = ask("SELECT 1 FROM result WHERE entry = ?");
    bind_values(statement, entry);
    return step(statement);
}

bool FleetIndex::is_done(const std::string &entry, const Identity &identity) const
{
    Statement statement = ask("SELECT 1 FROM result WHERE entry = ? AND input = ? AND image = ? AND version = ? AND "
                              "options = ? AND end != ?");
    bind_values(statement, entry, identity.input, identity.image, identity.version, identity.options,
                static_cast<int>(EntryEnd::failed));
    return step(statement);
}

void FleetIndex::wait_for_answers()
{
    execute("DELETE FROM answered");
}

std::string FleetIndex::unanswered(size_t number) const
{
    Statement statement = ask("SELECT entry FROM (SELECT entry FROM expected ORDER BY entry LIMIT 1 OFFSET ?) "
                              "WHERE entry NOT IN answered");
    bind_values(statement, number - 1);
    return step(statement) ? text_of(statement, 0) : "";
}

void FleetIndex::for_each_expected(const std::function<void(const std::string &entry)> &look) const
{
    Statement statement = ask("SELECT entry FROM expected ORDER BY entry");
    while (step(statement))
        look(text_of(statement, 0));
}

uint64_t FleetIndex::expected() const
{
    Statement statement = ask("SELECT COUNT(*) FROM expected");
    step(statement);
    return number_of(statement, 0);
}

uint64_t FleetIndex::count(EntryEnd end) const
{
    Statement statement = ask("SELECT COUNT(*) FROM result WHERE end = ?");
    bind_values(statement, static_cast<int>(end));
    step(statement);
    return number_of(statement, 0);
}

/* SQLite gives the other columns of the row that has the least one. */
std::vector<Group> FleetIndex::findings(bool reasons) const
{
    Statement statement = ask("SELECT cause, '', COUNT(*), SUM(count), MIN(entry), text FROM finding WHERE reason = ? "
                              "GROUP BY cause ORDER BY COUNT(*) DESC, cause");
    bind_values(statement, reasons);
    return groups_of(statement);
}

std::vector<Group> FleetIndex::causes() const
{
    return groups_of(ask("SELECT cause, kind, COUNT(*), SUM(lines), MIN(entry), '' FROM loss GROUP BY cause, kind "
                         "ORDER BY SUM(lines) DESC, cause"));
}

std::vector<LostLines> FleetIndex::worst(unsigned most) const
{
    Statement statement =
        ask("SELECT entry, dropped, lines FROM result WHERE dropped > 0 ORDER BY dropped DESC, entry LIMIT ?");
    bind_values(statement, most);
    std::vector<LostLines> losses;
    while (step(statement))
        losses.push_back({text_of(statement, 0), number_of(statement, 1), number_of(statement, 2)});
    return losses;
}

void FleetIndex::for_each_result(const std::function<void(const ListedResult &result)> &look) const
{
    Statement statement = ask("SELECT entry, end, output, lines, dropped FROM result ORDER BY entry");
    while (step(statement))
        look({text_of(statement, 0), static_cast<EntryEnd>(number_of(statement, 1)), text_of(statement, 2),
              number_of(statement, 3), number_of(statement, 4)});
}

} // namespace command
