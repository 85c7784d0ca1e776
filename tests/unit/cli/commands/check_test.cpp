/* `migr check` on folders and files, against the image that was built along. */
#include "support/appliance_root.h"
#include "support/image_line.h"
#include "support/json_value.h"
#include "support/places.h"
#include "unit/cli/command_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

using support::JsonValue;
using namespace support;

namespace {

constexpr char header_lines[] = "#config-version=QA-A1X-5.50-CV-build0601-170328:opmode=0\n#conf_file_ver=1\n";

std::string with_headers(const std::string &body)
{
    return header_lines + body;
}

std::string packaged_image()
{
    return build_path("/image");
}

Outcome check(std::vector<std::string> arguments)
{
    arguments.insert(arguments.begin(), "check");
    if (std::find(arguments.begin(), arguments.end(), "--image") == arguments.end())
        arguments.insert(arguments.end(), {"--image", packaged_image()});
    return migr(arguments);
}

/* A global and a domain file of 5.50. */
class Checked : public testing::Test {
  protected:
    Checked()
    {
        root.write_gzip("/data/config/sys_global.conf.gz", with_headers("config system global\nset hostname x\nend\n"));
        root.write_gzip("/data/config/sys_domain.root.conf.gz", with_headers("config waf x\nend\n"));
    }
    std::string in_root(const std::string &path) const
    {
        return root.path().string() + path;
    }

    ApplianceRoot root;
};

} // namespace

TEST_F(Checked, ASoundApplianceIsSound)
{
    Listing before = root.listing();
    Outcome answer = check({root.path()});
    EXPECT_EQ(answer.status, 0);
    EXPECT_EQ(answer.out, in_root("/data/config/sys_global.conf.gz: sound.\n") +
                              in_root("/data/config/sys_domain.root.conf.gz: sound.\n") + "The image in " +
                              packaged_image() + ": sound.\n");
    EXPECT_EQ(answer.err, "");
    EXPECT_EQ(root.listing(), before);
}

TEST_F(Checked, EachFindingIsTold)
{
    root.write_gzip("/data/config/sys_domain.root.conf.gz", with_headers("config a\nunset x\nset y\nend\nend\nx\n"));
    root.write("/data/config/sys_domain.two.conf.gz", with_headers(""));
    Outcome answer = check({root.path()});
    EXPECT_EQ(answer.status, 1);
    std::string name = in_root("/data/config/sys_domain.root.conf.gz");
    EXPECT_NE(answer.out.find(name + ":4: begins with none of config, edit, set, next and end, and is passed over.\n" +
                              name + ":5: is a `set` without a value, with which no upgrade starts.\n" + name +
                              ":7: is an `end` or `next` that closes nothing.\n" + name +
                              ":8: stands behind an `end` or `next` that closes nothing, and is not looked at.\n"),
              std::string::npos)
        << answer.out;
    EXPECT_NE(answer.out.find(in_root("/data/config/sys_domain.two.conf.gz: It is no gzip file")), std::string::npos)
        << answer.out;
    EXPECT_NE(answer.out.find("sys_global.conf.gz: sound.\n"), std::string::npos);
}

TEST_F(Checked, AMissingGlobalFileIsToldOfLikeADamagedOne)
{
    std::filesystem::remove(in_root("/data/config/sys_global.conf.gz"));
    Outcome answer = check({root.path()});
    EXPECT_EQ(answer.status, 1);
    EXPECT_TRUE(
        answer.out.starts_with(in_root("/data/config/sys_global.conf.gz: It is not there, and no upgrade of the "
                                       "appliance starts without it.\n")))
        << answer.out;
    EXPECT_NE(answer.out.find("sys_domain.root.conf.gz: sound.\n"), std::string::npos);
}

TEST_F(Checked, AHugeTextFromASmallFileIsRefused)
{
    std::string deep;
    for (int depth = 0; depth < 30000; depth++)
        deep += "config a\n";
    for (int depth = 0; depth < 30000; depth++)
        deep += "end\n";
    root.write_gzip("/data/config/sys_domain.root.conf.gz", with_headers(deep));
    Outcome answer = check({root.path()});
    EXPECT_EQ(answer.status, 1);
    EXPECT_NE(answer.out.find("sys_domain.root.conf.gz: It would have 3.6 GB when written, as its blocks are nested up "
                              "to 30000 deep (line 30002)"),
              std::string::npos)
        << answer.out.substr(0, 2000);
    EXPECT_NE(answer.out.find("more findings are not listed.\n"),
              std::string::npos); /* its lines are too long as well */
}

TEST_F(Checked, FilesStandForThemselves)
{
    root.write("/plain.conf", with_headers("config a\nend\n"));
    root.write_gzip("/packed", with_headers("edit 1\nnext\n"));
    root.write("/no.conf", "config a\nend\n");
    root.write("/newer.conf", "#config-version=QA-A1X-6.50-CV-build0601-170328:\n#conf_file_ver=1\n");
    Outcome answer = check({in_root("/plain.conf"), in_root("/packed"), in_root("/no.conf"), in_root("/newer.conf")});
    EXPECT_EQ(answer.status, 1);
    EXPECT_NE(answer.out.find(in_root("/plain.conf: sound.\n")), std::string::npos) << answer.out;
    EXPECT_NE(answer.out.find(in_root("/packed:3: is an `edit` outside")), std::string::npos) << answer.out;
    EXPECT_NE(answer.out.find(in_root("/no.conf: It has no version line")), std::string::npos) << answer.out;
    EXPECT_NE(
        answer.out.find(in_root("/newer.conf: sound. It is at 6.50, and the image at " MIGR_IMAGE_RELEASE ", so an ")),
        std::string::npos)
        << answer.out;
}

TEST_F(Checked, ADamagedPackedFileIsNoSoundOne)
{
    root.write("/cut.gz", gzip(with_headers("config a\nend\n")).substr(0, 40));
    Outcome answer = check({in_root("/cut.gz")});
    EXPECT_EQ(answer.status, 1);
    EXPECT_EQ(answer.out.find(in_root("/cut.gz: It is a gzip file that breaks off or is damaged.")), 0u) << answer.out;
}

TEST_F(Checked, AnUnusableImageCountsMost)
{
    std::filesystem::copy(packaged_image(), root.path() / "image", std::filesystem::copy_options::recursive);
    root.write("/image/update_config", "[99.30]\n");
    root.write_gzip("/data/config/sys_domain.root.conf.gz", with_headers("x\n"));
    Outcome answer = check({root.path(), "--image", in_root("/image")});
    EXPECT_EQ(answer.status, 2);
    EXPECT_NE(answer.out.find(in_root(
                  "/image/update_config:1: this image is for 99.30, this migr knows up to " MIGR_IMAGE_RELEASE ".")),
              std::string::npos)
        << answer.out;
    EXPECT_NE(answer.out.find("sys_domain.root.conf.gz:3: "), std::string::npos) << answer.out;
}

/* Only sections above the oldest file's release are needed. */
TEST_F(Checked, AnImageIsJudgedByTheOldestFile)
{
    std::filesystem::copy(packaged_image(), root.path() / "image", std::filesystem::copy_options::recursive);
    root.write("/image/update_config", "[6.10]\n");
    EXPECT_EQ(check({root.path(), "--image", in_root("/image")}).status, 0);
    root.write_gzip("/data/config/sys_domain.old.conf.gz",
                    "#config-version=QA-A1X-5.36-CV-build0601-170328:\n#conf_file_ver=1\n");
    Outcome answer = check({root.path(), "--image", in_root("/image")});
    EXPECT_EQ(answer.status, 2);
    EXPECT_NE(answer.out.find("update_config:1: section 5.40 is missing here"), std::string::npos) << answer.out;
}

TEST_F(Checked, WhatCannotBeReadIsUnusable)
{
    EXPECT_EQ(check({in_root("/none")}).status, 2);
    EXPECT_EQ(check({in_root("/etc")}).status, 2);
    EXPECT_EQ(check({root.path(), "--image", in_root("/none")}).status, 2);
    std::filesystem::remove_all(root.path() / "data/config");
    root.folder("/data/config");
    EXPECT_EQ(check({root.path()}).status, 2);
}

TEST_F(Checked, AProgramGetsOneObject)
{
    root.write_gzip("/data/config/sys_domain.root.conf.gz", with_headers("config a\nset y\nx\nend\n"));
    Outcome answer = check({root.path(), "--json"});
    EXPECT_EQ(answer.status, 1);
    JsonValue expected = {{"format", 1},
                          {"command", "check"},
                          {"status", 1},
                          {"error", nullptr},
                          {"messages", JsonValue::array()},
                          {"image", {{"folder", packaged_image()}, {"faults", JsonValue::array()}}},
                          {"files",
                           {{{"file", in_root("/data/config/sys_global.conf.gz")},
                             {"release", "5.50"},
                             {"sound", true},
                             {"reasons", JsonValue::array()},
                             {"damage", JsonValue::array()},
                             {"more", 0}},
                            {{"file", in_root("/data/config/sys_domain.root.conf.gz")},
                             {"release", "5.50"},
                             {"sound", false},
                             {"reasons", JsonValue::array()},
                             {"damage",
                              {{{"line", 4},
                                {"kind", "no-value"},
                                {"text", "is a `set` without a value, with which no upgrade starts."},
                                {"acceptable", false}},
                               {{"line", 5},
                                {"kind", "unknown-word"},
                                {"text", "begins with none of config, edit, set, next and end, and is passed over."},
                                {"acceptable", true}}}},
                             {"more", 0}}}}};
    EXPECT_EQ(JsonValue::parse(answer.out), expected) << answer.out;
    EXPECT_EQ(answer.err, "");
}

TEST_F(Checked, AProgramGetsAnObjectForAnErrorToo)
{
    Outcome answer = check({in_root("/no\x1b[31mne"), "--json"});
    EXPECT_EQ(answer.status, 2);
    JsonValue object = JsonValue::parse(answer.out);
    EXPECT_EQ(object["status"], 2);
    EXPECT_NE(object["error"].text().find("/no\\x1b[31mne"), std::string::npos) << answer.out;
    EXPECT_EQ(object["details"], JsonValue::array());
    EXPECT_FALSE(object.contains("files"));
    EXPECT_EQ(answer.err, "");
}
