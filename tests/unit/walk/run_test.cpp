/* Which stages a run takes, and the state blocks of their rows. */
#include "recorder.h"

#include "driver/migr.h"
#include "support/failing_memory.h"
#include "walk/stage_tables.h"

#include <cstring>

using support::parse;
using support::written;
using walk_test::Recorder;

/* The releases of the parts of a run that the library has told of, each with its phase. */
static std::string parts;

extern "C" void migr_on_section(int32_t version, const char *phase)
{
    parts += std::string(phase) + " " + std::to_string(version >> 16) + "." + std::to_string(version & 0xffff) + ", ";
}

class Run : public support::TreeTest {
  protected:
    /* What the walk makes of a website's auto-restore switch, which the stage of 5.50 alone changes, and of a
     * machine-learning set, which the machine-learning stage alone changes. */
    static std::string update(int32_t from, int32_t to, uint32_t mode)
    {
        parse("config wad website\n edit 1\n  set auto-restore on\n next\nend\n"
              "config waf machine-learning-policy\n edit 1\n  set strictness-level-anomaly123456 5\n next\nend\n");
        migr_main.cfg_version = from;
        migr_main.img_version = to;
        migr_main.mode = mode;
        EXPECT_EQ(0, new_config_update(&migr_main));
        std::string text = written(&migr_main.root);
        std::string changes;
        if (text.find("atuo") != std::string::npos)
            changes += "5.50 ";
        if (text.find("test--5") != std::string::npos)
            changes += "ml ";
        return changes;
    }
};

TEST_F(Run, AStageRunsAboveTheFileAndUpToTheImage)
{
    EXPECT_EQ("5.50 ", update(0x50031, 0x50032, MIGR_GLOBAL));
    EXPECT_EQ("", update(0x50032, 0x60015, MIGR_GLOBAL));
    EXPECT_EQ("", update(0x50028, 0x50031, MIGR_DOMAIN));
    EXPECT_EQ("5.50 ", update(-1, 0x60015, MIGR_DOMAIN));
}

/* The stage of the file's own release is behind it, so a file of 5.50 begins with that of 5.51. */
TEST_F(Run, TheFirstStageIsTheOneBehindTheFilesRelease)
{
    parse("config system wccp\n set passwd secret\nend\n"
          "config wad website\n edit 1\n  set auto-restore on\n next\nend\n");
    migr_main.cfg_version = 0x50032;
    migr_main.img_version = 0x50034;
    parts.clear();
    EXPECT_EQ(0, new_config_update(&migr_main));
    EXPECT_EQ("stage 5.51, stage 5.52, ", parts);
    EXPECT_EQ("config system wccp\n    set password secret\nend\n"
              "config wad website\n    edit 1\n        set auto-restore on\n    next\nend\n",
              written(&migr_main.root));
}

TEST_F(Run, MachineLearningHasAStageOfItsOwn)
{
    EXPECT_EQ("ml ", update(0x50028, 0x60015, MIGR_MACHINE_LEARNING));
    EXPECT_EQ("", update(0x60014, 0x60015, MIGR_MACHINE_LEARNING));
    EXPECT_EQ("5.50 ", update(0x50028, 0x60015, MIGR_GLOBAL));
}

TEST_F(Run, StateIsZeroedForEachRunAndKeptBetweenRounds)
{
    parse("config a\nend\n");
    Recorder         recorder;
    std::vector<int> seen;
    recorder.add(
        "a", 3,
        [&](int32_t, int32_t *) {
            auto *counter = static_cast<int *>(recorder.table().rows[0].state);
            seen.push_back((*counter)++);
        },
        sizeof(int));
    recorder.walk();
    recorder.walk();
    EXPECT_EQ((std::vector<int>{0, 1, 2, 0, 1, 2}), seen);
}

TEST_F(Run, ARunPreparesAllStagesAlsoThoseItSkips)
{
    migr_main.cfg_version = 0x60014;
    migr_main.img_version = 0x60015;
    for (stage_table *const *stage = all_stages; *stage; stage++)
        for (int32_t i = 0; i < (*stage)->row_count; i++)
            (*stage)->rows[i].finished = (*stage)->rows[i].skip_round = 1;
    new_config_update(&migr_main);
    for (stage_table *const *stage = all_stages; *stage; stage++)
        for (int32_t i = 0; i < (*stage)->row_count; i++) {
            const stage_row &row = (*stage)->rows[i];
            EXPECT_EQ(0, row.finished + row.skip_round) << row.name;
            ASSERT_EQ(row.state_size != 0, row.state != nullptr) << row.name;
            for (int32_t at = 0; at < row.state_size; at++)
                ASSERT_EQ(0, static_cast<char *>(row.state)[at]) << row.name;
        }
}

TEST_F(Run, ARowWithoutItsStateBlockIsNotCalled)
{
    parse("config a\nend\n");
    Recorder recorder;
    recorder.add("a", 1, {}, 8);
    recorder.add("a", 1);
    support::fail_allocation(1);
    std::string seen = recorder.walk();
    support::fail_allocation(0);
    EXPECT_EQ("1:1  | a - $ - | - - - -\n", seen);
}
