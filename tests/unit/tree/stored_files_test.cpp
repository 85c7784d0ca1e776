/* How a tree becomes a stored file and its plain copy, and what stays when any call on the way is refused. */
#include "tree/stored_files.h"

#include "driver/run_context.h"
#include "refused_calls.h"
#include "support/appliance_root.h"
#include "support/trees.h"
#include "tree/node_store.h"

#include <csignal>
#include <cstdarg>
#include <cstring>
#include <sys/resource.h>
#include <unistd.h>

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

/* Each in a root folder of its own. */

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

} // namespace
