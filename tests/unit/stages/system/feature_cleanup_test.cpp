/* What no case can show of the copies that the cleanup makes: sizes, modes, a full disk, and the remount. */
#include "stages/system/feature_cleanup.h"

#include "support/failing_memory.h"
#include "unit/stages/passes.h"
#include "unit/stages/watched_calls.h"
#include "walk/cursors.h"

#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

using support::ApplianceRoot;
using support::Entry;

namespace {

/* What the remount of the flash looks like: the remount flag with the classic magic in the upper half. */
const watched::MountCall remount = {"(null)", "/data", "(null)", 0xc0ed0020, true};

class LegacyCopy : public testing::Test {
  protected:
    ApplianceRoot root;

    void SetUp() override
    {
        watched::mounts.clear();
    }

    int32_t copy(const std::string &from, const std::string &to)
    {
        return legacy_migr_copyfile((root.path().string() + from).c_str(), (root.path().string() + to).c_str());
    }
};

} // namespace

TEST_F(LegacyCopy, CopiesWholeFilesOfAnySize)
{
    for (size_t size : {0, 1, 1023, 1024, 1025, 4095, 4096, 4097, 10240, 100000}) {
        std::string content(size, '\0');
        for (size_t i = 0; i < size; i++)
            content[i] = static_cast<char>(i * 31);
        root.write("/from", content);
        root.write("/to", std::string(200000, 'o'));
        watched::mounts.clear();
        EXPECT_EQ(0, copy("/from", "/to"));
        EXPECT_TRUE(content == root.read("/to")) << size;
        EXPECT_EQ(std::vector{remount}, watched::mounts);
    }
}

TEST_F(LegacyCopy, WithoutSourceOrTargetNothingHappens)
{
    root.write("/from", "content");
    root.folder("/folder");
    support::Listing before = root.listing();
    EXPECT_EQ(-1, copy("/missing", "/to"));
    EXPECT_EQ(-1, copy("/from", "/nowhere/to"));
    EXPECT_EQ(-1, copy("/from", "/folder"));
    EXPECT_EQ(before, root.listing());
    EXPECT_TRUE(watched::mounts.empty());
}

TEST_F(LegacyCopy, AFolderLeavesAnEmptyTarget)
{
    root.write("/from/file", "content");
    root.write("/to", "old");
    EXPECT_EQ(-1, copy("/from", "/to"));
    EXPECT_EQ("", root.read("/to"));
    EXPECT_EQ(std::vector{remount}, watched::mounts);
}

/* A block that does not fit ends the copy, and what was written stays, also when it is the last one. */
TEST_F(LegacyCopy, AShortWriteLeavesAPartialTarget)
{
    signal(SIGXFSZ, SIG_IGN);
    rlimit whole = {};
    getrlimit(RLIMIT_FSIZE, &whole);
    for (size_t size : {3000, 100000, 2500}) {
        std::string content(size, 'x');
        root.write("/from", content);
        rlimit little = {2100, whole.rlim_max};
        setrlimit(RLIMIT_FSIZE, &little);
        int32_t result = copy("/from", "/to");
        setrlimit(RLIMIT_FSIZE, &whole);
        EXPECT_EQ(-1, result);
        EXPECT_EQ(2100u, root.read("/to").size());
        EXPECT_EQ(remount, watched::mounts.back());
    }
    signal(SIGXFSZ, SIG_DFL);
    EXPECT_EQ(3u, watched::mounts.size());
}

/* A new file has the mode that any new file has; one that is there keeps its own. */
TEST_F(LegacyCopy, Modes)
{
    mode_t old_mask = umask(022);
    root.write("/from", "content", 0640);
    root.write("/there", "old", 0600);
    EXPECT_EQ(0, copy("/from", "/new"));
    EXPECT_EQ(0, copy("/from", "/there"));
    root.write("/from", "content", 04755);
    EXPECT_EQ(0, copy("/from", "/program"));
    umask(0);
    EXPECT_EQ(0, copy("/from", "/unmasked"));
    umask(old_mask);
    support::Listing after = root.listing();
    EXPECT_EQ((Entry{'f', 0644, "content"}), after.at("new"));
    EXPECT_EQ((Entry{'f', 0600, "content"}), after.at("there"));
    EXPECT_EQ((Entry{'f', 0644, "content"}), after.at("program"));
    EXPECT_EQ((Entry{'f', 0666, "content"}), after.at("unmasked"));
}

TEST_F(LegacyCopy, AFileIsNotCopiedOntoItself)
{
    root.write("/from", "content");
    root.link("/link", "from");
    std::filesystem::create_hard_link(root.path() / "from", root.path() / "second");
    support::Listing before = root.listing();
    for (const char *target : {"/from", "/link", "/second"}) {
        EXPECT_EQ(0, copy("/from", target));
        EXPECT_EQ(0, copy(target, "/from"));
    }
    EXPECT_EQ(before, root.listing());
}

/* The remount fails on most machines, and that does not matter. */
TEST_F(LegacyCopy, ResultOfTheRemountIsIgnored)
{
    root.write("/from", "content");
    EXPECT_EQ(0, copy("/from", "/to"));
    EXPECT_EQ(1u, watched::mounts.size());
}

TEST(AntivirusFiles, EachCopyRemounts)
{
    ApplianceRoot root;
    for (const char *source : {"/data/etc/vir.orig", "/data/etc/virext.orig", "/data/lib/libav.so.orig"})
        root.write(source, source);
    support::expect_in_root(root, [] {
        watched::mounts.clear();
        after_row("config a\nset b c\nend\nconfig d\nend\n", "_av_vir_file_copy");
        EXPECT_EQ(std::vector(6, remount), watched::mounts);
    });
}

/* Without the folder for logs nothing is copied, nor tried again in that file when the folder comes. */
TEST(AntivirusFiles, WithoutTheFolderForLogs)
{
    ApplianceRoot root;
    root.write("/data/etc/vir.orig", "x");
    std::filesystem::remove(root.path() / "var/log");
    support::expect_in_root(root, [] {
        after_pass("config a\nend\n", [] {
            av_vir_file_copy_state state = {};
            _av_vir_file_copy(1, &state, nullptr);
            EXPECT_EQ(1, state.done);
            std::filesystem::create_directories("/var/log");
            _av_vir_file_copy(1, &state, nullptr);
            EXPECT_FALSE(std::filesystem::exists("/var/log/vir"));
            state = {};
            _av_vir_file_copy(1, &state, nullptr);
            EXPECT_TRUE(std::filesystem::exists("/var/log/vir"));
        });
    });
}

/* What 6.20 and older releases' images knew of the threat model. */
TEST(MachineLearning, ThreatModelGoesWithAnOlderImage)
{
    auto kept = [](int32_t image) {
        std::string after =
            after_pass("config waf machine-learning-policy\nedit 1\nset threat-model x\nnext\nend\n", [&] {
                migr_main.img_version = image;
                run_row("_adjust_ml_policy2");
            });
        return after.find("threat-model") != std::string::npos;
    };
    EXPECT_FALSE(kept(0x6000a));
    EXPECT_FALSE(kept(0x60013));
    EXPECT_TRUE(kept(0x60014));
    EXPECT_TRUE(kept(0x60015));
}

TEST(MachineLearning, SetsWithoutValues)
{
    after_pass("config waf machine-learning-policy\nedit 1\nset strictness-level-anomaly123456 x\nset "
               "action-definitely y\nnext\nend\n",
               [] {
                   config_node *set = migr_main.root.top_list->edit_list->set_list;
                   for (config_node *each : {set, set->next}) {
                       free(each->value);
                       each->value = nullptr;
                   }
                   run_row("_ml_adjust_policy");
                   run_row("_adjust_ml_policy2");
                   EXPECT_STREQ("test--", set->value);
                   EXPECT_STREQ("action-anomaly", set->next->name);
                   EXPECT_EQ(nullptr, set->next->value);
               });
}

/* The folder's path is relative: it lies below the working folder, wherever that is. */
TEST(AutoLearning, FolderBelowTheWorkingFolder)
{
    ApplianceRoot root;
    root.write("/var/log/autolearn_adom/kept", "x");
    root.write("/data/work/var/log/autolearn_adom/gone", "x");
    root.write("/data/work/var/log/other", "x");
    support::expect_in_root(root, [] {
        std::filesystem::current_path("/data/work");
        after_row("config a\nend\n", "_remove_all_autolearn");
        std::filesystem::current_path("/");
    });
    EXPECT_TRUE(root.exists("/var/log/autolearn_adom/kept"));
    EXPECT_FALSE(root.exists("/data/work/var/log/autolearn_adom"));
    EXPECT_TRUE(root.exists("/data/work/var/log/other"));
}

TEST(FeatureCleanup, SentinelsAreHarmless)
{
    ApplianceRoot              root;
    remove_all_autolearn_state autolearn = {};
    support::expect_in_root(root, [&] {
        after_pass("", [&] {
            for (config_node *position : {&EMPTY_NODE, &EOB_NODE}) {
                top[3] = top[4] = position;
                _remove_all_autolearn(1, &autolearn, nullptr);
                _adjust_ml_policy2(1, nullptr, nullptr);
                _cleanup_old_wvs(1, nullptr, nullptr);
                _adjust_ml_policy_620(1, nullptr, nullptr);
                _ml_adjust_policy(1, nullptr, nullptr);
            }
            top[3] = top[4] = &EMPTY_NODE;
        });
    });
}
