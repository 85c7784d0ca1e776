/* The pages that come with the signature database: when they are there, and when the next ones replace them. */
#include "platform/platform.h"
#include "support/appliance_root.h"

#include <gtest/gtest.h>

#include <string>

using support::ApplianceRoot;

constexpr char PAGES[] = "create table replacement_page(name text, code integer, text text);"
                         "insert into replacement_page values('login',200,'<form>'),('url-block',403,'blocked'),"
                         "('login',500,'a second one'),(null,1,'no name'),('no-text',1,null),"
                         "('far',99999999999,'x');";

/* The pages that are there now, "name code,". */
static std::string pages()
{
    std::string all;
    for (int32_t at = 0; at < rmsg_def_page_size; at++)
        all += std::string(rmsg_def_pages[at].name) + " " + std::to_string(rmsg_def_pages[at].code) + ",";
    return all;
}

TEST(ReplacementPages, ComeWithTheDatabaseAndGoWithIt)
{
    ApplianceRoot root;
    root.database(PAGES);
    support::expect_in_root(root, [] {
        EXPECT_EQ(rmsg_def_pages, nullptr);
        signature_database *handle = nullptr;
        ASSERT_EQ(db_open(&handle), 0);
        EXPECT_EQ(pages(), "login 200,url-block 403,login 500,far 2147483647,");
        EXPECT_STREQ(find_default_msg_by_name("login"), "<form>");
        EXPECT_STREQ(find_default_msg_by_name("url-block"), "blocked");
        ASSERT_EQ(db_close(handle), 0);
        EXPECT_EQ(rmsg_def_pages, nullptr);
        EXPECT_EQ(rmsg_def_page_size, 0);
    });
}

TEST(ReplacementPages, NameThatHasNoPage)
{
    ApplianceRoot root;
    root.database(PAGES);
    support::expect_in_root(root, [] {
        EXPECT_EQ(find_default_msg_by_name("Login"), nullptr);
        EXPECT_EQ(find_default_msg_by_name("no-text"), nullptr);
        EXPECT_EQ(find_default_msg_by_name(""), nullptr);
        EXPECT_EQ(find_default_msg_by_name(nullptr), nullptr);
    });
}

TEST(ReplacementPages, TextIsThereWithoutAnOpenDatabase)
{
    ApplianceRoot root;
    root.database(PAGES);
    support::expect_in_root(root, [] {
        EXPECT_STREQ(find_default_msg_by_name("url-block"), "blocked");
        EXPECT_STREQ(find_default_msg_by_name("login"), "<form>");
        signature_database *handle = nullptr;
        ASSERT_EQ(db_open(&handle), 0);
        EXPECT_STREQ(find_default_msg_by_name("login"), "<form>");
        ASSERT_EQ(db_close(handle), 0);
        EXPECT_STREQ(find_default_msg_by_name("login"), "<form>");
    });
}

TEST(ReplacementPages, NextOpenReplacesThem)
{
    ApplianceRoot root;
    root.database(PAGES);
    support::expect_in_root(root, [] {
        signature_database *first = nullptr;
        signature_database *second = nullptr;
        ASSERT_EQ(db_open(&first), 0);
        ASSERT_EQ(db_open(&second), 0);
        EXPECT_EQ(rmsg_def_page_size, 4);
        ASSERT_EQ(db_close(first), 0);
        EXPECT_EQ(rmsg_def_page_size, 4);
        ASSERT_EQ(db_close(second), 0);
        EXPECT_EQ(rmsg_def_page_size, 0);
    });
}

TEST(ReplacementPages, NoDatabaseOrNoTable)
{
    ApplianceRoot none;
    support::expect_in_root(none, [] { EXPECT_EQ(find_default_msg_by_name("login"), nullptr); });

    ApplianceRoot empty;
    empty.database("create table other(x);");
    support::expect_in_root(empty, [] {
        signature_database *handle = nullptr;
        ASSERT_EQ(db_open(&handle), 0);
        EXPECT_EQ(rmsg_def_pages, nullptr);
        EXPECT_EQ(find_default_msg_by_name("login"), nullptr);
        ASSERT_EQ(db_close(handle), 0);
    });
}

TEST(ReplacementPages, LongNamesAreCutAndManyPagesFit)
{
    ApplianceRoot root;
    root.database("create table replacement_page(name text, code integer, text text);"
                  "insert into replacement_page values(printf('%.*c',200,'n'),1,'long');"
                  "with recursive n(i) as (select 1 union all select i+1 from n limit 100)"
                  " insert into replacement_page select 'page'||i, i, printf('%.*c',10000,'t') from n;");
    support::expect_in_root(root, [] {
        signature_database *handle = nullptr;
        ASSERT_EQ(db_open(&handle), 0);
        ASSERT_EQ(rmsg_def_page_size, 101);
        EXPECT_EQ(std::string(rmsg_def_pages[0].name), std::string(127, 'n'));
        EXPECT_STREQ(rmsg_def_pages[100].name, "page100");
        EXPECT_EQ(std::string(find_default_msg_by_name("page57")), std::string(10000, 't'));
        ASSERT_EQ(db_close(handle), 0);
    });
}
