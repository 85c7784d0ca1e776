/* A run that goes well, and everything that is told about it. */
#include "unit/cli/command_support.h"

#include "command.h"
#include "driver/migr.h"
#include "support/json_value.h"
#include "support/places.h"

#include <gtest/gtest.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fcntl.h>

using namespace support;
namespace fs = std::filesystem;

namespace {

std::string first_line(const ApplianceRoot &root, const std::string &path)
{
    std::string text = root.read_gzip(path);
    return text.substr(0, text.find('\n'));
}

constexpr char upgraded_line[] = "#config-version=QA-A1X-" IMAGE_VERSION ":x";

} // namespace

TEST(Upgrade, CarriesAllFilesForward)
{
    TinyAppliance box;
    Outcome       run = migr({"upgrade", box.root()});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_EQ(first_line(box, "/data/config/sys_global.conf.gz"), upgraded_line);
    EXPECT_EQ(first_line(box, "/data/config/sys_domain.root.conf.gz"), upgraded_line);
    EXPECT_TRUE(box.exists("/var/log/sys_global.conf"));
    EXPECT_FALSE(box.exists("/tmp/system1.conf"));
}

TEST(Upgrade, SaysWhichImageItUses)
{
    TinyAppliance box;
    std::string   line = "\nThe image's files:     " + build_path("/image") + "\n";
    EXPECT_NE(migr({"upgrade", "--dry-run", box.root()}).out.find(line), std::string::npos);
}

TEST(Upgrade, SaysOfEachFileWhatItWillDo)
{
    TinyAppliance box;
    box.config("sys_domain.new.conf.gz", "6.30", "");
    box.config("sys_domain.now.conf.gz", MIGR_IMAGE_RELEASE, "");
    std::string out = migr({"upgrade", "--dry-run", box.root()}).out;
    for (const char *line :
         {"sys_domain.new.conf.gz: stays as it is, it is at 6.30, and this image at " MIGR_IMAGE_RELEASE "\n",
          "sys_domain.now.conf.gz: stays as it is, it is at " MIGR_IMAGE_RELEASE " already\n",
          "sys_domain.root.conf.gz: will be upgraded from 5.50 to " MIGR_IMAGE_RELEASE "\n"})
        EXPECT_NE(out.find(line), std::string::npos) << line << out;
}

/* That of a dry run is nowhere, and can be had again. */
TEST(Upgrade, SaysHowToSeeItsAccount)
{
    TinyAppliance box;
    std::string   again = ": migr account " + box.root();
    std::string   dry = migr({"upgrade", "--dry-run", box.root()}).out, done = migr({"upgrade", box.root()}).out;
    EXPECT_NE(dry.find(again + "\n"), std::string::npos) << dry;
    EXPECT_NE(done.find(again + " --last\n"), std::string::npos) << done;
}

TEST(Upgrade, MovesNothingOutOfTheWayOfASplit)
{
    TinyAppliance box;
    box.config("sys_global.conf.gz", "5.00", "config system global\nend\n");
    Outcome run = migr({"upgrade", box.root()});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.all().find("The split of sys_global.conf.gz, which is from before 5.10, makes a file of this name in "
                             "its place. Move this one out of the folder."),
              std::string::npos)
        << run.all();
    EXPECT_EQ(first_line(box, "/data/config/sys_global.conf.gz").find("-" MIGR_IMAGE_RELEASE "-"), std::string::npos);
}

TEST(Upgrade, MakesAMissingLogFolder)
{
    TinyAppliance box;
    box.drop("/tmp");
    box.drop("/var");
    Outcome run = migr({"upgrade", box.root()});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_TRUE(box.exists("/var/log/sys_domain.root.conf"));
    EXPECT_EQ(migr({"rollback", box.root()}).status, 0);
    EXPECT_FALSE(box.exists("/var/log"));
}

TEST(Upgrade, MakesItWithAPrivateCopyElsewhereToo)
{
    TinyAppliance box;
    ApplianceRoot work;
    box.drop("/var");
    Outcome run = migr({"upgrade", "--work", work.path(), box.root()});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_TRUE(box.exists("/var/log/sys_domain.root.conf"));
}

TEST(Upgrade, ASecondRunHasNothingToDo)
{
    TinyAppliance box;
    migr({"upgrade", box.root()});
    Listing before = box.listing();
    Outcome run = migr({"upgrade", box.root()});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("Nothing to do."), std::string::npos) << run.out;
    EXPECT_EQ(box.listing(), before);
}

TEST(Upgrade, LeavesADomainFileOfTheImagesReleaseAsItIs)
{
    TinyAppliance box;
    box.config("sys_domain.new.conf.gz", MIGR_IMAGE_RELEASE, "config system a\nend\n");
    std::string before = box.read("/data/config/sys_domain.new.conf.gz");
    Outcome     run = migr({"upgrade", box.root()});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_NE(run.out.find("sys_domain.new.conf.gz   " MIGR_IMAGE_RELEASE "    " MIGR_IMAGE_RELEASE "   up to date"),
              std::string::npos)
        << run.out;
    EXPECT_EQ(box.read("/data/config/sys_domain.new.conf.gz"), before);
}

TEST(Upgrade, TakesAFileWithFurtherEndingForADomainFile)
{
    TinyAppliance box;
    box.config("backup.conf.gz.old", "5.60", "config system a\nend\n");
    Outcome run = migr({"upgrade", box.root()});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_EQ(first_line(box, "/data/config/backup.conf.gz.old"), upgraded_line);
}

TEST(Upgrade, NeedsTheImageFoldersFiles)
{
    TinyAppliance box;
    TinyImage     image;
    unlink((image.path() + "/update_config").c_str());
    Listing before = box.listing();
    Outcome run = migr({"upgrade", box.root(), "--image", image.path()});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find(image.path() + "/update_config (No such file or directory)"), std::string::npos) << run.err;
    EXPECT_EQ(box.listing(), before);
}

TEST(Upgrade, NeedsAnAppliance)
{
    ApplianceRoot empty;
    Outcome       run = migr({"upgrade", empty.path().string()});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("sys_global.conf.gz is not there"), std::string::npos) << run.err;
    EXPECT_EQ(migr({"upgrade", empty.path().string() + "/none"}).status, 2);
    EXPECT_EQ(migr({"rollback", empty.path().string()}).status, 2);
}

TEST(Upgrade, RefusesAPipeInAFilesPlace)
{
    TinyAppliance box;
    ASSERT_EQ(mkfifo((box.root() + "/data/config/sys_domain.x.conf.gz").c_str(), 0600), 0);
    Outcome run = migr({"upgrade", box.root()});
    EXPECT_EQ(run.status, 2);
    EXPECT_NE(run.err.find("sys_domain.x.conf.gz is no ordinary file"), std::string::npos) << run.err;
    EXPECT_TRUE(box.snapshots().empty());
}

TEST(Upgrade, TwoRunsNeverMeet)
{
    TinyAppliance box;
    int           held = open(box.root().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(held, LOCK_EX | LOCK_NB), 0);
    for (const char *what : {"upgrade", "rollback"}) {
        Outcome run = migr({what, box.root()});
        EXPECT_EQ(run.status, 2);
        EXPECT_NE(run.err.find("another migr is at work there"), std::string::npos) << run.err;
    }
    close(held);
    EXPECT_EQ(migr({"upgrade", box.root()}).status, 0);
}

TEST(Upgrade, DryRunLeavesTheApplianceAlone)
{
    TinyAppliance box;
    TinyImage     image;
    box.link("/data/etc/cert/link", "/data/etc/update_config");
    box.drop("/tmp");
    Listing before = box.listing();
    Outcome run = migr({"upgrade", "--dry-run", box.root(), "--image", image.path()});
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_NE(run.out.find("sys_global.conf.gz       5.50    " MIGR_IMAGE_RELEASE "   upgraded"), std::string::npos)
        << run.out;
    EXPECT_NE(run.out.find("nothing in " + box.root() + " was changed"), std::string::npos) << run.out;
    EXPECT_EQ(run.out.find("Snapshot"), std::string::npos) << run.out;
    EXPECT_EQ(box.listing(), before);
}

TEST(Upgrade, DryRunCleansUpItsCopy)
{
    TinyAppliance box;
    ApplianceRoot scratch;
    std::string   folder = scratch.path().string() + "/tmp";
    Outcome       run = migr({"upgrade", "--dry-run", box.root()}, [&] { setenv("TMPDIR", folder.c_str(), 1); });
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST(Upgrade, ShowsWhatTheLibrarySaid)
{
    TinyAppliance           box;
    command::UpgradeRequest request;
    request.root = box.root();
    request.run.library = [] {
        printf("opendir err!");
        fprintf(stderr, "a message with \x1b[31mcolour\n");
    };
    Outcome run = run_request(request);
    EXPECT_NE(run.out.find("  opendir err!"), std::string::npos) << run.all();
    EXPECT_NE(run.out.find("  a message with \\x1b[31mcolour\n"), std::string::npos) << run.all();
}

TEST(Upgrade, TellsTheLibraryOfTheSmallModel)
{
    for (const char *model : {"QQB01A", "QA-A1X"}) {
        TinyAppliance box;
        box.write_gzip("/data/config/sys_global.conf.gz", headers("5.50", model) + "config a\nend\n");
        command::UpgradeRequest request;
        request.root = box.root();
        request.run.library = [] { printf("small %d\n", qb01a); };
        Outcome run = run_request(request);
        EXPECT_NE(run.out.find(std::string("  small ") + (model[1] == 'Q' ? "1" : "0")), std::string::npos)
            << run.all();
    }
}

TEST(Upgrade, OnTheApplianceItself)
{
    TinyAppliance box;
    auto          on_box = [&](const std::vector<const char *> &arguments) {
        return run_in_root(box.path(),
                                    [&] { return command::run_command(static_cast<int>(arguments.size()), arguments.data()); });
    };
    TinyImage image;
    fs::copy(image.path(), box.path() / "image");
    Listing     before = box.without_snapshots();
    ChildResult run = on_box({"migr", "upgrade", "/", "--image", "/image"});
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
    EXPECT_NE(run.out.find("zcat /data/config/sys_global.conf.gz | less\n"), std::string::npos) << run.out;
    EXPECT_NE(run.out.find("migr rollback /\n"), std::string::npos) << run.out;
    EXPECT_EQ(first_line(box, "/data/config/sys_global.conf.gz"), upgraded_line);
    run = on_box({"migr", "rollback", "/"});
    EXPECT_EQ(run.exit_code, 0) << run.out << run.err;
    EXPECT_EQ(box.without_snapshots(), before);
}

TEST(Upgrade, TheRealProgramEndsWithTheSameStatus)
{
    TinyAppliance box;
    Outcome       run = run_process([&] {
        return execl(program_path("/migr").c_str(), "migr", "upgrade", box.root().c_str(),
                           static_cast<char *>(nullptr));
    });
    EXPECT_EQ(run.status, 0) << run.all();
    EXPECT_EQ(first_line(box, "/data/config/sys_global.conf.gz"), upgraded_line);
}

TEST(Usage, WrongUsageIsTwo)
{
    EXPECT_EQ(migr({}).status, 2);
    EXPECT_EQ(migr({"upgrade"}).status, 2);
    EXPECT_EQ(migr({"upgrade", "/", "--timeout", "0"}).status, 2);
    EXPECT_EQ(migr({"upgrade", "/", "--timeout", "soon"}).status, 2);
    Outcome run = migr({"upgrade", "/", "--\x1b[31mred"});
    EXPECT_EQ(run.status, 2);
    EXPECT_TRUE(is_clean(run.err)) << run.err;
}

TEST(Usage, HelpForEachSubcommand)
{
    for (const char *what : {"upgrade", "rollback", "version", "ml"}) {
        Outcome run = migr({what, "--help"});
        EXPECT_EQ(run.status, 0);
        EXPECT_NE(run.out.find(std::string("migr ") + what), std::string::npos) << run.out;
        EXPECT_NE(migr({"--help"}).out.find(what), std::string::npos);
    }
}
