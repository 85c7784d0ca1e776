/* The permutation behind all replaced words: its shapes, that it is one, and what it depends on. */
#include "anonymize/permutation.h"

#include <gtest/gtest.h>
#include <set>

using command::Letters;
using command::Permutation;

static const Permutation permutation("a secret of a test, long enough");

TEST(Permutation, KeepsShape)
{
    EXPECT_EQ("", permutation.of(""));
    EXPECT_EQ("-_./ \"\n\\", permutation.of("-_./ \"\n\\"));
    std::string other = permutation.of("Shop-4711 of Ida");
    ASSERT_EQ(16U, other.size());
    for (size_t at : {0U, 13U})
        EXPECT_TRUE(isupper(other[at])) << other;
    for (size_t at : {1U, 2U, 3U, 10U, 11U, 14U, 15U})
        EXPECT_TRUE(islower(other[at])) << other;
    for (size_t at : {5U, 6U, 7U, 8U})
        EXPECT_TRUE(isdigit(other[at])) << other;
    EXPECT_EQ("-", other.substr(4, 1));
    EXPECT_NE("Shop-4711 of Ida", other);
}

TEST(Permutation, GivesEachTextOfAShapeOnce)
{
    std::set<std::string> made;
    for (char one = 'a'; one <= 'z'; one++)
        for (char two = 'a'; two <= 'z'; two++)
            for (char three = '0'; three <= '9'; three++)
                made.insert(permutation.of(std::string{one, two, three}));
    EXPECT_EQ(26U * 26U * 10U, made.size());
}

TEST(Permutation, DependsOnAllOfTheTextInEachLetter)
{
    std::string text(32, 'a'), one = permutation.of(text);
    text.back() = 'b';
    std::string other = permutation.of(text);
    size_t      same = 0;
    for (size_t at = 0; at < text.size(); at++)
        same += one[at] == other[at];
    EXPECT_LT(same, 8U) << one << "\n" << other;
}

TEST(Permutation, KeepsLongTextsAlikeThatBeginAlike)
{
    std::string one(70, 'n'), other(one + "xyz");
    EXPECT_EQ(permutation.of(one), permutation.of(other).substr(0, one.size()));
    one.back() = 'm';
    EXPECT_NE(permutation.of(one), permutation.of(other).substr(0, one.size()));
}

TEST(Permutation, TakesCapitalsAndSmallLettersForOne)
{
    std::string small = permutation.of("tallow"), large = permutation.of("TALLOW");
    for (char &c : small)
        c = static_cast<char>(toupper(c));
    EXPECT_EQ(large, small);
}

TEST(Permutation, StaysAmongHexadecimalDigits)
{
    std::string other = permutation.of("5f0c1881deadBEEF", Letters::hexadecimal);
    EXPECT_EQ(std::string::npos, other.find_first_not_of("0123456789abcdefABCDEF"));
    EXPECT_NE("5f0c1881deadBEEF", other);
    EXPECT_TRUE(isupper(other.back()));
}

TEST(Permutation, KeepsCharactersOfSeveralBytesSuch)
{
    std::string other = permutation.of("\xc3\xb8re \xe2\x82\xac \xf0\x9f\x90\x9f \xc2\xa7");
    ASSERT_EQ(16U, other.size());
    EXPECT_EQ("\xc3", other.substr(0, 1));
    EXPECT_EQ(0x80, static_cast<unsigned char>(other[1]) & 0xc0);
    EXPECT_EQ("\xe2\x82", other.substr(5, 2));
    EXPECT_EQ("\xf0\x9f\x90", other.substr(9, 3));
    EXPECT_EQ("\xc2", other.substr(14, 1));
    EXPECT_GE(static_cast<unsigned char>(other[15]), 0xa0) << "a control character came of a sign";
    std::string alone = permutation.of("\xff\x80");
    EXPECT_GE(static_cast<unsigned char>(alone[0]), 0xc0);
    EXPECT_EQ(0x80, static_cast<unsigned char>(alone[1]) & 0xc0);
}

TEST(Permutation, GoesByTheSecret)
{
    Permutation same("a secret of a test, long enough"), another("another secret of a test");
    EXPECT_EQ(permutation.of("tallow and finch"), same.of("tallow and finch"));
    EXPECT_NE(permutation.of("tallow and finch"), another.of("tallow and finch"));
    EXPECT_EQ(permutation.bytes("x", 80), same.bytes("x", 80));
    EXPECT_EQ(80U, another.bytes("x", 80).size());
    EXPECT_NE(permutation.bytes("x", 80), another.bytes("x", 80));
}
