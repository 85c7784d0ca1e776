/* What the stand-in makes of base64 in one call. Who uses the bytes is tested elsewhere. */
#include "platform/platform.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

/* What comes out under a limit, with the NUL behind it checked and the byte behind that untouched. */
static std::string decoded(const char *text, int limit = 100)
{
    std::vector<char> out(static_cast<size_t>(limit) + 2, '#');
    int               length = b64_decode(text, out.data(), limit);
    EXPECT_GE(length, 0);
    EXPECT_LE(length, limit);
    EXPECT_EQ(out[static_cast<size_t>(length)], '\0');
    EXPECT_EQ(out.back(), '#');
    return std::string(out.data(), static_cast<size_t>(length));
}

TEST(Base64, DecodesTheTestVectors)
{
    EXPECT_EQ(decoded(""), "");
    EXPECT_EQ(decoded("Zg=="), "f");
    EXPECT_EQ(decoded("Zm8="), "fo");
    EXPECT_EQ(decoded("Zm9v"), "foo");
    EXPECT_EQ(decoded("Zm9vYg=="), "foob");
    EXPECT_EQ(decoded("Zm9vYmE="), "fooba");
    EXPECT_EQ(decoded("Zm9vYmFy"), "foobar");
}

TEST(Base64, KnowsAllLetters)
{
    std::string bytes = decoded("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/");
    ASSERT_EQ(bytes.size(), 48u);
    EXPECT_EQ(static_cast<unsigned char>(bytes[0]), 0x00);
    EXPECT_EQ(static_cast<unsigned char>(bytes[1]), 0x10);
    EXPECT_EQ(static_cast<unsigned char>(bytes[2]), 0x83);
    EXPECT_EQ(static_cast<unsigned char>(bytes[45]), 0xf3);
    EXPECT_EQ(static_cast<unsigned char>(bytes[46]), 0xdf);
    EXPECT_EQ(static_cast<unsigned char>(bytes[47]), 0xbf);
}

TEST(Base64, PassesOverLineEndsAndStrangeLetters)
{
    EXPECT_EQ(decoded("Zm9v\nYmFy\r\n"), "foobar");
    EXPECT_EQ(decoded(" Z m-9_v\tY*m\"Fy"), "foobar");
    EXPECT_EQ(decoded("Zg==Zm9v\xff"), decoded("ZgZm9v"));
}

TEST(Base64, LastPartNeedsNoPadding)
{
    EXPECT_EQ(decoded("Zm9vYg"), "foob");
    EXPECT_EQ(decoded("Zm9vYmE"), "fooba");
    EXPECT_EQ(decoded("Zm9vY"), "foo");
    EXPECT_EQ(decoded("Z"), "");
    EXPECT_EQ(decoded("===="), "");
}

TEST(Base64, StopsAtNul)
{
    const char text[] = "Zm9v\0YmFy";
    EXPECT_EQ(decoded(text), "foo");
}

TEST(Base64, KeepsBytesThatAreNulOrHigh)
{
    EXPECT_EQ(decoded("AAD/"), std::string("\0\0\xff", 3));
}

TEST(Base64, LimitCountsBytesWithoutTheNul)
{
    EXPECT_EQ(decoded("Zm9vYmFy", 6), "foobar");
    EXPECT_EQ(decoded("Zm9vYmFy", 5), "fooba");
    EXPECT_EQ(decoded("Zm9vYmFy", 4), "foob");
    EXPECT_EQ(decoded("Zm9vYmFy", 1), "f");
    EXPECT_EQ(decoded("Zm9vYmFy", 0), "");
}

TEST(Base64, RefusesWhatIsNotThere)
{
    char out[4] = "###";
    EXPECT_EQ(b64_decode(nullptr, out, 3), 0);
    EXPECT_EQ(b64_decode("Zm9v", nullptr, 3), 0);
    EXPECT_EQ(b64_decode("Zm9v", out, -1), 0);
    EXPECT_STREQ(out, "###");
}
