/* Files that the library leaves alone, and the reason that the command finds. */
#include "command_support.h"

#include "appliance/inspect.h"

#include <gtest/gtest.h>

#include <vector>

using namespace support;

namespace {

/* Upgrades the box with one more file in it, and expects that file alone to be left, for that reason. */
void expect_left(const TinyAppliance &box, const std::string &name, const std::string &reason)
{
    std::string before = box.read("/data/config/" + name);
    Outcome     run = migr({"upgrade", box.root()});
    EXPECT_EQ(run.status, 1) << run.all();
    EXPECT_NE(run.out.find(name + " was left alone. " + reason), std::string::npos) << run.all();
    EXPECT_EQ(box.read("/data/config/" + name), before);
    EXPECT_EQ(box.read_gzip("/data/config/sys_global.conf.gz").substr(0, 27),
              "#config-version=QA-A1X-" MIGR_IMAGE_RELEASE);
}

command::ConfigFacts facts_of(const std::string &text)
{
    return command::inspect_text(text, command::Depth::whole);
}

} // namespace

TEST(LeftAlone, NoGzip)
{
    TinyAppliance box;
    box.write("/data/config/sys_domain.x.conf.gz", headers("5.50") + "config a\nend\n");
    expect_left(box, "sys_domain.x.conf.gz", "It is no gzip file, or a damaged one.");
}

TEST(LeftAlone, DamagedGzip)
{
    TinyAppliance box;
    std::string   packed = gzip(headers("5.50") + "config a\nend\n");
    box.write("/data/config/sys_domain.x.conf.gz", packed.substr(0, packed.size() - 3));
    expect_left(box, "sys_domain.x.conf.gz", "It is no gzip file, or a damaged one.");
}

TEST(LeftAlone, Empty)
{
    TinyAppliance box;
    box.write("/data/config/sys_domain.x.conf.gz", "");
    expect_left(box, "sys_domain.x.conf.gz", "It is no gzip file, or a damaged one.");
}

TEST(LeftAlone, NoVersionLine)
{
    TinyAppliance box;
    box.write_gzip("/data/config/sys_domain.x.conf.gz", "\n" + headers("5.50") + "config a\nend\n");
    expect_left(box, "sys_domain.x.conf.gz", "It has no version line");
}

TEST(LeftAlone, NoSecondHeaderLine)
{
    TinyAppliance box;
    box.write_gzip("/data/config/sys_domain.x.conf.gz",
                   "#config-version=QA-A1X-5.50-CV-build0601-170328:x\nconfig a\nend\n");
    expect_left(box, "sys_domain.x.conf.gz", "It has no second header line");
}

TEST(LeftAlone, SetWithoutValue)
{
    TinyAppliance box;
    box.config("sys_domain.x.conf.gz", "5.50", "config a\n    set b 1\n    set c\nend\nconfig d\n  set e\nend\n");
    expect_left(box, "sys_domain.x.conf.gz", "It has a `set` without a value in line 5 and 8.");
}

TEST(LeftAlone, NameTooLong)
{
    TinyAppliance box;
    std::string   name = "sys_domain." + std::string(236, 'x') + ".conf.gz";
    box.config(name, "5.50", "config a\nend\n");
    expect_left(box, name, "It cannot be read: File name too long.");
}

TEST(LeftAlone, NoFile)
{
    TinyAppliance box;
    box.folder("/data/config/sys_domain.x.conf.gz");
    Outcome run = migr({"upgrade", box.root()});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("sys_domain.x.conf.gz was left alone. It is no file."), std::string::npos) << run.all();
}

TEST(LeftAlone, GlobalFileAtTheImage)
{
    TinyAppliance box;
    box.config("sys_global.conf.gz", MIGR_IMAGE_RELEASE, "config a\nend\n");
    Listing before = box.listing();
    Outcome run = migr({"upgrade", box.root()});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("sys_domain.root.conf.gz was left alone. An upgrade runs only when sys_global.conf.gz can "
                           "be read and is older than " MIGR_IMAGE_RELEASE "."),
              std::string::npos)
        << run.all();
    EXPECT_EQ(box.listing(), before);
}

TEST(LeftAlone, GlobalFileWithoutVersion)
{
    TinyAppliance box;
    box.write_gzip("/data/config/sys_global.conf.gz", "config a\nend\n");
    Listing before = box.listing();
    Outcome run = migr({"upgrade", box.root()});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("sys_global.conf.gz was left alone. It has no version line"), std::string::npos)
        << run.all();
    EXPECT_EQ(box.listing(), before);
}

TEST(LeftAlone, AFileThatTheLibraryRefusedForAReasonOfItsOwn)
{
    TinyAppliance           box;
    command::UpgradeRequest request;
    request.root = box.root();
    request.library = [] {};
    Outcome run = run_request(request);
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("A rule of the update file or a migration could not be applied"), std::string::npos)
        << run.all();
}

TEST(Reasons, StandInTheOrderInWhichTheLibraryLooks)
{
    command::ConfigFolder folder;
    folder.files.push_back({"sys_global.conf.gz", facts_of(headers("5.50")), 0, false});
    folder.files[0].facts.gzip = true;
    command::Surroundings fine;
    command::ConfigFacts  facts = facts_of(headers("5.50") + "config a\n    set b 1\nend\n");
    facts.gzip = true;
    EXPECT_EQ(command::why_not_upgraded(folder, facts, fine), "");
    EXPECT_NE(command::why_not_upgraded(folder, facts, {false, UINT64_MAX}).find("no update file"), std::string::npos);
    EXPECT_NE(command::why_not_upgraded(folder, facts, {true, 10}).find("no room to write its 9"), std::string::npos);
    facts.empty_sets = {7};
    EXPECT_NE(command::why_not_upgraded(folder, facts, {false, 10}).find("in line 7"), std::string::npos);
    facts.second_line = false;
    EXPECT_NE(command::why_not_upgraded(folder, facts, fine).find("second header line"), std::string::npos);
    facts.release = -1;
    EXPECT_NE(command::why_not_upgraded(folder, facts, fine).find("version line"), std::string::npos);
    facts.gzip = false;
    EXPECT_NE(command::why_not_upgraded(folder, facts, fine).find("gzip"), std::string::npos);
    facts.error = EACCES;
    EXPECT_NE(command::why_not_upgraded(folder, facts, fine).find("Permission denied"), std::string::npos);
}

TEST(EmptySets, AreFoundAsTheParserFindsThem)
{
    using Lines = std::vector<uint64_t>;
    std::string head = headers("5.50");
    EXPECT_EQ(facts_of(head + "set a\n").empty_sets, Lines{3});
    EXPECT_EQ(facts_of(head + "config a\nSET b  \t\nend").empty_sets, Lines{4});
    EXPECT_EQ(facts_of(head + "config a\nset b").empty_sets, Lines{4});
    EXPECT_EQ(facts_of(head + "config a\nset b \"open\nset c\n\"\nset d\nend\n").empty_sets, Lines{7});
    EXPECT_EQ(facts_of(head + "# set a\n  unset b\nsettle\n").empty_sets, Lines{});
    EXPECT_EQ(facts_of(head + "end\nset swallowed\nset found\n").empty_sets, Lines{5}); /* a stray end */
    EXPECT_EQ(facts_of(head + "config a\nset b\nend\nset c\nend\nset d\n").empty_sets, (Lines{4, 6, 8}));
    EXPECT_EQ(facts_of("").empty_sets, Lines{});
    EXPECT_EQ(facts_of("set skipped\n").empty_sets,
              Lines{}); /* the first line is the version line, whatever it holds */
    std::string many = head;
    for (int at = 0; at < 100; at++)
        many += "set a\n";
    EXPECT_EQ(facts_of(many).empty_sets.size(), 10U);
}

TEST(EmptySets, StrayEndsByTheMillionTakeNoTime)
{
    std::string text = headers("5.50");
    for (int at = 0; at < 500'000; at++)
        text += "config a\nend\nend\n";
    Outcome looked = run_process([&] { return facts_of(text).empty_sets.empty() ? 0 : 1; });
    EXPECT_EQ(looked.status, 0);
}
