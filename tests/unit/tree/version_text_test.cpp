/* A release as text and as number, and the product in a version line, at their limits. The rest of a version line is
 * the driver's matter. */
#include "tree/version_text.h"

#include "driver/run_context.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

TEST(NumberOf, ReadsWhatStandsAtTheStart)
{
    EXPECT_EQ(number_of("12"), 12);
    EXPECT_EQ(number_of(" \t-12x"), -12);
    EXPECT_EQ(number_of("+7 8"), 7);
    EXPECT_EQ(number_of("010"), 10);
    EXPECT_EQ(number_of("0x10"), 0);
}

TEST(NumberOf, IsZeroForNoNumber)
{
    EXPECT_EQ(number_of(nullptr), 0);
    EXPECT_EQ(number_of(""), 0);
    EXPECT_EQ(number_of("\"12\""), 0);
    EXPECT_EQ(number_of("x12"), 0);
    EXPECT_EQ(number_of("- 12"), 0);
}

TEST(NumberOf, StaysInItsRange)
{
    EXPECT_EQ(number_of("2147483647"), INT32_MAX);
    EXPECT_EQ(number_of("2147483648"), INT32_MAX);
    EXPECT_EQ(number_of("-2147483649"), INT32_MIN);
    EXPECT_EQ(number_of("99999999999999999999999999"), INT32_MAX);
    EXPECT_EQ(number_of("-99999999999999999999999999"), INT32_MIN);
}

TEST(VersionCode, IsMajorAboveMinor)
{
    EXPECT_EQ(version_code(5, 10), 0x5000a);
    EXPECT_EQ(version_code(5, 1), 0x50001);
    EXPECT_EQ(version_code(6, 21), 0x60015);
    EXPECT_EQ(version_code(0, 0), 0);
    EXPECT_EQ(version_code(4, 20), MIGR_RELEASE(4, 20));
    EXPECT_LT(version_code(5, 9), version_code(5, 10));
    EXPECT_LT(version_code(5, 99), version_code(6, 0));
}

TEST(VersionCode, WrapsWithoutACrash)
{
    EXPECT_EQ(version_code(65535, 65535), -1);
    EXPECT_EQ(version_code(65536, 3), 3);
    EXPECT_EQ(version_code(5, -1), 0x4ffff);
    EXPECT_EQ(version_code(32768, 0), INT32_MIN);
    EXPECT_EQ(version_code(INT32_MAX, INT32_MAX), static_cast<int32_t>(0xffff0000u + 0x7fffffffu));
}

constexpr char line_540[] = "#config-version=QA-A1X-5.40-CV-build0100-140101:opmode=0\n";

std::string type_of(const std::string &line)
{
    static char output[MIGR_LINE_SIZE];
    memcpy(bak_line, line.c_str(), line.size() + 1);
    return get_cvw_type(output) == 0 ? output : "(none)";
}

TEST(CvwType, IsTheTextUpToTheSecondDash)
{
    EXPECT_EQ(type_of(line_540), "QA-A1X");
    EXPECT_EQ(type_of(std::string("x ") + line_540), "QA-A1X");
    EXPECT_EQ(type_of("#config-version=QQB01A-5.40-CV-build0100-140101:r\n"), "QQB01A-5.40");
    EXPECT_EQ(type_of("#config-version=--5.40-CV\n"), "-");
    EXPECT_EQ(type_of("#config-version=QA-A1X\n"), "QA-A1X\n");
    EXPECT_EQ(type_of("#config-version=QA"), "QA");
    EXPECT_EQ(type_of("#config-version="), "");
}

TEST(CvwType, NeedsAVersionLineAndABuffer)
{
    EXPECT_EQ(type_of("#config-versio=QA-A1X-5\n"), "(none)");
    EXPECT_EQ(type_of(""), "(none)");
    memcpy(bak_line, line_540, sizeof line_540);
    EXPECT_EQ(get_cvw_type(nullptr), -1);
}

TEST(CvwType, FitsALineThatFillsItsBuffer)
{
    std::string line = "#config-version=";
    line += std::string(MIGR_LINE_SIZE - 1 - line.size(), 'm');
    EXPECT_EQ(type_of(line), line.substr(strlen("#config-version=")));
}

} // namespace
