#include "refused_calls.h"
#include "support/appliance_root.h"
#include "support/trees.h"
#include "tree/config_text.h"
#include "tree/node_store.h"
#include "tree/operations.h"

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <sys/resource.h>
#include <sys/stat.h>

using namespace support;

extern "C" void __wrap_message(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    vfprintf(stderr, format, arguments);
    va_end(arguments);
    if (access("/tmp/system2.conf", F_OK) == 0)
        fputs("while the text is there\n", stderr);
}

namespace {

class Write : public TreeTest {
  protected:
    config_node *root()
    {
        return &migr_main.root;
    }

    std::string written_back(const std::string &text)
    {
        EXPECT_EQ(parse(text), 0);
        return written(root());
    }
};

TEST_F(Write, SetsComeFirstThenEditsThenNestedConfigs)
{
    EXPECT_EQ(written_back("config a b\n"
                           "config c1\nset x 1\nend\n"
                           "edit 1\n"
                           "config in\nedit k\nnext\nend\n"
                           "set s2 v\n"
                           "config in2\nend\n"
                           "set s1 v\n"
                           "next\n"
                           "set z 1\n"
                           "config c0\nconfig deep\nset d 1\nend\nend\n"
                           "edit 0\nnext\n"
                           "set y 2\n"
                           "end\n"
                           "config e\nend\n"),
              "config a b\n"
              "    set z 1\n"
              "    set y 2\n"
              "    edit 1\n"
              "        set s2 v\n"
              "        set s1 v\n"
              "        config in\n"
              "            edit k\n"
              "            next\n"
              "        end\n"
              "        config in2\n"
              "        end\n"
              "    next\n"
              "    edit 0\n"
              "    next\n"
              "    config c1\n"
              "        set x 1\n"
              "    end\n"
              "    config c0\n"
              "        config deep\n"
              "            set d 1\n"
              "        end\n"
              "    end\n"
              "end\n"
              "config e\n"
              "end\n");
}

TEST_F(Write, WhatIsWrittenReadsBackAsTheSameTree)
{
    std::string text =
        written_back("config waf \"x y\"\nedit \"a b\"\nset k \"one\n  two\\\"\n\" \t\nnext\nset v a  b\nend\n");
    std::string first_tree = dump(*root()->top_list);
    EXPECT_EQ(written_back(text), text);
    EXPECT_EQ(dump(*root()->top_list), first_tree);
}

TEST_F(Write, CommasOfTopLevelNamesBecomeBlanksInTheTreeToo)
{
    ASSERT_EQ(parse("config waf,x signature\nset a,b c,d\nedit e,f\nnext\nconfig g,h\nend\nend\n"), 0);
    std::string text =
        "config waf x signature\n    set a,b c,d\n    edit e,f\n    next\n    config g,h\n    end\nend\n";
    EXPECT_EQ(written(root()), text);
    EXPECT_STREQ(root()->top_list->name, "waf x signature");
    EXPECT_EQ(written(root()), text);
}

TEST_F(Write, AMarkedNodeDisappearsWithAllBelowIt)
{
    ASSERT_EQ(parse("config a\nset s 1\nedit 1\nset t 1\nconfig u\nset v 1\nend\nnext\nconfig w\nset x 1\nend\nend\n"
                    "config b\nset y 1\nend\n"),
              0);
    config_node *a = root()->top_list;
    a->edit_list->deleted = 1;
    EXPECT_EQ(written(root()), "config a\n    set s 1\n    config w\n        set x 1\n    end\nend\n"
                               "config b\n    set y 1\nend\n");
    a->config_list->hidden = 1;
    EXPECT_EQ(written(root()), "config a\n    set s 1\nend\nconfig b\n    set y 1\nend\n");
    a->set_list->deleted = 1;
    EXPECT_EQ(written(root()), "config a\nend\nconfig b\n    set y 1\nend\n"); /* an empty block, but a block */
    a->hidden = 1;
    EXPECT_EQ(written(root()), "config b\n    set y 1\nend\n");
    a->next->deleted = 1;
    EXPECT_EQ(written(root()), "");
}

TEST_F(Write, AMarkedTopLevelConfigKeepsItsCommas)
{
    ASSERT_EQ(parse("config a b\nend\n"), 0);
    root()->top_list->hidden = 1;
    EXPECT_EQ(written(root()), "");
    EXPECT_STREQ(root()->top_list->name, "a,b");
}

TEST_F(Write, TheRootsOwnMarksAreNotAsked)
{
    ASSERT_EQ(parse("config a\nend\n"), 0);
    root()->deleted = root()->hidden = 1;
    EXPECT_EQ(written(root()), "config a\nend\n");
}

TEST_F(Write, ANullValueLeavesNoBlankAndAnEmptyOneLeavesOne)
{
    ASSERT_EQ(parse("config a\nset s 1\nedit e\nnext\nconfig c\nend\nend\n"), 0);
    config_node *a = root()->top_list;
    free(a->set_list->value);
    a->set_list->value = nullptr;
    EXPECT_EQ(written(root()), "config a\n    set s\n    edit e\n    next\n    config c\n    end\nend\n");
    for (config_node *node : {a->set_list, a->edit_list, a->config_list})
        ASSERT_EQ(set_node_value(node, ""), 0);
    EXPECT_EQ(written(root()), "config a\n    set s \n    edit e \n    next\n    config c \n    end\nend\n");
    EXPECT_EQ(parse(written(root())), -1); /* neither line reads back */
}

TEST_F(Write, EditsAndNestedConfigsWriteTheirValueTopLevelConfigsDoNot)
{
    ASSERT_EQ(parse("config a\nedit e\nnext\nconfig c\nend\nend\n"), 0);
    config_node *a = root()->top_list;
    for (config_node *node : {a, a->edit_list, a->config_list})
        ASSERT_EQ(set_node_value(node, "v w"), 0);
    EXPECT_EQ(written(root()), "config a\n    edit e v w\n    next\n    config c v w\n    end\nend\n");
}

TEST_F(Write, ValuesGoOutAsTheyStand)
{
    EXPECT_EQ(written_back("config a\nset q \"one\n  two\n\tthree\\\"\"  \n\"\nset p %s%n %%\nset t \"x\"   \nend\n"),
              "config a\n    set q \"one\n  two\n\tthree\\\"\"  \n    set p %s%n %%\n    set t \"x\"   \n\nend\n");
}

TEST_F(Write, TheListDecidesWhatALineIsNotTheKind)
{
    ASSERT_EQ(parse("config a\nset s 1\nedit e\nset t 2\nconfig d\nend\nnext\nconfig c\nedit f\nnext\nend\nend\n"), 0);
    config_node *a = root()->top_list;
    a->set_list->kind = MIGR_EDIT;
    a->edit_list->kind = MIGR_CONFIG;
    a->config_list->kind = MIGR_EDIT; /* an edit's content has no edits */
    EXPECT_EQ(written(root()), "config a\n"
                               "    set s 1\n"
                               "    edit e\n"
                               "        set t 2\n"
                               "        config d\n"
                               "        end\n"
                               "    next\n"
                               "    config c\n"
                               "    end\n"
                               "end\n");
}

TEST_F(Write, ASetInAListOfConfigsHasNoContent)
{
    ASSERT_EQ(parse("config a\nconfig c\nset x 1\nend\nend\n"), 0);
    root()->top_list->config_list->kind = MIGR_SET;
    EXPECT_EQ(written(root()), "config a\n    config c\n    end\nend\n");
}

TEST_F(Write, StartsAtAnyNodeAndDepth)
{
    ASSERT_EQ(parse("config a b\nset s 1\nedit e\nset t 2\nnext\nend\n"), 0);
    config_node *a = root()->top_list;
    EXPECT_EQ(written(a, 0), "set s 1\nedit e\n    set t 2\nnext\n");
    EXPECT_EQ(written(a->edit_list, 3), "            set t 2\n");
    EXPECT_EQ(written(a->set_list, 1), "");
    EXPECT_EQ(written(root(), 2), "        config a b\n            set s 1\n            edit e\n"
                                  "                set t 2\n            next\n        end\n");
    EXPECT_EQ(written(a->edit_list, 20), std::string(80, ' ') + "set t 2\n");
    EXPECT_STREQ(a->name, "a b");
}

TEST_F(Write, NothingForNullAndForTheSentinels)
{
    config_node sentinel = {};
    config_node child = {};
    child.kind = MIGR_SET;
    sentinel.set_list = &child;
    EXPECT_EQ(written(nullptr), "");
    for (uint32_t kind : {6u, 7u, 8u}) {
        sentinel.kind = kind;
        EXPECT_EQ(written(&sentinel), "");
    }
}

TEST_F(Write, ATreeWithoutChildrenIsEmptyText)
{
    EXPECT_EQ(written(root()), "");
}

/* Whole files, in a root folder of their own. */

const size_t bare_folders = ApplianceRoot().listing().size();

constexpr char first_line[] = "#config-version=QA-A1X-6.21-CV-build0727-191023:opmode=0\n";
constexpr char second_line[] = "#conf_file_ver=123\n";
constexpr char headers[] = "#config-version=QA-A1X-6.21-CV-build0727-191023:opmode=0\n#conf_file_ver=123\n";

void fill_context(const char *text)
{
    ASSERT_EQ(parse(text), 0);
    strcpy(migr_main.first_line, first_line);
    strcpy(migr_main.second_line, second_line);
}

/* Runs new_config_file in the root and gives the listing of what is there afterwards, compressed files unpacked. */
ChildResult store(const ApplianceRoot &appliance, const std::string &path, const char *text)
{
    return run_in_root(appliance.path(), [&] {
        fill_context(text);
        int32_t result = new_config_file(path.c_str());
        release_pass_nodes();
        return result == 0 ? 0 : 1;
    });
}

TEST(NewConfigFile, ReplacesTheStoredFileAndKeepsThePlainText)
{
    ApplianceRoot appliance;
    appliance.write_gzip("/data/config/sys_global.conf.gz", "old");
    appliance.write("/tmp/system2.conf", "left over", 0644);
    appliance.write("/var/log/sys_global.conf", "much longer text of an earlier upgrade, " + std::string(500, 'x'));
    ChildResult child = store(appliance, "/data/config/sys_global.conf.gz", "config a b\nset x 1\nend\n");
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(child.out + child.err, "");
    std::string text = std::string(headers) + "config a b\n    set x 1\nend\n";
    EXPECT_EQ(appliance.read_gzip("/data/config/sys_global.conf.gz"), text);
    EXPECT_EQ(appliance.read("/var/log/sys_global.conf"), text);
    EXPECT_FALSE(appliance.exists("/tmp/system2.conf"));
}

TEST(NewConfigFile, ATreeWithoutChildrenIsTwoHeaderLines)
{
    ApplianceRoot appliance;
    ASSERT_EQ(store(appliance, "/data/config/sys_domain.root.conf.gz", "").exit_code, 0);
    EXPECT_EQ(appliance.read_gzip("/data/config/sys_domain.root.conf.gz"), headers);
    EXPECT_EQ(appliance.read("/var/log/sys_domain.root.conf"), headers);
}

TEST(NewConfigFile, NameOfThePlainCopyHasNoShellInIt)
{
    ApplianceRoot appliance;
    std::string   name = "sys_domain.$(touch x);a b'\"`id`";
    ASSERT_EQ(store(appliance, "/data/config/" + name + ".conf.gz", "").exit_code, 0);
    EXPECT_EQ(appliance.read("/var/log/" + name + ".conf"), headers);
    EXPECT_EQ(appliance.listing().size(), bare_folders + 2) << "the folders, the file and its copy";
}

TEST(NewConfigFile, APathWithoutSysLeavesNoPlainCopy)
{
    ApplianceRoot appliance;
    ASSERT_EQ(store(appliance, "/data/config/backup.conf.gz.old", "").exit_code, 0);
    EXPECT_EQ(appliance.read_gzip("/data/config/backup.conf.gz.old"), headers);
    EXPECT_FALSE(appliance.exists("/var/log/backup.conf.gz"));
    ASSERT_EQ(store(appliance, "/data/config/mysys_x.conf.gz", "").exit_code, 0);
    EXPECT_EQ(appliance.listing().size(), bare_folders + 2) << "\"/sys_\" begins with its slash";
}

TEST(NewConfigFile, ThePlainCopyLosesThreeCharactersWhateverTheyAre)
{
    ApplianceRoot appliance;
    ASSERT_EQ(store(appliance, "/data/config/sys_domain.x.conf.gz.old", "").exit_code, 0);
    EXPECT_EQ(appliance.read("/var/log/sys_domain.x.conf.gz."), headers);
}

TEST(NewConfigFile, ALongPathIsCutForThePlainCopyOnly)
{
    ApplianceRoot appliance;
    std::string   domain(200, 'd');
    ASSERT_EQ(store(appliance, "/data/config/sys_domain." + domain + ".conf.gz", "").exit_code, 0);
    EXPECT_EQ(appliance.read_gzip("/data/config/sys_domain." + domain + ".conf.gz"), headers);
    /* 71 characters of the path less three, from the slash ahead of "sys_" on. */
    EXPECT_EQ(appliance.read("/var/log/sys_domain." + std::string(71 - 3 - 24, 'd')), headers);
}

TEST(NewConfigFile, AMissingLogFolderIsNoFailure)
{
    ApplianceRoot appliance;
    std::filesystem::remove_all(appliance.path() / "var");
    EXPECT_EQ(store(appliance, "/data/config/sys_global.conf.gz", "").exit_code, 0);
    EXPECT_EQ(appliance.read_gzip("/data/config/sys_global.conf.gz"), headers);
    EXPECT_FALSE(appliance.exists("/var"));
}

TEST(NewConfigFile, WithoutATemporaryFileTheStoredOneStays)
{
    ApplianceRoot appliance;
    appliance.write_gzip("/data/config/sys_global.conf.gz", "old");
    appliance.folder("/tmp/system2.conf/full");
    Listing before = appliance.listing();
    EXPECT_EQ(store(appliance, "/data/config/sys_global.conf.gz", "").exit_code, 1);
    EXPECT_EQ(appliance.listing(), before);
}

TEST(NewConfigFile, NeverWritesThroughALinkInTmp)
{
    ApplianceRoot appliance;
    appliance.write("/data/etc/precious", "kept");
    appliance.link("/tmp/system2.conf", "/data/etc/precious");
    ASSERT_EQ(store(appliance, "/data/config/sys_global.conf.gz", "").exit_code, 0);
    EXPECT_EQ(appliance.read("/data/etc/precious"), "kept");
    EXPECT_FALSE(appliance.exists("/tmp/system2.conf"));
}

TEST(NewConfigFile, NoPlainCopyThroughALinkThatLeadsNowhere)
{
    ApplianceRoot appliance;
    appliance.link("/var/log/sys_global.conf", "/data/etc/nothing");
    ASSERT_EQ(store(appliance, "/data/config/sys_global.conf.gz", "").exit_code, 0);
    EXPECT_EQ(appliance.read_gzip("/data/config/sys_global.conf.gz"), headers);
    EXPECT_FALSE(appliance.exists("/data/etc/nothing"));
    EXPECT_EQ(appliance.listing().at("var/log/sys_global.conf"), (Entry{'l', 0, "/data/etc/nothing"}));
}

TEST(NewConfigFile, FailedCompressionLeavesOnlyThePlainCopy)
{
    ApplianceRoot appliance;
    appliance.write_gzip("/data/config/sys_global.conf.gz", "old");
    refused::compression_to = "/data/config/sys_global.conf.gz";
    ChildResult child = store(appliance, "/data/config/sys_global.conf.gz", "config a\nend\n");
    refused::compression_to.clear();
    EXPECT_EQ(child.exit_code, 1);
    EXPECT_EQ(child.out, "");
    EXPECT_EQ(child.err, "[update_signature]: [cvgzip] compress failed\nwhile the text is there\n");
    EXPECT_FALSE(appliance.exists("/data/config/sys_global.conf.gz"));
    EXPECT_FALSE(appliance.exists("/tmp/system2.conf"));
    EXPECT_EQ(appliance.read("/var/log/sys_global.conf"), std::string(headers) + "config a\nend\n");
}

TEST(NewConfigFile, ATextThatWasNotWrittenWholeIsNotStored)
{
    ApplianceRoot appliance;
    appliance.write_gzip("/data/config/sys_global.conf.gz", "old");
    Listing     before = appliance.listing();
    ChildResult child = run_in_root(appliance.path(), [] {
        fill_context(("config a\n" + times(10000, "set x 1\n") + "end\n").c_str());
        signal(SIGXFSZ, SIG_IGN);
        rlimit full = {50000, RLIM_INFINITY};
        setrlimit(RLIMIT_FSIZE, &full);
        int32_t result = new_config_file("/data/config/sys_global.conf.gz");
        release_pass_nodes();
        return result == 0 ? 0 : 1;
    });
    EXPECT_EQ(child.exit_code, 1) << child.err;
    EXPECT_EQ(appliance.listing(), before);
}

int32_t write_gui(const std::string &path, const char *text)
{
    fill_context(text);
    int32_t result = new_config_file_GUI(path.c_str());
    return result;
}

TEST(NewConfigFileGui, WritesAPlainFileAndKeepsTheTree)
{
    ApplianceRoot appliance;
    std::string   path = (appliance.path() / "out.conf").string();
    appliance.write("/out.conf", "something longer than what comes, by a good deal, so that a cut would show"
                                 "something longer than what comes, by a good deal, so that a cut would show");
    ASSERT_EQ(write_gui(path, "config a b\nset x 1\nend\n"), 0);
    std::string text = std::string(headers) + "config a b\n    set x 1\nend\n";
    EXPECT_EQ(appliance.read("/out.conf"), text);
    EXPECT_EQ(appliance.listing().size(), bare_folders + 1);
    EXPECT_EQ(dump(migr_main.root), "top a b\n  set x=1\n");
    ASSERT_EQ(new_config_file_GUI(path.c_str()), 0); /* the same again */
    EXPECT_EQ(appliance.read("/out.conf"), text);
    release_pass_nodes();
    migr_main.root = {};
}

TEST(NewConfigFileGui, ReplacesALinkAndNotItsTarget)
{
    ApplianceRoot appliance;
    appliance.write("/target", "kept");
    appliance.link("/out.conf", "target");
    ASSERT_EQ(write_gui((appliance.path() / "out.conf").string(), ""), 0);
    EXPECT_EQ(appliance.read("/target"), "kept");
    EXPECT_EQ(appliance.listing().at("out.conf"), (Entry{'f', 0600, headers}));
}

TEST(NewConfigFileGui, WritesOverAFileThatItMayNotUnlink)
{
    if (geteuid() != 0)
        GTEST_SKIP() << "only root can become another user";
    ApplianceRoot appliance;
    appliance.write("/folder/out.conf", "old text", 0666);
    for (const char *folder : {"", "folder"})
        chmod((appliance.path() / folder).c_str(), 0755);
    ChildResult child = run_in_root(appliance.path(), [] {
        fill_context("config a b\nset x 1\nend\n");
        int32_t result = seteuid(1234) == 0 ? new_config_file_GUI("/folder/out.conf") : 1;
        release_pass_nodes();
        return seteuid(0) == 0 ? result : 1;
    });
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(appliance.read("/folder/out.conf"), std::string(headers) + "config a b\n    set x 1\nend\n");
}

TEST(NewConfigFileGui, FailsWhenTheFileCannotBeMade)
{
    ApplianceRoot appliance;
    Listing       before = appliance.listing();
    EXPECT_EQ(write_gui((appliance.path() / "nowhere" / "out.conf").string(), ""), -1);
    EXPECT_EQ(write_gui((appliance.path() / "data").string(), ""), -1);
    EXPECT_EQ(appliance.listing(), before);
}

TEST(NewConfigFileGui, LeavesNoHalfFile)
{
    ApplianceRoot appliance;
    Listing       before = appliance.listing();
    ChildResult   child = run_in_root(appliance.path(), [] {
        signal(SIGXFSZ, SIG_IGN);
        rlimit full = {100, RLIM_INFINITY};
        setrlimit(RLIMIT_FSIZE, &full);
        strcpy(migr_main.first_line, std::string(200, '#').c_str());
        return new_config_file_GUI("/out.conf") == -1 ? 0 : 1;
    });
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(appliance.listing(), before);
}

} // namespace
