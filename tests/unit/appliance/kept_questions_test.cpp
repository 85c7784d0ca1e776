/* Which questions are read once by SQLite, and which of them are kept. */
#include "kept_questions.h"

#include <gtest/gtest.h>

#include <string>

using appliance::KeptQuestions;

namespace {

class KeptQuestionsTest : public testing::Test {
  protected:
    void SetUp() override
    {
        ASSERT_EQ(sqlite3_open(":memory:", &connection), SQLITE_OK);
        ASSERT_EQ(sqlite3_exec(connection, "create table t(name text, kind integer)", nullptr, nullptr, nullptr),
                  SQLITE_OK);
    }
    void TearDown() override
    {
        appliance::drop_questions(&questions);
        EXPECT_EQ(sqlite3_close(connection), SQLITE_OK) << "a statement was left open";
    }

    sqlite3_stmt *ask(const std::string &sql)
    {
        return appliance::kept_question(&questions, connection, sql.c_str());
    }

    /* With its text bound. */
    std::string asked(const std::string &sql)
    {
        sqlite3_stmt *statement = ask(sql);
        char         *text = statement ? sqlite3_expanded_sql(statement) : nullptr;
        std::string   result = text ? text : "none";
        sqlite3_free(text);
        return result;
    }

    sqlite3      *connection = nullptr;
    KeptQuestions questions = {};
};

TEST_F(KeptQuestionsTest, ATextInQuotesBecomesAParameter)
{
    EXPECT_STREQ(sqlite3_sql(ask("select count(*) from t where name='a b' and kind>=3;")),
                 "select count(*) from t where name=? and kind>=3;");
    for (const char *sql :
         {"select * from t where name='it is' ", "select name, kind from t where name <> ''",
          "select * from t where (t.name='x') and kind < 4", "select * from t where name='x' and kind!=0"})
        EXPECT_EQ(asked(sql), sql);
}

TEST_F(KeptQuestionsTest, TheSameQuestionIsTheSameStatement)
{
    sqlite3_stmt *first = ask("select * from t where name='a'");
    EXPECT_EQ(ask("select * from t where name='b'"), first);
    EXPECT_EQ(asked("select * from t where name='c'"), "select * from t where name='c'");
    EXPECT_NE(ask("select kind from t where name='a'"), first);
    EXPECT_EQ(ask("select * from t where name='a'"), first);
}

TEST_F(KeptQuestionsTest, OneWithoutATextIsKeptToo)
{
    sqlite3_stmt *first = ask("select kind from t group by kind;");
    EXPECT_STREQ(sqlite3_sql(first), "select kind from t group by kind;");
    EXPECT_EQ(ask("select kind from t group by kind;"), first);
    EXPECT_NE(ask("select kind from t"), first);
    EXPECT_EQ(ask("select * from nowhere"), nullptr);
    EXPECT_EQ(questions.next, 2);
}

TEST_F(KeptQuestionsTest, WhatIsNotPlainIsLeftToSqlite)
{
    for (const char *sql :
         {"select 1/2 from t", "select * from t where name='a", "select * from t where name='a' or name='b'",
          "select * from t where name=\"n\" and name='a'", "select * from t where name='it''s'",
          "select * from t where name='a' -- b", "select * from t where name=? and name='a'",
          "select * from t where name='a' and kind=?", "select 1/2 from t where name='a'"})
        EXPECT_EQ(ask(sql), nullptr) << sql;
    EXPECT_EQ(appliance::kept_question(&questions, connection, nullptr), nullptr);
}

TEST_F(KeptQuestionsTest, WhatCannotBeAskedIsNotKept)
{
    EXPECT_EQ(ask("select * from nowhere where name='a'"), nullptr);
    EXPECT_EQ(questions.next, 0);
    EXPECT_EQ(ask("kind='a'"), nullptr);
}

/* The question with its parameter and NUL fills the room for it, or is one too long. */
TEST_F(KeptQuestionsTest, AQuestionFitsToTheLastByte)
{
    std::string head = "select * from t where name=", tail;
    tail.assign(KeptQuestions::longest - 2 - head.size(), ' ');
    EXPECT_EQ(asked(head + "'a'" + tail), head + "'a'" + tail);
    EXPECT_EQ(ask(head + "'a'" + tail + " "), nullptr);
    EXPECT_EQ(asked(head + "'" + std::string(1000, 'x') + "'"), head + "'" + std::string(1000, 'x') + "'");
}

TEST_F(KeptQuestionsTest, TheOldestGoesForTheNinth)
{
    auto          sql = [](int i) { return "select " + std::to_string(i) + " from t where name='a'"; };
    sqlite3_stmt *kept[KeptQuestions::most];
    for (int i = 0; i < KeptQuestions::most; i++)
        kept[i] = ask(sql(i));
    for (int i = 0; i < KeptQuestions::most; i++)
        EXPECT_EQ(ask(sql(i)), kept[i]) << i;
    EXPECT_STREQ(sqlite3_sql(ask(sql(8))), "select 8 from t where name=?");
    for (int i = 1; i < KeptQuestions::most; i++)
        EXPECT_EQ(ask(sql(i)), kept[i]) << i;
    EXPECT_STREQ(questions.kept[0].text, "select 8 from t where name=?");
    appliance::drop_questions(&questions);
    EXPECT_EQ(questions.next, 0);
    EXPECT_EQ(questions.kept[0].statement, nullptr);
}

} // namespace
