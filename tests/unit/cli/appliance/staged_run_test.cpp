/* What an upgrade in a private copy tells of its files to whoever asked for it: all of it crosses a pipe. What comes of
 * the files themselves is tested with the results. */
#include "appliance/staged_run.h"

#include "command.h"
#include "run/interrupts.h"
#include "support/places.h"
#include "unit/cli/command_support.h"

#include <cerrno>
#include <cstdio>
#include <gtest/gtest.h>

using namespace support;

/* On that hangs whether a fleet tries an appliance again. */
TEST(StagedRun, TellsWhatKeptAFileFromBeingRead)
{
    TinyAppliance box;
    box.link("/data/config/sys_domain.loop.conf.gz", "sys_domain.loop.conf.gz");
    box.folder("/data/config/sys_domain.shop.conf.gz");
    auto upgrade = [&] {
        command::prepare_process();
        command::Interrupts     interrupts;
        command::UpgradeRequest request;
        request.root = box.root();
        request.image = build_path("/image");
        request.run.partial = true;
        for (const command::FileOutcome &file : command::upgrade(request, interrupts).files)
            printf("%s %d\n", file.name.c_str(), file.error);
        return 0;
    };
    EXPECT_EQ(run_process(upgrade).out, "sys_global.conf.gz 0\nsys_domain.loop.conf.gz " + std::to_string(ELOOP) +
                                            "\nsys_domain.root.conf.gz 0\nsys_domain.shop.conf.gz " +
                                            std::to_string(EISDIR) + "\n");
}

TEST(StagedRun, LeavesItsResultsAsLargeAsTheyAreWhereSoAsked)
{
    std::string repeated;
    for (int i = 0; i < 200; i++)
        repeated += "config system group" + std::to_string(i) + "\n  set comment \"again and again\"\nend\n";
    size_t sizes[2] = {};
    for (bool unpacks_soon : {false, true}) {
        TinyAppliance box;
        box.config("sys_domain.root.conf.gz", "6.02", repeated);
        auto upgrade = [&] {
            command::prepare_process();
            command::Interrupts     interrupts;
            command::UpgradeRequest request;
            request.root = box.root();
            request.image = build_path("/image");
            request.run.unpacks_soon = unpacks_soon;
            return command::upgrade(request, interrupts).status == command::Status::done ? 0 : 1;
        };
        EXPECT_EQ(run_process(upgrade).status, 0);
        sizes[unpacks_soon] = box.read("/data/config/sys_domain.root.conf.gz").size();
    }
    EXPECT_LT(sizes[false], repeated.size() / 2);
    EXPECT_GT(sizes[true], repeated.size());
}
