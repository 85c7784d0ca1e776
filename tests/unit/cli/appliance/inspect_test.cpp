/* Why files cannot be upgraded, as their owner is told, and as all are told who have the same. What damage there is in
 * a text is tried elsewhere. */
#include "appliance/inspect.h"

#include "driver/run_context.h"
#include "support/appliance_root.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <gtest/gtest.h>

using namespace command;

namespace {

constexpr char headers[] = "#config-version=QA-A1X-5.50-FW-build100-200101:opmode=0:vdom=1:user=admin\n"
                           "#conf_file_ver=1\n";

TEST(ReasonsAgainst, HaveTheSameCauseInEveryFile)
{
    ConfigFacts facts = inspect_text(std::string(headers) + "config waf signature\nedit \"a\"\nset x\nnext\nend\n" +
                                         "config waf url-access\nedit \"b\"\nset y\nnext\nend\n",
                                     Depth::whole);
    facts.gzip = true;
    std::vector<FileFinding> reasons = reasons_against(facts, false);
    ASSERT_EQ(reasons.size(), 2U);
    EXPECT_EQ(reasons[0].text, "line 5: is a `set` without a value, with which no upgrade starts.");
    EXPECT_EQ(reasons[0].cause, "`set` without a value in waf signature");
    EXPECT_EQ(reasons[1].text, "line 10: is a `set` without a value, with which no upgrade starts.");
    EXPECT_EQ(reasons[1].cause, "`set` without a value in waf url-access");
}

TEST(ReasonsAgainst, LeaveOutOfTheCauseWhatOneFileNames)
{
    ConfigFacts facts;
    facts.gzip = true;
    facts.version_line = true;
    facts.no_release = "5.65536";
    EXPECT_NE(reasons_against(facts, false).front().text.find("5.65536"), std::string::npos);
    EXPECT_EQ(reasons_against(facts, false).front().cause, "Its version line names no release.");
}

TEST(ReasonsAgainst, TellALineWithoutAReleaseFromNone)
{
    auto cause = [](const std::string &first_line) {
        ConfigFacts facts = inspect_text(first_line + "\n#conf_file_ver=1\nconfig a\nend\n", Depth::whole);
        facts.gzip = true;
        return reasons_against(facts, false).front().cause;
    };
    EXPECT_EQ(cause("#config-version=QA-A1X-unknown-CV-build100-200101:x"), "Its version line names no release.");
    EXPECT_EQ(cause("config system global"), "It has no version line.");
}

TEST(ReasonsAgainst, HaveNoConfigAheadOfTheFirst)
{
    ConfigFacts facts = inspect_text(std::string(headers) + "set x 1\nconfig a\nend\n", Depth::whole);
    facts.gzip = true;
    ASSERT_FALSE(facts.damage.empty());
    EXPECT_EQ(damage_findings(facts).front().cause, "a `set` or `edit` where none can be");
}

TEST(FaultOf, AFileSaysWhatAndWhatToDo)
{
    ConfigFacts sound;
    sound.gzip = sound.version_line = sound.second_line = true;
    sound.release = 1;
    EXPECT_EQ(fault_of(sound), FileFinding(""));

    auto with = [&](void (*how)(ConfigFacts &)) {
        ConfigFacts facts = sound;
        how(facts);
        return fault_of(facts);
    };
    FileFinding no_file = {"It is no file. Move it out of the folder.", "It is no file."};
    EXPECT_EQ(with([](ConfigFacts &facts) { facts.error = EISDIR; }), no_file);
    EXPECT_EQ(with([](ConfigFacts &facts) { facts.error = EINVAL; }), no_file);
    EXPECT_EQ(with([](ConfigFacts &facts) { facts.error = EIO; }),
              FileFinding("It cannot be read: Input/output error. Look after the disk before anything else.",
                          "It cannot be read: Input/output error."));
    EXPECT_EQ(with([](ConfigFacts &facts) {
                  facts.gzip = false;
                  facts.no_gzip = "is empty";
              }),
              FileFinding("It is empty. Put a good copy in its place, or move it out of the folder.", "It is empty."));
    EXPECT_EQ(with([](ConfigFacts &facts) { facts.release = -1; }),
              FileFinding("It has no version line (\"#config-version=\") that can be read. Mend its first line.",
                          "Its version line names no release."));
    EXPECT_EQ(with([](ConfigFacts &facts) {
                  facts.release = -1;
                  facts.no_release = "x";
              }),
              FileFinding("Its version line names \"x\", which is no release. Mend its first line.",
                          "Its version line names no release."));
    EXPECT_EQ(with([](ConfigFacts &facts) { facts.second_line = false; }),
              FileFinding("It has no second header line (\"#conf_file_ver=\") that can be read. Put it behind the "
                          "first line. A machine-learning configuration has none; it is upgraded with migr ml.",
                          "It has no second header line that can be read."));
    EXPECT_EQ(with([](ConfigFacts &facts) { facts.too_large = "too large"; }),
              FileFinding("too large", "It would be too large when written."));
}

TEST(DamageFindings, SayHowMuchMoreThereIs)
{
    ConfigFacts facts;
    facts.damage = {{3, DamageKind::no_value, "a text", true, "waf signature"}};
    facts.more_damage = 7;
    std::vector<FileFinding> expected = {{"line 3: a text", "`set` without a value in waf signature"},
                                         {"and 7 more like these.", "more damage than is listed"}};
    EXPECT_EQ(damage_findings(facts), expected);
}

TEST(ReasonsAgainst, AreNoneOfDamageThatIsAccepted)
{
    ConfigFacts facts;
    facts.gzip = facts.second_line = true;
    facts.release = 1;
    facts.damage = {{3, DamageKind::no_value, "a text", true, ""}};
    EXPECT_EQ(reasons_against(facts, false).size(), 1u);
    EXPECT_TRUE(reasons_against(facts, true).empty());
    facts.can_accept_damage = false;
    EXPECT_EQ(reasons_against(facts, true).size(), 1u);
    facts.can_accept_damage = true;
    facts.gzip = false; /* which nobody can accept */
    EXPECT_EQ(reasons_against(facts, true).size(), 1u);
}

TEST(InspectText, TellsModelAndRelease)
{
    struct Named {
        const char *line, *model, *no_release;
        int32_t     release;
    };
    const Named lines[] = {
        {"#config-version=QA-A1X-5.50-CV-build0601-170328:x", "QA-A1X", "", MIGR_RELEASE(5, 50)},
        {"#config-version=QA-A1X-4.0-CV-build0601-170328:x", "QA-A1X", "", MIGR_RELEASE(4, 0)},
        {"#config-version=QA-A1X-5.65536-CV-build0601-170328:x", "", "5.65536", -1},
        {"#config-version=QA-A1X-5.6553600000000000000001-CV-build1-170328:x", "", "5.655360000000000000", -1},
        {"config system global", "", "", -1},
        {"", "", "", -1},
    };
    for (const Named &line : lines) {
        ConfigFacts facts = inspect_text(std::string(line.line) + "\n#conf_file_ver=1\n", Depth::headers);
        EXPECT_EQ(facts.release, line.release) << line.line;
        EXPECT_EQ(facts.no_release, line.no_release) << line.line;
        if (line.release >= 0) {
            EXPECT_EQ(facts.model, line.model) << line.line;
        }
    }
}

TEST(InspectText, KeepsBothHeaderLines)
{
    ConfigFacts facts = inspect_text(std::string(headers) + "config a\n", Depth::headers);
    EXPECT_EQ(facts.header_lines, headers);
    EXPECT_EQ(facts.model, "QA-A1X");
    EXPECT_EQ(facts.text_size, sizeof headers - 1 + 9);
    EXPECT_EQ(facts.stored_size, facts.text_size);
    EXPECT_TRUE(facts.version_line);
    EXPECT_TRUE(facts.second_line);
    EXPECT_TRUE(facts.damage.empty()); /* nobody has looked for it */
    std::string first = std::string(headers).substr(0, std::string(headers).find('\n') + 1);
    facts = inspect_text(first + "config a\nend\n", Depth::headers);
    EXPECT_FALSE(facts.second_line);
    EXPECT_EQ(facts.header_lines, "");
    EXPECT_FALSE(facts.is_sound());
}

class InspectedFiles : public testing::Test {
  protected:
    ConfigFacts facts_of(const std::string &bytes) const
    {
        box.write("/x", bytes);
        return inspect_file(box.path().string() + "/x", Depth::headers);
    }

    support::ApplianceRoot box;
};

TEST_F(InspectedFiles, ArePackedOrNot)
{
    ConfigFacts packed = facts_of(support::gzip(headers));
    EXPECT_TRUE(packed.gzip);
    EXPECT_EQ(packed.no_gzip, "");
    EXPECT_EQ(packed.stored_size, support::gzip(headers).size());
    EXPECT_EQ(packed.text_size, sizeof headers - 1);
    EXPECT_TRUE(packed.is_sound());
    ConfigFacts plain = facts_of(headers);
    EXPECT_FALSE(plain.gzip);
    EXPECT_EQ(plain.no_gzip, "is no gzip file");
    EXPECT_EQ(plain.release, MIGR_RELEASE(5, 50));
    EXPECT_FALSE(plain.is_sound());
    ConfigFacts cut = facts_of(support::gzip(headers).substr(0, 30));
    EXPECT_FALSE(cut.gzip);
    EXPECT_EQ(cut.no_gzip, "is a gzip file that breaks off or is damaged");
    EXPECT_EQ(cut.text_size, 0u);
    EXPECT_EQ(inspect_file(box.path().string() + "/none", Depth::headers).error, ENOENT);
}

TEST_F(InspectedFiles, AreThoseOfTheirFolderThatTheLibraryTakes)
{
    std::string most(255 - 13, 'n'); /* with the folder ahead, as long as the library takes */
    for (const std::string &name :
         {std::string("sys_domain.b.conf.gz"), std::string("sys_global.conf.gz"), std::string("a.conf.gz.old"),
          std::string(".hidden.conf.gz"), std::string("notes"), most.substr(0, most.size() - 7) + "conf.gz",
          most.substr(0, most.size() - 6) + "conf.gz"})
        box.write("/data/config/" + name, support::gzip(headers));
    support::expect_in_root(box, [&] {
        StoredTexts  texts;
        ConfigFolder folder = inspect_folder_here(Depth::headers, &texts);
        EXPECT_EQ(folder.names.size(), 7u);
        EXPECT_TRUE(std::is_sorted(folder.names.begin(), folder.names.end()));
        ASSERT_EQ(folder.files.size(), 5u);
        EXPECT_EQ(folder.files[0].name, "sys_global.conf.gz");
        EXPECT_EQ(folder.files[1].name, "a.conf.gz.old");
        EXPECT_EQ(folder.files[2].facts.error, 0);
        EXPECT_EQ(folder.files[3].facts.error, ENAMETOOLONG);
        EXPECT_EQ(folder.files[4].name, "sys_domain.b.conf.gz");
        EXPECT_EQ(texts.at("sys_domain.b.conf.gz"), headers);
        EXPECT_EQ(folder.global(), &folder.files[0]);
        EXPECT_EQ(folder.find("notes"), nullptr);
        std::filesystem::remove_all("/data/config");
        try {
            inspect_folder_here(Depth::headers, nullptr);
            ADD_FAILURE();
        } catch (const PathError &error) {
            EXPECT_EQ(error.doing, "read");
            EXPECT_EQ(error.path, "/data/config");
            EXPECT_EQ(error.error, ENOENT);
        }
    });
}

} // namespace
