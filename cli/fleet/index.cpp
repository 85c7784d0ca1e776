/* Questions in SQL. The database is a cache of lines that are on disk anyway, so nothing of it is ever synced. */
#include "fleet/index.h"

#include "fleet/temporary_database.h"

namespace command {

namespace {

constexpr char schema[] = "CREATE TABLE expected(entry TEXT PRIMARY KEY) WITHOUT ROWID;"
                          "CREATE TABLE answered(entry TEXT PRIMARY KEY) WITHOUT ROWID;"
                          "CREATE TABLE result(entry TEXT PRIMARY KEY, input TEXT, image TEXT, version TEXT, "
                          "  options TEXT, end INTEGER, output TEXT, lines INTEGER, dropped INTEGER) WITHOUT ROWID;"
                          "CREATE TABLE finding(entry TEXT, reason INTEGER, cause TEXT, count INTEGER, text TEXT);"
                          "CREATE INDEX finding_of ON finding(entry);"
                          "CREATE TABLE loss(entry TEXT, cause TEXT, kind TEXT, lines INTEGER);"
                          "CREATE INDEX loss_of ON loss(entry);";

std::vector<Group> groups_of(const Asked &asked)
{
    std::vector<Group> groups;
    while (asked.next())
        groups.push_back(
            {asked.text(0), asked.text(1), asked.number(2), asked.number(3), asked.text(4), asked.text(5)});
    return groups;
}

} // namespace

FleetIndex::FleetIndex() : connection_(temporary_database(schema)) {}

void FleetIndex::begin()
{
    execute(connection_, "BEGIN");
}

void FleetIndex::commit()
{
    execute(connection_, "COMMIT");
}

void FleetIndex::add(const EntryResult &result)
{
    for (const char *sql : {"DELETE FROM finding WHERE entry = ?", "DELETE FROM loss WHERE entry = ?",
                            "INSERT OR IGNORE INTO answered VALUES(?)"})
        execute(connection_, sql, result.entry);
    const Identity &identity = result.identity;
    execute(connection_, "INSERT OR REPLACE INTO result VALUES(?, ?, ?, ?, ?, ?, ?, ?, ?)", result.entry,
            identity.input, identity.image, identity.version, identity.options, static_cast<int>(result.end),
            result.output, result.lines, result.dropped);
    for (const CountedFinding &finding : result.findings)
        execute(connection_, "INSERT INTO finding VALUES(?, ?, ?, ?, ?)", result.entry, finding.is_reason,
                finding.cause, finding.count, finding.text);
    for (const CountedCause &cause : result.causes)
        execute(connection_, "INSERT INTO loss VALUES(?, ?, ?, ?)", result.entry, cause.cause, cause.kind, cause.lines);
}

void FleetIndex::expect(const std::string &entry)
{
    execute(connection_, "INSERT OR IGNORE INTO expected VALUES(?)", entry);
}

bool FleetIndex::has_result(const std::string &entry) const
{
    return Asked(connection_, "SELECT 1 FROM result WHERE entry = ?", entry).next();
}

bool FleetIndex::is_done(const std::string &entry, const Identity &identity) const
{
    return Asked(connection_,
                 "SELECT 1 FROM result WHERE entry = ? AND input = ? AND image = ? AND version = ? AND options = ? AND "
                 "end != ?",
                 entry, identity.input, identity.image, identity.version, identity.options,
                 static_cast<int>(EntryEnd::failed))
        .next();
}

void FleetIndex::wait_for_answers()
{
    execute(connection_, "DELETE FROM answered");
}

std::string FleetIndex::unanswered(size_t number) const
{
    Asked asked(connection_,
                "SELECT entry FROM (SELECT entry FROM expected ORDER BY entry LIMIT 1 OFFSET ?) WHERE entry NOT IN "
                "answered",
                number - 1);
    return asked.next() ? asked.text(0) : "";
}

void FleetIndex::for_each_unanswered(const std::function<void(const std::string &entry, size_t number)> &look) const
{
    Asked asked(connection_, "SELECT expected.entry, answered.entry IS NOT NULL FROM expected "
                             "LEFT JOIN answered ON answered.entry = expected.entry ORDER BY expected.entry");
    for (size_t number = 1; asked.next(); number++)
        if (asked.number(1) == 0)
            look(asked.text(0), number);
}

void FleetIndex::for_each_expected(const std::function<void(const std::string &entry)> &look) const
{
    Asked asked(connection_, "SELECT entry FROM expected ORDER BY entry");
    while (asked.next())
        look(asked.text(0));
}

uint64_t FleetIndex::expected() const
{
    Asked asked(connection_, "SELECT COUNT(*) FROM expected");
    asked.next();
    return asked.number(0);
}

uint64_t FleetIndex::count(EntryEnd end) const
{
    Asked asked(connection_, "SELECT COUNT(*) FROM result WHERE end = ?", static_cast<int>(end));
    asked.next();
    return asked.number(0);
}

/* SQLite gives the other columns of the row that has the least one. */
std::vector<Group> FleetIndex::findings(bool reasons) const
{
    return groups_of(Asked(connection_,
                           "SELECT cause, '', COUNT(*), SUM(count), MIN(entry), text FROM finding WHERE reason = ? "
                           "GROUP BY cause ORDER BY COUNT(*) DESC, cause",
                           reasons));
}

std::vector<Group> FleetIndex::causes() const
{
    return groups_of(Asked(connection_, "SELECT cause, kind, COUNT(*), SUM(lines), MIN(entry), '' FROM loss "
                                        "GROUP BY cause, kind ORDER BY SUM(lines) DESC, cause"));
}

std::vector<LostLines> FleetIndex::worst(unsigned most) const
{
    Asked                  asked(connection_,
                                 "SELECT entry, dropped, lines FROM result WHERE dropped > 0 ORDER BY dropped DESC, entry LIMIT ?",
                                 most);
    std::vector<LostLines> losses;
    while (asked.next())
        losses.push_back({asked.text(0), asked.number(1), asked.number(2)});
    return losses;
}

void FleetIndex::for_each_result(const std::function<void(const ListedResult &result)> &look) const
{
    Asked asked(connection_,
                "SELECT entry, end, output, lines, dropped, (SELECT text FROM finding WHERE "
                "finding.entry = result.entry AND reason ORDER BY rowid LIMIT 1) FROM result ORDER BY entry");
    while (asked.next())
        look({asked.text(0), static_cast<EntryEnd>(asked.number(1)), asked.text(2), asked.number(3), asked.number(4),
              asked.text(5)});
}

} // namespace command
