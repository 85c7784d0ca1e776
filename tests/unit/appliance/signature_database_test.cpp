/* Opening a signature database and asking it, good ones and bad. What a reconciliation makes of the answers is
 * tested with the library. */
#include "platform/platform.h"
#include "support/appliance_root.h"

#include <gtest/gtest.h>

#include <sys/stat.h>

#include <cstring>
#include <vector>

using support::ApplianceRoot;

constexpr char RULES[] = "create table signature_rule(signature_id text, FP_mitigation integer, score integer);"
                         "insert into signature_rule values('010000001',1,8341),('010000002',0,null),"
                         "('010000003',99999999999,-99999999999),('0123456789abcdefXY',0,0);";

/* What one query gives: its rows as text, "(null)" for an empty column. */
static std::vector<std::string> rows_of(signature_database *handle, int type, int width, const char *sql)
{
    db_object query;
    EXPECT_EQ(init_db_object(&query, handle), 0);
    EXPECT_EQ(query.add_field(&query, type, width), 0);
    int32_t status = 77;
    EXPECT_EQ(query.run(&query, sql, &status), 0);
    EXPECT_EQ(status, 0);
    std::vector<std::string> rows;
    for (const db_row *row = query.first_row; row; row = row->next) {
        if (!row->data)
            rows.push_back("(null)");
        else if (type == DB_FIELD_TEXT)
            rows.push_back(static_cast<const char *>(row->data));
        else
            rows.push_back(std::to_string(*static_cast<const int32_t *>(row->data)));
    }
    EXPECT_EQ(query.row_count, static_cast<int32_t>(rows.size()));
    query.release(&query);
    EXPECT_EQ(query.first_row, nullptr);
    return rows;
}

static void expect_error(signature_database *handle, const char *sql)
{
    db_object query;
    ASSERT_EQ(init_db_object(&query, handle), 0);
    ASSERT_EQ(query.add_field(&query, DB_FIELD_NUMBER, 0), 0);
    int32_t status = 0;
    EXPECT_NE(query.run(&query, sql, &status), 0) << sql;
    EXPECT_NE(status, 0) << sql;
    EXPECT_EQ(query.first_row, nullptr);
    EXPECT_EQ(query.row_count, 0);
    query.release(&query);
}

/* `work` gets an open handle on a database of `sql`. */
static void with_database(const std::string &sql, const std::function<void(signature_database *)> &work)
{
    ApplianceRoot root;
    root.database(sql);
    support::expect_in_root(root, [&work] {
        signature_database *handle = nullptr;
        ASSERT_EQ(db_open(&handle), 0);
        ASSERT_NE(handle, nullptr);
        work(handle);
        EXPECT_EQ(db_close(handle), 0);
    });
}

static void expect_no_database(const ApplianceRoot &root)
{
    support::expect_in_root(root, [] {
        int   anything = 0;
        auto *handle = reinterpret_cast<signature_database *>(&anything);
        EXPECT_NE(db_open(&handle), 0);
        EXPECT_EQ(handle, nullptr);
    });
}

TEST(DatabaseOpen, WithoutAFile)
{
    ApplianceRoot root;
    expect_no_database(root);
    EXPECT_FALSE(root.exists("/data/etc/signature.db"));
}

TEST(DatabaseOpen, WithoutTheFolder)
{
    ApplianceRoot root;
    std::filesystem::remove_all(root.path() / "data");
    expect_no_database(root);
}

TEST(DatabaseOpen, FileThatIsNoDatabase)
{
    ApplianceRoot root;
    root.write("/data/etc/signature.db", std::string(5000, 'x'));
    expect_no_database(root);
}

TEST(DatabaseOpen, FileThatIsNoFile)
{
    ApplianceRoot root;
    root.folder("/data/etc/signature.db");
    expect_no_database(root);

    ApplianceRoot with_pipe;
    ASSERT_EQ(mkfifo((with_pipe.path() / "data/etc/signature.db").c_str(), 0600), 0);
    expect_no_database(with_pipe);
}

TEST(DatabaseOpen, EmptyFileIsAnEmptyDatabase)
{
    ApplianceRoot root;
    root.write("/data/etc/signature.db", "");
    support::expect_in_root(root, [] {
        signature_database *handle = nullptr;
        ASSERT_EQ(db_open(&handle), 0);
        expect_error(handle, "select count(*) from signature_rule;");
        EXPECT_EQ(db_close(handle), 0);
    });
}

TEST(DatabaseOpen, LeavesTheFolderAsItIs)
{
    ApplianceRoot root;
    root.database(RULES);
    root.write("/data/etc/signature.db-journal", "left behind");
    support::Listing before = root.listing();
    support::expect_in_root(root, [] {
        signature_database *handle = nullptr;
        ASSERT_EQ(db_open(&handle), 0);
        EXPECT_EQ(rows_of(handle, DB_FIELD_NUMBER, 0, "select count(*) from signature_rule;"),
                  std::vector<std::string>{"4"});
        EXPECT_EQ(db_close(handle), 0);
    });
    EXPECT_EQ(root.listing(), before);
}

TEST(DatabaseOpen, NoHandle)
{
    EXPECT_NE(db_open(nullptr), 0);
    EXPECT_NE(db_close(nullptr), 0);
    db_object query;
    EXPECT_NE(init_db_object(&query, nullptr), 0);
}

TEST(DatabaseOpen, AgainAndTwice)
{
    with_database(RULES, [](signature_database *first) {
        signature_database *second = nullptr;
        ASSERT_EQ(db_open(&second), 0);
        for (signature_database *handle : {first, second})
            EXPECT_EQ(rows_of(handle, DB_FIELD_NUMBER, 0, "select count(*) from signature_rule;"),
                      std::vector<std::string>{"4"});
        EXPECT_EQ(db_close(second), 0);
        EXPECT_EQ(rows_of(first, DB_FIELD_NUMBER, 0, "select count(*) from signature_rule;"),
                  std::vector<std::string>{"4"});
    });
}

TEST(DatabaseQuery, CountsOfTheReconciliation)
{
    with_database(RULES, [](signature_database *handle) {
        auto count = [handle](const char *sql) { return rows_of(handle, DB_FIELD_NUMBER, 0, sql); };
        using Rows = std::vector<std::string>;
        EXPECT_EQ(count("select count(*) from signature_rule where signature_id='010000001';"), Rows{"1"});
        EXPECT_EQ(count("select count(*) from signature_rule where signature_id='019999999';"), Rows{"0"});
        EXPECT_EQ(count("select count(*) from signature_rule where signature_id='010000001' and FP_mitigation!=0;"),
                  Rows{"1"});
        EXPECT_EQ(count("select count(*) from signature_rule where signature_id='010000002' and FP_mitigation!=0;"),
                  Rows{"0"});
        EXPECT_EQ(count("select count(*) from signature_rule where signature_id='010000001' and score=8341;"),
                  Rows{"1"});
    });
}

/* A comment keeps a question from being taken apart. More sorts of them than are kept, and some that are of no sort. */
TEST(DatabaseQuery, TheSameWithOtherTexts)
{
    with_database(RULES, [](signature_database *handle) {
        const std::vector<std::string> names = {"010000001", "010000002", "0100", "",
                                                "?",         "01?",       "a-b",  "x' or '1'='1"};
        auto ask = [&](const std::string &sql) { return rows_of(handle, DB_FIELD_NUMBER, 0, sql.c_str()); };
        for (int round = 0; round < 2; round++)
            for (const std::string &name : names)
                for (const char *less : {"", " and score>0", " and score<1", " and score>1", " and score<2",
                                         " and score>2", " and score<3", " and score>3", " and score<4", " or 1=1"}) {
                    std::string sql = "select count(*) from signature_rule where signature_id='" + name + "'" + less;
                    EXPECT_EQ(ask(sql + ";"), ask(sql + " /* all of it */;")) << sql;
                }
    });
}

TEST(DatabaseQuery, OfOneTextDoesNotAnswerForAnother)
{
    with_database(RULES, [](signature_database *handle) {
        auto count = [&](const std::string &name) {
            std::string sql = "select count(*) from signature_rule where signature_id='" + name + "';";
            return rows_of(handle, DB_FIELD_NUMBER, 0, sql.c_str()).at(0);
        };
        EXPECT_EQ(count("010000001"), "1");
        EXPECT_EQ(count("nowhere"), "0");
        EXPECT_EQ(count("010000002"), "1");
        expect_error(handle, "select count(*) from no_such_table where signature_id='010000001';");
        EXPECT_EQ(count("010000003"), "1");
    });
}

TEST(DatabaseQuery, TextIsCutToItsField)
{
    with_database(RULES, [](signature_database *handle) {
        const char *sql = "select signature_id from signature_rule order by rowid;";
        EXPECT_EQ(rows_of(handle, DB_FIELD_TEXT, 17, sql),
                  (std::vector<std::string>{"010000001", "010000002", "010000003", "0123456789abcdef"}));
        EXPECT_EQ(rows_of(handle, DB_FIELD_TEXT, 4, sql), (std::vector<std::string>{"010", "010", "010", "012"}));
        EXPECT_EQ(rows_of(handle, DB_FIELD_TEXT, 1, sql), (std::vector<std::string>{"", "", "", ""}));
    });
}

TEST(DatabaseQuery, NumbersStayWithin32Bits)
{
    with_database(RULES, [](signature_database *handle) {
        EXPECT_EQ(rows_of(handle, DB_FIELD_NUMBER, 0, "select FP_mitigation from signature_rule order by rowid"),
                  (std::vector<std::string>{"1", "0", "2147483647", "0"}));
        EXPECT_EQ(rows_of(handle, DB_FIELD_NUMBER, 0, "select score from signature_rule order by rowid"),
                  (std::vector<std::string>{"8341", "(null)", "-2147483648", "0"}));
    });
}

TEST(DatabaseQuery, EmptyColumnHasNoData)
{
    with_database(RULES, [](signature_database *handle) {
        EXPECT_EQ(rows_of(handle, DB_FIELD_TEXT, 17, "select null;"), std::vector<std::string>{"(null)"});
        EXPECT_EQ(rows_of(handle, DB_FIELD_TEXT, 17, "select '';"), std::vector<std::string>{""});
    });
}

TEST(DatabaseQuery, NoRows)
{
    with_database(RULES, [](signature_database *handle) {
        EXPECT_TRUE(rows_of(handle, DB_FIELD_TEXT, 17, "select signature_id from signature_rule where 0;").empty());
    });
}

TEST(DatabaseQuery, ManyRows)
{
    with_database(RULES, [](signature_database *handle) {
        std::vector<std::string> rows = rows_of(handle, DB_FIELD_NUMBER, 0,
                                                "with recursive n(i) as (select 1 union all select i+1 from n limit "
                                                "50000) select i from n");
        ASSERT_EQ(rows.size(), 50000u);
        EXPECT_EQ(rows.front(), "1");
        EXPECT_EQ(rows.back(), "50000");
    });
}

TEST(DatabaseQuery, OneStatementOnly)
{
    with_database(RULES, [](signature_database *handle) {
        expect_error(handle, "select count(*) from signature_rule; select 1;");
        expect_error(handle, "select count(*) from signature_rule where signature_id=''; delete from signature_rule;");
        expect_error(handle, "select 1;; x");
        expect_error(handle, "");
        expect_error(handle, ";");
        EXPECT_EQ(rows_of(handle, DB_FIELD_NUMBER, 0, "select 1 ; ; -- no more\n"), std::vector<std::string>{"1"});
    });
}

TEST(DatabaseQuery, Errors)
{
    with_database(RULES, [](signature_database *handle) {
        expect_error(handle, "select count(*) from signature_rule where signature_id='a'b';");
        expect_error(handle, "select count(*) from class_map;");
        expect_error(handle, "select 1, 2;");
        expect_error(handle, "delete from signature_rule;");
        expect_error(handle, "create table other(x);");
        expect_error(handle, nullptr);
    });
}

TEST(DatabaseQuery, DamagedPages)
{
    ApplianceRoot root;
    root.database(std::string(RULES) + "insert into signature_rule select 'x'||a.signature_id||b.score,1,1 from "
                                       "signature_rule a, signature_rule b, signature_rule c, signature_rule d;");
    std::string bytes = root.read("/data/etc/signature.db");
    ASSERT_GT(bytes.size(), 8192u);
    for (size_t at = 4096; at < bytes.size(); at++)
        bytes[at] = 'x';
    root.write("/data/etc/signature.db", bytes);
    support::expect_in_root(root, [] {
        signature_database *handle = nullptr;
        ASSERT_EQ(db_open(&handle), 0);
        expect_error(handle, "select FP_mitigation from signature_rule;");
        EXPECT_EQ(db_close(handle), 0);
    });
}

TEST(DatabaseQuery, FieldsThatCannotBe)
{
    with_database(RULES, [](signature_database *handle) {
        db_object query;
        ASSERT_EQ(init_db_object(&query, handle), 0);
        EXPECT_NE(query.add_field(&query, DB_FIELD_NUMBER, 4), 0);
        EXPECT_NE(query.add_field(&query, DB_FIELD_TEXT, 0), 0);
        EXPECT_NE(query.add_field(&query, DB_FIELD_TEXT, -1), 0);
        EXPECT_NE(query.add_field(&query, 103, 0), 0);
        EXPECT_NE(query.add_field(nullptr, DB_FIELD_NUMBER, 0), 0);
        int32_t status = 0;
        EXPECT_NE(query.run(&query, "select 1;", &status), 0);
        EXPECT_NE(status, 0);
        int fields = 0;
        while (fields < 100 && query.add_field(&query, DB_FIELD_NUMBER, 0) == 0)
            fields++;
        EXPECT_LT(fields, 100);
        query.release(&query);
        EXPECT_NE(query.add_field(&query, DB_FIELD_NUMBER, 0), 0);
        EXPECT_NE(query.run(&query, "select 1;", &status), 0);
        query.release(&query);
    });
}

TEST(DatabaseQuery, SecondRunDropsTheFirstResult)
{
    with_database(RULES, [](signature_database *handle) {
        db_object query;
        ASSERT_EQ(init_db_object(&query, handle), 0);
        ASSERT_EQ(query.add_field(&query, DB_FIELD_NUMBER, 0), 0);
        int32_t status = 0;
        ASSERT_EQ(query.run(&query, "select score from signature_rule;", &status), 0);
        EXPECT_EQ(query.row_count, 4);
        ASSERT_EQ(query.run(&query, "select 1;", nullptr), 0);
        EXPECT_EQ(query.row_count, 1);
        query.release(&query);
    });
}
