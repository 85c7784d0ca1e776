/*
 * The road of files from before 5.10, when an appliance had one file: a pass to 5.10 that ends in the split, and then
 * the passes of the two files that the split wrote. All mechanisms are the real ones.
 */
#include "driver/migr.h"
#include "run_log.h"
#include "support/appliance_root.h"
#include "support/image_line.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <functional>

using support::ApplianceRoot;
using support::ChildResult;
using support::Listing;

namespace {

constexpr char no_folder[] = "Can not stat the source dir!\n";

std::string file(const std::string &release, const std::string &text)
{
    return "#config-version=QA-A1X-" + release + ":opmode=0\n#conf_file_ver=7\n" + text;
}

std::string old_file(const std::string &release, const std::string &text)
{
    return file(release + "-CV-build0100-140101", text);
}

std::string new_file(const std::string &release, const std::string &text)
{
    return file(release + IMAGE_STAMP, text);
}

/* Each release renames the next set; 5.10 also deletes one, and 5.20 renames what the split has made a domain's. */
const std::string rules = "[4.40]\n[MODIFY]\n<alpha one><never>, <loaded>\n"
                          "[5.0]\n[MODIFY]\n<alpha one><a>, <b>\n"
                          "[5.10]\n[DELETE]\n<alpha one><gone>\n[MODIFY]\n<alpha one><b>, <c>\n"
                          "[5.20]\n[MODIFY]\n<alpha one><c>, <d>\n<beta two><x>, <y>\n"
                          "[" MIGR_IMAGE_RELEASE "]\n[MODIFY]\n<alpha one><d>, <e>\n";

const std::string syntax = "GLOBAL TABLE \"alpha one\"\nGLOBAL TABLE \"system advanced\"\n"
                           "DOMAIN TABLE \"beta two\"\nDOMAIN TABLE \"waf signature\"\n";

/* One file with everything: what rules rename, what belongs to the domain, and a config that the syntax file does not
 * name. */
const std::string whole_text = "config alpha one\n    set a 1\n    set gone 2\n    set never 3\nend\n"
                               "config beta two\n    edit one\n        set x 4\n    next\nend\n"
                               "config forgotten\n    set z 5\nend\n";

const std::string split_global = "config alpha one\n    set c 1\n    set never 3\nend\n";
const std::string split_domain = "config beta two\n    edit one\n        set x 4\n    next\nend\n";

/* The walk adds this block to every file, at its front. */
const std::string settings = "config server-policy setting\nend\n";

const std::string final_global = settings + "config alpha one\n    set e 1\n    set never 3\nend\n";
const std::string final_domain = settings + "config beta two\n    edit one\n        set y 4\n    next\nend\n";

class OldRoad : public testing::Test {
  protected:
    ApplianceRoot root;

    void SetUp() override
    {
        root.write("/data/etc/update_config", rules);
        root.write("/etc/syntax_v510.txt", syntax);
        root.database("CREATE TABLE class_map(main_class_id TEXT, sub_class_id TEXT, discard INTEGER);"
                      "CREATE TABLE signature_rule(signature_id TEXT, FP_mitigation INTEGER, score INTEGER);"
                      "INSERT INTO signature_rule VALUES ('010000005', 0, 0);");
    }

    void store(const std::string &name, const std::string &text)
    {
        root.write_gzip("/data/config/" + name + ".conf.gz", text);
    }

    void remove(const std::string &path)
    {
        std::filesystem::remove(root.path() / path.substr(1));
    }

    /* One of the XML proxy, and the folder to which it is to move. */
    void lay_out_certificate()
    {
        root.folder("/data/etc/cert/local");
        root.write("/data/etc/xmlproxy/certs/site1/ca.pem", "certificate");
    }

    /* Puts a text that is no rule in place of one. */
    void break_rule(const std::string &rule)
    {
        std::string broken = rules;
        broken.replace(broken.find(rule), rule.size(), "no rule");
        root.write("/data/etc/update_config", broken);
    }

    /* A run, then `check`, which sees the log of the run. No temporary file may stay behind. */
    ChildResult run(const std::function<void()> &check)
    {
        ChildResult child = support::run_in_root(root.path(), [&] {
            migr_main_do_all();
            check();
            return 0;
        });
        EXPECT_EQ(0, child.exit_code) << child.out << child.err;
        for (const auto &[path, entry] : root.listing())
            EXPECT_FALSE(path.starts_with("tmp/") || path == "qx_migr_unzip_tmp") << path;
        return child;
    }
};

} // namespace

TEST_F(OldRoad, LeadsThroughTheSplit)
{
    store("sys_global", old_file("4.40", whole_text));
    ChildResult child = run([] {
        EXPECT_EQ("pass global sys_global\n"
                  "step 5.0\n"
                  "step 5.10\n"
                  "walk 4.40 to " MIGR_IMAGE_RELEASE "\n"
                  "reconcile\n"
                  "split\n"
                  "pass global sys_global\n"
                  "step 5.20\n"
                  "step " MIGR_IMAGE_RELEASE "\n"
                  "walk 5.10 to " MIGR_IMAGE_RELEASE "\n"
                  "reconcile\n"
                  "write\n"
                  "pass domain sys_domain.root\n"
                  "step 5.20\n"
                  "step " MIGR_IMAGE_RELEASE "\n"
                  "walk 5.10 to " MIGR_IMAGE_RELEASE " of root\n"
                  "reconcile\n"
                  "write\n"
                  "file jobs from 4.40\n",
                  run_steps());
        ASSERT_EQ(3u, run_log.stored.size());
        EXPECT_EQ((StoredTexts{{"sys_global", old_file("4.40", whole_text)}}), run_log.stored[0]);
        EXPECT_EQ((StoredTexts{{"sys_global", new_file("5.10", split_global)},
                               {"sys_domain.root", new_file("5.10", split_domain)}}),
                  run_log.stored[1])
            << "the split keeps no plain copies";
        EXPECT_EQ((StoredTexts{{"sys_global", new_file(MIGR_IMAGE_RELEASE, final_global)},
                               {"sys_domain.root", new_file("5.10", split_domain)},
                               {"log/sys_global.conf", new_file(MIGR_IMAGE_RELEASE, final_global)}}),
                  run_log.stored[2]);
        EXPECT_EQ((StoredTexts{{"sys_global", new_file(MIGR_IMAGE_RELEASE, final_global)},
                               {"sys_domain.root", new_file(MIGR_IMAGE_RELEASE, final_domain)},
                               {"log/sys_global.conf", new_file(MIGR_IMAGE_RELEASE, final_global)},
                               {"log/sys_domain.root.conf", new_file(MIGR_IMAGE_RELEASE, final_domain)}}),
                  stored_texts());
    });
    EXPECT_EQ("", child.out + child.err);
}

TEST_F(OldRoad, IsTheSameFrom59)
{
    store("sys_global", old_file("5.9", "config alpha one\nset b 1\nset gone 2\nend\nconfig beta two\nend\n"));
    run([] {
        EXPECT_EQ("pass global sys_global\n"
                  "step 5.10\n"
                  "walk 5.9 to " MIGR_IMAGE_RELEASE "\n"
                  "reconcile\n"
                  "split\n",
                  run_steps().substr(0, run_steps().find("split\n") + 6));
        EXPECT_EQ(new_file("5.10", "config alpha one\n    set c 1\nend\n"), run_log.stored.at(1).at("sys_global"));
        EXPECT_EQ(new_file("5.10", "config beta two\nend\n"), run_log.stored.at(1).at("sys_domain.root"));
    });
}

/* At 5.10 a global file is a global file, whatever it holds. */
TEST_F(OldRoad, EndsAt510)
{
    store("sys_global", old_file("5.10", whole_text));
    std::string upgraded =
        new_file(MIGR_IMAGE_RELEASE, settings + "config alpha one\n    set a 1\n    set gone 2\n    set never 3\n"
                                                "end\nconfig beta two\n    edit one\n        set y 4\n    next\n"
                                                "end\nconfig forgotten\n    set z 5\nend\n");
    run([&] {
        EXPECT_EQ("pass global sys_global\n"
                  "step 5.20\n"
                  "step " MIGR_IMAGE_RELEASE "\n"
                  "walk 5.10 to " MIGR_IMAGE_RELEASE "\n"
                  "reconcile\n"
                  "write\n"
                  "file jobs from 5.10\n",
                  run_steps());
        EXPECT_EQ((StoredTexts{{"sys_global", upgraded}, {"log/sys_global.conf", upgraded}}), stored_texts());
    });
}

/* Every stage table runs on the old file, and again on what the split wrote. So the first walk takes an "enable" for
 * the old default and drops it, and the second one finds none and writes "disable". */
TEST_F(OldRoad, WalksTheStagesTwice)
{
    store("sys_global", old_file("5.0", "config system advanced\nset circulate-url-decode enable\nend\n"));
    run([] {
        EXPECT_EQ(new_file("5.10", "config system advanced\nend\n"), run_log.stored.at(1).at("sys_global"));
        EXPECT_EQ(new_file(MIGR_IMAGE_RELEASE,
                           settings + "config system advanced\n    set circulate-url-decode disable\nend\n"),
                  stored_texts()["sys_global"]);
    });
}

TEST_F(OldRoad, ReconcilesSignaturesBeforeTheSplit)
{
    store("sys_global",
          old_file("5.0", "config waf signature\nedit Drupal\nconfig alert_only_list\nedit 010000005\nnext\n"
                          "edit 010000009\nnext\nend\nnext\nend\n"));
    run([] {
        EXPECT_EQ(new_file("5.10", "config waf signature\n    edit Drupal\n        config alert_only_list\n"
                                   "            edit 010000005\n            next\n        end\n    next\nend\n"),
                  run_log.stored.at(1).at("sys_domain.root"));
    });
}

/* The old file's own walk loads what lies in the flat folders, before the domains have folders of their own; the step
 * to 5.20 then carries it from the global file into the domain. */
TEST_F(OldRoad, CarriesCertificatesFromTheFlatFoldersIntoTheDomain)
{
    root.write("/etc/syntax_v510.txt",
               "GLOBAL TABLE \"system certificate ca\"\nDOMAIN TABLE \"system default_rptlang\"\n");
    root.write("/data/etc/cert/ca/one.cer", "certificate");
    store("sys_global", old_file("5.0", "config system default_rptlang\nend\nconfig system certificate ca\nedit one\n"
                                        "next\nend\n"));
    run([] {
        std::string certificates =
            "config system certificate ca\n    edit one\n        set certificate \"certificate\"\n"
            "    next\nend\n";
        EXPECT_EQ(new_file("5.10", certificates), run_log.stored.at(1).at("sys_global"));
        EXPECT_EQ(new_file(MIGR_IMAGE_RELEASE, ""), run_log.stored.at(2).at("sys_global"));
        EXPECT_EQ(new_file(MIGR_IMAGE_RELEASE, settings + "config system default_rptlang\nend\n" + certificates),
                  stored_texts()["sys_domain.root"]);
    });
    EXPECT_EQ("certificate", root.read("/data/etc/cert/ca/root/one.cer"));
    EXPECT_FALSE(root.exists("/data/etc/cert/ca/one.cer"));
}

TEST_F(OldRoad, ReplacesARootDomainThatIsThere)
{
    store("sys_global", old_file("5.0", whole_text));
    store("sys_domain.root", old_file("5.30", "config beta two\nset mine 1\nend\n"));
    run([] { EXPECT_EQ(new_file(MIGR_IMAGE_RELEASE, final_domain), stored_texts()["sys_domain.root"]); });
}

TEST_F(OldRoad, IsAllDoneAfterOneRun)
{
    store("sys_global", old_file("5.0", whole_text));
    run([] {});
    Listing after = root.listing();
    run([] { EXPECT_EQ("", run_steps()); });
    EXPECT_EQ(after, root.listing());
}

/* Without a section of 5.10 the loader never stops: all rules up to the image act in both passes, and the file stays
 * one file, with 5.10 in its line between the passes. */
TEST_F(OldRoad, StaysOneFileWithoutASectionOf510)
{
    root.write("/data/etc/update_config", "[5.0]\n[MODIFY]\n<alpha one><a>, <b>\n"
                                          "[5.11]\n[MODIFY]\n<alpha one><twice>, <done>\n"
                                          "[" MIGR_IMAGE_RELEASE "]\n");
    store("sys_global", old_file("4.40", "config alpha one\nset a 1\nset twice 2\nset twice 3\nend\n"));
    run([] {
        EXPECT_EQ("pass global sys_global\n"
                  "step 5.0\n"
                  "step 5.11\n"
                  "step " MIGR_IMAGE_RELEASE "\n"
                  "walk 4.40 to " MIGR_IMAGE_RELEASE "\n"
                  "reconcile\n"
                  "write\n"
                  "pass global sys_global\n"
                  "step 5.11\n"
                  "step " MIGR_IMAGE_RELEASE "\n"
                  "walk 5.10 to " MIGR_IMAGE_RELEASE "\n"
                  "reconcile\n"
                  "write\n"
                  "file jobs from 4.40\n",
                  run_steps());
        std::string once =
            new_file("5.10", settings + "config alpha one\n    set b 1\n    set done 2\n    set twice 3\nend\n");
        std::string twice = new_file(MIGR_IMAGE_RELEASE,
                                     settings + "config alpha one\n    set b 1\n    set done 2\n    set done 3\nend\n");
        EXPECT_EQ((StoredTexts{{"sys_global", once}, {"log/sys_global.conf", once}}), run_log.stored.at(1));
        EXPECT_EQ((StoredTexts{{"sys_global", twice}, {"log/sys_global.conf", twice}}), stored_texts());
    });
}

/* What the step to 4.20 does stays undone for good when the update file has no section of 4.20. */
TEST_F(OldRoad, LeavesOutAStepWithoutItsSection)
{
    auto filter = [](const std::string &priority) {
        return "config xml-protection filter-rule\n    edit one\n        config rule\n            edit 1\n"
               "                set priority " +
               priority + "\n            next\n        end\n    next\nend\n";
    };
    const std::string with_step = "[4.11]\n[4.20]\n[4.30]\n[5.10]\n[" MIGR_IMAGE_RELEASE "]\n";
    root.write("/etc/syntax_v510.txt", "GLOBAL TABLE \"xml-protection filter-rule\"\n");
    for (const auto &[sections, priority] :
         {std::pair(with_step, "7232"), std::pair(with_step.substr(0, 7) + with_step.substr(14), "40000")}) {
        SCOPED_TRACE(sections);
        root.write("/data/etc/update_config", sections);
        store("sys_global", old_file("4.0", filter("40000")));
        run([&, priority = priority, has_step = sections == with_step] {
            EXPECT_EQ(has_step, run_steps().find("step 4.20\n") != std::string::npos) << run_steps();
            EXPECT_NE(std::string::npos, run_steps().find("step 4.11\n")) << run_steps();
            EXPECT_NE(std::string::npos, run_steps().find("step 4.30\n")) << run_steps();
            EXPECT_EQ(new_file(MIGR_IMAGE_RELEASE, settings + filter(priority)), stored_texts()["sys_global"]);
        });
    }
}

TEST_F(OldRoad, FailsTwiceWithoutASyntaxFile)
{
    remove("/etc/syntax_v510.txt");
    store("sys_global", old_file("4.40", whole_text));
    store("sys_domain.shop", old_file("5.40", "config beta two\nend\n"));
    ChildResult child = run([] {
        EXPECT_EQ("pass global sys_global\n"
                  "step 5.0\n"
                  "step 5.10\n"
                  "walk 4.40 to " MIGR_IMAGE_RELEASE "\n"
                  "reconcile\n"
                  "split fails\n"
                  "pass global sys_global\n"
                  "step 5.0\n"
                  "step 5.10\n"
                  "walk 4.40 to " MIGR_IMAGE_RELEASE "\n"
                  "reconcile\n"
                  "split fails\n"
                  "pass domain sys_domain.shop\n"
                  "step " MIGR_IMAGE_RELEASE "\n"
                  "walk 5.40 to " MIGR_IMAGE_RELEASE " of shop\n"
                  "reconcile\n"
                  "write\n"
                  "file jobs from 4.40\n",
                  run_steps())
            << "the flag is down when the split begins, so the second pass loads the rules again";
        EXPECT_EQ(0, vdom_update_flag);
        EXPECT_EQ(old_file("4.40", whole_text), stored_texts()["sys_global"]);
        EXPECT_EQ(0u, stored_texts().count("sys_domain.root"));
        EXPECT_EQ(0u, stored_texts().count("log/sys_global.conf"));
        EXPECT_EQ(new_file(MIGR_IMAGE_RELEASE, settings + "config beta two\nend\n"), stored_texts()["sys_domain.shop"]);
    });
    EXPECT_EQ("ERROR: open syntax file err.\nERROR: open syntax file err.\n", child.out);
    root.write("/etc/syntax_v510.txt", syntax);
    run([] { EXPECT_EQ(new_file(MIGR_IMAGE_RELEASE, final_global), stored_texts()["sys_global"]); });
}

/* A rule fails when the loader has raised the flag already. Nobody lowers it, so the second pass loads nothing, and
 * splits the old file as it is. The domain goes on from there; the global file waits at 5.10 for the next run. */
TEST_F(OldRoad, SplitsTheUnchangedFileAfterAFailedFirstPass)
{
    break_rule("<alpha one><gone>");
    store("sys_global", old_file("4.40", whole_text));
    ChildResult child = run([] {
        EXPECT_EQ("pass global sys_global\n"
                  "step 5.0\n"
                  "step 5.10\n"
                  "pass global sys_global\n"
                  "walk 4.40 to " MIGR_IMAGE_RELEASE "\n"
                  "reconcile\n"
                  "split\n"
                  "pass domain sys_domain.root\n"
                  "step 5.20\n"
                  "step " MIGR_IMAGE_RELEASE "\n"
                  "walk 5.10 to " MIGR_IMAGE_RELEASE " of root\n"
                  "reconcile\n"
                  "write\n"
                  "file jobs from 4.40\n",
                  run_steps());
        EXPECT_EQ(0, vdom_update_flag);
        EXPECT_EQ((StoredTexts{{"sys_global", old_file("4.40", whole_text)}}), run_log.stored.at(1));
        StoredTexts after = stored_texts();
        EXPECT_EQ(new_file("5.10", "config alpha one\n    set a 1\n    set gone 2\n    set never 3\nend\n"),
                  after["sys_global"]);
        EXPECT_EQ(new_file(MIGR_IMAGE_RELEASE, final_domain), after["sys_domain.root"]);
    });
    EXPECT_EQ("", child.out + child.err);
    run([] {
        EXPECT_EQ("pass global sys_global\n"
                  "step 5.20\n"
                  "step " MIGR_IMAGE_RELEASE "\n"
                  "walk 5.10 to " MIGR_IMAGE_RELEASE "\n"
                  "reconcile\n"
                  "write\n"
                  "pass domain sys_domain.root\n"
                  "file jobs from 5.10\n",
                  run_steps());
        EXPECT_EQ(new_file(MIGR_IMAGE_RELEASE,
                           settings + "config alpha one\n    set a 1\n    set gone 2\n    set never 3\nend\n"),
                  stored_texts()["sys_global"]);
    });
}

/* The rules behind 5.10 are not loaded ahead of the split, so they cannot keep it back. */
TEST_F(OldRoad, SplitsWhateverRulesBehind510Say)
{
    break_rule("<alpha one><c>, <d>");
    store("sys_global", old_file("4.40", whole_text));
    run([] {
        EXPECT_EQ("pass global sys_global\n"
                  "step 5.0\n"
                  "step 5.10\n"
                  "walk 4.40 to " MIGR_IMAGE_RELEASE "\n"
                  "reconcile\n"
                  "split\n"
                  "pass global sys_global\n"
                  "step 5.20\n"
                  "pass domain sys_domain.root\n"
                  "step 5.20\n"
                  "file jobs from 4.40\n",
                  run_steps());
        EXPECT_EQ(0, vdom_update_flag);
        EXPECT_EQ(new_file("5.10", split_global), stored_texts()["sys_global"]);
        EXPECT_EQ(new_file("5.10", split_domain), stored_texts()["sys_domain.root"]);
    });
}

/* A file that does not parse never comes to the loader, so the flag stays down. */
TEST_F(OldRoad, EndsAtATextThatDoesNotParse)
{
    std::string broken = old_file("4.40", whole_text + "config beta two\nset x\nend\n");
    store("sys_global", broken);
    run([&] {
        EXPECT_EQ("pass global sys_global\npass global sys_global\nfile jobs from 4.40\n", run_steps());
        EXPECT_EQ(0, vdom_update_flag);
        EXPECT_EQ((StoredTexts{{"sys_global", broken}}), stored_texts());
    });
}

/* Without an update file no file is upgraded, and the run is finished all the same. */
TEST_F(OldRoad, FinishesWithoutAnUpdateFile)
{
    remove("/data/etc/update_config");
    store("sys_global", old_file("4.40", whole_text));
    store("sys_domain.shop", old_file("5.40", "config beta two\nend\n"));
    root.write("/data/etc/cert/ca/one.cer", "certificate");
    run([] {
        EXPECT_EQ("pass global sys_global\n"
                  "pass global sys_global\n"
                  "pass domain sys_domain.shop\n"
                  "file jobs from 4.40\n",
                  run_steps());
        EXPECT_EQ(0, vdom_update_flag);
        EXPECT_EQ((StoredTexts{{"sys_global", old_file("4.40", whole_text)},
                               {"sys_domain.shop", old_file("5.40", "config beta two\nend\n")}}),
                  stored_texts());
    });
    EXPECT_EQ("certificate", root.read("/data/etc/cert/ca/root/one.cer"));
}

/* A domain's file from before 5.10 is split like any other: over the global file, into the domain "root". Its own file
 * stays, and the next run splits it again. */
TEST_F(OldRoad, IsADomainFilesRoadToo)
{
    store("sys_global", old_file("5.20", "config alpha one\nset c 9\nend\n"));
    store("sys_domain.shop", old_file("5.9", "config alpha one\nset b 1\nend\nconfig beta two\nend\n"));
    run([] {
        EXPECT_EQ("pass global sys_global\n"
                  "step " MIGR_IMAGE_RELEASE "\n"
                  "walk 5.20 to " MIGR_IMAGE_RELEASE "\n"
                  "reconcile\n"
                  "write\n"
                  "pass domain sys_domain.shop\n"
                  "step 5.10\n"
                  "walk 5.9 to " MIGR_IMAGE_RELEASE " of shop\n"
                  "reconcile\n"
                  "split\n",
                  run_steps());
        EXPECT_EQ(new_file(MIGR_IMAGE_RELEASE, settings + "config alpha one\n    set c 9\nend\n"),
                  run_log.stored.at(1).at("sys_global"));
        StoredTexts after = stored_texts();
        EXPECT_EQ(new_file("5.10", "config alpha one\n    set c 1\nend\n"), after["sys_global"]);
        EXPECT_EQ(new_file("5.10", "config beta two\nend\n"), after["sys_domain.root"]);
        EXPECT_EQ(old_file("5.9", "config alpha one\nset b 1\nend\nconfig beta two\nend\n"), after["sys_domain.shop"]);
    });
}

/* A flag that a failed pass leaves up makes the next file split, whichever that is. */
TEST_F(OldRoad, LeavesItsFlagToTheNextFile)
{
    break_rule("<alpha one><gone>");
    store("sys_global", old_file("5.40", "config alpha one\nend\n"));
    store("sys_domain.shop", old_file("5.9", "config alpha one\nend\nconfig beta two\nend\n"));
    store("sys_domain.tail", old_file("5.40", "config alpha one\nset tail 1\nend\nconfig beta two\nset tail 2\nend\n"));
    run([] {
        EXPECT_EQ("pass global sys_global\n"
                  "step " MIGR_IMAGE_RELEASE "\n"
                  "walk 5.40 to " MIGR_IMAGE_RELEASE "\n"
                  "reconcile\n"
                  "write\n"
                  "pass domain sys_domain.shop\n"
                  "step 5.10\n"
                  "pass domain sys_domain.tail\n"
                  "walk 5.40 to " MIGR_IMAGE_RELEASE " of tail\n"
                  "reconcile\n"
                  "split\n",
                  run_steps());
        EXPECT_EQ(new_file(MIGR_IMAGE_RELEASE, "config alpha one\n    set tail 1\nend\n"),
                  stored_texts()["sys_global"]);
        EXPECT_EQ(new_file(MIGR_IMAGE_RELEASE, "config beta two\n    set tail 2\nend\n"),
                  stored_texts()["sys_domain.root"]);
        EXPECT_EQ(0, vdom_update_flag);
    });
}

TEST_F(OldRoad, LeavesItsFlagUpBehindTheLastFile)
{
    break_rule("<alpha one><gone>");
    store("sys_global", old_file("5.40", "config alpha one\nend\n"));
    store("sys_domain.shop", old_file("5.9", "config alpha one\nend\n"));
    run([] {
        EXPECT_EQ(1, vdom_update_flag);
        EXPECT_EQ(old_file("5.9", "config alpha one\nend\n"), stored_texts()["sys_domain.shop"]);
    });
}

/* Certificates of the XML proxy move after the first pass, and again, with the other files, into the root domain. */
TEST_F(OldRoad, ConvertsCertificatesOfFilesFromBefore40)
{
    lay_out_certificate();
    root.write("/data/etc/xmlproxy/certs/site1/password", "secret");
    store("sys_global", old_file("3.99", whole_text));
    ChildResult child = run([] {
        EXPECT_EQ("pass global sys_global\n"
                  "step 4.40\n"
                  "step 5.0\n"
                  "step 5.10\n"
                  "walk 3.99 to " MIGR_IMAGE_RELEASE "\n"
                  "reconcile\n"
                  "split\n"
                  "convert certificates\n"
                  "pass global sys_global\n",
                  run_steps().substr(0, run_steps().find("step 5.20")));
        EXPECT_EQ(std::string::npos, run_steps().find("convert certificates", run_steps().find("step 5.20")));
    });
    EXPECT_EQ("", child.err);
    EXPECT_FALSE(root.exists("/data/etc/xmlproxy/certs"));
    EXPECT_FALSE(root.exists("/data/etc/cert/local/site1.cer"));
    EXPECT_EQ("certificate", root.read("/data/etc/cert/local/root/site1.cer"));
    EXPECT_EQ("secret", root.read("/data/etc/cert/local/root/site1.password"));
}

TEST_F(OldRoad, ConvertsNoCertificatesFrom40On)
{
    root.write("/data/etc/xmlproxy/certs/site1/ca.pem", "certificate");
    store("sys_global", old_file("4.0", whole_text));
    run([] { EXPECT_EQ(std::string::npos, run_steps().find("convert")); });
    EXPECT_TRUE(root.exists("/data/etc/xmlproxy/certs/site1/ca.pem"));
}

/* Each good pass that sees the old version converts, and finds nothing left the second time. */
TEST_F(OldRoad, ConvertsAfterEachGoodPass)
{
    lay_out_certificate();
    store("sys_global", old_file("3.0", whole_text));
    store("sys_domain.shop", old_file("3.0", whole_text));
    ChildResult child = run([] {
        std::string steps = run_steps();
        size_t      first = steps.find("convert certificates\n");
        size_t      second = steps.find("convert certificates\n", first + 1);
        EXPECT_LT(first, steps.find("pass domain sys_domain.shop"));
        EXPECT_LT(steps.find("pass domain sys_domain.shop"), second);
        EXPECT_NE(std::string::npos, second);
        EXPECT_EQ(std::string::npos, steps.find("convert certificates\n", second + 1));
    });
    EXPECT_EQ(no_folder, child.err);
}

TEST_F(OldRoad, ConvertsNothingAfterFailedPasses)
{
    lay_out_certificate();
    remove("/etc/syntax_v510.txt");
    store("sys_global", old_file("3.0", whole_text));
    run([] { EXPECT_EQ(std::string::npos, run_steps().find("convert")); });
    EXPECT_TRUE(root.exists("/data/etc/xmlproxy/certs/site1/ca.pem"));
}

TEST_F(OldRoad, ConvertsAfterTheSecondPassWhenTheFirstFails)
{
    lay_out_certificate();
    root.write("/data/etc/update_config", "[5.10]\n[DELETE]\nno rule\n[5.20]\n");
    store("sys_global", old_file("3.0", whole_text));
    run([] {
        EXPECT_EQ("pass global sys_global\n"
                  "step 5.10\n"
                  "pass global sys_global\n"
                  "walk 3.0 to " MIGR_IMAGE_RELEASE "\n"
                  "reconcile\n"
                  "split\n"
                  "convert certificates\n",
                  run_steps().substr(0, run_steps().find("pass domain")));
    });
    EXPECT_EQ("certificate", root.read("/data/etc/cert/local/root/site1.cer"));
}

namespace {

/* Runs that cross 5.20, the release of one certificate folder per domain. */
class CertificateFolders : public OldRoad {
  protected:
    void SetUp() override
    {
        OldRoad::SetUp();
        root.write("/data/etc/cert/ca/one.cer", "certificate");
        root.write("/data/etc/cert/ca/root/two.cer", "another");
    }
};

} // namespace

TEST_F(CertificateFolders, AreFilledOnceBehindAllFiles)
{
    store("sys_global", old_file("5.19", "config alpha one\nend\n"));
    store("sys_domain.root", old_file("5.19", "config beta two\nend\n"));
    store("sys_domain.shop", old_file("5.19", "config beta two\nend\n"));
    run([] {
        std::string steps = run_steps();
        EXPECT_EQ(steps.size() - strlen("write\nfile jobs from 5.19\n"), steps.find("write\nfile jobs from 5.19\n"));
        EXPECT_EQ(steps.find("file jobs"), steps.rfind("file jobs"));
    });
    for (const char *path : {"root/one.cer", "shop/one.cer"})
        EXPECT_EQ("certificate", root.read(std::string("/data/etc/cert/ca/") + path));
    EXPECT_EQ("another", root.read("/data/etc/cert/ca/shop/two.cer"));
    EXPECT_FALSE(root.exists("/data/etc/cert/ca/one.cer"));
}

TEST_F(CertificateFolders, GetNoCopiesForOtherDomainsFromBefore510)
{
    store("sys_global", old_file("5.9", whole_text));
    store("sys_domain.shop", old_file("5.40", "config beta two\nend\n"));
    run([] {});
    EXPECT_EQ("certificate", root.read("/data/etc/cert/ca/root/one.cer"));
    EXPECT_FALSE(root.exists("/data/etc/cert/ca/shop"));
}

TEST_F(CertificateFolders, GoByTheGlobalFilesRelease)
{
    store("sys_global", old_file("5.20", "config alpha one\nend\n"));
    store("sys_domain.shop", old_file("5.10", "config beta two\nend\n"));
    run([] { EXPECT_EQ(std::string::npos, run_steps().find("file jobs")); });
    EXPECT_EQ("certificate", root.read("/data/etc/cert/ca/one.cer"));
}

/* The walk looks for certificate files in the domain's folder, which the file jobs have not filled by then. */
TEST_F(CertificateFolders, AreFilledTooLateForTheWalk)
{
    store("sys_global", old_file("5.19", "config alpha one\nend\n"));
    store("sys_domain.root", old_file("5.30", "config system certificate ca\nedit one\nnext\nedit two\nnext\nend\n"));
    run([] {
        EXPECT_EQ(new_file(MIGR_IMAGE_RELEASE,
                           settings + "config system certificate ca\n    edit one\n    next\n    edit two\n"
                                      "        set certificate \"another\"\n    next\nend\n"),
                  stored_texts()["sys_domain.root"]);
    });
    EXPECT_EQ("certificate", root.read("/data/etc/cert/ca/root/one.cer"));
}
