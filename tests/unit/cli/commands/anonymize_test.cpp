/* `migr anonymize`: what it says and asks for. What becomes of words and files is tested in tests/unit/cli/anonymize.
 */
#include "support/json_value.h"
#include "unit/cli/command_support.h"
#include "unit/cli/small_image.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <sys/stat.h>

namespace {

using support::holds;
using support::JsonValue;
using Strings = std::vector<std::string>;

constexpr char global_text[] = "config system global\n    set hostname tallowfinch\n    set password quillwort\n"
                               "    set gateway 203.0.113.9\nend\n";

class AnonymizeCommand : public support::SmallImageTest {
  protected:
    AnonymizeCommand()
    {
        config("sys_global.conf.gz", support::headers("5.50") + global_text);
        out_.write("/key", "0123456789abcdef");
    }
    std::string out(const std::string &name = "result") const
    {
        return out_.path().string() + "/" + name;
    }
    support::Outcome anonymize(const std::string &what, Strings more = {}) const
    {
        more.insert(more.end(), {"-o", out()});
        return run_on(what, "anonymize", std::move(more));
    }

    support::ApplianceRoot out_;
};

} // namespace

TEST_F(AnonymizeCommand, SaysWhatItDid)
{
    box().write("/data/config/sys_domain.bad.conf.gz", "\x1f\x8b");
    box().write("/data/etc/vir.orig", "of no use");
    mkfifo((box().path() / "data/etc/pipe").c_str(), 0600);
    support::Outcome done = anonymize(box().path());
    EXPECT_EQ(done.status, 1) << "one of its files is damaged";
    for (const char *line : {"Replaced:\n  1 addresses\n", " names and words\n", "  1 secrets\n", "Kept:\n",
                             " words that every appliance has\n",
                             "There without their content, which no upgrade reads:\n  /data/etc/vir.orig\n",
                             "There as files that cannot be unpacked, as these cannot be:\n"
                             "  /data/config/sys_domain.bad.conf.gz\n",
                             "Left out, as they are neither files nor folders:\n  /data/etc/pipe\n"})
        EXPECT_TRUE(holds(done.out, line)) << line << done.out;
    EXPECT_FALSE(holds(done.out, "addresses of network cards"));
    EXPECT_TRUE(done.out.ends_with("Written to: " + out() + "\n")) << done.out;
    EXPECT_EQ(done.err, "");
    EXPECT_EQ(std::filesystem::status(out()).permissions(), std::filesystem::perms::owner_all);
    EXPECT_FALSE(holds(out_.read_gzip("/result/data/config/sys_global.conf.gz"), "quillwort"));
}

TEST_F(AnonymizeCommand, SaysTheSameToPrograms)
{
    support::Outcome done = anonymize(box().path(), {"--json"});
    EXPECT_EQ(done.status, 0) << done.all();
    JsonValue answer = JsonValue::parse(done.out);
    EXPECT_EQ(answer["command"], "anonymize");
    EXPECT_EQ(answer["output"], out());
    EXPECT_EQ(answer["replaced"]["addresses"], 1);
    EXPECT_EQ(answer["replaced"]["secrets"], 1);
    EXPECT_EQ(answer["replaced"].names(),
              (Strings{"addresses", "certificates", "devices", "keys", "numbers", "secrets", "unreadable", "words"}));
    EXPECT_EQ(answer["kept"].names(), (Strings{"addresses", "numbers", "words"}));
    for (const char *name : {"emptied", "unreadable", "left_out", "differences"})
        EXPECT_EQ(answer[name], JsonValue::array()) << name;
    EXPECT_LT(0, answer["compared_lines"].number());
}

TEST_F(AnonymizeCommand, GivesTheSameWithOneKeyAndAnotherWithout)
{
    Strings texts;
    out_.write("/other", "fedcba9876543210");
    for (const Strings &more :
         {Strings{"--key", out("key")}, Strings{"--key", out("key")}, Strings{}, Strings{"--key", out("other")}}) {
        EXPECT_EQ(anonymize(box().path(), more).status, 0);
        texts.push_back(out_.read_gzip("/result/data/config/sys_global.conf.gz"));
        std::filesystem::remove_all(out());
    }
    EXPECT_EQ(texts[0], texts[1]);
    EXPECT_NE(texts[0], texts[2]);
    EXPECT_NE(texts[0], texts[3]);
}

TEST_F(AnonymizeCommand, TakesASingleFile)
{
    support::Outcome done = anonymize(box().path().string() + "/data/config/sys_global.conf.gz");
    EXPECT_EQ(done.status, 0) << done.all();
    EXPECT_TRUE(holds(out_.read_gzip("/result"), "config system global\n    set hostname "));
    EXPECT_TRUE(holds(done.out, "An upgrade does the same to ")) << done.out;
}

TEST_F(AnonymizeCommand, RefusesWhatCouldDoHarm)
{
    out_.write("/short", "0123456789abcde");
    support::Outcome refused = anonymize(box().path(), {"--key", out("short")});
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.err, "migr: " + out("short") +
                               ": a key of less than 16 bytes could be guessed. Make one with: head -c 32 /dev/urandom "
                               ">KEY\n");
    EXPECT_FALSE(std::filesystem::exists(out()));

    std::string inside = box().path().string() + "/data/other";
    refused = run_on(box().path(), "anonymize", {"-o", inside});
    EXPECT_EQ(refused.status, 2);
    EXPECT_TRUE(holds(refused.err, inside + " lies in " + box().path().string() +
                                       ", which is left as it is. Name another "
                                       "place with -o."))
        << refused.err;
    EXPECT_FALSE(std::filesystem::exists(inside));

    out_.write("/result", "mine");
    refused = anonymize(box().path());
    EXPECT_EQ(refused.status, 2);
    EXPECT_TRUE(holds(refused.err, out() + " is there already. Name one with -o that is not.")) << refused.err;
    EXPECT_EQ(out_.read("/result"), "mine");
}
