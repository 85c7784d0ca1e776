/* What is wrong with a signature database, in its words. */
#include "image/check_database.h"

#include "support/appliance_root.h"

#include <gtest/gtest.h>

using command::DatabaseCheck;
using command::why_no_database;

namespace {

constexpr char class_map[] = "CREATE TABLE class_map(main_class_id TEXT, sub_class_id TEXT, discard TEXT);"
                             "INSERT INTO class_map VALUES('1', '2', '1');";
constexpr char rules[] = "CREATE TABLE signature_rule(signature_id TEXT, FP_mitigation TEXT, score TEXT);"
                         "INSERT INTO signature_rule VALUES('010000001', '1', '1');";
constexpr char lists[] = "CREATE TABLE global_white_list(name TEXT);"
                         "CREATE TABLE replacement_page(name TEXT, code INTEGER, text TEXT);"
                         "CREATE TABLE platform_limit(name TEXT, value INTEGER);";

std::string database_of(const std::string &statements)
{
    support::ApplianceRoot root;
    root.database(statements);
    return root.read("/data/etc/signature.db");
}

std::string fault_of(const std::string &bytes)
{
    std::string of_tables = why_no_database(bytes, DatabaseCheck::tables);
    EXPECT_EQ(why_no_database(bytes, DatabaseCheck::pages), of_tables);
    return of_tables;
}

} // namespace

TEST(CheckDatabase, FindsNothingWhereAllIsThere)
{
    EXPECT_EQ(fault_of(database_of(std::string(class_map) + rules + lists)), "");
}

TEST(CheckDatabase, NamesTheTable)
{
    EXPECT_EQ(fault_of(database_of(std::string(class_map) + lists)), "has no table signature_rule.");
    EXPECT_EQ(fault_of(database_of(std::string(rules) + lists)), "has no table class_map.");
    EXPECT_EQ(fault_of(database_of(std::string(class_map) + rules)), "has no table global_white_list.");
    EXPECT_EQ(fault_of(database_of(std::string("CREATE VIEW class_map AS SELECT 1;") + rules + lists)),
              "has no table class_map.");
    EXPECT_EQ(fault_of(database_of(std::string(class_map) + rules + lists + "DELETE FROM class_map;")),
              "has nothing in its table class_map.");
    EXPECT_EQ(fault_of(database_of(std::string(class_map) + rules + lists + "ALTER TABLE platform_limit DROP value;")),
              "has no such table platform_limit as is needed: no such column: value.");
}

TEST(CheckDatabase, SaysWhatIsNone)
{
    EXPECT_EQ(fault_of(""), "is no database.");
    EXPECT_EQ(fault_of("a text of some length, which is none"), "is no database.");
}

/* Tables that can be asked for one row may have pages that nobody can read. */
TEST(CheckDatabase, LooksAtEachPageWhenAskedTo)
{
    std::string rows;
    for (int row = 0; row < 2000; row++)
        rows += "INSERT INTO class_map VALUES('" + std::to_string(row) + "', 'of a row that takes room', '1');";
    std::string bytes = database_of(std::string(class_map) + rules + lists + rows);
    ASSERT_GT(bytes.size(), 40'000U);
    bytes.replace(bytes.size() - 8000, 16, 16, '\x7f');
    EXPECT_EQ(why_no_database(bytes, DatabaseCheck::tables), "");
    EXPECT_TRUE(why_no_database(bytes, DatabaseCheck::pages).starts_with("fails its integrity check: "))
        << why_no_database(bytes, DatabaseCheck::pages);
    EXPECT_TRUE(why_no_database("SQLite format 3" + std::string(5000, 'x'), DatabaseCheck::pages)
                    .starts_with("cannot be read as a database: "));
}
