/* The plan of a file, which runs nothing: its sections, steps, stages and effects on files. */
#include "explain/plan_effects.h"
#include "output/release_text.h"
#include "support/json_value.h"
#include "support/step_sections.h"
#include "unit/cli/command_support.h"
#include "unit/cli/small_image.h"
#include "walk/stages.h"

#include <gtest/gtest.h>

#include <algorithm>

namespace {

using support::JsonValue;
using Strings = std::vector<std::string>;
using support::holds;

constexpr char global_file[] = "sys_global.conf.gz";

class Plan : public support::SmallImageTest {
  protected:
    support::Outcome plan(Strings more = {}) const
    {
        return run("plan", std::move(more));
    }
    JsonValue planned() const
    {
        return JsonValue::parse(plan({"--json"}).out);
    }
};

const stage_row *row_named(const std::string &name)
{
    for (const stage_table *const *stage = all_stages; *stage; stage++)
        for (const stage_row *row = (*stage)->rows; row < (*stage)->rows + (*stage)->row_count; row++)
            if (name == row->name)
                return row;
    return nullptr;
}

Strings callbacks_of(const JsonValue &pass, const std::string &release)
{
    for (const JsonValue &stage : pass["stages"])
        if (stage["release"] == release)
            return stage["callbacks"].texts();
    return {"no such stage"};
}

Strings effects_of(const JsonValue &pass)
{
    Strings all;
    for (const JsonValue &effect : pass["effects"])
        all.push_back(effect["by"].text());
    return all;
}

Strings releases_of(const JsonValue &parts)
{
    Strings all;
    for (const JsonValue &part : parts)
        all.push_back(part["release"].text());
    return all;
}

bool has(const Strings &all, const std::string &one)
{
    return std::find(all.begin(), all.end(), one) != all.end();
}

} // namespace

TEST(PlanEffects, AreThoseOfRealCallbacks)
{
    size_t count = 0;
    for (const command::PossibleEffect *effect = command::file_effects; effect->callback; effect++, count++)
        EXPECT_NE(nullptr, row_named(effect->callback)) << effect->callback;
    EXPECT_EQ(16u, count);
    EXPECT_EQ(nullptr, command::effect_of("_migr_change_sys_global"));
}

TEST_F(Plan, TellsTheSectionsStepsAndStagesOfAFile)
{
    config(global_file, support::headers("5.20") + "config lab desk\nend\nconfig log siem-policy\nend\n");
    JsonValue passes = planned()["passes"];
    ASSERT_EQ(1u, passes.size());
    JsonValue pass = passes[0];
    EXPECT_EQ(global_file, pass["file"]);
    EXPECT_EQ("5.20", pass["from"]);
    EXPECT_EQ(MIGR_IMAGE_RELEASE, pass["to"]);
    EXPECT_EQ(false, pass["splits"]);
    Strings expected;
    for (int32_t step : support::step_releases())
        if (step > MIGR_RELEASE(5, 20))
            expected.push_back(command::release_text(step));
    size_t steps = expected.size();
    EXPECT_LE(6u, steps);
    expected.insert(expected.end(), {"5.50", "6.00"});
    EXPECT_EQ(expected, releases_of(pass["sections"]));
    EXPECT_EQ(true, pass["sections"][0]["step"]);
    EXPECT_EQ(true, pass["sections"][steps - 1]["step"]);
    EXPECT_EQ(false, pass["sections"][steps]["step"]);
    EXPECT_EQ(2u, pass["sections"][steps + 1]["rules"]);
    EXPECT_EQ(2u, pass["sections"][steps + 1]["concerning"]);
    EXPECT_EQ(Strings{"_migr_change_sys_siem_policy"}, callbacks_of(pass, "5.50"));
    EXPECT_EQ(Strings{}, callbacks_of(pass, "5.91"));
}

TEST_F(Plan, CountsOnlyRulesAboutWhatTheFileHas)
{
    config(global_file, support::headers("5.90") + "config lab bench\nend\n");
    JsonValue sections = planned()["passes"][0]["sections"];
    ASSERT_EQ(1u, sections.size());
    EXPECT_EQ(2u, sections[0]["rules"]);
    EXPECT_EQ(0u, sections[0]["concerning"]);
}

TEST_F(Plan, RunsStagesAboveTheFilesReleaseOnly)
{
    config(global_file, support::headers("6.10") + "config system global\nend\n");
    Strings expected;
    for (stage_table *const *stage = all_stages; *stage; stage++)
        if ((*stage)->type == STAGE_ADOM && (*stage)->version > MIGR_RELEASE(6, 10))
            expected.push_back(command::release_text((*stage)->version));
    EXPECT_LE(2u, expected.size());
    EXPECT_EQ("6.11", expected[0]);
    EXPECT_EQ(expected, releases_of(planned()["passes"][0]["stages"]));
}

TEST_F(Plan, TellsOfBothPassesOfAFileFromBefore510)
{
    config(global_file, support::headers("5.00") + "config lab desk\nend\nconfig system certificate local\nend\n");
    JsonValue plan = planned();
    JsonValue passes = plan["passes"];
    ASSERT_EQ(3u, passes.size());
    EXPECT_EQ(true, passes[0]["splits"]);
    EXPECT_EQ("5.10", passes[0]["to"]);
    EXPECT_EQ(Strings{"5.10"}, releases_of(passes[0]["sections"]));
    EXPECT_TRUE(has(callbacks_of(passes[0], "5.80"), "_change_local_certificate"));
    EXPECT_EQ(global_file, passes[1]["file"]);
    EXPECT_EQ("5.10", passes[1]["from"]);
    EXPECT_TRUE(has(callbacks_of(passes[1], "5.80"), "_change_local_certificate"));
    EXPECT_EQ(0u, passes[1]["sections"].back()["concerning"]);
    EXPECT_EQ("sys_domain.root.conf.gz", passes[2]["file"]);
    EXPECT_FALSE(has(callbacks_of(passes[2], "5.80"), "_change_local_certificate"));
    EXPECT_EQ(2u, passes[2]["sections"].back()["concerning"]);
    ASSERT_EQ(1u, plan["afterwards"].size());
    EXPECT_FALSE(holds(plan["afterwards"][0]["effect"].text(), "each other domain"));
}

TEST_F(Plan, TellsWhatHappensToFiles)
{
    config(global_file, support::headers("5.10") + "config system certificate local\nend\nconfig wvs policy\nend\n");
    config("sys_domain.shop.conf.gz", support::headers("5.10") + "config wvs policy\nend\nconfig system dns\nend\n");
    JsonValue plan = planned();
    Strings   of_global = effects_of(plan["passes"][0]);
    Strings   of_shop = effects_of(plan["passes"][1]);
    for (const char *callback : {"_change_local_certificate", "_encrypt_local_certificate_key", "_cleanup_old_wvs",
                                 "_remove_geo_db_dir", "_av_vir_file_copy"})
        EXPECT_TRUE(has(of_global, callback)) << callback;
    EXPECT_TRUE(has(of_shop, "_av_vir_file_copy"));
    EXPECT_FALSE(has(of_shop, "_cleanup_old_wvs")) << "it acts once in a run";
    EXPECT_FALSE(has(of_shop, "_encrypt_local_certificate_key")) << "it has no certificates";
    EXPECT_TRUE(holds(plan["afterwards"][0]["effect"].text(), "each other domain"));
}

TEST_F(Plan, NamesTheOldCertificateFoldersOfFilesFromBefore40)
{
    config(global_file, support::headers("3.30"));
    EXPECT_TRUE(has(effects_of(planned()["passes"][0]), "conversion of certificate folders"));
}

TEST_F(Plan, SaysWhatStaysAsItIs)
{
    config(global_file, support::headers("5.50"));
    config("sys_domain.new.conf.gz", support::headers("6.30"));
    config("sys_domain.bad.conf.gz", support::headers("5.50") + "config lab desk\n    set height\nend\n");
    support::Outcome run = plan();
    EXPECT_EQ(1, run.status);
    EXPECT_TRUE(holds(
        run.out, "sys_domain.new.conf.gz: stays as it is. It is at 6.30, and the image at " MIGR_IMAGE_RELEASE ".\n"))
        << run.out;
    EXPECT_TRUE(holds(run.out, "sys_domain.bad.conf.gz: stays as it is. line 4: is a `set` without a value"));
    EXPECT_TRUE(holds(run.out, "sys_global.conf.gz: from 5.50 to " MIGR_IMAGE_RELEASE "\n")) << run.out;

    config(global_file, support::headers(MIGR_IMAGE_RELEASE));
    EXPECT_TRUE(holds(plan().out, "sys_global.conf.gz: stays as it is. It is at " MIGR_IMAGE_RELEASE " already.\n"));
    run = plan({"--json"});
    EXPECT_EQ(1, run.status);
    EXPECT_TRUE(JsonValue::parse(run.out)["passes"].empty());
}

TEST_F(Plan, SaysWhichImageItGoesBy)
{
    config(global_file, support::headers("5.50"));
    EXPECT_TRUE(holds(plan().out, "and those of the image in " + image().folder() + ". Nothing was run.\n"));
    EXPECT_EQ(image().folder(), planned()["image"]);
}

TEST_F(Plan, ChangesNothing)
{
    config(global_file, support::headers("4.00") + "config system global\nend\n");
    box().write("/data/etc/vir.orig", "engine");
    support::Listing before = box().listing();
    EXPECT_EQ(0, plan().status);
    EXPECT_EQ(0, plan({"--json"}).status);
    EXPECT_EQ(before, box().listing());
}

TEST_F(Plan, ShowsNothingThatATerminalActsOn)
{
    config(global_file, support::headers("5.50"));
    config("sys_domain.\x1b[2J\xff.conf.gz", support::headers("5.50"));
    support::Outcome run = plan();
    EXPECT_TRUE(holds(run.out, "sys_domain.\\x1b[2J\\xff.conf.gz: from 5.50")) << run.out;
    EXPECT_EQ("sys_domain.\\x1b[2J\\xff.conf.gz", planned()["passes"][1]["file"]);
}

TEST_F(Plan, RefusesAFolderThatIsNoAppliance)
{
    EXPECT_EQ(2, plan().status);
    config(global_file, support::headers("5.50"));
    support::Outcome run = support::migr({"plan", box().path().string()});
    EXPECT_EQ(2, run.status);
    EXPECT_TRUE(holds(run.err, "--image")) << run.err;
}
