/* Which files a run takes, in which order, and what it does when one of the mechanisms fails. Those are stood in
 * for, by mechanisms.cpp. */
#include "driver/upgrade_run.h"
#include "platform/platform.h"

#include "driver/migr.h"
#include "mechanisms.h"
#include "rules/rules.h"
#include "signature/reconcile.h"
#include "support/appliance_root.h"
#include "support/image_line.h"
#include "support/trees.h"
#include "tree/config_text.h"
#include "tree/node_store.h"
#include "tree/operations.h"
#include "tree/stored_files.h"

#include <cstring>

using namespace support;
using mechanisms::script;

namespace {

constexpr char global_path[] = "/data/config/sys_global.conf.gz";
constexpr char no_database[] = "global_sig_db_open: db is NULL \n";

std::string domain_path(const std::string &name)
{
    return "/data/config/sys_domain." + name + ".conf.gz";
}

std::string header(const std::string &version)
{
    std::string line = "#config-version=QA-A1X-" + version + "-CV-build0100-140101:opmode=0\n";
    if (version == MIGR_IMAGE_RELEASE || version == "upgraded 5.10")
        line = "#config-version=QA-A1X-" + version.substr(version.rfind(' ') + 1) + IMAGE_STAMP ":opmode=0\n";
    return line + "#conf_file_ver=17\n";
}

/* A file's text. */
std::string text_of(const std::string &version, const std::string &name = "x")
{
    return header(version) + "config router nowhere\n    set name " + name + "\nend\n";
}

class UpgradeRun : public testing::Test {
  protected:
    void TearDown() override
    {
        script = {};
    }

    void store(const std::string &path, const std::string &text)
    {
        appliance.write_gzip(path, text);
    }

    /* A run without migrations: the walk does nothing, and the update file, if there is one, is the appliance's. */
    ChildResult run()
    {
        script.no_walk = true;
        return run_in_root(appliance.path(), [] {
            migr_main_do_all();
            return 0;
        });
    }

    /* A run with scripted mechanisms; gives the calls. */
    std::string scripted_run(const std::function<void()> &work = migr_main_do_all)
    {
        script.scripted = true;
        ChildResult child = run_in_root(appliance.path(), [&] {
            work();
            fputs(mechanisms::calls().c_str(), stderr);
            return 0;
        });
        EXPECT_EQ(child.exit_code, 0) << child.out << child.err;
        printed = child.out;
        return child.err;
    }

    /* Every file that a run may leave behind in /tmp and the working folder is gone. */
    void expect_no_leftovers()
    {
        for (const char *path : {"/tmp/system1.conf", "/tmp/system2.conf", "/qx_migr_unzip_tmp"})
            EXPECT_FALSE(appliance.exists(path)) << path;
    }

    /* The stored file and its plain copy hold `text`. */
    void expect_stored(const std::string &path, const std::string &text)
    {
        EXPECT_EQ(appliance.read_gzip(path), text) << path;
        std::string plain = path.substr(strlen("/data/config"));
        EXPECT_EQ(appliance.read("/var/log" + plain.substr(0, plain.size() - 3)), text) << path;
    }

    ApplianceRoot appliance;
    std::string   printed; /* standard output of the last scripted run */
};

/* Whether a run is needed at all. */

TEST_F(UpgradeRun, AGlobalFileAtTheImagesVersionMeansNothingToDo)
{
    appliance.write("/data/etc/update_config", "");
    store(domain_path("old"), text_of("5.40"));
    for (const std::string &version : no_older_releases()) {
        store(global_path, text_of(version));
        Listing     before = appliance.listing();
        ChildResult child = run();
        EXPECT_EQ(child.exit_code, 0) << child.err;
        EXPECT_EQ(child.out + child.err, "") << version;
        EXPECT_EQ(appliance.listing(), before) << version;
    }
}

TEST_F(UpgradeRun, WithoutAReadableGlobalVersionNothingHappens)
{
    appliance.write("/data/etc/update_config", "");
    store(domain_path("old"), text_of("5.40"));
    for (const std::string &text : {std::string(), std::string("config a\nend\n"), "\n" + text_of("5.40"),
                                    std::string("#config-version=\n#conf_file_ver=1\n")}) {
        store(global_path, text);
        Listing before = appliance.listing();
        EXPECT_EQ(run().out, "") << text;
        EXPECT_EQ(appliance.listing(), before) << text;
    }
    appliance.write(global_path, "no gzip file");
    Listing before = appliance.listing();
    EXPECT_EQ(run().out, "");
    EXPECT_EQ(appliance.listing(), before);
}

TEST_F(UpgradeRun, WithoutAGlobalFileNothingHappens)
{
    appliance.write("/data/etc/update_config", "");
    store(domain_path("old"), text_of("5.40"));
    Listing before = appliance.listing();
    EXPECT_EQ(run().exit_code, 0);
    EXPECT_EQ(appliance.listing(), before);
    EXPECT_EQ(scripted_run(), "forget identifiers\n") << "no finish either";
}

/* Whole runs. */

TEST_F(UpgradeRun, CarriesTheGlobalFileAndAllDomains)
{
    appliance.write("/data/etc/update_config", "");
    store(global_path, text_of("5.40", "global"));
    store(domain_path("root"), text_of("5.50", "root"));
    store(domain_path("b"), text_of("6.20", "b"));
    Listing     before = appliance.listing();
    ChildResult child = run();
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(child.out, no_database);
    expect_stored(global_path, text_of(MIGR_IMAGE_RELEASE, "global"));
    expect_stored(domain_path("root"), text_of(MIGR_IMAGE_RELEASE, "root"));
    expect_stored(domain_path("b"), text_of(MIGR_IMAGE_RELEASE, "b"));
    EXPECT_EQ(appliance.listing().size(), before.size() + 3) << "three plain copies, and nothing else";
}

TEST_F(UpgradeRun, TheTreeIsGoneWhenItsTextIsPacked)
{
    appliance.write("/data/etc/update_config", "");
    store(global_path, text_of("5.40"));
    script.compression = [](const std::string &) {
        printf("%s, text %s\n", migr_main.root.top_list ? "a tree" : "no tree",
               access(MIGR_NEW_TEXT, R_OK) == 0 ? "there" : "gone");
        return 0;
    };
    EXPECT_NE(run().out.find("no tree, text there\n"), std::string::npos);
}

TEST_F(UpgradeRun, ASecondRunHasNothingToDo)
{
    appliance.write("/data/etc/update_config", "");
    store(global_path, text_of("5.40"));
    store(domain_path("root"), text_of("5.40"));
    ASSERT_EQ(run().exit_code, 0);
    Listing     before = appliance.listing();
    ChildResult child = run();
    EXPECT_EQ(child.out + child.err, "");
    EXPECT_EQ(appliance.listing(), before);
}

TEST_F(UpgradeRun, EachDomainsOwnVersionDecides)
{
    appliance.write("/data/etc/update_config", "");
    store(global_path, text_of("6.20"));
    store(domain_path("old"), text_of("5.10"));
    store(domain_path("there"), text_of(MIGR_IMAGE_RELEASE));
    store(domain_path("newer"), text_of("7.2"));
    store(domain_path("none"), "config a\nend\n");
    store(domain_path("late"), text_of("6.0"));
    Listing before = appliance.listing();
    ASSERT_EQ(run().exit_code, 0);
    Listing after = appliance.listing();
    expect_stored(domain_path("old"), text_of(MIGR_IMAGE_RELEASE));
    expect_stored(domain_path("late"), text_of(MIGR_IMAGE_RELEASE));
    for (const char *name : {"there", "newer", "none"}) {
        std::string path = domain_path(name).substr(1);
        EXPECT_EQ(after.at(path), before.at(path));
        EXPECT_FALSE(appliance.exists("/var/log/sys_domain." + std::string(name) + ".conf"));
    }
    expect_no_leftovers();
}

TEST_F(UpgradeRun, AFileWithoutItsSecondLineStaysSilently)
{
    appliance.write("/data/etc/update_config", "");
    std::string one_line = "#config-version=QA-A1X-4.0-CV-build0100-140101:r\nconfig a\nend\n";
    std::string gap = "#config-version=QA-A1X-5.40-CV-build0100-140101:r\n\n#conf_file_ver=17\nconfig a\nend\n";
    std::string blank = " #config-version=QA-A1X-5.40-CV-build0100-140101:r\n#conf_file_ver=17\nconfig a\nend\n";
    store(global_path, text_of("5.40"));
    store(domain_path("one"), one_line);
    store(domain_path("gap"), gap);
    store(domain_path("blank"), blank);
    store(domain_path("good"), text_of("5.40"));
    ChildResult child = run();
    EXPECT_EQ(child.out, no_database);
    EXPECT_EQ(appliance.read_gzip(domain_path("one")), one_line);
    EXPECT_EQ(appliance.read_gzip(domain_path("gap")), gap);
    EXPECT_EQ(appliance.read_gzip(domain_path("blank")), blank);
    expect_stored(domain_path("good"), text_of(MIGR_IMAGE_RELEASE));
    expect_no_leftovers();
}

TEST_F(UpgradeRun, AGlobalFileWithoutItsSecondLineDoesNotKeepTheDomainsBack)
{
    appliance.write("/data/etc/update_config", "");
    std::string one_line = "#config-version=QA-A1X-5.40-CV-build0100-140101:r\nconfig a\nend\n";
    store(global_path, one_line);
    store(domain_path("root"), text_of("5.40"));
    ASSERT_EQ(run().exit_code, 0);
    EXPECT_EQ(appliance.read_gzip(global_path), one_line);
    expect_stored(domain_path("root"), text_of(MIGR_IMAGE_RELEASE));
}

TEST_F(UpgradeRun, AFileThatDoesNotParseStaysAndTheOthersGoOn)
{
    appliance.write("/data/etc/update_config", "");
    std::string bad = header("5.40") + "config a\nset name\nend\n";
    store(global_path, bad);
    store(domain_path("bad"), bad);
    store(domain_path("good"), text_of("5.40"));
    ChildResult child = run();
    EXPECT_EQ(child.out, no_database);
    EXPECT_EQ(appliance.read_gzip(global_path), bad);
    EXPECT_EQ(appliance.read_gzip(domain_path("bad")), bad);
    expect_stored(domain_path("good"), text_of(MIGR_IMAGE_RELEASE));
    EXPECT_FALSE(appliance.exists("/var/log/sys_global.conf"));
    expect_no_leftovers();
}

TEST_F(UpgradeRun, AnyNameWithConfGzIsADomainFile)
{
    appliance.write("/data/etc/update_config", "");
    store(global_path, text_of("5.40"));
    store("/data/config/backup.conf.gz.old", text_of("5.40"));
    store("/data/config/sys_domain.x.conf.gz.bak", text_of("5.40"));
    store("/data/config/conf.gz", text_of("5.40"));
    ASSERT_EQ(run().exit_code, 0);
    EXPECT_EQ(appliance.read_gzip("/data/config/backup.conf.gz.old"), text_of(MIGR_IMAGE_RELEASE));
    EXPECT_EQ(appliance.read_gzip("/data/config/sys_domain.x.conf.gz.bak"), text_of(MIGR_IMAGE_RELEASE));
    EXPECT_EQ(appliance.read_gzip("/data/config/conf.gz"), text_of(MIGR_IMAGE_RELEASE));
    EXPECT_TRUE(appliance.exists("/var/log/sys_global.conf"));
    EXPECT_EQ(appliance.read("/var/log/sys_domain.x.conf.gz."), text_of(MIGR_IMAGE_RELEASE));
    EXPECT_FALSE(appliance.exists("/var/log/backup.conf.gz."));
}

TEST_F(UpgradeRun, OtherNamesAreLeftAlone)
{
    appliance.write("/data/etc/update_config", "");
    store(global_path, text_of("5.40"));
    std::vector<std::string> names = {"/data/config/.sys_domain.x.conf.gz", "/data/config/sys_domain.x.conf",
                                      "/data/config/sys_domain.x.CONF.GZ", "/data/config/sys_domain.x.conf_gz"};
    for (const std::string &name : names)
        store(name, text_of("5.40"));
    appliance.folder("/data/config/folder.conf.gz");
    appliance.folder("/data/config/sub");
    store("/data/config/sub/sys_domain.y.conf.gz", text_of("5.40"));
    ASSERT_EQ(run().exit_code, 0);
    expect_stored(global_path, text_of(MIGR_IMAGE_RELEASE));
    for (const std::string &name : names)
        EXPECT_EQ(appliance.read_gzip(name), text_of("5.40")) << name;
    EXPECT_EQ(appliance.read_gzip("/data/config/sub/sys_domain.y.conf.gz"), text_of("5.40"));
}

TEST_F(UpgradeRun, LongDomainNames)
{
    appliance.write("/data/etc/update_config", "");
    store(global_path, text_of("5.40"));
    std::string longest(255 - strlen("sys_domain..conf.gz"), 'd');
    std::string fits(255 - strlen("/data/config/sys_domain..conf.gz"), 'e');
    store(domain_path(fits), text_of("5.40", "fits"));
    store(domain_path(longest), text_of("5.40", "long"));
    ASSERT_EQ(run().exit_code, 0);
    EXPECT_EQ(appliance.read_gzip(domain_path(fits)), text_of(MIGR_IMAGE_RELEASE, "fits"));
    EXPECT_EQ(appliance.read_gzip(domain_path(longest)), text_of("5.40", "long")) << "no path of 256 characters";
}

TEST_F(UpgradeRun, FailedCompressionCostsTheFileAndLeavesItsPlainText)
{
    appliance.write("/data/etc/update_config", "");
    store(global_path, text_of("5.40", "global"));
    store(domain_path("a"), text_of("5.40", "a"));
    store(domain_path("b"), text_of("5.40", "b"));
    script.compression = [](const std::string &target) { return target == domain_path("a") ? -1 : 0; };
    ChildResult child = run();
    EXPECT_EQ(child.out, no_database);
    EXPECT_NE(child.err.find("[update_signature]: [cvgzip] compress failed\n"), std::string::npos) << child.err;
    EXPECT_FALSE(appliance.exists(domain_path("a")));
    EXPECT_EQ(appliance.read("/var/log/sys_domain.a.conf"), text_of(MIGR_IMAGE_RELEASE, "a"));
    expect_stored(global_path, text_of(MIGR_IMAGE_RELEASE, "global"));
    expect_stored(domain_path("b"), text_of(MIGR_IMAGE_RELEASE, "b"));
    expect_no_leftovers();
}

TEST_F(UpgradeRun, APositiveResultOfTheCompressorIsNoFailure)
{
    appliance.write("/data/etc/update_config", "");
    store(global_path, text_of("5.40"));
    script.compression = [](const std::string &) { return 1; };
    ChildResult child = run();
    EXPECT_EQ(child.err.find("compress failed"), std::string::npos);
    EXPECT_FALSE(appliance.exists(global_path)) << "the compressor said that it is done";
    expect_no_leftovers();
}

TEST_F(UpgradeRun, AFolderThatCannotBeOpenedSkipsTheDomains)
{
    appliance.write("/data/etc/update_config", "");
    store(global_path, text_of("5.40"));
    store(domain_path("root"), text_of("5.40"));
    script.no_folder = true;
    ChildResult child = run();
    EXPECT_EQ(child.out, std::string(no_database) + "opendir err!");
    expect_stored(global_path, text_of(MIGR_IMAGE_RELEASE));
    EXPECT_EQ(appliance.read_gzip(domain_path("root")), text_of("5.40"));
}

TEST_F(UpgradeRun, TemporaryFilesOfAnEarlierRunAreReplaced)
{
    appliance.write("/data/etc/update_config", "");
    store(global_path, text_of("5.40"));
    appliance.write("/data/etc/precious", "kept");
    appliance.link("/tmp/system2.conf", "/data/etc/precious");
    appliance.write("/tmp/system1.conf", text_of(MIGR_IMAGE_RELEASE));
    appliance.write("/qx_migr_unzip_tmp", text_of(MIGR_IMAGE_RELEASE));
    ASSERT_EQ(run().exit_code, 0);
    expect_stored(global_path, text_of(MIGR_IMAGE_RELEASE));
    EXPECT_EQ(appliance.read("/data/etc/precious"), "kept");
    expect_no_leftovers();
}

TEST_F(UpgradeRun, TwoRunsInOneProcess)
{
    appliance.write("/data/etc/update_config", "");
    store(global_path, text_of("5.40"));
    store(domain_path("root"), text_of("5.40", "root"));
    script.no_walk = true;
    ChildResult child = run_in_root(appliance.path(), [] {
        migr_main_do_all();
        rename("/var/log/sys_domain.root.conf", "/first");
        migr_main_do_all(); /* nothing to do */
        return access("/var/log/sys_domain.root.conf", F_OK) == 0 ? 1 : 0;
    });
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(child.out, no_database);
    EXPECT_EQ(appliance.read("/first"), text_of(MIGR_IMAGE_RELEASE, "root"));
}

/* The order of mechanisms. */

TEST_F(UpgradeRun, ARunFrom510OnTakesOnePassPerFile)
{
    store(global_path, text_of("5.10"));
    store(domain_path("root"), text_of("5.40"));
    script.sections = {0x5000b, 0x50014};
    EXPECT_EQ(scripted_run(), "forget identifiers\n"
                              "open database\n"
                              "file /data/config/sys_global.conf.gz mode 0\n"
                              "load\n"
                              "step 5.11\ndelete 5.11\nmodify 5.11\nre-add 5.11\n"
                              "step 5.20\ndelete 5.20\nmodify 5.20\nre-add 5.20\n"
                              "walk 5.10 to " MIGR_IMAGE_RELEASE " mode 0 \"\"\n"
                              "reconcile\n"
                              "unload\n"
                              "file /data/config/sys_domain.root.conf.gz mode 1\n"
                              "load\n"
                              "step 5.11\ndelete 5.11\nmodify 5.11\nre-add 5.11\n"
                              "step 5.20\ndelete 5.20\nmodify 5.20\nre-add 5.20\n"
                              "walk 5.40 to " MIGR_IMAGE_RELEASE " mode 1 \"root\"\n"
                              "reconcile\n"
                              "unload\n"
                              "file jobs from 5.10\n"
                              "forget identifiers\n");
    EXPECT_EQ(printed, no_database);
    expect_stored(global_path, text_of(MIGR_IMAGE_RELEASE));
    expect_stored(domain_path("root"), text_of(MIGR_IMAGE_RELEASE));
}

/* The domains whose passes a run has begun, in that order. */
std::string domains_of(const std::string &calls)
{
    static const std::string start = "file /data/config/sys_domain.";
    std::string              domains;
    for (size_t at = 0; (at = calls.find(start, at)) != std::string::npos;) {
        at += start.size();
        domains += calls.substr(at, calls.find(".conf.gz", at) - at) + " ";
    }
    return domains;
}

TEST_F(UpgradeRun, DomainsComeInTheOrderOfTheirFileNamesBytes)
{
    store(global_path, text_of("5.40"));
    for (const char *name : {"b", "a", "\xc3\xa9", "Z", "root", "a-b", "a.b", "aB", "ab", "10", "9"})
        store(domain_path(name), text_of("5.40"));
    EXPECT_EQ(domains_of(scripted_run()), "10 9 Z a-b a.b a aB ab b root \xc3\xa9 ");
}

TEST_F(UpgradeRun, NamesAreReadAheadOfTheFirstDomainsPass)
{
    store(global_path, text_of("5.40"));
    store(domain_path("b"), text_of("5.40"));
    store(domain_path("d"), text_of("5.40"));
    script.effects["file /data/config/sys_domain.b.conf.gz mode 1"] = [] {
        for (const char *name : {"a", "c", "e"})
            ASSERT_EQ(link(domain_path("b").c_str(), domain_path(name).c_str()), 0);
    };
    EXPECT_EQ(domains_of(scripted_run()), "b d ");
}

TEST_F(UpgradeRun, ARunFromBefore510TakesTheGlobalFileTwice)
{
    store(global_path, text_of("4.33"));
    EXPECT_EQ(scripted_run(), "forget identifiers\n"
                              "open database\n"
                              "file /data/config/sys_global.conf.gz mode 0\n"
                              "load\n"
                              "walk 4.33 to " MIGR_IMAGE_RELEASE " mode 0 \"\"\n"
                              "reconcile\n"
                              "unload\n"
                              "file /data/config/sys_global.conf.gz mode 0\n"
                              "load\n"
                              "walk 5.10 to " MIGR_IMAGE_RELEASE " mode 0 \"\"\n"
                              "reconcile\n"
                              "unload\n"
                              "file jobs from 4.33\n"
                              "forget identifiers\n");
    expect_stored(global_path, text_of(MIGR_IMAGE_RELEASE));
}

TEST_F(UpgradeRun, ARaisedFlagLeadsToTheSplit)
{
    store(global_path, text_of("5.9"));
    script.effects["load"] = [] { vdom_update_flag = migr_main.cfg_version < MIGR_RELEASE(5, 10); };
    script.effects["split, flag 0"] = [] {
        /* What the split does to the disk, as far as the rest of the run sees it. */
        FILE *plain = fopen("/split", "w");
        fputs(text_of("upgraded 5.10").c_str(), plain);
        fclose(plain);
        cvgzip("/split", global_path);
        cvgzip("/split", domain_path("root").c_str());
        unlink("/split");
    };
    EXPECT_EQ(scripted_run(), "forget identifiers\n"
                              "open database\n"
                              "file /data/config/sys_global.conf.gz mode 0\n"
                              "load\n"
                              "walk 5.9 to " MIGR_IMAGE_RELEASE " mode 0 \"\"\n"
                              "reconcile\n"
                              "split, flag 0\n"
                              "unload\n"
                              "file /data/config/sys_global.conf.gz mode 0\n"
                              "load\n"
                              "walk 5.10 to " MIGR_IMAGE_RELEASE " mode 0 \"\"\n"
                              "reconcile\n"
                              "unload\n"
                              "file /data/config/sys_domain.root.conf.gz mode 1\n"
                              "load\n"
                              "walk 5.10 to " MIGR_IMAGE_RELEASE " mode 1 \"root\"\n"
                              "reconcile\n"
                              "unload\n"
                              "file jobs from 5.9\n"
                              "forget identifiers\n");
    expect_stored(global_path, text_of(MIGR_IMAGE_RELEASE));
    expect_stored(domain_path("root"), text_of(MIGR_IMAGE_RELEASE));
    expect_no_leftovers();
}

TEST_F(UpgradeRun, AFlagThatAFailedPassLeftUpSplitsInTheNext)
{
    store(global_path, text_of("5.9"));
    script.sections = {0x40021};
    script.effects["load"] = [] {
        script.sections.resize(vdom_update_flag ? 0 : 1); /* the loader stops at its first section */
        vdom_update_flag = 1;
    };
    script.results["step 4.33"] = -1;
    EXPECT_EQ(scripted_run(), "forget identifiers\n"
                              "open database\n"
                              "file /data/config/sys_global.conf.gz mode 0\n"
                              "load\n"
                              "step 4.33\n"
                              "unload\n"
                              "file /data/config/sys_global.conf.gz mode 0\n"
                              "load\n"
                              "walk 5.9 to " MIGR_IMAGE_RELEASE " mode 0 \"\"\n"
                              "reconcile\n"
                              "split, flag 0\n"
                              "unload\n"
                              "file jobs from 5.9\n"
                              "forget identifiers\n");
    EXPECT_EQ(appliance.read_gzip(global_path), text_of("5.9")) << "the scripted split stores nothing";
}

TEST_F(UpgradeRun, AFailedSplitIsNotFollowedByTheCertificateConversion)
{
    store(global_path, text_of("3.9"));
    script.effects["load"] = [] { vdom_update_flag = 1; };
    script.results["split, flag 0"] = -1;
    std::string calls = scripted_run();
    EXPECT_EQ(calls.find("convert certificates"), std::string::npos) << calls;
    EXPECT_EQ(appliance.read_gzip(global_path), text_of("3.9"));
    expect_no_leftovers();
}

TEST_F(UpgradeRun, TheDatabaseIsOpenForAllFilesAndClosedBehindThem)
{
    store(global_path, text_of("5.40"));
    script.effects["open database"] = [] { sig_db = reinterpret_cast<signature_database *>(&script); };
    EXPECT_EQ(scripted_run([] {
                  migr_main_do_all();
                  EXPECT_EQ(sig_db, nullptr);
              }),
              "forget identifiers\n"
              "open database\n"
              "file /data/config/sys_global.conf.gz mode 0\n"
              "load\n"
              "walk 5.40 to " MIGR_IMAGE_RELEASE " mode 0 \"\"\n"
              "reconcile\n"
              "unload\n"
              "close database\n"
              "forget identifiers\n");
    EXPECT_EQ(printed, "");
}

TEST_F(UpgradeRun, TheDatabaseIsOpenedAnewWhenItIsOpen)
{
    script.results["open database"] = 7;
    script.effects["open database"] = [] { sig_db = reinterpret_cast<signature_database *>(&script); };
    EXPECT_EQ(scripted_run([] {
                  EXPECT_EQ(global_sig_db_open(), 7) << "with a handle, the result is the platform's";
                  EXPECT_EQ(global_sig_db_open(), 7);
                  EXPECT_EQ(global_sig_db_close(), 0);
                  EXPECT_EQ(global_sig_db_close(), 0);
              }),
              "open database\nclose database\nopen database\nclose database\n");
}

TEST_F(UpgradeRun, ANullHandleIsNoDatabaseWhateverTheResult)
{
    EXPECT_EQ(scripted_run([] { EXPECT_EQ(global_sig_db_open(), -1); }), "open database\n");
    EXPECT_EQ(printed, no_database);
}

TEST_F(UpgradeRun, EachMechanismsFailureEndsTheFilesPass)
{
    struct {
        const char *failing;
        const char *calls; /* behind the loading of the two sections */
    } cases[] = {
        {"load", ""},
        {"step 4.33", "step 4.33\n"},
        {"delete 4.33", "step 4.33\ndelete 4.33\n"},
        {"modify 4.33", "step 4.33\ndelete 4.33\nmodify 4.33\n"},
        {"re-add 4.33", "step 4.33\ndelete 4.33\nmodify 4.33\nre-add 4.33\n"},
        {"delete 5.40", "step 4.33\ndelete 4.33\nmodify 4.33\nre-add 4.33\nstep 5.40\ndelete 5.40\n"},
    };
    for (auto &one : cases) {
        script = {};
        store(global_path, text_of("5.20"));
        script.sections = {0x40021, 0x50028};
        script.results[one.failing] = -1;
        EXPECT_EQ(scripted_run(), "forget identifiers\nopen database\n"
                                  "file /data/config/sys_global.conf.gz mode 0\nload\n" +
                                      std::string(one.calls) + "unload\nforget identifiers\n")
            << one.failing;
        EXPECT_EQ(appliance.read_gzip(global_path), text_of("5.20")) << one.failing;
        EXPECT_FALSE(appliance.exists("/var/log/sys_global.conf"));
        expect_no_leftovers();
    }
}

TEST_F(UpgradeRun, OnlyMinusOneIsAFailureOfAStep)
{
    store(global_path, text_of("5.20"));
    script.sections = {0x50028};
    script.results["step 5.40"] = 1;
    script.results["walk 5.20 to " MIGR_IMAGE_RELEASE " mode 0 \"\""] = -1; /* never examined */
    script.results["reconcile"] = -1;
    scripted_run();
    expect_stored(global_path, text_of(MIGR_IMAGE_RELEASE));
}

TEST_F(UpgradeRun, WithoutAnUpdateFileNothingIsUpgradedAndTheRunIsFinished)
{
    store(global_path, text_of("4.33"));
    store(domain_path("root"), text_of("5.40"));
    script.results["load"] = -1;
    EXPECT_EQ(scripted_run(), "forget identifiers\nopen database\n"
                              "file /data/config/sys_global.conf.gz mode 0\nload\nunload\n"
                              "file /data/config/sys_global.conf.gz mode 0\nload\nunload\n"
                              "file /data/config/sys_domain.root.conf.gz mode 1\nload\nunload\n"
                              "file jobs from 4.33\nforget identifiers\n");
    EXPECT_EQ(appliance.read_gzip(global_path), text_of("4.33"));
    EXPECT_EQ(appliance.read_gzip(domain_path("root")), text_of("5.40"));
    expect_no_leftovers();
}

TEST_F(UpgradeRun, AMissingUpdateFileIsSuchAFailure)
{
    store(global_path, text_of("5.40"));
    store(domain_path("root"), text_of("5.40"));
    Listing     before = appliance.listing();
    ChildResult child = run();
    EXPECT_EQ(child.exit_code, 0) << child.err;
    EXPECT_EQ(child.out, no_database);
    EXPECT_EQ(appliance.listing(), before);
    appliance.write("/data/etc/update_config", ""); /* the next run tries again */
    ASSERT_EQ(run().exit_code, 0);
    expect_stored(global_path, text_of(MIGR_IMAGE_RELEASE));
    expect_stored(domain_path("root"), text_of(MIGR_IMAGE_RELEASE));
}

TEST_F(UpgradeRun, ABadRuleIsSuchAFailure)
{
    appliance.write("/data/etc/update_config", "[5.50]\n[DELETE]\nno path\n");
    store(global_path, text_of("5.40"));
    store(domain_path("newer"), text_of("5.50")); /* for which that section is not loaded */
    ASSERT_EQ(run().exit_code, 0);
    EXPECT_EQ(appliance.read_gzip(global_path), text_of("5.40"));
    expect_stored(domain_path("newer"), text_of(MIGR_IMAGE_RELEASE));
    expect_no_leftovers();
}

TEST_F(UpgradeRun, BridgesGoAheadOfTheStepOf40)
{
    store(global_path, text_of("5.40"));
    script.sections = {0x3ffff, 0x40000, 0x40001};
    script.effects["load"] = [] { notp_bridge_main.transparent = 1; };
    std::string calls = scripted_run();
    EXPECT_NE(calls.find("re-add 3.65535\n"
                         "find bridges\nfree bridges\n"
                         "step 4.0\ndelete 4.0\nmodify 4.0\nre-add 4.0\n"
                         "step 4.1\n"),
              std::string::npos)
        << calls;
    EXPECT_EQ(calls.find("bridges"), calls.rfind("find bridges") + strlen("find ")) << calls;
}

TEST_F(UpgradeRun, CertificatesAreConvertedAfterEachGoodPassFromBefore40)
{
    store(global_path, text_of("3.65535"));
    store(domain_path("old"), text_of("3.0"));
    store(domain_path("newer"), text_of("4.0"));
    std::string calls = scripted_run();
    /* The global file's first pass saw the old version, its second one 5.10. */
    EXPECT_NE(
        calls.find("walk 3.65535 to " MIGR_IMAGE_RELEASE " mode 0 \"\"\nreconcile\nunload\nconvert certificates\n"),
        std::string::npos)
        << calls;
    EXPECT_NE(calls.find("walk 5.10 to " MIGR_IMAGE_RELEASE " mode 0 \"\"\nreconcile\nunload\nfile"), std::string::npos)
        << calls;
    EXPECT_NE(calls.find("mode 1 \"old\"\nreconcile\nunload\nconvert certificates\n"), std::string::npos) << calls;
    EXPECT_EQ(calls.find("mode 1 \"newer\"\nreconcile\nunload\nconvert certificates\n"), std::string::npos) << calls;
    expect_stored(domain_path("old"), text_of("upgraded 5.10"));
}

TEST_F(UpgradeRun, CertificatesAreNotConvertedAfterAFailedPass)
{
    store(global_path, text_of("3.0"));
    script.compression = [](const std::string &) { return -1; };
    std::string calls = scripted_run();
    EXPECT_EQ(calls.find("convert certificates"), std::string::npos) << calls;
}

TEST_F(UpgradeRun, FileJobsAreForRunsThatCross520)
{
    script.scripted = true;
    script.results["file jobs from 5.19"] = -7;
    EXPECT_EQ(do_other_migr_jobs(0x50013, MIGR_RELEASE_IMAGE), -7);
    EXPECT_EQ(do_other_migr_jobs(0x50013, 0x50014), -7);
    EXPECT_EQ(do_other_migr_jobs(0x30000, 0x50014), 0);
    EXPECT_EQ(mechanisms::calls(), "file jobs from 5.19\nfile jobs from 5.19\nfile jobs from 3.0\n");
    EXPECT_EQ(do_other_migr_jobs(0x50013, 0x50013), 0);
    EXPECT_EQ(do_other_migr_jobs(0x50014, MIGR_RELEASE_IMAGE), 0);
    EXPECT_EQ(mechanisms::calls().size(), strlen("file jobs from 5.19\nfile jobs from 5.19\nfile jobs from 3.0\n"));
}

TEST_F(UpgradeRun, FileJobsGoByTheGlobalFilesOldVersion)
{
    store(global_path, text_of("5.20"));
    store(domain_path("old"), text_of("5.10"));
    std::string calls = scripted_run();
    EXPECT_EQ(calls.find("file jobs"), std::string::npos) << calls;
    store(global_path, text_of("5.19"));
    store(domain_path("old"), text_of("6.20"));
    calls = scripted_run();
    EXPECT_NE(calls.find("unload\nfile jobs from 5.19\nforget identifiers\n"), std::string::npos) << calls;
}

TEST_F(UpgradeRun, ADomainsNameIsCutOutOfItsPath)
{
    struct {
        const char *file;
        const char *name;
    } cases[] = {
        {"sys_domain.root.conf.gz", "root"},
        {"sys_domain.a.b.conf.gz", "a.b"},
        {"sys_domain..conf.gz", ""},
        {"backup.conf.gz.old", ""}, /* 31 characters: shorter than prefix and ending */
        {"some_other_name_of_a_domain.conf.gz", "name_of_a_domain"},
        {"sys_domain.root.conf.gz.bak", "root.con"},
    };
    for (auto &one : cases) {
        ApplianceRoot fresh;
        fresh.write_gzip("/data/config/" + std::string(one.file), text_of("5.40"));
        script = {};
        script.scripted = true;
        ChildResult child = run_in_root(fresh.path(), [&] {
            migr_main_func(("/data/config/" + std::string(one.file)).c_str(), MIGR_DOMAIN);
            fputs(mechanisms::calls().c_str(), stderr);
            return 0;
        });
        std::string walk = std::string("walk 5.40 to " MIGR_IMAGE_RELEASE " mode 1 \"") + one.name + "\"\n";
        EXPECT_NE(child.err.find(walk), std::string::npos) << one.file << ": " << child.err;
    }
}

TEST_F(UpgradeRun, ADomainsNameIsCutAt127)
{
    store(global_path, text_of("5.40"));
    store(domain_path(std::string(150, 'd')), text_of("5.40"));
    EXPECT_NE(scripted_run().find("mode 1 \"" + std::string(127, 'd') + "\"\n"), std::string::npos);
}

TEST_F(UpgradeRun, OnlyDomainsHaveAName)
{
    store(domain_path("root"), text_of("5.40"));
    EXPECT_NE(scripted_run([] { migr_main_func(domain_path("root").c_str(), MIGR_GLOBAL); }).find("mode 0 \"\"\n"),
              std::string::npos);
}

TEST_F(UpgradeRun, EachPassStartsWithAZeroedContext)
{
    store(global_path, text_of("5.40"));
    store(domain_path("a"), "config a\n");
    script.scripted = true;
    ChildResult child = run_in_root(appliance.path(), [] {
        memset(static_cast<void *>(&migr_main), 0x5a, sizeof migr_main);
        migr_main_func(global_path, MIGR_GLOBAL);
        EXPECT_EQ(migr_main.mode, 0u);
        EXPECT_EQ(migr_main.modified, 1u);
        EXPECT_EQ(migr_main.xml_trim_mode, 0u);
        EXPECT_STREQ(migr_main.adom_name, "");
        EXPECT_EQ(migr_main.cfg_version, 0x50028);
        EXPECT_EQ(migr_main.img_version, MIGR_RELEASE_IMAGE);
        EXPECT_EQ(migr_main.cfg_build, 100);
        migr_main_func(domain_path("a").c_str(), MIGR_DOMAIN);
        EXPECT_EQ(migr_main.mode, 1u);
        EXPECT_EQ(migr_main.modified, 0u);
        EXPECT_EQ(migr_main.cfg_version, -1);
        EXPECT_EQ(migr_main.cfg_build, 0);
        EXPECT_STREQ(migr_main.first_line, "");
        EXPECT_EQ(migr_main.update_list.next, &migr_main.update_list);
        return 0;
    });
    EXPECT_EQ(child.exit_code, 0) << child.out << child.err;
}

TEST_F(UpgradeRun, TheRunStartsAndEndsWithAnEmptyTemporaryTree)
{
    store(global_path, text_of("5.40"));
    store(domain_path("a"), text_of("5.40"));
    script.effects["walk 5.40 to " MIGR_IMAGE_RELEASE " mode 0 \"\""] = [] {
        EXPECT_EQ(tmp_tree_root.kind, 1u);
        EXPECT_EQ(tmp_tree_root.top_list, nullptr);
        make_nodes_for_run(1);
        EXPECT_EQ(copy_node(&migr_main.root, &tmp_tree_root), 0);
        make_nodes_for_run(0);
        cfg_del_conf(migr_main.root.top_list, &migr_main.root);
    };
    script.effects["walk 5.40 to " MIGR_IMAGE_RELEASE " mode 1 \"a\""] = [] {
        EXPECT_EQ(dump(tmp_tree_root), "top router,nowhere\n  set name=x\n");
    };
    scripted_run([] {
        memset(static_cast<void *>(&tmp_tree_root), 0x5a, sizeof tmp_tree_root);
        done_sigid_check = 1;
        migr_main_do_all();
        EXPECT_EQ(tmp_tree_root.top_list, nullptr);
        EXPECT_EQ(tmp_tree_root.kind, 1u);
        EXPECT_EQ(done_sigid_check, 0);
    });
    expect_stored(global_path, header(MIGR_IMAGE_RELEASE));
}

/* The road of a host that does the pass itself. */

TEST_F(UpgradeRun, AdjustTreeMarksTheContextOnSuccessAndOnFailure)
{
    scripted_run([] {
        memset(static_cast<void *>(&migr_main), 0, sizeof migr_main);
        migr_main.root.kind = MIGR_ROOT;
        EXPECT_EQ(adjust_tree(), 0);
        EXPECT_EQ(migr_main.modified, 1u);
        migr_main.modified = 0;
        script.results["load"] = -1;
        EXPECT_EQ(adjust_tree(), -1);
        EXPECT_EQ(migr_main.modified, 1u);
    });
}

TEST_F(UpgradeRun, AdjustTreeMayBeCalledAgainWithoutAPass)
{
    script.sections = {0x50028};
    std::string once =
        "load\nstep 5.40\ndelete 5.40\nmodify 5.40\nre-add 5.40\nwalk 0.0 to 0.0 mode 0 \"\"\nreconcile\n";
    EXPECT_EQ(scripted_run([] {
                  memset(static_cast<void *>(&migr_main), 0, sizeof migr_main);
                  EXPECT_EQ(adjust_tree(), 0);
                  EXPECT_EQ(adjust_tree(), 0);
                  free_migr_tree();
              }),
              once + "unload\n" + once + "unload\n");
}

TEST_F(UpgradeRun, AHostsUpdateSectionsGoWithItsNodes)
{
    appliance.write("/data/etc/update_config", "[6.10]\n[DELETE]\n<a><b>\n[6.20]\n");
    store("/file.gz", text_of("5.40"));
    script.no_walk = true;
    ChildResult child = run_in_root(appliance.path(), [] {
        EXPECT_EQ(parse_version("/file.gz", 0), 0);
        EXPECT_EQ(setup_tree(&migr_main, "/tmp/system1.conf"), 0);
        EXPECT_EQ(adjust_tree(), 0);
        EXPECT_NE(migr_main.update_list.next, &migr_main.update_list);
        migr_release_nodes();
        EXPECT_EQ(migr_main.update_list.next, &migr_main.update_list);
        EXPECT_EQ(migr_main.update_list.prev, &migr_main.update_list);
        return 0;
    });
    EXPECT_EQ(child.exit_code, 0) << child.out << child.err;
}

TEST_F(UpgradeRun, AHostUpgradesAFileByItself)
{
    appliance.write("/data/etc/update_config", "");
    store("/file.gz", text_of("7.0", "by-host"));
    script.no_walk = true;
    ChildResult child = run_in_root(appliance.path(), [] {
        EXPECT_EQ(parse_version("/file.gz", 1), 0);
        EXPECT_EQ(setup_tree(&migr_main, "/tmp/system1.conf"), 0);
        EXPECT_EQ(adjust_tree(), 0);
        EXPECT_EQ(new_config_file_GUI("/out.conf"), 0);
        migr_release_nodes();
        migr_release_nodes();
        return 0;
    });
    EXPECT_EQ(child.exit_code, 0) << child.out << child.err;
    EXPECT_EQ(appliance.read("/out.conf"), text_of(MIGR_IMAGE_RELEASE, "by-host"));
    EXPECT_EQ(appliance.read_gzip("/file.gz"), text_of("7.0", "by-host"));
}

} // namespace
