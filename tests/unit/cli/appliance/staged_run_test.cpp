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

#include <functional>

using namespace support;

/* In a process of its own; `look` is given what came of it, and its result is that of the process. */
static Outcome upgrade(const TinyAppliance &box, const command::RunRequest &run,
                       const std::function<int(const command::Outcome &)> &look)
{
    return run_process([&] {
        command::prepare_process();
        command::Interrupts     interrupts;
        command::UpgradeRequest request;
        request.root = box.root();
        request.image = build_path("/image");
        request.run = run;
        return look(command::upgrade(request, interrupts));
    });
}

/* On that hangs whether a fleet tries an appliance again. */
TEST(StagedRun, TellsWhatKeptAFileFromBeingRead)
{
    TinyAppliance box;
    box.link("/data/config/sys_domain.loop.conf.gz", "sys_domain.loop.conf.gz");
    box.folder("/data/config/sys_domain.shop.conf.gz");
    command::RunRequest run;
    run.partial = true;
    Outcome outcome = upgrade(box, run, [](const command::Outcome &upgraded) {
        for (const command::FileOutcome &file : upgraded.files)
            printf("%s %d\n", file.name.c_str(), file.error);
        return 0;
    });
    EXPECT_EQ(outcome.out, "sys_global.conf.gz 0\nsys_domain.loop.conf.gz " + std::to_string(ELOOP) +
                               "\nsys_domain.root.conf.gz 0\nsys_domain.shop.conf.gz " + std::to_string(EISDIR) + "\n");
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
        command::RunRequest run;
        run.unpacks_soon = unpacks_soon;
        Outcome outcome = upgrade(box, run, [](const command::Outcome &upgraded) {
            return upgraded.status == command::Status::done ? 0 : 1;
        });
        EXPECT_EQ(outcome.status, 0);
        sizes[unpacks_soon] = box.read("/data/config/sys_domain.root.conf.gz").size();
    }
    EXPECT_LT(sizes[false], repeated.size() / 2);
    EXPECT_GT(sizes[true], repeated.size());
}
