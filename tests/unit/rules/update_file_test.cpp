/* Which lines of an update file are sections, headers and rules, and which sections a file gets. No rule is applied
 * here. */
#include "update_texts.h"

#include "support/appliance_root.h"

using support::times;

TEST(Comment, BeginsWithItsSign)
{
    EXPECT_EQ(1, is_comment("#"));
    EXPECT_EQ(1, is_comment(" \t# [5.10]"));
    EXPECT_EQ(0, is_comment("[5.10] # note"));
    EXPECT_EQ(0, is_comment(""));
    EXPECT_EQ(0, is_comment("\n"));
}

TEST(VersionLine, NeedsBracketPointAndWhatFollows)
{
    EXPECT_EQ(0x5000a, line_is_version("[5.10]\n"));
    EXPECT_EQ(0x5000a, line_is_version("  [5.10] some note"));
    EXPECT_EQ(0x5000a, line_is_version("[5.10"));
    EXPECT_EQ(0x5000a, line_is_version("note [ 5 . 10"));
    EXPECT_EQ(0x50001, line_is_version("[5.1]"));
    EXPECT_EQ(0x50000, line_is_version("[5.\n"));
    EXPECT_EQ(-1, line_is_version("[5."));
    EXPECT_EQ(-1, line_is_version("[5]"));
    EXPECT_EQ(-1, line_is_version("5.10]"));
    EXPECT_EQ(-1, line_is_version("5.10 ["));
    EXPECT_EQ(-1, line_is_version(""));
}

TEST(VersionLine, ReadsAnyRuleWithBracketAndPoint)
{
    EXPECT_EQ(0, line_is_version("<a b><c>,<d>,[enum:<x,1.>]"));
    EXPECT_EQ(1, line_is_version("<a b><c>,<d>,[enum:<x,0.1>]"));
    EXPECT_EQ(-1, line_is_version("<a b><c>,<d>,<5.10>,[int:1,2]"));
}

TEST(VersionLine, WrapsAndMayBeNegative)
{
    EXPECT_EQ(-65531, line_is_version("[-1.5]"));
    EXPECT_EQ(0, line_is_version("[65536.0]"));
    EXPECT_GT(0, line_is_version("[32768.0]"));
    EXPECT_EQ(-1, line_is_version("[0.-1]"));
    EXPECT_EQ(-1, line_is_version("[99999999999999999999.65535]"));
}

TEST(Header, ComparesBehindTheFirstBracket)
{
    EXPECT_EQ(0, line_is_delmodreadd("[DELETE]\n", "DELETE", 6));
    EXPECT_EQ(0, line_is_delmodreadd("  x [DELETED", "DELETE", 6));
    EXPECT_EQ(-1, line_is_delmodreadd("[delete]", "DELETE", 6));
    EXPECT_EQ(-1, line_is_delmodreadd("[ DELETE]", "DELETE", 6));
    EXPECT_EQ(-1, line_is_delmodreadd("[DELET", "DELETE", 6));
    EXPECT_EQ(-1, line_is_delmodreadd("[x][DELETE]", "DELETE", 6));
    EXPECT_EQ(-1, line_is_delmodreadd("DELETE]", "DELETE", 6));
    EXPECT_EQ(0, line_is_delmodreadd("[READD]", "READD", 5));
}

class Loader : public RulesTest {};

TEST_F(Loader, FillsTheListsOfASection)
{
    ASSERT_EQ(0, load("[5.15]\n[DELETE]\n<a>\n<b>\n[MODIFY]\n<c>,<d>\n[READD]\n<e>,<f>,<5.14>\n"));
    EXPECT_EQ("5.15 [<a>;<b>;] [<c>,<d>;] [<e>,<f>,<5.14>;]\n", sections());
}

TEST_F(Loader, StripsWhiteSpaceFromBothEndsOfARule)
{
    ASSERT_EQ(0, load("[5.15]\n[DELETE]\n \t <a  b> \v\f\r\n  \t\r\n<c>"));
    EXPECT_EQ("5.15 [<a  b>;<c>;] [] []\n", sections());
}

TEST_F(Loader, KeepsSectionsWithoutRules)
{
    ASSERT_EQ(0, load("[5.15]\n[5.16]\n[MODIFY]\n[5.17]\n"));
    EXPECT_EQ("5.15 [] [] []\n5.16 [] [] []\n5.17 [] [] []\n", sections());
}

TEST_F(Loader, KeepsTheRangeFromTheFileToTheImage)
{
    ASSERT_EQ(0, load("[5.14]\n[DELETE]\n<a>\n[5.15]\n[6.21]\n[6.22]\n[DELETE]\n<b>\n"));
    EXPECT_EQ("5.15 [] [] []\n6.21 [] [] []\n", sections());
}

TEST_F(Loader, RaisesTheFlagOnTheWayAcrossTheSplit)
{
    migr_main.cfg_version = MIGR_RELEASE(5, 9);
    ASSERT_EQ(0, load("[5.10]\n[DELETE]\n<a>\n[5.10]\n[DELETE]\n<b>\n"));
    EXPECT_EQ("5.10 [<a>;] [] []\n", sections());
    EXPECT_EQ(1, vdom_update_flag);
}

TEST_F(Loader, RaisesNoFlagForANewerFile)
{
    migr_main.cfg_version = MIGR_RELEASE(5, 10);
    ASSERT_EQ(0, load("[5.10]\n[5.11]\n"));
    EXPECT_EQ("5.11 [] [] []\n", sections());
    EXPECT_EQ(0, vdom_update_flag);
}

TEST_F(Loader, RaisesNoFlagForAnOlderImage)
{
    migr_main.cfg_version = 0x50000;
    migr_main.img_version = MIGR_RELEASE(5, 9);
    ASSERT_EQ(0, load("[5.9]\n[5.10]\n[5.11]\n"));
    EXPECT_EQ("5.9 [] [] []\n", sections());
    EXPECT_EQ(0, vdom_update_flag);
}

TEST_F(Loader, StopsAtAnyVersionLineWhileTheFlagIsUp)
{
    vdom_update_flag = 1;
    ASSERT_EQ(0, load("[DELETE]\n<a>\n[4.0]\n[5.15]\n"));
    EXPECT_EQ("", sections());
    EXPECT_EQ(1, vdom_update_flag);
}

TEST_F(Loader, LooksAtNoOtherValueOfTheFlag)
{
    vdom_update_flag = 2;
    ASSERT_EQ(0, load("[5.15]\n"));
    EXPECT_EQ("5.15 [] [] []\n", sections());
}

TEST_F(Loader, TakesALongLineAsSeveral)
{
    std::string piece = "<" + std::string(MIGR_LINE_SIZE - 3, 'x') + ">";
    ASSERT_EQ(0, load("[5.15]\n[DELETE]\n" + piece + "<b>\n<c>\n"));
    EXPECT_EQ((std::vector<std::string>{piece, "<b>", "<c>"}), texts(first_section().delete_list));
}

TEST_F(Loader, TextBehindANulIsNotSeen)
{
    using namespace std::string_view_literals;
    ASSERT_EQ(0, load("[5.15]\n[DELETE]\n<a>\0<b>\n\0<c>\n<d>\n"sv));
    EXPECT_EQ("5.15 [<a>;<d>;] [] []\n", sections());
}

TEST_F(Loader, FreesEverything)
{
    ASSERT_EQ(0, load("[5.15]\n[DELETE]\n<a>\n[MODIFY]\n<b>\n[READD]\n<c>\n[5.16]\n"));
    free_migr_tree();
    EXPECT_EQ(&migr_main.update_list, migr_main.update_list.next);
    EXPECT_EQ(&migr_main.update_list, migr_main.update_list.prev);
    free_migr_tree();
    migr_main.update_list = {};
    free_migr_tree();
}

TEST_F(Loader, ReadsTheImagesFile)
{
    support::ApplianceRoot root;
    root.write("/data/etc/update_config", "[5.15]\n[DELETE]\n<a>\n");
    support::ChildResult child = support::run_in_root(root.path(), [] {
        EXPECT_EQ(0, __build_updatefile_tree());
        EXPECT_EQ("5.15 [<a>;] [] []\n", sections());
        free_migr_tree();
        return 0;
    });
    EXPECT_EQ(0, child.exit_code) << child.err;
}

TEST_F(Loader, FailsWithoutTheFile)
{
    support::ApplianceRoot root;
    support::ChildResult   child = support::run_in_root(root.path(), [] { return __build_updatefile_tree() + 1; });
    EXPECT_EQ(0, child.exit_code) << child.err;
    EXPECT_EQ("", sections());
}
