/* What a single file is taken for, by its name, its content and the operator's word; and how it comes to lie in the
 * throw-away appliance. */
#include "appliance/single_file.h"

#include "output/console.h"
#include "output/release_text.h"
#include "support/appliance_root.h"
#include "unit/cli/command_support.h"
#include "unit/cli/failing_calls.h"

#include <gtest/gtest.h>

using namespace command;
using support::headers;

namespace {

constexpr char syntax[] =
    "GLOBAL TABLE \"system global\"\nDOMAIN TABLE \"waf signature\"\nBOTH TABLE \"system both\"\n";
constexpr char of_global[] = "config system global\nend\n";
constexpr char of_domain[] = "config waf signature\nend\n";

class SingleFiles : public testing::Test {
  protected:
    SingleFiles()
    {
        keep_lines(true);
    }
    ~SingleFiles() override
    {
        keep_lines(false);
    }
    std::string path(const std::string &name) const
    {
        return files.path().string() + "/" + name;
    }

    /* Laid into an empty folder of its own. */
    SingleFile laid(const std::string &name, const std::string &text, const std::string &as = "",
                    const std::string &domain = "")
    {
        files.write("/" + name, text);
        keep_lines(true);
        std::filesystem::remove_all(path("root"));
        std::filesystem::create_directory(path("root"));
        return lay_out_single_file({path(name), as, domain}, Root(path("root")), syntax, interrupts);
    }
    std::string domain_of(const std::string &name, const std::string &text, const std::string &as = "",
                          const std::string &domain = "")
    {
        return laid(name, text, as, domain).domain;
    }
    /* What was said, behind the file's path. */
    std::string said(const std::string &name) const
    {
        std::string ahead = path(name) + ": ";
        if (kept_lines().empty())
            return "";
        EXPECT_TRUE(kept_lines()[0].starts_with(ahead)) << kept_lines()[0];
        return kept_lines()[0].substr(ahead.size());
    }
    Failure failure(const std::string &name, const std::string &text, const std::string &as = "",
                    const std::string &domain = "")
    {
        try {
            laid(name, text, as, domain);
        } catch (const Failure &failure) {
            return failure;
        }
        return {Status::done, "none"};
    }

    support::ApplianceRoot files;
    Interrupts             interrupts;
};

} // namespace

TEST_F(SingleFiles, AreWhatTheirNamesSay)
{
    std::string text = headers("5.50") + of_global;
    EXPECT_EQ(domain_of("sys_domain.shop.conf.gz", text), "shop");
    EXPECT_EQ(domain_of("sys_domain.shop.conf", text), "shop");
    EXPECT_EQ(domain_of("sys_domain.shop.txt", text), "shop.txt");
    EXPECT_EQ(domain_of("sys_domain.shop.gz", text), "shop");
    EXPECT_EQ(domain_of("sys_global.conf.gz", headers("5.50") + of_domain), "");
    EXPECT_EQ(domain_of("sys_global.old", headers("5.50") + of_domain), "");
    EXPECT_TRUE(kept_lines().empty()); /* nothing was assumed */
}

TEST_F(SingleFiles, AreWhatTheyHold)
{
    EXPECT_EQ(domain_of("x", headers("5.50") + of_global), "");
    EXPECT_EQ(said("x"), "taken for a global file, going by what it holds. If that is wrong, say --as domain --domain "
                         "NAME.");
    EXPECT_EQ(domain_of("x", headers("5.50") + of_domain), "root");
    EXPECT_EQ(said("x"), "taken for a domain file of the domain \"root\", going by what it holds. If that is wrong, "
                         "say --as global, or --as domain --domain NAME.");
    EXPECT_EQ(domain_of("x", headers("5.50") + of_domain + of_global), "");
    EXPECT_EQ(domain_of("x", headers("5.50") + of_domain + of_global + of_domain), "root");
    EXPECT_EQ(domain_of("x", headers("5.50") + "config system both\nend\n"), "");
    EXPECT_EQ(domain_of("sys_domain..conf.gz", headers("5.50") + of_domain), "root");
    EXPECT_NE(said("sys_domain..conf.gz"), "");
}

TEST_F(SingleFiles, AreWhatTheOperatorSays)
{
    std::string text = headers("5.50") + of_domain;
    EXPECT_EQ(domain_of("sys_domain.shop.conf.gz", text, "global"), "");
    EXPECT_EQ(domain_of("sys_domain.shop.conf.gz", text, "domain", "other"), "other");
    EXPECT_EQ(domain_of("sys_domain.shop.conf.gz", text, "domain"), "shop");
    EXPECT_EQ(domain_of("x", text, "", "other"), "other");
    EXPECT_TRUE(kept_lines().empty());
    EXPECT_EQ(domain_of("x", headers("5.50") + of_global, "domain"), "root");
    EXPECT_EQ(said("x"), "taken for the domain \"root\". If that is wrong, say --domain NAME.");
}

TEST_F(SingleFiles, FromBeforeTheSplitAreNoDomains)
{
    std::string text = headers("5.09") + of_domain;
    EXPECT_EQ(domain_of("sys_domain.shop.conf.gz", text), "");
    EXPECT_TRUE(laid("x", text).becomes_two());
    EXPECT_FALSE(laid("x", headers("5.10") + of_domain).becomes_two());
    for (const auto &[as, domain] : {std::pair("domain", ""), {"", "shop"}}) {
        Failure refused = failure("x", text, as, domain);
        EXPECT_EQ(refused.status, Status::unusable);
        EXPECT_EQ(refused.what(), path("x") + ": it is of release " + release_text(MIGR_RELEASE(5, 9)) +
                                      ", from before 5.10, when one file held everything, so it is no domain's. Leave "
                                      "--as and --domain out.");
    }
    EXPECT_STREQ(failure("x", text, "global", "shop").what(),
                 "--domain goes with a domain file, not with --as global.");
}

TEST_F(SingleFiles, OfDomainsHaveNamesThatAFileMayHave)
{
    std::string text = headers("5.50") + of_domain;
    EXPECT_EQ(domain_of("x", text, "", std::string(127, 'd')), std::string(127, 'd'));
    EXPECT_EQ(failure("x", text, "", std::string("a\0b", 3)).status, Status::unusable);
    for (const std::string &name : {std::string(128, 'd'), std::string("a/b")}) {
        Failure refused = failure("x", text, "", name);
        EXPECT_EQ(refused.status, Status::unusable);
        EXPECT_TRUE(std::string(refused.what()).starts_with(path("x") + ": \"" + name + "\" ")) << refused.what();
        EXPECT_TRUE(std::string(refused.what())
                        .ends_with("\" cannot be a domain's name. Give one of at most 127 characters and without \"/\" "
                                   "with --domain."))
            << refused.what();
    }
}

/* As it came, or packed; a file that is current lies there, too. */
TEST_F(SingleFiles, LieInAnApplianceOfTheirOwn)
{
    std::string text = headers("5.50") + of_domain, stored = "/root/data/config/sys_domain.shop.conf.gz";
    SingleFile  plain = laid("sys_domain.shop.conf", text);
    EXPECT_EQ(plain.stored, "sys_domain.shop.conf.gz");
    EXPECT_EQ(plain.shown, path("sys_domain.shop.conf"));
    EXPECT_EQ(plain.path, plain.shown);
    EXPECT_EQ(plain.bytes, text);
    EXPECT_TRUE(plain.facts.is_sound());
    EXPECT_EQ(plain.facts.stored_size, text.size());
    EXPECT_EQ(files.read_gzip(stored), text);
    EXPECT_TRUE(files.exists("/root/tmp"));
    EXPECT_FALSE(files.exists("/root/syntax.txt"));
    ConfigFolder folder = folder_with(plain);
    EXPECT_EQ(folder.names, std::vector<std::string>{"sys_domain.shop.conf.gz"});
    EXPECT_EQ(folder.files.at(0).name, "sys_domain.shop.conf.gz");
    EXPECT_EQ(folder.files[0].facts.release, MIGR_RELEASE(5, 50));

    std::string packed = support::gzip(text);
    SingleFile  whole = laid("sys_domain.shop.conf", packed);
    EXPECT_EQ(files.read(stored), packed);
    EXPECT_EQ(whole.facts.stored_size, packed.size());
    laid("x", headers(MIGR_IMAGE_RELEASE) + of_domain);
    EXPECT_TRUE(files.exists("/root/data/config/sys_global.conf.gz"));
    EXPECT_TRUE(kept_lines().empty());
}

TEST_F(SingleFiles, NameTheFolderThatCannotBeMadeForThem)
{
    files.write("/x", headers("5.50") + of_global);
    files.folder("/root");
    support::fail_call("mkdir", ENOSPC);
    try {
        lay_out_single_file({path("x"), "", ""}, Root(path("root")), syntax, interrupts);
        ADD_FAILURE() << "it is laid out";
    } catch (const Failure &failure) {
        EXPECT_EQ(failure.error, ENOSPC);
        EXPECT_TRUE(std::string(failure.what()).starts_with(path("root/data") + ": cannot make it: No space left"))
            << failure.what();
    }
}

TEST_F(SingleFiles, ThatAreDamagedAreNotLaidOut)
{
    std::string packed = support::gzip(headers("5.50") + of_domain);
    Failure     refused = failure("x", packed.substr(0, packed.size() - 3));
    EXPECT_EQ(refused.status, Status::left_alone);
    EXPECT_EQ(refused.what(), path("x") + ": it is a gzip file that breaks off or is damaged. Take a good copy of it.");
}

TEST_F(SingleFiles, LackWhatOtherFilesHold)
{
    std::string certificate = "config system certificate ca\nend\n";
    auto        missing = [&](const char *name, const char *release, const std::string &text) {
        return what_is_missing(laid(name, headers(release) + text));
    };
    const std::string upgrade = " Upgrade the whole appliance with: migr upgrade";
    const std::string blocks = "up to 5.20 a domain's certificate blocks (config system certificate) come from the "
                               "global file, which is not there. They are missing from the result." +
                               upgrade;
    const std::string material = "up to 5.80 certificates and keys lay in files of the appliance, which are not there. "
                                 "The result names them without their content." +
                                 upgrade;
    const char *domain = "sys_domain.shop.conf.gz", *global = "sys_global.conf.gz";
    EXPECT_EQ(missing(domain, "5.19", of_domain), blocks);
    EXPECT_EQ(missing(domain, "5.20", of_domain), "");
    EXPECT_EQ(missing(global, "5.19", of_domain), "");
    EXPECT_EQ(missing(domain, "5.79", certificate), material);
    EXPECT_EQ(missing(global, "5.19", certificate), material);
    EXPECT_EQ(missing(domain, "5.80", certificate), "");
    EXPECT_EQ(missing(domain, "5.50", "config waf certificate\nend\n"), "");
}
