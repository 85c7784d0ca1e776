/* The syntax file line by line, and which block goes to which half. The passes behind a split are the driver's. */
#include "tree/split.h"

#include "driver/run_context.h"
#include "platform/platform.h"
#include "refused_calls.h"
#include "support/appliance_root.h"
#include "support/failing_memory.h"
#include "support/trees.h"
#include "tree/config_text.h"
#include "tree/file_effects.h"
#include "tree/node_store.h"

#include <csignal>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <sys/resource.h>
#include <vector>

using support::ApplianceRoot;
using support::ChildResult;
using support::Listing;

namespace {

constexpr char global_text[] = "/tmp/system_global.conf";
constexpr char domain_text[] = "/tmp/system_domain.root.conf";
constexpr char global_file[] = "/data/config/sys_global.conf.gz";
constexpr char domain_file[] = "/data/config/sys_domain.root.conf.gz";

std::vector<std::string> names_of(const path_node_array &array)
{
    return {array.names, array.names + array.count};
}

using Names = std::vector<std::string>;

/* Loads syntax lines into the two arrays, which stay filled for the test. */
class Syntax : public support::TreeTest {
  protected:
    void SetUp() override
    {
        TreeTest::SetUp();
        init_path_node(&global_node);
        init_path_node(&domain_node);
    }

    void TearDown() override
    {
        support::fail_allocation(0);
        release_path_node(&global_node);
        release_path_node(&domain_node);
        TreeTest::TearDown();
    }

    int32_t load(const std::string &text)
    {
        support::TextFile file(text);
        return load_syntax_to_path_node_array(file.path());
    }
};

struct Texts {
    std::string global;
    std::string domain;

    bool operator==(const Texts &) const = default;
};

void PrintTo(const Texts &texts, std::ostream *out)
{
    *out << "global:\n" << texts.global << "domain:\n" << texts.domain;
}

/* What the split writes for a node. */
Texts split(config_node *node)
{
    char  *texts[2] = {};
    size_t sizes[2] = {};
    FILE  *global_stream = open_memstream(&texts[0], &sizes[0]);
    FILE  *domain_stream = open_memstream(&texts[1], &sizes[1]);
    vdom_write_node(node, global_stream, domain_stream);
    fclose(global_stream);
    fclose(domain_stream);
    Texts both = {{texts[0], sizes[0]}, {texts[1], sizes[1]}};
    free(texts[0]);
    free(texts[1]);
    return both;
}

} // namespace

TEST(StopsAtSplit, OnTheWayFromBefore510To510OrOn)
{
    EXPECT_TRUE(stops_at_split(MIGR_RELEASE(5, 9), MIGR_RELEASE(5, 10)));
    EXPECT_TRUE(stops_at_split(MIGR_RELEASE(3, 30), MIGR_RELEASE_IMAGE));
    EXPECT_FALSE(stops_at_split(MIGR_RELEASE(5, 9), MIGR_RELEASE(5, 9)));
    EXPECT_FALSE(stops_at_split(MIGR_RELEASE(5, 0), MIGR_RELEASE(5, 9)));
    EXPECT_FALSE(stops_at_split(MIGR_RELEASE(5, 10), MIGR_RELEASE_IMAGE));
    EXPECT_FALSE(stops_at_split(MIGR_RELEASE(6, 20), MIGR_RELEASE_IMAGE));
}

TEST_F(Syntax, ReadsScopeTypeAndPath)
{
    ASSERT_EQ(0, load("GLOBAL TABLE system\n"
                      "BOTH COMPLEX \"system settings\"\n"
                      "DOMAIN TABLE \"waf signature\" and more\n"
                      "DOMAIN COMPLEX   \"waf   url-rewrite\turl-rewrite-rule\"  \n"
                      "  \tGLOBAL\tTABLE\t\"log  disk\""));
    EXPECT_EQ((Names{"system", "system,settings", "log,disk"}), names_of(global_node));
    EXPECT_EQ((Names{"waf,signature", "waf,url-rewrite,url-rewrite-rule"}), names_of(domain_node));
}

TEST_F(Syntax, TakesKeywordsInAnyCaseAndPathsAsTheyStand)
{
    ASSERT_EQ(0, load("global table \"System Settings\"\nBoth Complex Log\ndoMain tABLE waf\n"));
    EXPECT_EQ((Names{"System,Settings", "Log"}), names_of(global_node));
    EXPECT_EQ(Names{"waf"}, names_of(domain_node));
    EXPECT_EQ(1, is_path_node("System,Settings", &global_node));
    EXPECT_EQ(0, is_path_node("system,settings", &global_node));
}

TEST_F(Syntax, DropsLinesThatAreNone)
{
    ASSERT_EQ(0, load("#GLOBAL TABLE comment\n"
                      "# GLOBAL TABLE comment\n"
                      " #GLOBAL TABLE blank\n"
                      " # GLOBAL TABLE blank\n"
                      "\n"
                      "   \t \n"
                      "GLOBAL\n"
                      "GLOBAL TABLE\n"
                      "GLOBAL TABLE   \n"
                      "GLOBALS TABLE near\n"
                      "GLOBA TABLE near\n"
                      "\"GLOBAL\" TABLE near\n"
                      "GLOBAL TABLES near\n"
                      "GLOBAL \"TABLE\" near\n"
                      "GLOBAL LIST near\n"
                      "TABLE GLOBAL turned\n"
                      "VDOM TABLE other\n"));
    EXPECT_EQ(0, global_node.count);
    EXPECT_EQ(0, domain_node.count);
}

/* The quoted phrase becomes comma form before it loses its quotes, and only a pair of them goes. */
TEST_F(Syntax, StripsAPairOfQuotes)
{
    ASSERT_EQ(0, load("GLOBAL TABLE \"open\n"
                      "GLOBAL TABLE closed\"\n"
                      "GLOBAL TABLE \"\"\n"
                      "GLOBAL TABLE \" inner \"\n"
                      "GLOBAL TABLE \"a b\"c\n"
                      "GLOBAL TABLE a,b\n"
                      "GLOBAL TABLE \"\n"));
    EXPECT_EQ((Names{"\"open", "closed\"", "", ",inner,", "\"a,b\"c", "a,b", "\""}), names_of(global_node));
}

TEST_F(Syntax, CutsLongWords)
{
    std::string path(126, 'p');
    ASSERT_EQ(0, load("GLOBAL TABLE " + path + "qr\n" + "GLOBAL TABLE \"" + path + "\"\n" + std::string(127, 'G') +
                      "GLOBAL TABLE nothing\n"));
    EXPECT_EQ((Names{path + "q", "\"" + path}), names_of(global_node));
}

TEST_F(Syntax, TakesTheRestOfALongLineForAnother)
{
    std::string filler(MIGR_LINE_SIZE - 1 - strlen("GLOBAL TABLE one "), 'x');
    ASSERT_EQ(0, load("GLOBAL TABLE one " + filler + "DOMAIN TABLE two\n"));
    EXPECT_EQ(Names{"one"}, names_of(global_node));
    EXPECT_EQ(Names{"two"}, names_of(domain_node));
}

TEST_F(Syntax, ReadsThroughTheRunsLineBuffer)
{
    ASSERT_EQ(0, load("GLOBAL TABLE one\nlast line"));
    EXPECT_STREQ("last line", migr_main.line_buf);
}

TEST_F(Syntax, OutlivesAnyText)
{
    std::string bytes;
    for (int i = 0; i < 200000; i++)
        bytes += static_cast<char>(i * 7919 >> 3);
    EXPECT_EQ(0, load(bytes));
    EXPECT_EQ(0, load(std::string("GLOBAL TABLE a\0b\nDOMAIN\0TABLE c\n", 32)));
    EXPECT_EQ("a", names_of(global_node).back());
    EXPECT_EQ(0, load(std::string(300000, '"')));
    EXPECT_EQ(0, load(std::string(300000, '\0')));
    EXPECT_EQ(0, load("GLOBAL TABLE %s%n%d\n"));
    EXPECT_EQ("%s%n%d", names_of(global_node).back());
}

TEST_F(Syntax, KeepsTheFirst1024PathsOfAScope)
{
    std::string text;
    for (int i = 0; i < 1025; i++)
        text += "GLOBAL TABLE g" + std::to_string(i) + "\nBOTH TABLE b\nDOMAIN TABLE d" + std::to_string(i) + "\n";
    ASSERT_EQ(0, load(text));
    EXPECT_EQ(1024, global_node.count);
    EXPECT_EQ(1024, domain_node.count);
    EXPECT_EQ(1, is_path_node("g511", &global_node));
    EXPECT_EQ(0, is_path_node("g512", &global_node));
    EXPECT_EQ(1, is_path_node("d1023", &domain_node));
    EXPECT_EQ(0, is_path_node("d1024", &domain_node));
}

TEST_F(Syntax, LosesTheConfigOfA1025thPath)
{
    std::string text;
    for (int i = 0; i < 1025; i++)
        text += "GLOBAL TABLE g" + std::to_string(i) + "\n";
    ASSERT_EQ(0, load(text));
    ASSERT_EQ(0, support::parse("config g1023\nend\nconfig g1024\nend\n"));
    EXPECT_EQ((Texts{"config g1023\nend\n", ""}), split(&migr_main.root));
}

TEST_F(Syntax, SaysWhenTheFileCannotBeOpened)
{
    testing::internal::CaptureStdout();
    EXPECT_EQ(-1, load_syntax_to_path_node_array("/nowhere/syntax_v510.txt"));
    EXPECT_EQ("ERROR: open syntax file err.\n", testing::internal::GetCapturedStdout());
    EXPECT_EQ(0, global_node.count);
}

TEST_F(Syntax, FailsWithoutMemoryAndKeepsWhatItHas)
{
    support::TextFile file("GLOBAL TABLE one\nDOMAIN TABLE two\nGLOBAL TABLE three\n");
    for (size_t failing = 2; failing <= 4; failing++) { /* the first is the text's own */
        init_path_node(&global_node);
        init_path_node(&domain_node);
        support::fail_allocation(failing);
        EXPECT_EQ(-1, load_syntax_to_path_node_array(file.path()));
        support::fail_allocation(0);
        EXPECT_EQ(failing > 2 ? 1 : 0, global_node.count);
        EXPECT_EQ(failing > 3 ? 1 : 0, domain_node.count);
        release_path_node(&global_node);
        release_path_node(&domain_node);
    }
}

TEST_F(Syntax, ReleasesAnArrayTwice)
{
    ASSERT_EQ(0, load("GLOBAL TABLE one\n"));
    release_path_node(&global_node);
    EXPECT_EQ(0, global_node.count);
    EXPECT_EQ(0, is_path_node("one", &global_node));
    release_path_node(&global_node);
}

TEST_F(Syntax, FindsExactNamesOnly)
{
    ASSERT_EQ(0, load("GLOBAL TABLE \"system settings\"\n"));
    EXPECT_EQ(1, is_path_node("system,settings", &global_node));
    for (const char *near : {"system", "system,setting", "system,settings2", "system settings", "System,settings", ""})
        EXPECT_EQ(0, is_path_node(near, &global_node)) << near;
    EXPECT_EQ(0, is_path_node("system,settings", &domain_node));
}

TEST_F(Syntax, GivesEachConfigToItsStream)
{
    ASSERT_EQ(0, load("GLOBAL TABLE \"system global\"\nBOTH TABLE \"system settings\"\nDOMAIN TABLE \"waf policy\"\n"
                      "DOMAIN TABLE log\nGLOBAL TABLE log\nDOMAIN TABLE \"system settings\"\n"));
    ASSERT_EQ(0, support::parse("config waf policy\nedit one\nset a 1\nnext\nset b 2\nend\n"
                                "config system settings\nset opmode offline\nend\n"
                                "config unknown\nset a 1\nend\n"
                                "config log\nend\n"
                                "config system\nend\n"
                                "config system global\nconfig inner\nset c 3\nend\nend\n"
                                "config waf policy\nset again 1\nend\n"));
    EXPECT_EQ((Texts{"config system settings\n    set opmode offline\nend\n"
                     "config log\nend\n"
                     "config system global\n    config inner\n        set c 3\n    end\nend\n",
                     "config waf policy\n    set b 2\n    edit one\n        set a 1\n    next\nend\n"
                     "config waf policy\n    set again 1\nend\n"}),
              split(&migr_main.root));
}

TEST_F(Syntax, AsksMarksBelowTheTopOnly)
{
    ASSERT_EQ(0, load("GLOBAL TABLE a\nDOMAIN TABLE b\n"));
    ASSERT_EQ(0, support::parse("config a\nset kept 1\nset gone 2\nconfig gone\nset c 3\nend\nend\n"
                                "config b\nedit gone\nnext\nedit hidden\nnext\nend\n"));
    config_node *a = support::named(migr_main.root.top_list, "a");
    config_node *b = support::named(migr_main.root.top_list, "b");
    a->deleted = 1;
    a->set_list->next->deleted = 1;
    a->config_list->deleted = 1;
    b->hidden = 1;
    b->edit_list->deleted = 1;
    b->edit_list->next->hidden = 1;
    EXPECT_EQ((Texts{"config a\n    set kept 1\nend\n", "config b\nend\n"}), split(&migr_main.root));
}

TEST_F(Syntax, ChangesCommasInTheTree)
{
    ASSERT_EQ(0, load("GLOBAL TABLE \"a b c\"\n"));
    ASSERT_EQ(0, support::parse("config a b c\nend\nconfig d e\nend\n"));
    EXPECT_EQ((Texts{"config a b c\nend\n", ""}), split(&migr_main.root));
    EXPECT_EQ("top a b c\ntop d,e\n", support::dump(migr_main.root));
    EXPECT_EQ((Texts{"", ""}), split(&migr_main.root));
}

TEST_F(Syntax, WritesTreesOnly)
{
    ASSERT_EQ(0, load("GLOBAL TABLE a\n"));
    ASSERT_EQ(0, support::parse("config a\nset b 1\nend\n"));
    EXPECT_EQ((Texts{"", ""}), split(nullptr));
    EXPECT_EQ((Texts{"", ""}), split(migr_main.root.top_list));
    EXPECT_EQ((Texts{"config a\n    set b 1\nend\n", ""}), split(&migr_main.root));
}

TEST_F(Syntax, WritesTextsAsTheyStand)
{
    ASSERT_EQ(0, load("DOMAIN TABLE %s%n\n"));
    ASSERT_EQ(0, support::parse("config %s%n\nset \"a b\" \"%d\nline\"\nend\n"));
    EXPECT_EQ((Texts{"", "config %s%n\n    set \"a b\" \"%d\nline\"\nend\n"}), split(&migr_main.root));
}

namespace {

/* The split of a tree in a root folder of its own, with stored files that must survive a failure. */
class SplitFiles : public testing::Test {
  protected:
    ApplianceRoot root;
    Listing       before;

    void SetUp() override
    {
        root.write(global_file, "the old global file");
        root.write("/data/config/sys_domain.shop.conf.gz", "another domain");
        root.write("/etc/syntax_v510.txt", "GLOBAL TABLE \"system global\"\nDOMAIN TABLE \"waf policy\"\n");
    }

    /* Runs `work` on a small tree, and gives what it printed and logged. */
    ChildResult run(const std::function<void()> &work)
    {
        before = root.listing();
        ChildResult child = support::run_in_root(root.path(), [&] {
            EXPECT_EQ(0, support::parse("config system global\nset hostname box\nend\n"
                                        "config waf policy\nedit policy_of_the_shop\nnext\nend\n"
                                        "config forgotten\nend\n"));
            strcpy(migr_main.first_line, "#config-version=QA-A1X-5.10-CV-build0727-191023:\n");
            strcpy(migr_main.second_line, "#conf_file_ver=7%s\n");
            work();
            EXPECT_EQ(0, global_node.count);
            EXPECT_EQ(0, domain_node.count);
            release_pass_nodes();
            return 0;
        });
        EXPECT_EQ(0, child.exit_code) << child.out << child.err;
        return child;
    }

    /* The paths that are new, gone or other than before. */
    Names changed() const
    {
        Names   paths;
        Listing after = root.listing();
        for (const auto &[path, entry] : before)
            if (!after.count(path) || after.at(path) != entry)
                paths.push_back(path);
        for (const auto &[path, entry] : after)
            if (!before.count(path))
                paths.push_back(path);
        return paths;
    }

    const std::string headers = "#config-version=QA-A1X-5.10-CV-build0727-191023:\n#conf_file_ver=7%s\n";
    const std::string global_content = headers + "config system global\n    set hostname box\nend\n";
    const std::string domain_content = headers + "config waf policy\n    edit policy_of_the_shop\n    next\nend\n";
    const std::string compress_failed = "[update_signature]: [cvgzip] compress failed\n";
};

} // namespace

TEST_F(SplitFiles, AreBothStored)
{
    ChildResult child = run([] { EXPECT_EQ(0, update_to_vdom()); });
    EXPECT_EQ((Names{"data/config/sys_global.conf.gz", "data/config/sys_domain.root.conf.gz"}), changed());
    EXPECT_EQ(global_content, root.read_gzip(global_file));
    EXPECT_EQ(domain_content, root.read_gzip(domain_file));
    EXPECT_EQ("", child.out + child.err);
}

TEST_F(SplitFiles, ReplaceAnOlderRootDomainAndOlderTexts)
{
    root.write(domain_file, "the old domain file");
    root.write("/secret", "not for the split");
    root.link(global_text, "/secret");
    root.write(domain_text, "an old text", 0644);
    run([] { EXPECT_EQ(0, update_to_vdom()); });
    EXPECT_EQ("not for the split", root.read("/secret"));
    EXPECT_FALSE(root.exists(global_text));
    EXPECT_FALSE(root.exists(domain_text));
    EXPECT_EQ(domain_content, root.read_gzip(domain_file));
}

TEST_F(SplitFiles, HoldOnlyTheHeadersWithoutAPath)
{
    root.write("/etc/syntax_v510.txt", "");
    run([] { EXPECT_EQ(0, update_to_vdom()); });
    EXPECT_EQ(headers, root.read_gzip(global_file));
    EXPECT_EQ(headers, root.read_gzip(domain_file));
}

TEST_F(SplitFiles, NeedTheSyntaxFile)
{
    std::filesystem::remove(root.path() / "etc/syntax_v510.txt");
    ChildResult child = run([] { EXPECT_EQ(-1, update_to_vdom()); });
    EXPECT_EQ(Names{}, changed());
    EXPECT_EQ("ERROR: open syntax file err.\n", child.out);
    EXPECT_EQ("", child.err);
}

TEST_F(SplitFiles, StayOldWhenTheGlobalTextCannotBeOpened)
{
    root.folder(global_text);
    root.write(domain_text, "an old text");
    ChildResult child = run([] { EXPECT_EQ(-1, update_to_vdom()); });
    EXPECT_EQ(Names{"tmp/system_domain.root.conf"}, changed()) << "unlinked, and not made anew";
    EXPECT_FALSE(root.exists(domain_text));
    EXPECT_EQ("", child.out + child.err);
}

TEST_F(SplitFiles, LeaveAnEmptyTextWhenTheDomainTextCannotBeOpened)
{
    root.folder(domain_text);
    ChildResult child = run([] { EXPECT_EQ(-1, update_to_vdom()); });
    EXPECT_EQ(Names{"tmp/system_global.conf"}, changed());
    EXPECT_EQ("", root.read(global_text));
    EXPECT_EQ("", child.out + child.err);
}

TEST_F(SplitFiles, StayOldWithoutMemoryForAStream)
{
    for (int failing : {1, 2}) {
        run([failing] {
            refused::stream = failing;
            EXPECT_EQ(-1, update_to_vdom());
        });
        EXPECT_EQ("the old global file", root.read(global_file));
        EXPECT_FALSE(root.exists(domain_file));
    }
}

TEST_F(SplitFiles, StayOldWhenTheGlobalTextCannotBeCompressed)
{
    ChildResult child = run([] {
        refused::compression_to = global_file;
        EXPECT_EQ(-1, update_to_vdom());
    });
    EXPECT_EQ(Names{"tmp/system_domain.root.conf"}, changed());
    EXPECT_EQ(domain_content, root.read(domain_text));
    EXPECT_EQ("", child.out);
    EXPECT_EQ(compress_failed, child.err);
}

TEST_F(SplitFiles, AreHalfStoredWhenTheDomainTextCannotBeCompressed)
{
    ChildResult child = run([] {
        refused::compression_to = domain_file;
        EXPECT_EQ(-1, update_to_vdom());
    });
    EXPECT_EQ((Names{"data/config/sys_global.conf.gz", "tmp/system_global.conf"}), changed());
    EXPECT_EQ(root.read(global_text), root.read_gzip(global_file));
    EXPECT_EQ("", child.out);
    EXPECT_EQ(compress_failed, child.err);
}

/* A full disk must not store half a configuration. */
TEST_F(SplitFiles, StayOldWhenATextIsNotWrittenWhole)
{
    for (rlim_t room : {0, 60, 100, 120}) {
        ChildResult child = run([room] {
            signal(SIGXFSZ, SIG_IGN);
            rlimit limit = {room, RLIM_INFINITY};
            setrlimit(RLIMIT_FSIZE, &limit);
            EXPECT_EQ(-1, update_to_vdom());
            limit.rlim_cur = RLIM_INFINITY;
            setrlimit(RLIMIT_FSIZE, &limit);
        });
        EXPECT_EQ(Names{}, changed()) << room;
        EXPECT_EQ("", child.out + child.err);
    }
}

TEST_F(SplitFiles, StayOldWhenMemoryRunsOutOnTheWay)
{
    ChildResult child = run([] {
        refused::compression_to = global_file; /* so that the compression's own allocations do not count */
        support::fail_allocation(0);
        EXPECT_EQ(-1, update_to_vdom());
        printf("%zu", support::allocations());
    });
    std::filesystem::remove(root.path() / "tmp/system_domain.root.conf");
    size_t calls = std::stoul(child.out);
    EXPECT_GE(calls, 5u);
    for (size_t failing = 1; failing <= calls; failing++) {
        run([failing] {
            support::fail_allocation(failing);
            EXPECT_EQ(-1, update_to_vdom());
            support::fail_allocation(0);
        });
        EXPECT_EQ(Names{}, changed()) << failing;
    }
}
