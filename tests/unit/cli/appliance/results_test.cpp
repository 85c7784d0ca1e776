/* What came of a run, judged by what lies there and by what the library told. The run itself is made up: it is no more
 * than the files that it leaves. Inside a made-up root folder. */
#include "appliance/results.h"

#include "appliance/old_forms.h"
#include "driver/run_context.h"
#include "output/release_text.h"
#include "unit/cli/command_support.h"
#include "unit/cli/failing_calls.h"

#include <cerrno>
#include <fstream>
#include <gtest/gtest.h>

namespace fs = std::filesystem;
using namespace command;
using namespace std::chrono_literals;
using support::expect_in_root;
using support::headers;

namespace {

constexpr char tree[] = "config system global\nend\n";

void write_text(const std::string &path, const std::string &text)
{
    fs::remove_all(path);
    std::ofstream(path) << text;
}

/* As the library leaves a file: stored anew, with a plain copy. */
void upgrade_file(const std::string &name, const std::string &text = headers(MIGR_IMAGE_RELEASE) + tree)
{
    write_text(config_path(name), support::gzip(text));
    write_text("/var/log/" + name.substr(0, name.size() - 3), text);
}

Pass pass_of(const std::string &name, const std::string &phase = "signatures", int error = 0)
{
    return {config_path(name), 1s, phase, error};
}

class Results : public testing::Test {
  protected:
    /* In the root folder: plans, then a run that does this, then its outcomes. */
    static std::vector<FileOutcome> outcomes(const LibraryRun &run, const std::function<void()> &work,
                                             bool accept_damage = false)
    {
        std::vector<FilePlan> plans = plan_files(inspect_folder_here(Depth::whole, nullptr), accept_damage);
        fs::remove_all("/before");
        make_old_forms();
        for (const FilePlan &plan : plans)
            keep_old_form(plan.file.name);
        work();
        return outcomes_of_run(plans, run, accept_damage);
    }

    static void upgrade_both()
    {
        upgrade_file(global_name);
        upgrade_file(first_domain_name);
    }

    /* What a failure says, behind its first word; none if the run was judged. */
    static std::string failure_of_run(const LibraryRun &run, const std::function<void()> &work)
    {
        try {
            outcomes(run, work);
        } catch (const Failure &failure) {
            EXPECT_EQ(failure.status, Status::failed);
            return failure.what();
        }
        return "";
    }

    void expect_failure_where_one_cannot_be_read() const
    {
        expect_in_root(box, [] {
            std::string told = failure_of_run({}, [] {
                upgrade_both();
                support::fail_call("read", EIO);
            });
            EXPECT_EQ(told,
                      std::string(first_domain_name) +
                          " could not be read after the upgrade in the private copy: Input/output error. Nothing was "
                          "changed. Look after the disk before anything else.");
        });
    }

    support::TinyAppliance box;
};

} // namespace

TEST_F(Results, OfAGoodRun)
{
    expect_in_root(box, [] {
        LibraryRun run;
        run.passes = {pass_of(global_name), pass_of(first_domain_name), pass_of(first_domain_name)};
        std::vector<FileOutcome> files = outcomes(run, upgrade_both);
        ASSERT_EQ(files.size(), 2u);
        EXPECT_EQ(files[0].name, global_name);
        EXPECT_EQ(files[0].result, Result::upgraded);
        EXPECT_EQ(files[0].before, MIGR_RELEASE(5, 50));
        EXPECT_EQ(files[0].after, image_release());
        EXPECT_EQ(files[0].size, fs::file_size(config_path(global_name)));
        EXPECT_EQ(files[0].time, 1s);
        EXPECT_EQ(files[1].time, 2s);
        EXPECT_TRUE(files[0].reasons.empty());
        EXPECT_TRUE(files[0].warnings.empty());
    });
}

TEST_F(Results, OfFilesThatWereNotUpgraded)
{
    box.config(first_domain_name, MIGR_IMAGE_RELEASE, tree);
    box.config("sys_domain.new.conf.gz", "9.00", tree);
    box.write("/data/config/sys_domain.odd.conf.gz", "odd");
    expect_in_root(box, [] {
        std::vector<FileOutcome> files = outcomes({}, [] { upgrade_file(global_name); });
        ASSERT_EQ(files.size(), 4u);
        EXPECT_EQ(files[1].result, Result::newer);
        EXPECT_EQ(files[2].result, Result::refused);
        EXPECT_EQ(texts_of(files[2].reasons),
                  std::vector<std::string>{
                      "It is no gzip file. Put a good copy in its place, or move it out of the folder."});
        EXPECT_EQ(files[3].result, Result::current);
        EXPECT_EQ(files[3].after, image_release());
    });
}

/* Whose fault that is, is for others to say. */
TEST(ResultsOfPlans, HaveWhatKeptAFileFromBeingRead)
{
    FilePlan plan;
    plan.file.facts.error = EIO;
    plan.fate = Fate::refuse;
    EXPECT_EQ(outcome_of_plan(plan).error, EIO);
    EXPECT_EQ(outcome_of_plan(plan).result, Result::refused);
    EXPECT_EQ(outcome_of_plan({}).error, 0);
}

TEST_F(Results, OfFilesThatWouldHaveBeen)
{
    FilePlan plan;
    plan.file.name = "x";
    plan.file.facts.release = MIGR_RELEASE(5, 50);
    plan.file.facts.stored_size = 7;
    EXPECT_EQ(outcome_of_plan(plan).result, Result::held);
    EXPECT_EQ(outcome_of_plan(plan).name, "x");
    EXPECT_EQ(outcome_of_plan(plan).before, MIGR_RELEASE(5, 50));
    EXPECT_EQ(outcome_of_plan(plan).after, MIGR_RELEASE(5, 50));
    EXPECT_EQ(outcome_of_plan(plan).size, 7u);
    plan.fate = Fate::refuse;
    plan.reasons = {"a reason"};
    EXPECT_EQ(outcome_of_plan(plan).result, Result::refused);
    EXPECT_EQ(outcome_of_plan(plan).reasons, plan.reasons);
}

TEST_F(Results, OfATreeThatIsReadBackOtherwise)
{
    const std::string with_rest = "it would be written, and read back together with what stands behind it.";
    const std::string cut = "it would be written, and read back cut.";
    expect_in_root(box, [&] {
        LibraryRun run;
        run.misreadings = {{config_path(global_name), {Misreading::Kind::open, {"a,x", "b,c"}}},
                           {config_path(global_name), {Misreading::Kind::cut, {"c"}}},
                           {config_path(global_name), {Misreading::Kind::no_value, {"d", "e"}}},
                           {"/elsewhere", {Misreading::Kind::cut, {"f"}}}};
        FileOutcome refused = outcomes(run, upgrade_both).at(0);
        EXPECT_EQ(refused.result, Result::refused);
        EXPECT_EQ(refused.reasons, (std::vector<FileFinding>{{"a x / b,c: " + with_rest, "a x: " + with_rest},
                                                             {"c: " + cut, "c: " + cut}}));
        EXPECT_EQ(refused.warnings, (std::vector<FileFinding>{{"d / e: " + with_rest, "d: " + with_rest}}));
    });
    support::TinyAppliance other;
    expect_in_root(other, [&] {
        LibraryRun run;
        run.misreadings = {{config_path(global_name), {Misreading::Kind::cut, {"c"}}}};
        FileOutcome accepted = outcomes(run, upgrade_both, true).at(0);
        EXPECT_EQ(accepted.result, Result::upgraded);
        EXPECT_EQ(texts_of(accepted.warnings), std::vector<std::string>{"c: " + cut});
    });
}

TEST_F(Results, OfDamageThatWasAccepted)
{
    box.config(global_name, "5.50", "config system global\n  odd\nend\n");
    expect_in_root(box, [] {
        FileOutcome file = outcomes({}, upgrade_both, true).at(0);
        EXPECT_EQ(file.result, Result::upgraded);
        ASSERT_EQ(file.warnings.size(), 1u);
        EXPECT_TRUE(file.warnings[0].text.starts_with("lost: line 4: ")) << file.warnings[0].text;
        EXPECT_TRUE(file.warnings[0].cause.starts_with("lost: ")) << file.warnings[0].cause;
        EXPECT_EQ(file.warnings[0].cause.find("line 4"), std::string::npos);
    });
}

TEST_F(Results, OfDamageThatTheRunHasMade)
{
    expect_in_root(box, [] {
        FileOutcome file = outcomes({}, [] {
                               upgrade_both();
                               upgrade_file(global_name, headers(MIGR_IMAGE_RELEASE) + "config a\n  odd\nend\n");
                           }).at(0);
        EXPECT_EQ(file.result, Result::upgraded);
        ASSERT_EQ(file.warnings.size(), 1u);
        EXPECT_TRUE(file.warnings[0].text.starts_with("in the result, line 4: ")) << file.warnings[0].text;
        EXPECT_TRUE(file.warnings[0].cause.starts_with("in the result, ")) << file.warnings[0].cause;
    });
}

/* Through no fault of the system's. */
TEST_F(Results, OfAFileThatDidNotGetThere)
{
    auto reason = [](const std::function<void()> &harm, int error = 0) {
        FileOutcome file;
        LibraryRun  run;
        run.passes = {pass_of(global_name, "stage", error)};
        std::vector<FileOutcome> files = outcomes(run, [&] {
            upgrade_both();
            harm();
        });
        for (const FileOutcome &one : files)
            if (one.name == global_name)
                file = one;
        EXPECT_EQ(file.result, Result::refused);
        EXPECT_EQ(file.after, file.before);
        return file.reasons.empty() ? FileFinding("none") : file.reasons.back();
    };
    const FileFinding of_a_rule = {
        "A rule of the update file or a migration could not be applied to it. What the library said (--verbose) "
        "may tell more; the update file may have to be mended.",
        "A rule of the update file or a migration could not be applied to it."};
    const std::string           path = config_path(global_name);
    const std::string           old = box.read(path);
    const std::function<void()> put_back = [&] { write_text(path, old); };
    expect_in_root(box, [&] {
        EXPECT_EQ(reason([&] { fs::remove(path); }), FileFinding("It was gone after the upgrade."));
        put_back();
        EXPECT_EQ(reason([&] { write_text(path, "no gzip"); }), FileFinding("It could not be read after the upgrade."));
        put_back();
        EXPECT_EQ(reason(put_back), of_a_rule);
        EXPECT_EQ(reason(put_back, ENOENT), of_a_rule); /* which is in the course of things */
        EXPECT_EQ(reason(put_back, EPERM), of_a_rule);
    });
}

TEST_F(Results, OfWhatTheSystemRefused)
{
    const std::string copy = " in the private copy: ";
    const std::string no_room = "No space left on device. Nothing was changed. Make room on that disk and run migr "
                                "again.";
    const std::string old = box.read(config_path(global_name));
    expect_in_root(box, [&] {
        auto failed_at = [&](const std::string &phase, int error) {
            LibraryRun run;
            run.passes = {pass_of(global_name, "stage"), pass_of(global_name, phase, error)};
            return failure_of_run(run, [&] { write_text(config_path(global_name), old); });
        };
        std::string name = global_name;
        EXPECT_EQ(failed_at("", ENOSPC), name + " could not be read" + copy + no_room);
        EXPECT_EQ(failed_at("signatures", ENOSPC), name + " could not be written anew" + copy + no_room);
        EXPECT_EQ(failed_at("stage", ENOSPC), name + " could not be carried forward" + copy + no_room);
        for (int error : {EACCES, EDQUOT, EFBIG, EIO, EROFS, ENOMEM, EMFILE, ENFILE, EINTR})
            EXPECT_TRUE(failed_at("stage", error).starts_with(name + " could not be carried")) << error;
        EXPECT_TRUE(failed_at("", EPERM).starts_with(name + " could not be read"));
        LibraryRun without_a_pass;
        without_a_pass.error = EIO;
        EXPECT_TRUE(failure_of_run(without_a_pass, [] {}).starts_with(name + " could not be read" + copy));
    });
}

TEST_F(Results, OfAFileThatCannotBeReadBehindTheRun)
{
    expect_failure_where_one_cannot_be_read();
}

TEST_F(Results, OfThePlainCopy)
{
    const std::string copy = "/var/log/sys_global.conf";
    const std::string what = "the plain copy of the result, " + copy + ", could not be written";
    const std::string old = box.read(config_path(global_name));
    box.folder("/elsewhere");
    expect_in_root(box, [&] {
        auto with_copy = [&](const std::function<void()> &harm, int error = 0) {
            write_text(config_path(global_name), old);
            LibraryRun run;
            run.passes = {pass_of(global_name, "signatures", error)};
            return failure_of_run(run, [&] {
                upgrade_both();
                harm();
            });
        };
        EXPECT_EQ(with_copy([&] { fs::remove(copy); }),
                  what + " in the private copy. Nothing was changed. Run migr again, with --verbose.");
        EXPECT_EQ(with_copy([&] { write_text(copy, "another text"); }, EIO),
                  what + " in the private copy: Input/output error. Nothing was changed. Look after the disk before "
                         "anything else.");
        auto warning_with = [&](const std::function<void()> &harm) {
            write_text(config_path(global_name), old);
            return outcomes({},
                            [&] {
                                upgrade_both();
                                fs::remove(copy);
                                harm();
                            })
                .at(0)
                .warnings;
        };
        std::vector<FileFinding> expected = {{what + ".", "The plain copy of the result could not be written."}};
        EXPECT_EQ(warning_with([&] { fs::create_directory(copy); }), expected);
        fs::remove_all(copy);
        EXPECT_EQ(warning_with([&] { fs::create_symlink("/nowhere", copy); }), expected);
        EXPECT_TRUE(warning_with([&] {
                        write_text("/elsewhere/copy", headers(MIGR_IMAGE_RELEASE) + tree);
                        fs::create_symlink("/elsewhere/copy", copy);
                    }).empty());
    });
}

/* A disk's fault is not taken for a copy that is missing. */
TEST_F(Results, OfAPlainCopyThatCannotBeLookedFor)
{
    expect_in_root(box, [] {
        auto judge = [] {
            outcomes({}, [] {
                upgrade_both();
                fs::remove_all("/var/log");
                fs::create_symlink("/var/log", "/var/log");
            });
        };
        EXPECT_EQ(support::path_error_of(judge), support::with_error("look for /var/log/sys_global.conf", ELOOP));
    });
}

/* The library keeps no plain copy of such, or cuts its name. */
TEST_F(Results, OfNamesWithoutAPlainCopy)
{
    auto domain_of_path_length = [](size_t length) {
        std::string shortest = config_path("sys_domain..conf.gz");
        return "sys_domain." + std::string(length - shortest.size(), 'n') + ".conf.gz";
    };
    const std::string longest = domain_of_path_length(71), too_long = domain_of_path_length(72);
    for (const std::string &name : {longest, too_long, std::string("other.conf.gz")})
        box.config(name, "5.50", tree);
    expect_in_root(box, [&] {
        auto upgrade_all = [&] {
            upgrade_both();
            for (const std::string &name : {longest, too_long, std::string("other.conf.gz")})
                upgrade_file(name);
            fs::remove("/var/log/other.conf");
            fs::remove("/var/log/" + too_long.substr(0, too_long.size() - 3));
        };
        for (const FileOutcome &file : outcomes({}, upgrade_all))
            EXPECT_EQ(file.result, Result::upgraded) << file.name;
    });
    box.config(longest, "5.50", tree);
    expect_in_root(box, [&] {
        EXPECT_NE(failure_of_run({},
                                 [&] {
                                     upgrade_both();
                                     upgrade_file(longest);
                                     fs::remove("/var/log/" + longest.substr(0, longest.size() - 3));
                                 }),
                  "");
    });
}

namespace {

/* The global file of a release from before the split, alone. */
class SplitResults : public Results {
  protected:
    SplitResults()
    {
        box.config(global_name, "5.00", tree);
        box.drop(config_path(first_domain_name));
    }
};

const std::string no_half = "It is from before 5.10, and no good sys_domain.root.conf.gz came out of its split.";

} // namespace

TEST_F(SplitResults, AreTwoFiles)
{
    expect_in_root(box, [] {
        LibraryRun run;
        run.passes = {pass_of(first_domain_name)};
        std::vector<FileOutcome> files = outcomes(run, upgrade_both);
        ASSERT_EQ(files.size(), 2u);
        EXPECT_EQ(files[0].result, Result::upgraded);
        EXPECT_EQ(files[1].name, first_domain_name);
        EXPECT_EQ(files[1].result, Result::added);
        EXPECT_EQ(files[1].before, -1);
        EXPECT_EQ(files[1].after, image_release());
        EXPECT_EQ(files[1].size, fs::file_size(config_path(first_domain_name)));
        EXPECT_EQ(files[1].time, 1s);
    });
}

TEST_F(SplitResults, AreNoneWithoutTheSecond)
{
    expect_in_root(box, [] {
        std::vector<FileOutcome> files = outcomes({}, [] { upgrade_file(global_name); });
        ASSERT_EQ(files.size(), 1u);
        EXPECT_EQ(files[0].result, Result::refused);
        EXPECT_EQ(files[0].reasons,
                  (std::vector<FileFinding>{{no_half + " See that the update file has a section for 5.10 and that the "
                                                       "syntax file is in order.",
                                             no_half}}));
    });
}

TEST_F(SplitResults, AreNoneWhereOneIsNoGood)
{
    expect_in_root(box, [] {
        std::vector<FileOutcome> files = outcomes({}, [] {
            upgrade_file(global_name);
            upgrade_file(first_domain_name, headers("5.20") + tree);
        });
        ASSERT_EQ(files.size(), 2u);
        EXPECT_EQ(files[0].result, Result::refused);
        EXPECT_EQ(files[1].result, Result::refused);
        EXPECT_EQ(files[1].reasons,
                  std::vector<FileFinding>{"It came out of the split of sys_global.conf.gz, and did not get further."});
    });
    box.config(global_name, "5.00", tree);
    expect_in_root(box, [] {
        fs::remove(config_path(first_domain_name));
        std::vector<FileOutcome> files = outcomes({}, [] {
            upgrade_both();
            upgrade_file(global_name, headers("5.20") + tree);
        });
        ASSERT_EQ(files.size(), 2u);
        EXPECT_EQ(files[0].result, Result::refused);
        EXPECT_EQ(files[0].reasons.size(), 1u); /* its own */
        EXPECT_EQ(files[1].result, Result::refused);
    });
}

TEST_F(SplitResults, AreNotJudgedWhereOneCannotBeRead)
{
    expect_failure_where_one_cannot_be_read();
}
