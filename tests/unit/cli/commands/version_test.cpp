/* migr version */
#include "unit/cli/command_support.h"

#include "output/release_text.h"

#include "appliance/inspect.h"
#include "command.h"
#include "support/json_value.h"

#include <gtest/gtest.h>

using namespace support;
using support::JsonValue;

TEST(Version, PrintsReleaseAndModelOfEach)
{
    TinyAppliance box;
    box.write("/plain.conf", headers("4.30", "QX-100D"));
    box.write_gzip("/small.conf.gz", headers("5.10", "QQB01A"));
    std::string folder = box.root();
    Outcome     run = migr(
            {"version", folder + "/data/config/sys_global.conf.gz", folder + "/plain.conf", folder + "/small.conf.gz"});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_EQ(run.out, folder + "/data/config/sys_global.conf.gz: 5.50 QA-A1X\n" + folder +
                           "/plain.conf: 4.30 QX-100D\n" + folder + "/small.conf.gz: 5.10 QQB01A\n");
}

TEST(Version, GoesOnBehindAFileWithoutOne)
{
    TinyAppliance box;
    box.write("/empty", "");
    std::string good = box.root() + "/data/config/sys_global.conf.gz";
    Outcome     run = migr({"version", box.root() + "/empty", box.root() + "/none", box.root(), good});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out, good + ": 5.50 QA-A1X\n");
    EXPECT_NE(run.err.find("/empty: It has no version line"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find("/none: cannot read it: No such file or directory"), std::string::npos) << run.err;
    EXPECT_NE(run.err.find(box.root() + ": cannot read it: Is a directory"), std::string::npos) << run.err;
}

TEST(Version, TellsAProgram)
{
    TinyAppliance box;
    box.write("/empty", "");
    std::string good = box.root() + "/data/config/sys_global.conf.gz";
    std::string empty = box.root() + "/empty";
    Outcome     run = migr({"version", empty, good, "--json"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, "");
    JsonValue answer = JsonValue::parse(run.out);
    EXPECT_EQ(answer["status"], 1);
    JsonValue expected = {
        {{"file", empty},
         {"release", nullptr},
         {"model", nullptr},
         {"error", empty + ": It has no version line (\"#config-version=\") that can be read. Mend its first line."}},
        {{"file", good}, {"release", "5.50"}, {"model", "QA-A1X"}, {"error", nullptr}}};
    EXPECT_EQ(answer["files"], expected);
}

TEST(Version, ShowsNoControlCharacterOfTheFile)
{
    TinyAppliance box;
    box.write("/bad", headers("5.50", "Q\x1b[2J-A1"));
    Outcome run = migr({"version", box.root() + "/bad"});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_TRUE(is_clean(run.all())) << run.all();
    EXPECT_NE(run.out.find("5.50 Q\\x1b[2J-A1"), std::string::npos) << run.out;
}

TEST(Version, WritesNothing)
{
    TinyAppliance box;
    Listing       before = box.listing();
    run_process([&] {
        if (chdir(box.root().c_str()) != 0)
            return 1;
        const char *arguments[] = {"migr", "version", "data/config/sys_global.conf.gz"};
        return command::run_command(3, arguments);
    });
    EXPECT_EQ(box.listing(), before);
}

TEST(ReleaseText, IsReadWhole)
{
    EXPECT_EQ(command::release_code("6.21"), 0x60015);
    EXPECT_EQ(command::release_code("05.050"), 0x50032);
    EXPECT_EQ(command::release_code("32767.65535"), 0x7fffffff);
    for (const char *none : {"", ".", "6", "6.", ".21", "6.21x", "6.21.1", " 6.21", "-6.21", "+6.21", "6.-1", "32768.0",
                             "5.65536", "99999999999.1", "5.99999999999"})
        EXPECT_EQ(command::release_code(none), -1) << none;
}

TEST(ReleaseText, IsThatOfVersionLines)
{
    EXPECT_EQ(command::release_text(0x60015), "6.21");
    EXPECT_EQ(command::release_text(0x40000), "4.00");
    EXPECT_EQ(command::release_text(0x50005), "5.05");
    EXPECT_EQ(command::release_text(-1), "-");
}
