/* Packed texts: whole ones come back, and of others it is said what is wrong with them. */
#include "system/gzip_text.h"

#include "support/trees.h"
#include "unit/cli/failing_calls.h"

#include <cerrno>
#include <gtest/gtest.h>
#include <new>

using namespace command;
using support::times;

namespace {

constexpr char breaks_off[] = "is a gzip file that breaks off or is damaged";
constexpr char wrong_sum[] = "is a gzip file whose sum is wrong";
constexpr char further[] = "is a gzip file with something else behind its end";

/* Where the fields that a header may have are told, and where the shortest header ends. */
constexpr size_t at_flags = 3, header = 10, trailer = 8;

/* A member with those fields in its header: their flags, and their bytes. */
std::string with_fields(const std::string &member, int flags, const std::string &fields)
{
    std::string changed = member;
    changed[at_flags] = static_cast<char>(flags);
    return changed.insert(header, fields);
}

/* The sum of the text stands ahead of its length. */
std::string with_wrong_sum(std::string member)
{
    member[member.size() - trailer] ^= 1;
    return member;
}

} // namespace

TEST(GzipText, ComesBackWhole)
{
    std::string of_all_bytes;
    for (int byte = 0; byte < 256; byte++)
        of_all_bytes += static_cast<char>(byte);
    for (const std::string &text : {std::string(), std::string("text"), of_all_bytes, times(100'000, "text\n")})
        for (Packing packing : {Packing::tight, Packing::none})
            EXPECT_EQ(gunzip(gzip(text, packing)), text) << text.size();
}

TEST(GzipText, IsSmallerWhereItIsPackedTight)
{
    std::string text;
    for (int number = 0; number < 2000; number++)
        text += "set entry-" + std::to_string(number * 7919 % 1000) + " value\n";
    EXPECT_LT(gzip(text, Packing::tight).size(), text.size() / 2);
    EXPECT_NE(gzip(text, Packing::none).find(text.substr(0, 30'000)), std::string::npos);
    EXPECT_EQ(gzip(text), gzip(text, Packing::tight));
}

/* A member's last four bytes are its text's length, which is not believed of such texts, nor is another's. */
TEST(GzipText, MayBeMuchLongerThanItsBytes)
{
    std::string text(3'000'000, 'x');
    EXPECT_EQ(gunzip(gzip(text)), text);
    EXPECT_EQ(gunzip(gzip(text) + gzip("")), text);
}

TEST(GzipText, MayBeOfSeveralMembers)
{
    EXPECT_EQ(gunzip(gzip("one ") + gzip("") + gzip("two")), "one two");
    EXPECT_EQ(gunzip(gzip(std::string(100'000, 'x')) + gzip("y")), std::string(100'000, 'x') + "y");
}

TEST(GzipText, ThatIsNotWholeGivesNothing)
{
    std::string bytes = gzip("text");
    for (size_t length = 0; length < bytes.size(); length++)
        EXPECT_EQ(gunzip(bytes.substr(0, length)), std::nullopt) << length;
    EXPECT_EQ(gunzip(bytes + "x"), std::nullopt);
    EXPECT_EQ(gunzip(bytes + bytes.substr(0, bytes.size() - 1)), std::nullopt);
    EXPECT_EQ(gunzip("plain"), std::nullopt);
}

TEST(GzipText, IsKnownByItsFirstBytes)
{
    EXPECT_TRUE(looks_like_gzip(gzip("")));
    for (const char *other : {"", "\x1f", "\x1f\x8c", "\x1e\x8b", "plain"})
        EXPECT_FALSE(looks_like_gzip(other)) << other;
}

TEST(WhyNotUnpacked, TellsWhatIsNoGzipFile)
{
    EXPECT_STREQ(why_not_unpacked(""), "is empty");
    EXPECT_STREQ(why_not_unpacked("plain"), "is no gzip file");
    EXPECT_STREQ(why_not_unpacked(gzip("text") + "x"), further);
    EXPECT_STREQ(why_not_unpacked(gzip("text") + gzip("more") + "plain"), further);
}

TEST(WhyNotUnpacked, TellsABreakFromAWrongSum)
{
    for (const std::string &text : {std::string("text"), times(1000, "text\n")})
        for (const std::string &ahead : {std::string(), gzip("")}) {
            std::string whole = gzip(text);
            for (size_t length = 2; length < whole.size(); length++)
                ASSERT_STREQ(why_not_unpacked(ahead + whole.substr(0, length)), breaks_off) << length;
            EXPECT_STREQ(why_not_unpacked(ahead + with_wrong_sum(whole)), wrong_sum);
        }
}

TEST(GzipText, WantsMemory)
{
    std::string bytes = gzip("text");
    support::fail_call("libdeflate_alloc_compressor", ENOMEM);
    EXPECT_THROW(gzip("text"), std::bad_alloc);
    support::fail_call("libdeflate_alloc_decompressor", ENOMEM);
    EXPECT_THROW(gunzip(bytes), std::bad_alloc);
    support::fail_call("libdeflate_alloc_decompressor", ENOMEM);
    EXPECT_THROW(why_not_unpacked(bytes), std::bad_alloc);
}

TEST(WhyNotUnpacked, FindsTheDataBehindAnyHeader)
{
    std::string extra("\x03\x00"
                      "abc",
                      5),
        long_extra = std::string("\x00\x01", 2) + std::string(256, 'e');
    std::string name("name\0", 5), comment("a comment\0", 10), sum("ss");

    const std::pair<int, std::string> fields[] = {
        {0, ""},
        {1, ""}, /* it is a text, says whoever packed it */
        {2, sum},
        {4, extra},
        {4, long_extra},
        {8, name},
        {16, comment},
        {4 + 8 + 16, extra + name + comment},
        {2 + 4 + 8 + 16, long_extra + name + comment + sum},
    };
    for (const auto &[flags, bytes] : fields) {
        std::string member = with_fields(gzip("text"), flags, bytes);
        EXPECT_EQ(gunzip(member), "text") << flags;
        EXPECT_STREQ(why_not_unpacked(with_wrong_sum(member)), wrong_sum) << flags;
        for (size_t length = 2; length < member.size(); length++)
            ASSERT_STREQ(why_not_unpacked(member.substr(0, length)), breaks_off) << flags << " " << length;
    }
}
