/* Files whose release is none, or newer than the image: every command says so, and none guesses. */
#include "support/places.h"
#include "unit/cli/command_support.h"

#include <gtest/gtest.h>

namespace fs = std::filesystem;
using namespace support;

namespace {

std::string version_line(const std::string &release)
{
    return "#config-version=QA-A1X-" + release + "-CV-build0601-170328:opmode=0:vdom=1\n";
}

/* An appliance whose global file is of that release, that file beside it, and a machine-learning file. */
class OddReleases : public testing::Test {
  protected:
    void lay_out(const std::string &release) const
    {
        std::string text = version_line(release) + "#conf_file_ver=1\nconfig system global\nend\n";
        box.write("/sys_global.conf", text);
        box.write_gzip("/data/config/sys_global.conf.gz", text);
        box.write("/ml.conf", version_line(release) + "config waf machine-learning-policy\nend\n");
    }
    /* All but what migr keeps for itself. */
    Listing listing() const
    {
        Listing all = box.listing();
        std::erase_if(all, [](const auto &one) { return one.first.starts_with("var/lib"); });
        return all;
    }
    Outcome run(const std::string &command) const
    {
        std::string file = box.path().string() + "/sys_global.conf", image = build_path("/image");
        if (command == "version")
            return migr({command, file});
        if (command == "ml")
            return migr({command, box.path().string() + "/ml.conf", box.path().string() + "/out"});
        if (command == "convert")
            return migr({command, file, "-o", box.path().string() + "/out", "--image", image});
        if (command.ends_with(" FILE"))
            return migr({command.substr(0, command.find(' ')), file, "--image", image});
        return migr({command, box.path().string(), "--image", image});
    }

    ApplianceRoot box;
};

const char *const commands[] = {"version",    "convert", "ml",   "explain FILE", "explain",
                                "check FILE", "check",   "plan", "upgrade"};

} // namespace

TEST_F(OddReleases, AreNone)
{
    int tried = 0;
    for (const char *release :
         {"65536.00", "32768.00", "99999.10", "2147483648.1", "5.65536", "5.99999", "5.-1", "-5.50", "x.y", "5.5x",
          " 5.50", "5.50.1", "5. 50", "+5.50", "99999999999999999999.1"}) {
        lay_out(release);
        Listing before = listing();
        for (const char *command : commands) {
            if (is_sanitized() && ++tried % 5 != 0)
                continue; /* they share what reads the line */
            Outcome outcome = run(command);
            EXPECT_EQ(outcome.status, 1) << command << " " << release << outcome.all();
            EXPECT_NE(outcome.all().find("Its version line names \""), std::string::npos)
                << command << " " << release << outcome.all();
            EXPECT_EQ(listing(), before) << command << " " << release;
        }
    }
}

TEST_F(OddReleases, AreWrittenInSeveralWays)
{
    for (const char *release : {"5.50", "05.050", "5.050"}) {
        lay_out(release);
        EXPECT_EQ(run("version").out, box.path().string() + "/sys_global.conf: 5.50 QA-A1X\n");
        EXPECT_EQ(run("check").status, 0) << release;
    }
    lay_out("32767.65535");
    EXPECT_EQ(run("version").out, box.path().string() + "/sys_global.conf: 32767.65535 QA-A1X\n");
}

TEST_F(OddReleases, NewerThanTheImage)
{
    lay_out("6.22");
    Listing before = listing();
    for (const char *command : commands) {
        Outcome outcome = run(command);
        bool    stays = std::string(command) == "convert" || std::string(command) == "ml";
        EXPECT_EQ(outcome.status, stays ? 1 : 0) << command << outcome.all();
        EXPECT_NE(outcome.all().find("6.22"), std::string::npos) << command << outcome.all();
        if (std::string(command) != "version") {
            EXPECT_NE(outcome.all().find("image at " MIGR_IMAGE_RELEASE), std::string::npos)
                << command << outcome.all();
        }
        if (std::string(command) == "convert") {
            EXPECT_EQ(box.read("/out"), box.read("/sys_global.conf"));
            fs::remove(box.path() / "out");
        }
        EXPECT_EQ(listing(), before) << command;
    }
}
