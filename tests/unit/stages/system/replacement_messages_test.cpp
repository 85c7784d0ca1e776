/* What no case can show of replacement messages: pages of the database, characters that go, and memory that is not
 * to be had. */
#include "stages/system/replacement_messages.h"

#include "platform/platform.h"
#include "support/failing_memory.h"
#include "unit/stages/passes.h"
#include "walk/cursors.h"

#include <cstdlib>
#include <cstring>
#include <fstream>

namespace {

/* The text with a "|" at the place that a finder gives. */
std::string place(char *(*find)(char *), std::string text)
{
    char *found = find(text.data());
    return found ? text.substr(0, static_cast<size_t>(found - text.data())) + "|" + found : text;
}

std::string unmarked(std::string text)
{
    std::erase(text, '|');
    return text;
}

std::string without_escapes(const std::string &in)
{
    char out[4096 + 8];
    memset(out, '#', sizeof out);
    _rmove_escape_in_rmsg(in.c_str(), out);
    EXPECT_EQ("########", std::string(out + 4096, 8));
    return out;
}

} // namespace

/* Texts show the place with a "|"; those without one have none. */
TEST(PagePlaces, LoginPage)
{
    for (const char *text : {"<form><h1>a</h1>|b", "x<FORM a><H1 b>c</H1>|d</h1>", "<h1>0</h1><form><h1></h1>|",
                             "<form>|abc", "<form a=b>|", "<h1><form>|", "<form<h1>a</h1>|", "<form><h1</h1>|", "",
                             "<h1>a</h1>", "<form", "<form a", "<form><h1>", "</h1><form><h1", "<for m>"})
        EXPECT_EQ(text, place(_find_login_insert_location, unmarked(text)));
    EXPECT_EQ(nullptr, _find_login_insert_location(nullptr));
}

TEST(PagePlaces, ChangeOfPassword)
{
    for (const char *text :
         {"<div a>1 |<div b>sph_username<div c>sph_username</h2>", "|<div sph_username", "</h2>a</h2>|b</H2>", "",
          "sph_username<div ></h2>", "<div>sph_username</h2>", "<DIV a>sph_username", "</H2>", "</h2"})
        EXPECT_EQ(text, place(_find_login_change_pwd_location, unmarked(text)));
    EXPECT_EQ(nullptr, _find_login_change_pwd_location(nullptr));
}

TEST(PagePlaces, Challenge)
{
    for (const char *text : {"%%REPLY_TAG%% </H2>|</h2>", "</h2>%%REPLY_TAG%%%%REPLY_TAG%%</h2>|", "",
                             "</h2>%%REPLY_TAG%%", "%%reply_tag%%</h2>", "%REPLY_TAG%</h2>", "</h2>"})
        EXPECT_EQ(text, place(_find_challenge_insert_location, unmarked(text)));
    EXPECT_EQ(nullptr, _find_challenge_insert_location(nullptr));
}

TEST(PageTexts, LineFeedsGoAndNothingElse)
{
    char text[] = "\na\r\n\nb\t \n";
    _cvt_rmsg_value(text);
    EXPECT_STREQ("a\rb\t ", text);
    char empty[] = "";
    _cvt_rmsg_value(empty);
    EXPECT_STREQ("", empty);
}

TEST(PageTexts, BackslashesGo)
{
    EXPECT_EQ("", without_escapes(""));
    EXPECT_EQ("a\"b'nc", without_escapes("\\a\\\"b\\\\'\\nc\\"));
    EXPECT_EQ(std::string(4095, 'x'), without_escapes(std::string(4095, 'x')));
    EXPECT_EQ("", without_escapes(std::string(4095, '\\')));
    /* The length counts with the backslashes. */
    EXPECT_EQ("", without_escapes(std::string(4096, 'x')));
    EXPECT_EQ("", without_escapes("x" + std::string(4095, '\\')));
    EXPECT_EQ("", without_escapes(std::string(100000, 'x')));
}

TEST(PageTexts, Placeholders)
{
    const struct {
        const char *tag;
        const char *sample;
        uint32_t    kind;
    } expected[] = {
        {"%%URL%%", nullptr, 1},
        {"%%SOURCE_IP%%", "192.168.1.11", 1},
        {"%%DEST_IP%%", "198.51.100.1", 1},
        {"%%VSERVER_IP%%", "192.168.4.15", 1},
        {"%%EVENT_ID%%", "200000010", 1},
        {"%%MSG_ID%%", "000000000010", 1},
        {"%%ORG_LOCATION_VAL%%", "", 2},
        {"%%LOGIN_POST_URL%%", "", 2},
        {"%%TOKEN_POST_URL%%", "", 2},
        {"%%RSA_LOGIN_POST_URL%%", "", 2},
        {"%%RSAC_POST_URL%%", "", 2},
        {"%%CPW_POST_URL%%", "", 2},
        {"%%REPLY_TAG%%", "", 2},
        {"%%DISPLAY_OR_HIDE%%", "", 2},
        {"%%ACCOUNT%%", "account1", 2},
        {"%%PERIOD_TIME%%", "10", 2},
        {"%%CAPTCHA_POST_URL%%", "", 4},
        {"%%CAPTCHA_VCODE_STR%%", "", 4},
        {"%%CAPTCHA_REQ_DATA%%", "", 4},
        {"%%CAPTCHA_IMG_SRC%%", "", 4},
    };
    ASSERT_EQ(20u, std::size(taglist));
    EXPECT_EQ(64u + 256u + 4u, sizeof taglist[0]);
    for (size_t i = 0; i < std::size(expected); i++) {
        EXPECT_STREQ(expected[i].tag, taglist[i].tag);
        if (expected[i].sample) {
            EXPECT_STREQ(expected[i].sample, taglist[i].sample);
        }
        EXPECT_EQ(expected[i].kind, taglist[i].class_);
    }
    std::string host = taglist[0].sample;
    EXPECT_TRUE(host.size() > 1 && host.find('/') == host.size() - 1) << host;
}

namespace {

const std::string default_pages = "create table replacement_page(name text, code integer, text text);"
                                  "insert into replacement_page values ('login', 200, 'the page');";

const std::string changed_messages = "config system replacemsg\nedit login\nset buffer x\nset header y\nnext\n"
                                     "edit pre-login-disclaimer\nset buffer z\nnext\nend\n"
                                     "config server-policy policy\nedit p\nnext\nend\n";

std::string after_messages(const std::string &before, const std::function<void()> &migrate)
{
    support::ApplianceRoot root;
    root.database(default_pages);
    support::expect_in_root(root, [&] {
        signature_database *database = nullptr;
        db_open(&database);
        std::ofstream("/tmp/after") << after_pass(before, migrate);
        db_close(database);
    });
    return root.read("/tmp/after");
}

} // namespace

/* The pages stay out of the written file when their group cannot be made, and the policies name none. */
TEST(AdjustReplacemsg, WithoutMemoryForTheGroup)
{
    for (size_t failing : {2, 3, 4, 5}) { /* behind the state's block: record and value of the group, of its list */
        std::string after = after_messages(changed_messages, [&] {
            support::fail_allocation(failing);
            run_row("_adjust_replacemsg");
            support::fail_allocation(0);
        });
        EXPECT_EQ(std::string::npos, after.find("login"));
        EXPECT_EQ(std::string::npos, after.find("page-list"));
        EXPECT_EQ(std::string::npos, after.find("set replacemsg"));
        EXPECT_EQ(std::string::npos, after.find("replacemsg-admin"));
    }
}

TEST(AdjustReplacemsg, EachLaterAllocationMayFail)
{
    for (size_t failing : {6, 7, 8, 9, 10, 11, 12, 13}) {
        std::string after = after_messages(changed_messages, [&] {
            support::fail_allocation(failing);
            run_row("_adjust_replacemsg");
            support::fail_allocation(0);
        });
        bool        has_disclaimer = after.find("set msg z") != std::string::npos;
        bool        names_group = after.find("set replacemsg User-customized-message") != std::string::npos;
        EXPECT_NE(std::string::npos, after.find("edit login\n                set msg x\n            next\n"));
        EXPECT_EQ(failing > 10, has_disclaimer) << failing;
        EXPECT_EQ(failing < 11 || failing > 12, names_group) << failing;
    }
}

/* A file whose sets have lost their values, as a deleted rule leaves them, is no worse. */
TEST(AdjustReplacemsg, WithoutValues)
{
    std::string after = after_messages(changed_messages, [] {
        for (config_node *edit = migr_main.root.top_list->edit_list; edit; edit = edit->next) {
            free(edit->set_list->value);
            edit->set_list->value = nullptr;
        }
        run_row("_migr_change_replace_msg");
        run_row("_migr_change_replace_msg2");
        run_row("_adjust_replacemsg");
    });
    EXPECT_NE(std::string::npos, after.find("set msg\n"));
    EXPECT_NE(std::string::npos, after.find("set msg \n"));
}

TEST(AdjustReplacemsg, SentinelsAreHarmless)
{
    adjust_replacemsg_state state = {};
    after_pass("", [&] {
        for (int32_t round : {1, 2})
            for (config_node *position : {&EMPTY_NODE, &EOB_NODE}) {
                top[4] = position;
                _adjust_replacemsg(round, &state, nullptr);
                _migr_change_replace_msg(round, nullptr, nullptr);
                _migr_change_replace_msg2(round, nullptr, nullptr);
                top[4] = &EMPTY_NODE;
            }
        EXPECT_EQ(0, state.count);
        EXPECT_EQ(nullptr, state.disclaimer);
    });
}
