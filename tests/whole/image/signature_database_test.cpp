/* The signature database that the image ships: what is in it, and that the reconciliation's queries search it by index.
 */
#include "platform/platform.h"
#include "support/appliance_root.h"

#include "support/files.h"
#include "support/places.h"
#include <gtest/gtest.h>

#include <sqlite3.h>

#include <memory>
#include <vector>

const std::string image_database = support::build_path("/image/signature.db");

namespace {

struct ImageDatabase : testing::Test {
    sqlite3 *connection = nullptr;

    void SetUp() override
    {
        ASSERT_EQ(sqlite3_open_v2(image_database.c_str(), &connection, SQLITE_OPEN_READONLY, nullptr), SQLITE_OK);
    }
    void TearDown() override
    {
        sqlite3_close(connection);
    }

    /* One column of all rows. */
    std::vector<std::string> column(const std::string &sql, int number = 0) const
    {
        std::vector<std::string> rows;
        sqlite3_stmt            *statement = nullptr;
        EXPECT_EQ(sqlite3_prepare_v2(connection, sql.c_str(), -1, &statement, nullptr), SQLITE_OK) << sql;
        while (statement && sqlite3_step(statement) == SQLITE_ROW) {
            const unsigned char *text = sqlite3_column_text(statement, number);
            rows.push_back(text ? reinterpret_cast<const char *>(text) : "(null)");
        }
        sqlite3_finalize(statement);
        return rows;
    }
    int number(const std::string &sql) const
    {
        std::vector<std::string> rows = column(sql);
        return rows.size() == 1 ? std::stoi(rows[0]) : -1;
    }
    std::vector<std::string> plan(const std::string &sql) const
    {
        return column("explain query plan " + sql, 3);
    }
};

} // namespace

TEST_F(ImageDatabase, CountsSearchAnIndex)
{
    for (const char *sql : {
             "select count(*) from class_map where main_class_id='010000000' and discard=0;",
             "select count(*) from class_map where sub_class_id='010010000' and discard=0;",
             "select count(*) from signature_rule where signature_id='010010001';",
             "select count(*) from signature_rule where signature_id='010010001' and FP_mitigation!=0;",
             "select count(*) from signature_rule where signature_id='010010001' and score=8341;",
         }) {
        std::vector<std::string> steps = plan(sql);
        ASSERT_EQ(steps.size(), 1u) << sql;
        EXPECT_EQ(steps[0].rfind("SEARCH ", 0), 0u) << sql << ": " << steps[0];
        bool by_id = steps[0].find("main_class_id=?") != std::string::npos ||
                     steps[0].find("sub_class_id=?") != std::string::npos ||
                     steps[0].find("signature_id=?") != std::string::npos;
        EXPECT_TRUE(by_id) << sql << ": " << steps[0];
    }
}

TEST_F(ImageDatabase, MainClassesComeOutOfAnIndex)
{
    std::vector<std::string> steps =
        plan("select main_class_id from class_map where discard=0 group by main_class_id;");
    ASSERT_EQ(steps.size(), 1u);
    EXPECT_EQ(steps[0].rfind("SEARCH class_map USING COVERING INDEX", 0), 0u) << steps[0];
}

TEST_F(ImageDatabase, HasTheClasses)
{
    EXPECT_EQ(number("select count(distinct main_class_id) from class_map"), 30);
    EXPECT_EQ(number("select count(*) from class_map"), 200);
    EXPECT_EQ(number("select count(*) from class_map where discard not in (0, 1)"), 0);
    EXPECT_EQ(column("select main_class_id from class_map group by main_class_id having min(discard) = 1"),
              (std::vector<std::string>{"140000000", "270000000"}));
    EXPECT_EQ(number("select count(*) from class_map where discard = 1 and main_class_id not in ('140000000', "
                     "'270000000')"),
              8);
    EXPECT_EQ(number("select count(*) from class_map where substr(main_class_id, 1, 2) <> substr(sub_class_id, 1, 2)"),
              0);
}

TEST_F(ImageDatabase, HasTheSignatures)
{
    EXPECT_GE(number("select count(*) from signature_rule"), 2900);
    EXPECT_LE(number("select count(*) from signature_rule"), 3100);
    EXPECT_GT(number("select count(*) from signature_rule where FP_mitigation != 0"), 300);
    EXPECT_GT(number("select count(*) from signature_rule where FP_mitigation = 0"), 300);
    EXPECT_GT(number("select count(*) from signature_rule where score = 8341"), 300);
    EXPECT_GT(number("select count(*) from signature_rule where score <> 8341"), 300);
    EXPECT_EQ(number("select count(*) from signature_rule where signature_id not glob '"
                     "[0-9][0-9][0-9][0-9][0-9][0-9][0-9][0-9][0-9]'"),
              0);
    EXPECT_EQ(number("select count(*) from signature_rule r where not exists (select 1 from class_map c where "
                     "c.sub_class_id = substr(r.signature_id, 1, 5) || '0000' and c.discard = 0)"),
              0);
}

/* Profiles that the upgrade itself makes must not name what the same image does not know. */
TEST_F(ImageDatabase, KnowsWhatTheUpgradeAdds)
{
    EXPECT_EQ(number("select count(*) from signature_rule where signature_id in ('060030001', '060120001', "
                     "'080080005', '080200001')"),
              4);
    EXPECT_EQ(number("select count(distinct main_class_id) from class_map where discard = 0 and main_class_id <= "
                     "'110000000'"),
              11);
}

TEST_F(ImageDatabase, IsReadByThePlatform)
{
    support::ApplianceRoot root;
    root.write("/data/etc/signature.db", support::file_text(image_database));
    support::expect_in_root(root, [] {
        signature_database *handle = nullptr;
        ASSERT_EQ(db_open(&handle), 0);
        EXPECT_EQ(rmsg_def_page_size, 12);
        EXPECT_STREQ(find_default_msg_by_name("pre-login-disclaimer"),
                     "This system is for authorized use only. What you do on it may be recorded.");
        EXPECT_EQ(__vm_get_max_policy_session(), 12000);
        global_white_list list;
        ASSERT_EQ(global_white_list_read_db(&list), 0);
        EXPECT_EQ(list.count, 24);
        ASSERT_EQ(db_close(handle), 0);
    });
}

TEST_F(ImageDatabase, NamesFitTheirRecords)
{
    EXPECT_EQ(number("select count(*) from global_white_list where length(name) not between 1 and 7"), 0);
    EXPECT_LE(number("select count(*) from global_white_list"), 32);
    EXPECT_EQ(number("select count(*) from replacement_page where length(name) > 127 or length(text) > 4000"), 0);
    EXPECT_EQ(number("select count(*) - count(distinct name) from replacement_page"), 0);
}
