/* A plan as it is shown to people, line by line; what is in it is tested in explain/plan_test.cpp. */
#include "support/json_value.h"
#include "unit/cli/small_image.h"

#include <gtest/gtest.h>

using support::headers;
using support::holds;
using support::Outcome;

namespace {

class ShownPlan : public support::SmallImageTest {};

constexpr char told_from[] = "This was told from the files as they are now, and those of the image in ";

} // namespace

TEST_F(ShownPlan, HasALineForEachPartOfAPass)
{
    config("sys_global.conf.gz", headers("5.90") + "config lab desk\nend\nconfig system certificate local\nend\n");
    Outcome run = this->run("plan");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.err, "");
    EXPECT_TRUE(run.out.starts_with("sys_global.conf.gz: from 5.90 to " MIGR_IMAGE_RELEASE "\n"
                                    "  6.00  update section: 2 rules, 2 of them about what the file has\n"))
        << run.out;
    EXPECT_TRUE(holds(run.out, "  6.00  stage: nothing in the file concerns it\n")) << run.out;
    EXPECT_TRUE(holds(run.out, "\n  signature lists: compared with the image's database\n") ||
                holds(run.out, "  " MIGR_IMAGE_RELEASE "  signature lists: compared with the image's database\n"))
        << run.out;
    EXPECT_TRUE(run.out.ends_with(told_from + image().folder() + ". Nothing was run.\n")) << run.out;
    EXPECT_FALSE(holds(run.out, "where it becomes")) << run.out;
}

TEST_F(ShownPlan, NamesStepsCallbacksAndEffects)
{
    config("sys_global.conf.gz",
           headers("5.10") + "config log siem-policy\nend\nconfig system certificate local\nend\n");
    config("sys_domain.shop.conf.gz", headers("5.10") + "config lab bench\nend\n");
    std::string out = run("plan").out;
    EXPECT_TRUE(holds(out, "  5.20  update section: 0 rules; version step\n")) << out;
    EXPECT_TRUE(holds(out, "  5.50  update section: 0 rules\n")) << out;
    EXPECT_TRUE(holds(out, "  6.00  update section: 2 rules, 0 of them about what the file has\n")) << out;
    EXPECT_TRUE(holds(out, "  5.50  stage: _migr_change_sys_siem_policy\n")) << out;
    EXPECT_TRUE(holds(out, "  5.80  stage: _change_local_certificate")) << out;
    EXPECT_TRUE(holds(out, "\n  files beside the configuration:\n    ")) << out;
    EXPECT_TRUE(holds(out, "When all files are written:\n    ")) << out;
    EXPECT_TRUE(holds(out, " (_change_local_certificate)\n")) << out;
}

TEST_F(ShownPlan, PartsCallbacksByCommas)
{
    config("sys_global.conf.gz", headers("5.60") + "config system certificate local\nend\nconfig system global\nend\n"
                                                   "config log siem-policy\nend\nconfig waf signature\nend\n");
    support::JsonValue pass = support::JsonValue::parse(run("plan", {"--json"}).out)["passes"][0];
    std::string        out = run("plan").out;
    bool               several = false;
    for (const support::JsonValue &stage : pass["stages"]) {
        std::string line = "  " + stage["release"].text() + "  stage: ";
        for (const support::JsonValue &callback : stage["callbacks"])
            line += (line.ends_with(": ") ? "" : ", ") + callback.text();
        if (stage["callbacks"].empty())
            line += "nothing in the file concerns it";
        EXPECT_TRUE(holds(out, line + "\n")) << line;
        several |= stage["callbacks"].size() > 1;
    }
    EXPECT_TRUE(several) << "or nothing was parted";
}

TEST_F(ShownPlan, SaysThatAFileBecomesTwo)
{
    config("sys_global.conf.gz", headers("5.00") + "config lab desk\nend\n");
    EXPECT_TRUE(run("plan").out.starts_with(
        "sys_global.conf.gz: from 5.00 to 5.10, where it becomes a global file and one for the domain \"root\"\n"));
}

TEST_F(ShownPlan, NeedsAnAppliance)
{
    Outcome run = this->run("plan");
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.err, "migr: " + box().path().string() +
                           "/data/config/sys_global.conf.gz is not there. Name the folder that holds data, etc and var "
                           "of the appliance.\n");
}

/* An empty global file stands in for the appliance's own, and nobody is told of that one. */
TEST_F(ShownPlan, OfADomainFileIsOfNoOther)
{
    box().write("/sys_domain.shop.conf", headers("5.50") + "config lab desk\nend\n");
    std::string out = run_on(box().path() / "sys_domain.shop.conf", "plan").out;
    EXPECT_TRUE(out.starts_with("sys_domain.shop.conf.gz: from 5.50 to " MIGR_IMAGE_RELEASE "\n")) << out;
    EXPECT_FALSE(holds(out, "sys_global.conf.gz")) << out;
    box().write("/sys_global.conf", headers("5.50") + "config system global\nend\n");
    out = run_on(box().path() / "sys_global.conf", "plan").out;
    EXPECT_TRUE(out.starts_with("sys_global.conf.gz: from 5.50 to ")) << out;
    out = run_on(box().path() / "sys_global.conf", "plan", {"--as", "domain", "--domain", "desk"}).out;
    EXPECT_TRUE(out.starts_with("sys_domain.desk.conf.gz: from 5.50 to ")) << out;
}

TEST_F(ShownPlan, OfAllThatIsCurrentIsDone)
{
    config("sys_global.conf.gz", headers(MIGR_IMAGE_RELEASE));
    Outcome run = this->run("plan");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.out, "sys_global.conf.gz: stays as it is. It is at " MIGR_IMAGE_RELEASE " already.\n" +
                           (told_from + image().folder()) + ". Nothing was run.\n");
}

TEST_F(ShownPlan, ForAProgramHasTheSameParts)
{
    config("sys_global.conf.gz", headers("5.10") + "config system certificate local\nend\n");
    config("sys_domain.bad.conf.gz", headers("5.50") + "config lab desk\n    set height\nend\n");
    config("sys_domain.new.conf.gz", headers("6.30"));
    Outcome            run = this->run("plan", {"--json"});
    support::JsonValue plan = support::JsonValue::parse(run.out);
    EXPECT_EQ(plan["command"], "plan");
    EXPECT_EQ(plan["status"], 1);
    EXPECT_EQ(plan["image_release"], MIGR_IMAGE_RELEASE);
    ASSERT_EQ(plan["untouched"].size(), 2u);
    EXPECT_EQ(plan["untouched"][0]["file"], "sys_domain.bad.conf.gz");
    EXPECT_EQ(plan["untouched"][0]["release"], "5.50");
    EXPECT_TRUE(holds(plan["untouched"][0]["reason"].text(), "`set` without a value"));
    EXPECT_EQ(plan["untouched"][1]["release"], "6.30");
    EXPECT_EQ(plan["untouched"][1]["reason"], nullptr);
    const support::JsonValue &effect = plan["passes"][0]["effects"][0];
    EXPECT_EQ(effect["release"], "5.80");
    EXPECT_EQ(effect["by"], "_change_local_certificate");
    EXPECT_TRUE(holds(run.out, effect["effect"].text())) << effect;
    EXPECT_FALSE(effect["effect"].text().empty());
}
