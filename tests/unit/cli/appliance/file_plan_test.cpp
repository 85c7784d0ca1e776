/* Which fate a file has, by what it holds. */
#include "appliance/file_plan.h"

#include "driver/run_context.h"
#include "output/release_text.h"

#include <cerrno>
#include <gtest/gtest.h>

using namespace command;

namespace {

ConfigFacts sound(int32_t release)
{
    ConfigFacts facts;
    facts.gzip = facts.version_line = facts.second_line = true;
    facts.release = release;
    return facts;
}

ConfigFacts changed(ConfigFacts facts, void (*how)(ConfigFacts &))
{
    how(facts);
    return facts;
}

std::vector<FilePlan> plans_of(const std::string &name, const ConfigFacts &facts, bool accept_damage = false)
{
    return plan_files({{name}, {{name, facts}}}, accept_damage);
}

Fate fate_of_facts(const ConfigFacts &facts, bool accept_damage = false)
{
    return plans_of("x", facts, accept_damage).at(0).fate;
}

} // namespace

TEST(FilePlans, GoByTheRelease)
{
    EXPECT_EQ(fate_of_facts(sound(image_release() - 1)), Fate::upgrade);
    EXPECT_EQ(fate_of_facts(sound(image_release())), Fate::current);
    EXPECT_EQ(fate_of_facts(sound(image_release() + 1)), Fate::newer);
    EXPECT_EQ(fate_of_facts(sound(-1)), Fate::refuse);
}

/* Its release is read from what can be read, which need not be all. */
TEST(FilePlans, TrustNoReleaseOfAFileThatCannotBeReadWhole)
{
    for (int32_t release : {image_release(), image_release() + 1}) {
        EXPECT_EQ(fate_of_facts(changed(sound(release), [](ConfigFacts &facts) { facts.error = EIO; })), Fate::refuse);
        EXPECT_EQ(fate_of_facts(changed(sound(release), [](ConfigFacts &facts) { facts.gzip = false; })), Fate::refuse);
    }
}

TEST(FilePlans, HaveReasonsOnlyWhereAFileIsRefused)
{
    ConfigFacts damaged = sound(MIGR_RELEASE(5, 50));
    damaged.damage = {{3, DamageKind::no_value, "a text", true, ""}};
    std::vector<FilePlan> plans = plans_of("x", damaged);
    EXPECT_EQ(plans[0].fate, Fate::refuse);
    ASSERT_EQ(plans[0].reasons.size(), 1u);
    EXPECT_EQ(plans[0].reasons[0].text, "line 3: a text");
    EXPECT_EQ(fate_of_facts(damaged, true), Fate::upgrade);
    damaged.release = image_release();
    EXPECT_EQ(fate_of_facts(damaged), Fate::current);
    EXPECT_TRUE(plans_of("x", damaged)[0].reasons.empty());
}

TEST(FilePlans, OfTheGlobalFileSayWhetherItIsSplit)
{
    EXPECT_TRUE(is_split(plans_of(global_name, sound(MIGR_RELEASE(5, 10) - 1))));
    EXPECT_FALSE(is_split(plans_of(global_name, sound(MIGR_RELEASE(5, 10)))));
    EXPECT_FALSE(is_split(plans_of("x", sound(MIGR_RELEASE(4, 0)))));
    ConfigFacts unread = changed(sound(MIGR_RELEASE(4, 0)), [](ConfigFacts &facts) { facts.error = EIO; });
    EXPECT_FALSE(is_split(plans_of(global_name, unread)));
    EXPECT_EQ(global_plan(plans_of("x", sound(MIGR_RELEASE(4, 0)))), nullptr);
    EXPECT_EQ(global_plan({}), nullptr);
    std::vector<FilePlan> plans = plan_files({{}, {{"x", unread}, {global_name, unread}}}, false);
    EXPECT_EQ(global_plan(plans), &plans[1]);
}

TEST(FilePlans, AreLookedThroughForAFate)
{
    std::vector<FilePlan> plans = plan_files({{}, {{"x", sound(image_release())}, {"y", sound(-1)}}}, false);
    EXPECT_TRUE(any_of_fate(plans, Fate::current));
    EXPECT_TRUE(any_of_fate(plans, Fate::refuse));
    EXPECT_FALSE(any_of_fate(plans, Fate::upgrade));
    EXPECT_FALSE(any_of_fate({}, Fate::refuse));
}
