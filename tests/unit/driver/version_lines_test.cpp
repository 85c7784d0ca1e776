/* What is read from a version line and what the new one says, character by character. */
#include "driver/version_lines.h"

#include "driver/migr.h"
#include "support/appliance_root.h"
#include "support/image_line.h"
#include "support/places.h"
#include "support/trees.h"

#include <cstddef>
#include <cstring>
#include <fstream>
#include <string>

using namespace support;

namespace {

constexpr char line_540[] = "#config-version=QA-A1X-5.40-CV-build0100-140101:opmode=0\n";
constexpr char line_image[] = "#config-version=QA-A1X-" IMAGE_VERSION ":opmode=0\n";
constexpr char second[] = "#conf_file_ver=17\n";

/* Reads a version out of a plain file's text, as for the image of this build unless another is given. */
int32_t version_of(const std::string &text, int32_t image = MIGR_RELEASE_IMAGE)
{
    memset(&migr_main, 0, sizeof migr_main);
    migr_main.img_version = image;
    TextFile file(text);
    return get_config_version_and_save_first_line(file.path());
}

/* The same for what follows the "=" of a version line. */
int32_t version_behind(const std::string &text)
{
    return version_of("#config-version=" + text);
}

std::string first_line()
{
    return migr_main.first_line;
}

/* Runs expectations with a root folder of its own; their failures are this test's. */
void in_root(const ApplianceRoot &appliance, const std::function<void()> &work)
{
    ChildResult child = run_in_root(appliance.path(), [&] {
        work();
        return 0;
    });
    EXPECT_EQ(child.exit_code, 0) << child.out << child.err;
}

/* The word behind a key in image/release. */
std::string word_of_image(const std::string &key)
{
    std::ifstream in(source_path("/image/release"));
    for (std::string line; std::getline(in, line);)
        if (line.rfind(key + " ", 0) == 0)
            return line.substr(key.size() + 1);
    return "";
}

TEST(ImageVersion, IsWhatTheImageSays)
{
    EXPECT_EQ(release_of(get_osimage_version()), word_of_image("release"));
    EXPECT_EQ(version_of(line_540), 0x50028);
    EXPECT_EQ(first_line(), "#config-version=QA-A1X-" + word_of_image("release") + "-CV-build" +
                                word_of_image("build") + "-" + word_of_image("date") + ":opmode=0\n");
}

TEST(VersionLine, OfAModelWithADash)
{
    EXPECT_EQ(version_of(line_540), 0x50028);
    EXPECT_EQ(first_line(), line_image);
    EXPECT_STREQ(migr_main.model_text, "A-A1X-5.40-CV-build0100-140101:opmode=0\n");
    EXPECT_EQ(migr_main.cfg_build, 100);
    EXPECT_EQ(migr_main.img_build, std::stoi(MIGR_IMAGE_BUILD));
}

TEST(VersionLine, OfEachModelWithoutADash)
{
    for (const char *model : {"QB01A", "QB02A", "QB03A", "QB04A", "QB05A", "QB06A", "QB07A", "QB08A", "QQWS1", "QB10A",
                              "QQZE1", "QB12A", "QB13A", "QB14A", "QB15A", "QQZE2", "QQWS2", "QB18A"}) {
        std::string text = "X" + std::string(model);
        EXPECT_EQ(version_behind(text + "-5.40-CV-build0100-140101:rest\n"), 0x50028) << model;
        EXPECT_EQ(first_line(), "#config-version=" + text + "-" IMAGE_VERSION ":rest\n");
    }
}

TEST(VersionLine, AModelWithoutADashThatIsNotListedHasNoVersion)
{
    for (const char *model : {"XQB09A", "XQB11A", "XQB16A", "XQB17A", "XQB19A", "XQQWS3", "XQQZE3", "XqB01A", "QB01A"})
        EXPECT_EQ(version_behind(std::string(model) + "-5.40-CV-build0100-140101:rest\n"), -1) << model;
}

TEST(VersionLine, ADashlessModelAnywhereInTheLineCounts)
{
    /* The scan then takes the model's own dash for the one ahead of the version. */
    EXPECT_EQ(version_behind("QA-A1X-5.40-CV-build0100-140101:QB01A\n"), 40);
    EXPECT_EQ(first_line(), "#config-version=QA-5.10" IMAGE_STAMP ":QB01A\n");
    EXPECT_EQ(version_behind("QA-7X-5.40-CV-build0100-140101:x,QQZE1\n"), 0x70028);
    EXPECT_EQ(first_line(), "#config-version=QA-" IMAGE_VERSION ":x,QQZE1\n");
    EXPECT_EQ(version_behind("QA-A1X-5.40-CV-build0100-140101:QB0-1A\n"), 0x50028);
}

TEST(VersionLine, TheModelsFirstCharacterIsNeverSeen)
{
    EXPECT_EQ(version_behind("-A-5.40-CV-build0100-140101:r\n"), -1);
    EXPECT_EQ(version_behind("-A-B-5.40-CV-build0100-140101:r\n"), 0x50028);
    EXPECT_EQ(version_behind("--5.40-CV-build0100-140101:r\n"), -1);
    EXPECT_EQ(version_behind("X--5.40-CV-build0100-140101:r\n"), 0x50028);
    /* A listed model's first state passes on any character, so it also takes the dash behind a model of one letter. */
    EXPECT_EQ(version_behind("X-5.40-CV-build0100-140101:QB01A\n"), -1);
}

TEST(VersionLine, NothingBehindTheEqualsSign)
{
    EXPECT_EQ(version_behind("\n"), -1);
    EXPECT_EQ(version_behind(""), -1);
    EXPECT_EQ(version_behind("Q"), -1);
    EXPECT_EQ(version_behind("Q\n"), -1);
    EXPECT_STREQ(migr_main.model_text, "\n");
    EXPECT_EQ(first_line(), "");
}

TEST(VersionLine, NumbersAreWhole)
{
    EXPECT_EQ(version_behind("QA-A1X-5.10-CV-build0100-140101:r\n"), 0x5000a);
    EXPECT_EQ(version_behind("QA-A1X-5.010-CV-build0100-140101:r\n"), 0x5000a);
    EXPECT_EQ(version_behind("QA-A1X-5.1-CV-build0100-140101:r\n"), 0x50001);
    EXPECT_EQ(version_behind("QA-A1X-05.40-CV-build0100-140101:r\n"), 0x50028);
    EXPECT_EQ(version_behind("QA-A1X-5x.40y-CV-build0100-140101:r\n"), 0x50028);
    EXPECT_EQ(version_behind("QA-A1X-x.y-CV-build0100-140101:r\n"), 0);
    EXPECT_EQ(version_behind("QA-A1X-65535.65535-CV-build0100-140101:r\n"), -1);
    EXPECT_EQ(version_behind("QA-A1X-40000.1-CV-build0100-140101:r\n"), static_cast<int32_t>(0x9c400001));
    EXPECT_EQ(version_behind("QA-A1X-99999999999.99999999999-CV-build0100-140101:r\n"),
              static_cast<int32_t>(0xffff0000u + 0x7fffffffu));
}

TEST(VersionLine, TheProductIsBetweenTwoDashes)
{
    EXPECT_EQ(version_behind("QA-A1X-5.40-any product-build0100-140101:r\n"), 0x50028);
    EXPECT_EQ(version_behind("QA-A1X-5.40--build0100-140101:r\n"), 0x50028);
    EXPECT_EQ(first_line(), "#config-version=QA-A1X-" IMAGE_VERSION ":r\n");
    EXPECT_EQ(version_behind("QA-A1X-5.40-build0100:r\n"), -1);
    /* One dash too many: the build is what follows the second, and the date what follows the third. */
    EXPECT_EQ(version_behind("QA-A1X-5.40-C-V12-build0100-140101:r\n"), 0x50028);
    EXPECT_EQ(migr_main.cfg_build, 0);
}

TEST(VersionLine, MajorAndMinorTakeTheirFirstCharacterWhateverItIs)
{
    /* So a dash directly behind the point ends nothing. */
    EXPECT_EQ(version_behind("QA-A1X-5.-CV-build0100-140101:r\n"), -1);
    EXPECT_EQ(version_behind("QA-A1X-5.-CV-build0100-140101-150202:r\n"), 0x50000);
    EXPECT_EQ(migr_main.cfg_build, 140101) << "each later dash stands for the one ahead of it";
    EXPECT_EQ(version_behind("QA-A1X-5.-3-CV-build0100-140101:r\n"), 0x4fffd);
    EXPECT_EQ(version_behind("QA-A1X-540-CV-build0100-140101:r\n"), -1);
    /* The first point goes with the major, and the one behind the 5 counts. */
    EXPECT_EQ(version_behind("QA-A1X-.5.40-CV-build0100-140101:r\n"), 40);
}

TEST(VersionLine, BuildIsANumberWithOrWithoutItsWord)
{
    version_behind("QA-A1X-5.40-CV-0123-140101:r\n");
    EXPECT_EQ(migr_main.cfg_build, 123);
    version_behind("QA-A1X-5.40-CV-build9-140101:r\n");
    EXPECT_EQ(migr_main.cfg_build, 9);
    version_behind("QA-A1X-5.40-CV-buildx-140101:r\n");
    EXPECT_EQ(migr_main.cfg_build, 0);
    version_behind("QA-A1X-5.40-CV-Build7-140101:r\n");
    EXPECT_EQ(migr_main.cfg_build, 0);
    EXPECT_EQ(version_behind("QA-A1X-5.40-CV-7-140101:r\n"), 0x50028);
    EXPECT_EQ(migr_main.cfg_build, 7);
}

TEST(VersionLine, ABuildWithoutDigitsSwallowsItsDash)
{
    EXPECT_EQ(version_behind("QA-A1X-5.40-CV-build-140101:r\n"), -1);
    EXPECT_EQ(migr_main.cfg_build, 0) << "nothing is stored for a line without a version";
    EXPECT_EQ(version_behind("QA-A1X-5.40-CV-build-12-140101:r\n"), 0x50028);
    EXPECT_EQ(migr_main.cfg_build, -12);
}

TEST(VersionLine, TheDateIsSixCharactersOfAnyKind)
{
    EXPECT_EQ(version_behind("QA-A1X-5.40-CV-build0100-abc:ef:r\n"), 0x50028);
    EXPECT_EQ(first_line(), "#config-version=QA-A1X-" IMAGE_VERSION ":r\n");
    EXPECT_EQ(version_behind("QA-A1X-5.40-CV-build0100-140101 and more:r:s\n"), 0x50028);
    EXPECT_EQ(first_line(), "#config-version=QA-A1X-" IMAGE_VERSION ":r:s\n");
}

TEST(VersionLine, NeedsAColonBehindTheDate)
{
    EXPECT_EQ(version_behind("QA-A1X-5.40-CV-build0100-140101\n"), -1);
    EXPECT_EQ(version_behind("QA-A1X-5.40-CV-build0100-14010:\n"), -1);
    EXPECT_EQ(version_behind("QA-A1X-5.40-CV-build0100-140101:"), 0x50028);
    EXPECT_EQ(first_line(), "#config-version=QA-A1X-" IMAGE_VERSION ":");
    EXPECT_EQ(version_behind("QA-A1X-5.40:CV-build0100-140101\n"), -1);
}

TEST(VersionLine, FromBefore510StopsAt510)
{
    struct {
        const char *version;
        int32_t     image;
        const char *composed;
    } cases[] = {
        {"5.9", 0x60015, "5.10"},  {"5.10", 0x60015, "6.21"}, {"4.33", 0x60015, "5.10"}, {"3.0", 0x60015, "5.10"},
        {"5.11", 0x60015, "6.21"}, {"5.9", 0x5000b, "5.10"},  {"5.9", 0x5000a, "5.10"},  {"4.0", 0x50009, "5.09"},
        {"4.0", 0x40028, "4.40"},  {"5.10", 0x5000b, "5.11"}, {"5.9", 0x600c8, "5.10"},  {"5.40", 0x600c8, "6.200"},
        {"5.40", 0x60005, "6.05"}, {"7.0", 0x60015, "6.21"},
    };
    for (auto &one : cases) {
        version_of("#config-version=QA-A1X-" + std::string(one.version) + "-CV-build0100-140101:r\n", one.image);
        EXPECT_EQ(first_line(), "#config-version=QA-A1X-" + std::string(one.composed) + IMAGE_STAMP ":r\n")
            << one.version << " to " << one.image;
    }
}

TEST(VersionLine, ModelTextIsCutAt127)
{
    std::string rest(300, 'r');
    version_behind("QA-A1X-5.40-CV-build0100-140101:" + rest + "\n");
    EXPECT_EQ(migr_main.model_text, ("A-A1X-5.40-CV-build0100-140101:" + rest).substr(0, 127));
    EXPECT_EQ(first_line(), "#config-version=QA-A1X-" IMAGE_VERSION ":" + rest + "\n");
}

TEST(VersionLine, AComposedLineThatOutgrowsItsBufferIsCut)
{
    std::string line = "#config-version=QA-A1X-5.4-C-build1-140101:";
    line += std::string(MIGR_LINE_SIZE - 2 - line.size(), 'r') + "\n";
    ASSERT_EQ(version_of(line), 0x50004);
    EXPECT_EQ(first_line().size(), MIGR_LINE_SIZE - 1u);
    EXPECT_EQ(first_line().substr(0, 60), "#config-version=QA-A1X-5.10" IMAGE_STAMP ":rrrrrrrrrrrr");
    EXPECT_EQ(first_line().back(), 'r');
}

TEST(VersionLine, ALineTooLongForTheReaderIsCutThere)
{
    std::string ahead = "#config-version=QA-A1X-5.40-CV-build0100-140101:";
    ASSERT_EQ(version_of(ahead + std::string(60000, 'r') + "\n"), 0x50028);
    EXPECT_EQ(first_line(),
              "#config-version=QA-A1X-" IMAGE_VERSION ":" + std::string(MIGR_LINE_SIZE - 1 - ahead.size(), 'r'));
}

TEST(VersionLine, MayStandBehindOtherLines)
{
    EXPECT_EQ(version_of(std::string("# comment\nx\nconfig a\n") + line_540), 0x50028);
    EXPECT_EQ(first_line(), line_image);
    EXPECT_EQ(version_of("config a\nend\n"), -1);
    EXPECT_EQ(version_of(""), -1);
    EXPECT_EQ(version_of("#Config-Version=QA-A1X-5.40-CV-build0100-140101:r\n"), -1);
    EXPECT_EQ(version_of("x#config-version=QA-A1X-5.40-CV-build0100-140101:r\n"), -1);
}

TEST(VersionLine, IsFoundOnlyAtTheColumnThatEarlierLinesLeft)
{
    EXPECT_EQ(version_of(std::string(" ") + line_540), 0x50028);
    EXPECT_EQ(first_line(), std::string(" ") + line_image) << "the blank stays";
    EXPECT_EQ(version_of(std::string("\n") + line_540), -1) << "the empty line has moved the position on";
    EXPECT_EQ(version_of(std::string("\n ") + line_540), 0x50028);
    EXPECT_EQ(first_line(), std::string(" ") + line_image);
    EXPECT_EQ(version_of(std::string("\n\n\n ") + line_540), 0x50028) << "only the first empty line moves it";
    EXPECT_EQ(version_of(std::string("  x\n") + line_540), -1);
    EXPECT_EQ(version_of(std::string("  x\n\t") + line_540), -1);
    EXPECT_EQ(version_of(std::string("  x\n\t\t") + line_540), 0x50028);
    EXPECT_EQ(version_of(std::string("  x\nab") + line_540), 0x50028)
        << "what stands ahead of the position is not read";
    EXPECT_EQ(first_line(), std::string("ab") + line_image);
    EXPECT_EQ(version_of(std::string("  x\n   ") + line_540), 0x50028) << "white space still moves it on";
}

TEST(VersionLine, ThePositionMayLieBehindAShorterLine)
{
    EXPECT_EQ(version_of(std::string("         x\nab\n\n123456789") + line_540), 0x50028);
    EXPECT_EQ(first_line(), std::string("123456789") + line_image);
    EXPECT_EQ(version_of(std::string("         x\nab\n") + line_540), -1);
}

TEST(VersionLine, WhatAnEarlierFileLeftInTheBufferIsNotRead)
{
    TextFile file("     x\nshort\n");
    memset(&migr_main, 0, sizeof migr_main);
    snprintf(migr_main.line_buf, sizeof migr_main.line_buf, "     %s", line_540);
    EXPECT_EQ(get_config_version_and_save_first_line(file.path()), -1);
}

TEST(VersionLine, SeventeenCharactersAreNeeded)
{
    EXPECT_EQ(version_of("#config-version=\n" + std::string(line_540)), -1) << "enough: the search stops there";
    EXPECT_STREQ(migr_main.line_buf, "#config-version=\n");
    EXPECT_EQ(version_of(std::string("#config-version=\0\n", 18) + line_540), 0x50028) << "too few: it goes on";
}

TEST(VersionLine, AFileThatIsNotThereHasNone)
{
    EXPECT_EQ(get_config_version_and_save_first_line("/nowhere/at/all"), -1);
}

TEST(VersionLine, OfNoPathIsThatOfTheUnpackedFile)
{
    ApplianceRoot appliance;
    appliance.write("/tmp/system1.conf", line_540);
    in_root(appliance, [] {
        migr_main.img_version = MIGR_RELEASE_IMAGE;
        EXPECT_EQ(get_config_version_and_save_first_line(nullptr), 0x50028);
        EXPECT_EQ(first_line(), line_image);
    });
}

/* get_config_version, which unpacks into the working folder; `left` tells whether that text is there afterwards. */
void expect_version(const std::string &text, int32_t version, bool left)
{
    ApplianceRoot appliance;
    appliance.write_gzip("/data/config/sys_global.conf.gz", text);
    in_root(appliance, [&] { EXPECT_EQ(get_config_version("/data/config/sys_global.conf.gz"), version) << text; });
    EXPECT_EQ(appliance.exists("/qx_migr_unzip_tmp"), left) << text;
    EXPECT_FALSE(appliance.exists("/tmp/system1.conf"));
}

TEST(ConfigVersion, ReadsACompressedFile)
{
    expect_version(line_540, 0x50028, false);
    expect_version("#config-version=QQB01A-4.33-CV-build0100-140101:r\n", 0x40021, false);
    expect_version(std::string(" ") + line_540, 0x50028, false);
}

TEST(ConfigVersion, IsMinusOneWithoutAVersion)
{
    expect_version("", -1, false);
    expect_version("config a\nend\n", -1, false);
    expect_version(std::string("\n") + line_540, -1, false);
    expect_version("#config-version=\n", -1, false);
    expect_version("#config-version=QA-A1X-5.40-CV-build0100-140101\n", -1, false);
    expect_version("#config-version=QA-A1X-5.40-CV-build0100-14010:\n", -1, false);
    expect_version("#config-version=QA-A1X-5.40-CV-123456", -1, false);
    expect_version("#config-version=QA-A1X-5.40-CV-build1", -1, false);
}

TEST(ConfigVersion, ALineCutInBuildOrDateLeavesTheUnpackedTextBehind)
{
    expect_version("#config-version=QA-A1X-5.40-CV-1234\n", -1, true);
    expect_version("#config-version=QA-A1X-5.40-CV-12345", -1, true);
    expect_version("#config-version=QA-A1X-5.40-CV-build0100-14010\n", -1, true);
    expect_version("#config-version=QA-A1X-5.40-CV-build0100-140101", -1, true);
}

TEST(ConfigVersion, OfNoCompressedFileIsMinusOne)
{
    ApplianceRoot appliance;
    appliance.write("/plain", line_540);
    Listing before = appliance.listing();
    in_root(appliance, [] {
        EXPECT_EQ(get_config_version("/plain"), -1);
        EXPECT_EQ(get_config_version("/nothing"), -1);
        EXPECT_EQ(get_config_version("/data"), -1);
    });
    EXPECT_EQ(appliance.listing(), before);
}

TEST(ConfigVersion, ChangesOnlyTheLineBuffer)
{
    ApplianceRoot appliance;
    appliance.write_gzip("/file.gz", line_540);
    in_root(appliance, [] {
        static run_context before;
        constexpr size_t   behind_line_buf = offsetof(run_context, update_list);
        memset(static_cast<void *>(&migr_main), 0x5a, sizeof migr_main);
        memset(static_cast<void *>(&before), 0x5a, sizeof before);
        memset(bak_line, 0x5a, sizeof bak_line);
        EXPECT_EQ(get_config_version("/file.gz"), 0x50028);
        EXPECT_STREQ(migr_main.line_buf, line_540);
        EXPECT_EQ(memcmp(&migr_main.update_list, &before.update_list, sizeof before - behind_line_buf), 0);
        EXPECT_EQ(bak_line[0], 0x5a);
    });
}

TEST(ConfigVersion, ReplacesATextThatWasLeft)
{
    ApplianceRoot appliance;
    appliance.write("/qx_migr_unzip_tmp", "old");
    appliance.write_gzip("/file.gz", line_540);
    in_root(appliance, [] { EXPECT_EQ(get_config_version("/file.gz"), 0x50028); });
    EXPECT_FALSE(appliance.exists("/qx_migr_unzip_tmp"));
}

void expect_second_line(const std::string &text, int32_t result, const std::string &line)
{
    ApplianceRoot appliance;
    appliance.write("/tmp/system1.conf", text);
    in_root(appliance, [&] {
        memset(&migr_main, 0, sizeof migr_main);
        EXPECT_EQ(save_second_line_of_config_file(), result) << text;
        EXPECT_EQ(migr_main.second_line, line) << text;
    });
    EXPECT_EQ(appliance.read("/tmp/system1.conf"), text);
}

TEST(SecondLine, IsKeptAsRead)
{
    expect_second_line(std::string(line_540) + "#conf_file_ver=17 %s\t\r\nmore\n", 0, "#conf_file_ver=17 %s\t\r\n");
    expect_second_line("#conf_file_ver=1", 0, "#conf_file_ver=1");
    expect_second_line("config a\nend\n#conf_file_ver=1\n#conf_file_ver=2\n", 0, "#conf_file_ver=1\n");
    expect_second_line("#conf_file_ver=\n", 0, "#conf_file_ver=\n");
}

TEST(SecondLine, NeedsSixteenCharacters)
{
    expect_second_line("#conf_file_ver=", -1, "");
}

TEST(SecondLine, IsFoundOnlyAtTheColumnThatEarlierLinesLeft)
{
    expect_second_line(std::string(line_540) + "\n#conf_file_ver=17\n", -1, "");
    expect_second_line(std::string(" ") + line_540 + "#conf_file_ver=17\n", -1, "");
    expect_second_line(std::string(" ") + line_540 + " #conf_file_ver=17\n", 0, " #conf_file_ver=17\n");
    expect_second_line(std::string(line_540) + "\n\t#conf_file_ver=17\n", 0, "\t#conf_file_ver=17\n");
    expect_second_line(std::string(" ") + line_540 + "?#conf_file_ver=17\n", 0, "?#conf_file_ver=17\n");
}

TEST(SecondLine, OfNoFileIsNone)
{
    ApplianceRoot appliance;
    in_root(appliance, [] { EXPECT_EQ(save_second_line_of_config_file(), -1); });
}

struct Parsed {
    int32_t     result;
    int32_t     cfg_version;
    std::string bak_line;
    bool        unpacked; /* the unpacked file is there afterwards */
};

Parsed parsed_version(const std::string &text, int32_t force)
{
    ApplianceRoot appliance;
    appliance.write_gzip("/file.gz", text);
    appliance.write("/tmp/system1.conf", "left over");
    ChildResult child = run_in_root(appliance.path(), [&] {
        memset(&migr_main, 0, sizeof migr_main);
        printf("%d ", parse_version("/file.gz", force));
        printf("%d %s", migr_main.cfg_version, bak_line);
        EXPECT_EQ(migr_main.img_version, MIGR_RELEASE_IMAGE);
        return 0;
    });
    EXPECT_EQ(child.exit_code, 0) << child.out << child.err;
    Parsed parsed = {};
    int    at = 0;
    EXPECT_EQ(sscanf(child.out.c_str(), "%d %d%n", &parsed.result, &parsed.cfg_version, &at), 2);
    parsed.bak_line = child.out.substr(static_cast<size_t>(at) + 1);
    parsed.unpacked = appliance.exists("/tmp/system1.conf");
    if (parsed.unpacked) {
        EXPECT_EQ(appliance.read("/tmp/system1.conf"), text);
    }
    return parsed;
}

std::string header_of(const std::string &version)
{
    return "#config-version=QA-A1X-" + version + "-CV-build0100-140101:r\n" + second;
}

TEST(ParseVersion, TakesAFileThatIsOlderThanTheImage)
{
    Parsed parsed = parsed_version(std::string(line_540) + second, 0);
    EXPECT_EQ(parsed.result, 0);
    EXPECT_EQ(parsed.cfg_version, 0x50028);
    EXPECT_EQ(parsed.bak_line, line_540);
    EXPECT_TRUE(parsed.unpacked);
    EXPECT_EQ(parsed_version(header_of("6.20"), 0).result, 0);
    EXPECT_EQ(parsed_version(header_of("0.0"), 0).result, 0);
}

TEST(ParseVersion, RefusesAFileThatIsNotOlderUnlessForced)
{
    for (const std::string &version : no_older_releases()) {
        Parsed refused = parsed_version(header_of(version), 0);
        EXPECT_EQ(refused.result, -1) << version;
        EXPECT_FALSE(refused.unpacked);
        EXPECT_NE(refused.bak_line, "");
        Parsed forced = parsed_version(header_of(version), 1);
        EXPECT_EQ(forced.result, 0) << version;
        EXPECT_TRUE(forced.unpacked);
    }
}

TEST(ParseVersion, RefusesAFileWithoutItsTwoLinesEvenWhenForced)
{
    for (int32_t force : {0, 1, -1}) {
        for (const std::string &text :
             {std::string(line_540), std::string(second), std::string("config a\nend\n"), header_of("40000.1"),
              std::string(line_540) + "\n" + second, std::string(" ") + line_540 + second}) {
            Parsed parsed = parsed_version(text, force);
            EXPECT_EQ(parsed.result, -1) << text;
            EXPECT_FALSE(parsed.unpacked) << text;
        }
    }
}

TEST(ParseVersion, KeepsTheLastLineReadEvenWithoutAVersion)
{
    EXPECT_EQ(parsed_version("config a\nlast line\n", 0).bak_line, "last line\n");
    EXPECT_EQ(parsed_version("config a\nlast line\n", 0).cfg_version, -1);
}

TEST(ParseVersion, AFileThatCannotBeUnpackedLeavesNothing)
{
    ApplianceRoot appliance;
    appliance.write("/plain", line_540);
    Listing before = appliance.listing();
    appliance.write("/tmp/system1.conf", "left over");
    in_root(appliance, [] {
        EXPECT_EQ(parse_version("/plain", 0), -1);
        EXPECT_EQ(parse_version("/nothing", 1), -1);
    });
    EXPECT_EQ(appliance.listing(), before);
}

} // namespace
